// The resampler's inner loop: many outputs of a FIR filter whose taps are blended from two rows of a table.
// There is a portable form, and one for processors with AVX2 and FMA; results differ in rounding only.
#pragma once

#include <cstdint>

namespace velor {

// Where an output takes its taps from. The four rows start on 64-byte boundaries; the taps used are
// row + blend × (next - row).
struct FirOutput {
    const float* left;
    const float* leftNext;
    const float* right;
    const float* rightNext;
    float leftBlend;
    float rightBlend;
    std::uint32_t frame;  // the frame at or before the position, counted from the first one of the block
};

// One section of the filter over a block of outputs, in one or two channels.
struct FirSection {
    static constexpr std::uint32_t kGranule = 16;  // rows are readable, and zero, up to multiples of this

    std::uint32_t firstTap = 0;  // a multiple of kGranule
    std::uint32_t taps = 0;
    bool outermost = false;  // the right side leaves out the last tap
    // Frame `lastFrame` - f of the block and the taps that lie before it are at backwards + f, ascending; the
    // frames behind frame f are at forwards + f. Both are readable for kGranule samples beyond.
    std::uint32_t lastFrame = 0;
    const float* backwards[2] = {};
    const float* forwards[2] = {};
};

struct FirKernels {
    // Adds to sums[output × channels + channel]; within a section, from the outermost taps to the middle
    // ones, so that the small products are not lost in the large ones. `period`: after so many outputs the
    // rows mostly repeat (0: they do not), which makes it faster and changes nothing else.
    void (*mono)(const FirSection& section, const FirOutput* outputs, std::uint32_t count,
                 std::uint32_t period, double* sums);
    void (*stereo)(const FirSection& section, const FirOutput* outputs, std::uint32_t count,
                   std::uint32_t period, double* sums);
};

// The fastest form that this processor runs; always the same within one run.
const FirKernels& firKernels();
const FirKernels& portableFirKernels();

}  // namespace velor
