#include "dsp/true_peak.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "dsp/level.h"
#include "dsp/sample_blocks.h"

namespace velor {

namespace {

constexpr std::size_t kTaps = 32;
constexpr std::size_t kPhases = 3;  // between two samples, beside the samples themselves
constexpr double kKaiserBeta = 5.0;
constexpr std::size_t kGroup = 256;  // points computed at a time

struct Interpolator {
    std::array<std::array<float, kTaps>, kPhases> taps;
    // The most that a phase can make of samples up to 1: the sum of its taps' sizes.
    float most = 0;
};

double bessel0(double x) {
    double sum = 1, term = 1;
    for (int k = 1; k < 40; ++k) {
        term *= (x / 2 / k) * (x / 2 / k);
        sum += term;
    }
    return sum;
}

// Point p lies (p + 1) / 4 behind the sample of tap kTaps / 2 - 1.
Interpolator makeInterpolator() {
    Interpolator made;
    for (std::size_t p = 0; p < kPhases; ++p) {
        std::array<double, kTaps> taps;
        double sum = 0, size = 0;
        for (std::size_t k = 0; k < kTaps; ++k) {
            const double x = static_cast<double>(k) - (kTaps / 2 - 1) - static_cast<double>(p + 1) / 4;
            const double along = x / (kTaps / 2);
            taps[k] = std::sin(std::numbers::pi * x) / (std::numbers::pi * x) *
                      bessel0(kKaiserBeta * std::sqrt(std::max(0.0, 1 - along * along)));
            sum += taps[k];
        }
        for (std::size_t k = 0; k < kTaps; ++k) {
            made.taps[p][k] = static_cast<float>(taps[k] / sum);
            size += std::fabs(taps[k] / sum);
        }
        made.most = std::max(made.most, static_cast<float>(size));
    }
    return made;
}

const Interpolator& interpolator() {
    static const Interpolator made = makeInterpolator();
    return made;
}

// The points that begin at samples[kTaps / 2 - 1], `count` samples on; samples holds count + kTaps - 1.
[[gnu::always_inline]] inline float peakOfPoints(const Interpolator& interpolate, const float* samples,
                                                 std::size_t count) {
    std::array<float, kGroup> points;
    float peak = 0;
    for (const std::array<float, kTaps>& taps : interpolate.taps) {
        points.fill(0);
        for (std::size_t k = 0; k < kTaps; k += 8) {
            for (std::size_t i = 0; i < count; ++i) {
                float sum = points[i];
                for (std::size_t j = 0; j < 8; ++j)
                    sum += taps[k + j] * samples[i + k + j];
                points[i] = sum;
            }
        }
        for (std::size_t i = 0; i < count; ++i)
            peak = std::fabs(points[i]) > peak ? std::fabs(points[i]) : peak;
    }
    return peak;
}

float peakBetween(const Interpolator& interpolate, const float* samples, std::size_t count) {
    return peakOfPoints(interpolate, samples, count);
}

// The same with twice as wide registers; without fused operations, so that results are the same. Not on
// Windows, where g++ does not align the stack for them.
#if defined(__x86_64__) && !defined(_WIN32)
[[gnu::target("avx2")]] float peakBetweenAvx2(const Interpolator& interpolate, const float* samples,
                                              std::size_t count) {
    return peakOfPoints(interpolate, samples, count);
}
const auto peakBetweenHere = __builtin_cpu_supports("avx2") ? peakBetweenAvx2 : peakBetween;
#else
const auto peakBetweenHere = peakBetween;
#endif

}  // namespace

TruePeakMeter::TruePeakMeter(unsigned channels)
    : channels_(channels), waiting_(channels, std::vector<float>(kTaps - 1)) {}

void TruePeakMeter::measure(std::span<const float> samples) {
    peak_ = std::max(peak_, peakOf(samples));
    for (std::size_t at = 0; at + kTaps <= samples.size(); at += kGroup) {
        const std::size_t count = std::min(kGroup, samples.size() - at - (kTaps - 1));
        // Quiet passages can not beat the peak, and need not be interpolated.
        if (peakOf(samples.subspan(at, count + kTaps - 1)) * interpolator().most > peak_)
            peak_ = std::max(peak_, peakBetweenHere(interpolator(), samples.data() + at, count));
    }
}

void TruePeakMeter::add(std::span<const float> samples) {
    const std::size_t count = samples.size() / channels_;
    for (unsigned c = 0; c < channels_; ++c) {
        std::vector<float>& all = waiting_[c];
        const std::size_t kept = kTaps - 1;
        all.resize(kept + count);
        for (std::size_t i = 0; i < count; ++i)
            all[kept + i] = finiteOrZero(samples[i * channels_ + c]);
        measure(all);
        std::copy(all.end() - static_cast<std::ptrdiff_t>(kept), all.end(), all.begin());
    }
}

float TruePeakMeter::finish() {
    add(std::vector<float>((kTaps - 1) * channels_));
    return peak_;
}

bool measureTruePeak(std::span<const float> samples, unsigned channels, UserInterface& ui, float& peak,
                     double progressFrom, double progressTo) {
    TruePeakMeter meter(channels);
    if (!inBlocks(samples.size() / channels, ui, {progressFrom, progressTo},
                  [&](std::size_t first, std::size_t count) {
                      meter.add(samples.subspan(first * channels, count * channels));
                  }))
        return false;
    peak = meter.finish();
    return true;
}

}  // namespace velor
