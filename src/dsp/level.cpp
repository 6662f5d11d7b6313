#include "dsp/level.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace velor {

float peakOf(std::span<const float> samples) {
    // Eight peaks side by side, so that the processor need not wait for each comparison. A comparison with
    // something that is no number is false, which leaves it out.
    std::array<float, 8> peaks{};
    std::size_t i = 0;
    for (; i + peaks.size() <= samples.size(); i += peaks.size()) {
        for (std::size_t k = 0; k < peaks.size(); ++k) {
            const float size = std::fabs(samples[i + k]);
            peaks[k] = size > peaks[k] ? size : peaks[k];
        }
    }
    float peak = *std::max_element(peaks.begin(), peaks.end());
    for (; i < samples.size(); ++i)
        peak = std::max(peak, std::fabs(samples[i]));
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

double factorOfDecibels(double decibels) {
    return std::pow(10.0, decibels / 20);
}

double decibelsOfFactor(double factor) {
    return 20 * std::log10(factor);
}

}  // namespace velor
