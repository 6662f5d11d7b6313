// Smoothing: each sample becomes a weighted mean of its neighbours.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace velor {

enum class SmoothingShape : std::uint8_t {
    Average,  // all neighbours alike
    Hann,     // raised cosine: hardly any ripple above its cutoff
};

// Smooths one channel of interleaved frames: to[i] becomes the mean of the frames first + i - reach .. first
// + i + reach of `from`. Beyond the ends the outermost sample goes on. Sums run along, so that the time
// hardly depends on the reach. Samples that are not finite count as 0. Long data are given piece by piece,
// which also keeps the sums from carrying on more than a piece's rounding errors.
void smooth(std::span<const float> from, unsigned channels, unsigned channel, std::size_t first,
            std::span<float> to, std::size_t reach, SmoothingShape shape);

}  // namespace velor
