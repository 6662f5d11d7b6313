#include "synth/voice_kernels.h"
#include "synth/voice_kernels.inc"

namespace velor {

const VoiceKernels& portableVoiceKernels() {
    return kKernels;
}

#if defined(VELOR_AVX2_KERNELS)
const VoiceKernels& avx2VoiceKernels();

const VoiceKernels& voiceKernels() {
    static const bool fast = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    return fast ? avx2VoiceKernels() : kKernels;
}
#else
const VoiceKernels& voiceKernels() {
    return kKernels;
}
#endif

}  // namespace velor
