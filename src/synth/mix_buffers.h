// What voices add to: the output and the four effect sends, one block long.
#pragma once

#include <algorithm>

#include "synth/synth_math.h"

namespace velor {

inline constexpr int kSends = 4;

struct alignas(32) MixBuffers {
    float left[kBlockFrames];
    float right[kBlockFrames];
    float sends[kSends][kBlockFrames];
    bool used[kSends];  // sends that hold anything; the others are not even cleared

    bool empty;  // set by whoever knows that nothing was added

    void clear() {
        std::fill_n(left, kBlockFrames, 0.0f);
        std::fill_n(right, kBlockFrames, 0.0f);
        std::fill_n(used, kSends, false);
        empty = false;
    }
    // A send to add to.
    float* send(int number) {
        if (!used[number])
            std::fill_n(sends[number], kBlockFrames, 0.0f);
        used[number] = true;
        return sends[number];
    }
};

}  // namespace velor
