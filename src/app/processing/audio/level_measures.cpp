#include "app/processing/audio/level_measures.h"

#include <cmath>

#include "dsp/level.h"
#include "dsp/sample_blocks.h"
#include "dsp/true_peak.h"

namespace velor {

namespace {

double squaresOf(std::span<const float> samples) {
    double sums[4] = {};
    std::size_t i = 0;
    const auto square = [&](std::size_t at) {
        const auto sample = static_cast<double>(finiteOrZero(samples[at]));
        return sample * sample;
    };
    for (; i + 4 <= samples.size(); i += 4) {
        for (std::size_t k = 0; k < 4; ++k)
            sums[k] += square(i + k);
    }
    for (; i < samples.size(); ++i)
        sums[0] += square(i);
    return sums[0] + sums[1] + sums[2] + sums[3];
}

float finitePeakOf(std::span<const float> samples) {
    const float peak = peakOf(samples);
    if (std::isfinite(peak))
        return peak;
    float finite = 0;
    for (const float sample : samples)
        finite = std::max(finite, std::fabs(finiteOrZero(sample)));
    return finite;
}

}  // namespace

bool measureLevels(const Waveform& waveform, LevelChoice choice, UserInterface& ui, Levels& levels,
                   double progressFrom, double progressTo) {
    const std::span<const float> samples = waveform.samples();
    const std::size_t channels = waveform.channels;
    const auto at = [&](double share) { return progressFrom + share * (progressTo - progressFrom); };
    double squares = 0;
    if (!inBlocks(samples.size() / channels, ui, {at(0), at(0.1)}, [&](std::size_t first, std::size_t count) {
            const auto piece = samples.subspan(first * channels, count * channels);
            levels.peak = std::max(levels.peak, static_cast<double>(finitePeakOf(piece)));
            if (choice.rms)
                squares += squaresOf(piece);
        }))
        return false;
    levels.rms = samples.empty() ? 0 : std::sqrt(squares / static_cast<double>(samples.size()));
    float truePeak = 0;
    if (choice.truePeak && !measureTruePeak(samples, waveform.channels, ui, truePeak, at(0.1), at(0.5)))
        return false;
    levels.truePeak = static_cast<double>(truePeak);
    return !choice.loudness || measureLoudness(waveform, ui, levels.loudness, at(0.5), at(1));
}

void reportLevel(ProcessJob& job, const char* what, double decibels, const char* unit) {
    if (std::isfinite(decibels))
        job.measure(what, decibels, unit);
    else
        job.report.measures.push_back({what, 0, {}, "silence"});
}

}  // namespace velor
