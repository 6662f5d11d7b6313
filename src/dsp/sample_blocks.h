// Walking over long sample data in pieces.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "base/error.h"
#include "base/user_interface.h"
#include "dsp/editable_samples.h"

namespace velor {

// Frames between two looks at the abort flag: a few milliseconds of work.
inline constexpr std::size_t kBlockFrames = 1 << 15;

// The part of a task's progress that one pass makes.
struct ProgressPart {
    double from = 0;
    double to = 1;
};

// Calls work(first, count) for one piece after the other. False with kProcessingCancelled when the user ends
// it.
template <typename Work>
bool inBlocks(std::size_t frames, UserInterface& ui, ProgressPart part, Work&& work) {
    for (std::size_t first = 0; first < frames;) {
        if (ui.aborted())
            return fail(kProcessingCancelled);
        const std::size_t count = std::min(kBlockFrames, frames - first);
        work(first, count);
        first += count;
        ui.progress(part.from +
                    (part.to - part.from) * (static_cast<double>(first) / static_cast<double>(frames)));
    }
    return true;
}

// The sample, or 0 for one that is not finite and would spoil every sum it goes into.
inline float finiteOrZero(float sample) {
    return std::isfinite(sample) ? sample : 0.0f;
}

}  // namespace velor
