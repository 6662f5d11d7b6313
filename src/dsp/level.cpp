#include "dsp/level.h"

#include <algorithm>
#include <cmath>

namespace velor {

float peakOf(std::span<const float> samples) {
    float peak = 0;
    for (const float sample : samples)
        peak = std::max(peak, std::fabs(sample));
    return peak;
}

void normalisePeak(std::span<float> samples, float target) {
    const float peak = peakOf(samples);
    if (!(peak > 0) || !std::isfinite(peak))
        return;
    const float gain = target / peak;
    for (float& sample : samples)
        sample *= gain;
}

FrameRange withoutSilence(std::span<const float> samples, unsigned channels, float threshold) {
    const auto loud = [=](float sample) { return std::fabs(sample) > threshold; };
    const auto first = std::find_if(samples.begin(), samples.end(), loud);
    if (first == samples.end() || channels == 0)
        return {};
    const auto last = std::find_if(samples.rbegin(), samples.rend(), loud);
    const auto begin = static_cast<std::size_t>(first - samples.begin()) / channels;
    const auto end = static_cast<std::size_t>(samples.rend() - last - 1) / channels + 1;
    return {static_cast<std::uint32_t>(begin), static_cast<std::uint32_t>(end - begin)};
}

}  // namespace velor
