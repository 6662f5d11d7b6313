// The search for two zero crossings that a loop can join.
#pragma once

#include <cstdint>
#include <span>

#include "base/user_interface.h"

namespace velor {

// Frames.
struct LoopRange {
    std::int64_t start = 0, end = 0;         // where the loop may lie
    std::int64_t shortest = 0, longest = 0;  // its length
};

struct LoopCandidate {
    std::int64_t start = 0, end = 0;  // frames; each the first one after a zero crossing
    float similarity = 0;
};

// Tries all pairs of zero crossings of equal direction in the range, ends and starts from the last to the
// first, and gives the first of the most alike: 256 samples that precede the two are compared. Near the
// beginning, where fewer precede the start, samples that follow make up for them: few samples alone are alike
// too easily. Takes some 100 ns a pair. False when no pair has a positive similarity ("No loop was found") or
// after an abort
// ("Processing was cancelled").
bool searchLoop(std::span<const float> mono, const LoopRange& range, UserInterface& ui, LoopCandidate& best);

}  // namespace velor
