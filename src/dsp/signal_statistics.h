// What can be counted and measured of samples.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "base/user_interface.h"

namespace velor {

// Of one channel. Samples that are not finite are counted and otherwise 0.
struct ChannelStatistics {
    float highest = 0, lowest = 0;              // both 0 without frames
    std::uint32_t highestAt = 0, lowestAt = 0;  // the first frame that has it
    double mean = 0;                            // DC offset
    double rms = 0;                             // about zero
    std::uint32_t fullScale = 0;                // samples at or beyond full scale
    std::uint32_t longestFullScale = 0;         // successive ones of the same sign
    std::uint32_t zeroCrossings = 0;            // changes of sign; zeros in between count once
    std::uint32_t notNumbers = 0, infinities = 0;
};

struct SignalStatistics {
    std::array<ChannelStatistics, 2> channels;
    // The bits of the shortest two's-complement integer that holds every sample exactly: 1 is -1 and 0, none
    // for silence, and 33 for what needs floating point.
    unsigned bits = 0;
    double correlation = 0;  // of two channels, -1..1 about zero; 0 when one is silent
    // Frames before the first and behind the last one above the silence threshold; all when there is none.
    std::uint32_t silenceBefore = 0, silenceAfter = 0;
};

inline constexpr unsigned kNeedsFloat = 33;

// Of interleaved frames with one or two channels. fullScale and silence are linear. False when the user
// aborts.
bool measureStatistics(std::span<const float> samples, unsigned channels, float fullScale, float silence,
                       UserInterface& ui, SignalStatistics& statistics, double progressFrom = 0,
                       double progressTo = 1);

}  // namespace velor
