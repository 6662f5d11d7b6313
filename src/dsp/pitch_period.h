// The period of a sound by how well it repeats: what tells a fundamental from its harmonics when the spectrum
// does not show the fundamental itself.
#pragma once

#include <cstdint>
#include <span>

namespace velor {

struct PeriodEstimate {
    double frequency = 0;  // Hz, good to about 1 %
    double clarity = 0;    // 0..1: how well one period repeats the one before
};

// The shortest period (up to 0.1 s) by which the samples repeat about as well as by any. The normalised
// autocorrelation is averaged over up to five windows of a fifth of a second, so that beating and noise even
// out; its peaks are chosen as in P. McLeod and G. Wyvill, A smarter way to find pitch, ICMC 2005. A peak at
// twice the chosen period still wins when it is clearly higher and the spectrum has partials that only it
// explains. One channel of samples, rate in Hz. False for silence and sounds that do not repeat at all.
bool estimatePeriod(std::span<const float> mono, std::uint32_t rate, PeriodEstimate& estimate);

}  // namespace velor
