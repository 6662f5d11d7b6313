// Reading stretches of one channel out of interleaved samples.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <span>

namespace velor {

// Full scale is 1. Damaged floats may be as large as 1e38, and their squares would be infinite.
inline constexpr float kLargestSample = 1e6f;

// Samples from frame `first` on, 0 outside of the sound and for what is no number.
inline void readChannel(std::span<const float> frames, unsigned channels, unsigned channel,
                        std::int64_t first, std::span<float> to) {
    const auto count = static_cast<std::int64_t>(frames.size() / channels);
    const auto length = static_cast<std::int64_t>(to.size());
    const std::int64_t from = std::clamp<std::int64_t>(-first, 0, length);
    const std::int64_t until = std::clamp<std::int64_t>(count - first, from, length);
    std::fill(to.begin(), to.begin() + from, 0.0f);
    std::fill(to.begin() + until, to.end(), 0.0f);
    const float* source = frames.data() + (first + from) * static_cast<std::int64_t>(channels) + channel;
    for (std::int64_t i = from; i < until; ++i, source += channels) {
        const float sample = *source;
        to[static_cast<std::size_t>(i)] =
            std::isfinite(sample) ? std::clamp(sample, -kLargestSample, kLargestSample) : 0.0f;
    }
}

}  // namespace velor
