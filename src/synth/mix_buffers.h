// What voices add to: the output and the four effect sends, one block long.
#pragma once

#include <cstring>

#include "synth/synth_math.h"

namespace velor {

inline constexpr int kSends = 4;

struct alignas(32) MixBuffers {
    float left[kBlockFrames];
    float right[kBlockFrames];
    float sends[kSends][kBlockFrames];
    bool used[kSends];  // sends that hold anything

    void clear() { std::memset(this, 0, sizeof *this); }
};

}  // namespace velor
