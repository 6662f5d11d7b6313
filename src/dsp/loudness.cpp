#include "dsp/loudness.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "base/error.h"
#include "dsp/sample_blocks.h"
#include "dsp/waveform_filter.h"

namespace velor {

namespace {

constexpr double kStepSeconds = 0.1;
constexpr double kHighestLoopRate =
    1 << 20;  // Hz; above, where only damaged files are, loops are not played round
constexpr std::size_t kMomentarySteps = 4;
constexpr std::size_t kShortTermSteps = 30;
constexpr double kAbsoluteGate = -70;    // LUFS
constexpr double kRelativeGate = -10;    // LU
constexpr double kRangeGate = -20;       // LU (Tech 3342)
constexpr double kLowPercentile = 0.10;  // of the short-term loudness
constexpr double kHighPercentile = 0.95;

double loudnessOf(double energy) {
    return energy > 0 ? -0.691 + 10 * std::log10(energy) : Loudness::kSilence;
}

double energyOf(double loudness) {
    return std::pow(10.0, (loudness + 0.691) / 10);
}

// Means over windows of `count` steps, moving by one. Each window is summed afresh, as a running sum would
// carry the rounding of loud passages into quiet ones.
std::vector<double> windowsOf(const std::vector<double>& steps, std::size_t count) {
    std::vector<double> windows;
    for (std::size_t end = count; end <= steps.size(); ++end) {
        double sum = 0;
        for (std::size_t i = end - count; i < end; ++i)
            sum += steps[i];
        windows.push_back(sum / static_cast<double>(count));
    }
    return windows;
}

// The windows louder than the absolute gate, then those within `below` LU (negative) of their mean.
std::vector<double> gated(std::vector<double> windows, double below) {
    const auto keepAbove = [&](double energy) {
        std::erase_if(windows, [=](double window) { return !(window > energy); });
    };
    const auto mean = [&] {
        double sum = 0;
        for (const double window : windows)
            sum += window;
        return sum / static_cast<double>(windows.size());
    };
    keepAbove(energyOf(kAbsoluteGate));
    if (!windows.empty())
        keepAbove(mean() * std::pow(10.0, below / 10));
    return windows;
}

double highest(const std::vector<double>& windows) {
    return *std::max_element(windows.begin(), windows.end());
}

}  // namespace

std::vector<BiquadSection> kWeighting(double rate) {
    // Frequencies, quality factors and gains of the prototypes: B. De Man, Evaluation of Implementations of
    // the EBU R128 Loudness Measurement (AES 145, 2018).
    constexpr double kShelfFrequency = 1681.974450955533, kShelfQ = 0.7071752369554196;
    constexpr double kShelfGain = 3.999843853973347;  // dB
    constexpr double kShelfBandPower = 0.4996667741545416;
    constexpr double kPassFrequency = 38.13547087602444, kPassQ = 0.5003270373238773;
    std::vector<BiquadSection> sections;
    if (2 * kShelfFrequency < rate) {
        const double k = std::tan(std::numbers::pi * kShelfFrequency / rate);
        const double high = std::pow(10.0, kShelfGain / 20), band = std::pow(high, kShelfBandPower);
        const double a0 = 1 + k / kShelfQ + k * k;
        sections.push_back({(high + band * k / kShelfQ + k * k) / a0, 2 * (k * k - high) / a0,
                            (high - band * k / kShelfQ + k * k) / a0, 2 * (k * k - 1) / a0,
                            (1 - k / kShelfQ + k * k) / a0});
    }
    if (2 * kPassFrequency < rate) {
        const double k = std::tan(std::numbers::pi * kPassFrequency / rate);
        const double a0 = 1 + k / kPassQ + k * k;
        sections.push_back({1, -2, 1, 2 * (k * k - 1) / a0, (1 - k / kPassQ + k * k) / a0});
    }
    return sections;
}

LoudnessMeter::LoudnessMeter(unsigned channels, double rate)
    : channels_(channels), rate_(rate), filters_(channels, BiquadCascade(kWeighting(rate))) {}

double LoudnessMeter::stepEnd(std::size_t step) const {
    return std::round(static_cast<double>(step + 1) * kStepSeconds * rate_);
}

void LoudnessMeter::add(std::span<const float> samples) {
    for (std::size_t at = 0; at + channels_ <= samples.size();) {
        const std::uint64_t end = static_cast<std::uint64_t>(stepEnd(steps_.size()));
        const std::size_t count = static_cast<std::size_t>(
            std::min<std::uint64_t>((samples.size() - at) / channels_, end - frame_));
        scratch_.assign(samples.begin() + static_cast<std::ptrdiff_t>(at),
                        samples.begin() + static_cast<std::ptrdiff_t>(at + count * channels_));
        for (unsigned c = 0; c < channels_; ++c)
            filters_[c].process(std::span(scratch_).subspan(std::min<std::size_t>(c, scratch_.size())),
                                channels_);
        double sums[4] = {};
        std::size_t i = 0;
        for (; i + 4 <= scratch_.size(); i += 4) {
            for (std::size_t k = 0; k < 4; ++k)
                sums[k] += static_cast<double>(scratch_[i + k]) * static_cast<double>(scratch_[i + k]);
        }
        for (; i < scratch_.size(); ++i)
            sums[0] += static_cast<double>(scratch_[i]) * static_cast<double>(scratch_[i]);
        sum_ += sums[0] + sums[1] + sums[2] + sums[3];
        at += count * channels_;
        frame_ += count;
        if (frame_ == end) {
            steps_.push_back(sum_ / static_cast<double>(end - stepBegin_));
            sum_ = 0;
            stepBegin_ = end;
        }
    }
}

Loudness LoudnessMeter::result() const {
    Loudness result;
    // What silence behind a short sound makes of it.
    double all = sum_ / (kStepSeconds * rate_);
    for (const double step : steps_)
        all += step;
    const bool isShort = steps_.size() < kMomentarySteps;
    const std::vector<double> momentary =
        isShort ? std::vector<double>{all / kMomentarySteps} : windowsOf(steps_, kMomentarySteps);
    result.momentary = loudnessOf(highest(momentary));
    const std::vector<double> blocks = gated(momentary, kRelativeGate);
    double sum = 0;
    for (const double block : blocks)
        sum += block;
    if (!blocks.empty())
        result.integrated = loudnessOf(sum / static_cast<double>(blocks.size()));
    if (steps_.size() < kShortTermSteps) {
        result.shortTerm = loudnessOf(all / kShortTermSteps);
        return result;
    }
    const std::vector<double> shortTerm = windowsOf(steps_, kShortTermSteps);
    result.shortTerm = loudnessOf(highest(shortTerm));
    std::vector<double> sorted = gated(shortTerm, kRangeGate);
    if (!sorted.empty()) {
        std::sort(sorted.begin(), sorted.end());
        const auto percentile = [&](double share) {
            return loudnessOf(sorted[static_cast<std::size_t>(
                std::lround(share * static_cast<double>(sorted.size() - 1)))]);
        };
        result.range = percentile(kHighPercentile) - percentile(kLowPercentile);
    }
    return result;
}

bool measureLoudness(const Waveform& waveform, UserInterface& ui, Loudness& loudness, double progressFrom,
                     double progressTo) {
    if (waveform.sampleRate < kLowestLoudnessRate)
        return fail("The sample rate is too low for a measurement of loudness");
    const unsigned channels = waveform.channels;
    const std::span<const float> samples = waveform.samples();
    const std::size_t frames = samples.size() / channels;
    const double rate = waveform.sampleRate;
    LoudnessMeter meter(channels, rate);
    const auto wanted = static_cast<std::size_t>(std::ceil(kMomentarySteps * kStepSeconds * rate));
    const std::optional<WholeLoop> loop = periodicLoop(waveform);
    if (frames < wanted && rate <= kHighestLoopRate && loop && loop->end * channels <= samples.size()) {
        // What lies behind the loop is heard after the key is released, if at all.
        meter.add(samples.first(loop->end * channels));
        const auto round = samples.subspan(loop->start * channels, (loop->end - loop->start) * channels);
        for (std::size_t heard = loop->end; heard < wanted;) {
            if (ui.aborted())
                return fail(kProcessingCancelled);
            for (std::size_t block = 0; block < kBlockFrames && heard < wanted;) {
                const std::size_t count = std::min(round.size() / channels, wanted - heard);
                meter.add(round.first(count * channels));
                heard += count;
                block += count;
            }
        }
    } else if (!inBlocks(frames, ui, {progressFrom, progressTo}, [&](std::size_t first, std::size_t count) {
                   meter.add(samples.subspan(first * channels, count * channels));
               })) {
        return false;
    }
    loudness = meter.result();
    return true;
}

}  // namespace velor
