// Compiled for processors with AVX2 and FMA, see voice_kernels.cpp. Empty where the build has no such file of
// flags.
#if defined(VELOR_AVX2_KERNELS)

#include "synth/voice_kernels.h"
#include "synth/voice_kernels.inc"

namespace velor {

const VoiceKernels& avx2VoiceKernels();
const VoiceKernels& avx2VoiceKernels() {
    return kKernels;
}

}  // namespace velor

#endif
