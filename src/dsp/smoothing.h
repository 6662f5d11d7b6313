// Smoothing: each sample becomes a weighted mean of its neighbours.
#pragma once

#include <cstdint>
#include <span>

#include "base/user_interface.h"

namespace velor {

enum class SmoothingShape : std::uint8_t {
    Average,  // all neighbours alike
    Hann,     // raised cosine: hardly any ripple above its cutoff
};

// Smooths one channel of interleaved frames: for each frame first <= i < first + to.size() of `from` the mean
// of the frames i - reach .. i + reach. Beyond the ends the outermost sample goes on. Sums run along, so the
// time does not depend on the reach. Samples that are not finite count as 0. False when the user aborts.
bool smooth(std::span<const float> from, unsigned channels, unsigned channel, std::size_t first,
            std::span<float> to, std::size_t reach, SmoothingShape shape, UserInterface& ui);

}  // namespace velor
