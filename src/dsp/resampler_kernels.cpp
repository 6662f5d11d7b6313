#include "dsp/resampler_kernels.h"
#include "dsp/resampler_kernels.inc"

namespace velor {

const FirKernels& portableFirKernels() {
    return kKernels;
}

#if defined(VELOR_AVX2_KERNELS)
const FirKernels& avx2FirKernels();

const FirKernels& firKernels() {
    static const bool fast = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return fast ? avx2FirKernels() : kKernels;
}
#else
const FirKernels& firKernels() {
    return kKernels;
}
#endif

}  // namespace velor
