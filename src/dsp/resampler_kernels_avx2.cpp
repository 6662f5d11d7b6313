// Compiled for processors with AVX2 and FMA, see resampler_kernels.cpp. Empty where the build has no such
// file of flags.
#if defined(VELOR_AVX2_KERNELS)

#include "dsp/resampler_kernels.h"
#include "dsp/resampler_kernels.inc"

namespace velor {

const FirKernels& avx2FirKernels();
const FirKernels& avx2FirKernels() {
    return kKernels;
}

}  // namespace velor

#endif
