// The inner loops of the voices. Every function works on one block of kBlockFrames frames or a part of it;
// none allocates. There is a portable set, and one for processors with AVX2 and FMA; results differ in
// rounding only.
#pragma once

#include <cstdint>

namespace velor {

// One windowed-sinc low-pass, cut into 512 phases. A row holds the taps for one phase; the tap before the
// middle ones belongs to the frame at the read position.
struct InterpolationFilter {
    static constexpr int kPhaseBits = 9;
    static constexpr int kPhases = 1 << kPhaseBits;

    int taps = 0;                 // a multiple of 8
    float maximumRatio = 0;       // source frames per output frame up to which nothing folds back
    const float* rows = nullptr;  // kPhases + 1 rows of `taps`, 32-byte aligned
};

// A second-order section as a map of four inputs and two state values to four outputs and the next state, so
// that four frames are worked out at a time. The layout is six columns of eight: outputs 0-3, states,
// padding.
struct alignas(32) BiquadBlock {
    float columns[6][8];
};

struct VoiceKernels {
    // `count` outputs from `data`, the first at `position`, each next `step` further on (32.32 fixed point
    // frames). The frames that the filter's taps reach must exist.
    void (*interpolate16)(const std::int16_t* data, std::uint64_t position, std::uint64_t step,
                          const InterpolationFilter& filter, float* out, int count);
    void (*interpolateFloat)(const float* data, std::uint64_t position, std::uint64_t step,
                             const InterpolationFilter& filter, float* out, int count);
    // Filters `count` frames (a multiple of 4) in place; `state` holds two values.
    void (*biquad)(const BiquadBlock& section, float* state, float* data, int count);
    // out += in × gain, over kBlockFrames frames; the gain goes in a straight line from `from` to `to`.
    void (*addRamped)(const float* in, float from, float to, float* out);
    // out += in, over kBlockFrames frames.
    void (*add)(const float* in, float* out);
};

// The fastest set that this processor runs; always the same within one run.
const VoiceKernels& voiceKernels();
const VoiceKernels& portableVoiceKernels();

}  // namespace velor
