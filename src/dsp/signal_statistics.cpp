#include "dsp/signal_statistics.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "dsp/sample_blocks.h"

namespace velor {

namespace {

// One channel's counts as they go along.
struct Counter {
    ChannelStatistics result;
    double sum = 0, squares = 0;
    int sign = 0;  // of the last sample that was not 0
    int run = 0;   // sign of the full-scale samples that go on
    std::uint32_t runLength = 0;
    std::uint64_t usedBits = 0;  // of the samples in steps of 2^-31
    bool needsFloat = false;

    float count(float raw, std::uint32_t frame, float fullScale) {
        float sample = raw;
        if (!std::isfinite(raw)) {
            ++(std::isnan(raw) ? result.notNumbers : result.infinities);
            sample = 0;
        }
        if (sample > result.highest || frame == 0) {
            result.highest = sample;
            result.highestAt = frame;
        }
        if (sample < result.lowest || frame == 0) {
            result.lowest = sample;
            result.lowestAt = frame;
        }
        const auto value = static_cast<double>(sample);
        sum += value;
        squares += value * value;
        const int now = (sample > 0) - (sample < 0);
        result.zeroCrossings += now * sign < 0;
        sign = now != 0 ? now : sign;
        const int full = std::fabs(raw) >= fullScale ? (raw > 0) - (raw < 0) : 0;
        runLength = full != 0 && full == run ? runLength + 1 : full != 0;
        run = full;
        result.fullScale += full != 0;
        result.longestFullScale = std::max(result.longestFullScale, runLength);
        const double steps = value * 0x1p31;
        if (steps >= -0x1p31 && steps < 0x1p31 && steps == std::floor(steps))
            usedBits |= static_cast<std::uint64_t>(static_cast<std::int64_t>(steps));
        else
            needsFloat = true;
        return sample;
    }
};

}  // namespace

bool measureStatistics(std::span<const float> samples, unsigned channels, float fullScale, float silence,
                       UserInterface& ui, SignalStatistics& statistics, double progressFrom,
                       double progressTo) {
    const std::size_t frames = samples.size() / channels;
    std::array<Counter, 2> counters;
    double products = 0;
    std::size_t firstLoud = frames, lastLoud = 0;
    if (!inBlocks(frames, ui, {progressFrom, progressTo}, [&](std::size_t first, std::size_t count) {
            for (std::size_t i = first; i < first + count; ++i) {
                float values[2] = {};
                float loudest = 0;
                for (unsigned c = 0; c < channels; ++c) {
                    values[c] = counters[c].count(samples[i * channels + c], static_cast<std::uint32_t>(i),
                                                  fullScale);
                    loudest = std::max(loudest, std::fabs(values[c]));
                }
                products += static_cast<double>(values[0]) * static_cast<double>(values[1]);
                if (loudest > silence) {
                    firstLoud = std::min(firstLoud, i);
                    lastLoud = i;
                }
            }
        }))
        return false;
    const double n = std::max(1.0, static_cast<double>(frames));
    std::uint64_t used = 0;
    bool needsFloat = false;
    for (unsigned c = 0; c < channels; ++c) {
        Counter& counter = counters[c];
        counter.result.mean = counter.sum / n;
        counter.result.rms = std::sqrt(counter.squares / n);
        statistics.channels[c] = counter.result;
        used |= counter.usedBits;
        needsFloat = needsFloat || counter.needsFloat;
    }
    statistics.bits = needsFloat  ? kNeedsFloat
                      : used == 0 ? 0
                                  : 32 - static_cast<unsigned>(std::countr_zero(used));
    const double power = std::sqrt(counters[0].squares) * std::sqrt(counters[1].squares);
    statistics.correlation = power > 0 ? std::clamp(products / power, -1.0, 1.0) : 0;
    statistics.silenceBefore = static_cast<std::uint32_t>(firstLoud);
    statistics.silenceAfter =
        static_cast<std::uint32_t>(firstLoud == frames ? frames : frames - 1 - lastLoud);
    return true;
}

}  // namespace velor
