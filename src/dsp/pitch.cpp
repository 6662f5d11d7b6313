#include "dsp/pitch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <new>
#include <numbers>
#include <vector>

#include "base/error.h"
#include "base/rounding.h"
#include "dsp/editable_samples.h"
#include "dsp/loop_similarity.h"
#include "dsp/pitch_period.h"

namespace velor {

namespace {

constexpr double kLowestFrequency = 8;  // Hz
constexpr std::int64_t kMostPeriods = 4;
constexpr std::int64_t kCoarseWindow = 1 << 14;  // samples
constexpr int kSincReach = 16;                   // samples to each side
constexpr double kTrustedClarity = 0.5;
constexpr double kSamePitch = 0.5;  // semitones
constexpr double kPeriodPrecision = 0.02;
constexpr std::uint32_t kUnrolledShare = 2;  // of a second: loops of shorter waveforms are played on to 1/2 s
constexpr std::uint32_t kHighestUnrolledRate = 1 << 20;  // Hz; files may claim anything

// Correlation of one run of samples with runs elsewhere in the same samples.
class PeriodMatch {
  public:
    PeriodMatch(std::span<const float> mono, std::int64_t reference, std::int64_t window)
        : mono_(mono), reference_(reference), window_(window) {}

    double at(std::int64_t start) const { return over(start, window_); }

    // The best of every step-th start in low..high; the first one wins ties. Coarse steps need not look at
    // all of a period of more than kCoarseWindow, which only rates far above those of sound have.
    std::int64_t best(std::int64_t low, std::int64_t high, std::int64_t step) const {
        const std::int64_t count = step > 1 ? std::min(window_, kCoarseWindow) : window_;
        std::int64_t found = low;
        double highest = -2;
        for (std::int64_t s = low; s <= high; s += step) {
            const double likeness = over(s, count);
            if (likeness > highest) {
                highest = likeness;
                found = s;
            }
        }
        return found;
    }

    // The same with a run that starts between two samples, by a windowed sinc; silence lies around the
    // samples.
    double between(double start) const {
        const double whole = std::floor(start);
        const double fraction = start - whole;
        std::array<double, 2 * kSincReach> taps;
        for (int k = 0; k < 2 * kSincReach; ++k) {
            const double x = k - kSincReach + 1 - fraction;
            const double turn = std::numbers::pi * x;
            const double window = 0.5 + 0.5 * std::cos(turn / kSincReach);
            taps[static_cast<std::size_t>(k)] = x == 0 ? 1 : std::sin(turn) / turn * window;
        }
        const auto length = static_cast<std::int64_t>(mono_.size());
        const std::int64_t first = static_cast<std::int64_t>(whole) - kSincReach + 1;
        double product = 0, energy = 0, own = 0;
        for (std::int64_t i = 0; i < window_; ++i) {
            double value = 0;
            const std::int64_t from = std::max<std::int64_t>(0, -(first + i));
            const std::int64_t to = std::min<std::int64_t>(2 * kSincReach, length - (first + i));
            for (std::int64_t k = from; k < to; ++k)
                value += taps[static_cast<std::size_t>(k)] *
                         static_cast<double>(mono_[static_cast<std::size_t>(first + i + k)]);
            const double here = static_cast<double>(mono_[static_cast<std::size_t>(reference_ + i)]);
            product += here * value;
            energy += value * value;
            own += here * here;
        }
        const double scale = std::sqrt(energy * own);
        return scale > 0 ? product / scale : 0;
    }

    // Where around `start`, less than a sample away, the likeness is highest: parabolas through three places
    // that draw closer. The first one uses whole samples, the others what lies between.
    double offset(std::int64_t start) const {
        if (start < 1 || start + window_ >= static_cast<std::int64_t>(mono_.size()))
            return 0;
        double found = top(at(start - 1), at(start), at(start + 1));
        for (const double step : {0.25, 0.05, 0.01}) {
            const double middle = static_cast<double>(start) + found;
            found += step * top(between(middle - step), between(middle), between(middle + step));
        }
        return std::clamp(found, -1.0, 1.0);
    }

  private:
    double over(std::int64_t start, std::int64_t count) const {
        return loopSimilarity(mono_.data() + reference_, mono_.data() + start,
                              static_cast<std::size_t>(count));
    }

    // Of the parabola through three values 1 apart, from the middle one on; at most one step away.
    static double top(double before, double here, double after) {
        const double curve = before - 2 * here + after;
        return curve < 0 ? std::clamp(0.5 * (before - after) / curve, -1.0, 1.0) : 0;
    }

    std::span<const float> mono_;
    std::int64_t reference_;
    std::int64_t window_;
};

// Coarse to fine, a range of at least 64 steps at a time, so that long ranges cost little.
std::int64_t searchBest(const PeriodMatch& match, std::int64_t low, std::int64_t high) {
    const std::int64_t first = low;
    const std::int64_t last = high;
    for (const std::int64_t step : {1024, 16}) {
        if (high - low < 64 * step)
            continue;
        const std::int64_t near = match.best(low, high, step);
        low = std::max(first, near - (step - 1));
        high = std::min(last, near + (step - 1));
    }
    return match.best(low, high, 1);
}

// Replaces a frequency that is not the one at which the sound repeats.
void putRight(std::span<const float> played, std::uint32_t rate, double& frequency) {
    PeriodEstimate period;
    if (!estimatePeriod(played, rate, period) || period.clarity <= kTrustedClarity ||
        std::abs(12 * std::log2(frequency / period.frequency)) <= kSamePitch)
        return;
    frequency = period.frequency;
    refinePitch(played, rate, period.frequency, kPeriodPrecision * period.frequency, frequency);
}

// The spectrum finds the lowest strong partial, its refinement the exact frequency.
bool detectPitch(std::span<const float> mono, std::span<const float> played, std::uint32_t rate,
                 DetectedPitch& pitch) {
    const PitchSpectrum spectrum = pitchSpectrum(mono, rate);
    SpectralEstimate estimate;
    double frequency = 0;
    if (spectrum.levels.empty() || !spectralEstimate(spectrum, estimate) ||
        !refinePitch(mono, rate, estimate.frequency, estimate.binWidth, frequency))
        return fail(kPitchFailed);
    putRight(played.empty() ? mono : played, rate, frequency);
    pitch = pitchOfFrequency(frequency);
    return true;
}

}  // namespace

double keyFrequency(double key, double cents) {
    return kKeyZeroFrequency * std::exp2((key - cents * 0.01) / 12);
}

DetectedPitch pitchOfFrequency(double frequency) {
    double x = std::log2(frequency / kKeyZeroFrequency) * 12;
    int key = static_cast<int>(x + 0.5);
    for (; key > kHighestDetectedKey; key -= 12)
        x -= 12;
    for (; key < 0; key += 12)
        x += 12;
    return {static_cast<std::uint8_t>(key), static_cast<std::int32_t>(roundForDialog((key - x) * 100)),
            static_cast<float>(frequency)};
}

std::vector<float> playedOn(const Waveform& waveform, std::span<const float> mono) {
    const std::size_t wanted = std::min(waveform.sampleRate, kHighestUnrolledRate) / kUnrolledShare;
    const double end = std::floor(waveform.loopEnd);
    const double start = end - std::floor(waveform.loopEnd - waveform.loopStart + 0.5);
    if (!waveform.looped || waveform.loopMode == LoopMode::None || mono.size() >= wanted || !(start >= 0) ||
        !(end > start) || !(end <= static_cast<double>(mono.size())))
        return {};
    std::vector<float> played(mono.begin(), mono.begin() + static_cast<std::ptrdiff_t>(end));
    const auto first = static_cast<std::size_t>(start);
    const auto length = static_cast<std::size_t>(end) - first;
    played.reserve(wanted);
    for (std::size_t i = 0; played.size() < wanted; ++i) {
        const bool back = waveform.loopMode == LoopMode::Alternating && i / length % 2 == 0;
        played.push_back(mono[first + (back ? length - 1 - i % length : i % length)]);
    }
    return played;
}

bool estimateFundamental(std::span<const float> mono, std::span<const float> played, std::uint32_t rate,
                         SpectralEstimate& estimate) {
    const PitchSpectrum spectrum = pitchSpectrum(mono, rate);
    if (spectrum.levels.empty() || !spectralEstimate(spectrum, estimate))
        return false;
    putRight(played.empty() ? mono : played, rate, estimate.frequency);
    return true;
}

bool refinePitch(std::span<const float> mono, std::uint32_t rate, double estimate, double binWidth,
                 double& frequency) {
    const double r = rate;
    const double lo = std::max(kLowestFrequency, estimate - binWidth);
    const double hi = std::min(r / 2, estimate + binWidth);
    if (!(lo < hi))
        return false;
    const auto length = static_cast<std::int64_t>(mono.size());
    const std::int64_t window = std::min(static_cast<std::int64_t>(r / ((lo + hi) / 2) + 0.5), length);
    const std::int64_t rest = length - window;
    const std::int64_t reference = rest - rest / 64;
    const auto longest = static_cast<std::int64_t>(std::ceil(r / lo));
    const auto shortest = static_cast<std::int64_t>(std::floor(r / hi));
    std::int64_t periods = 1;
    while (periods < kMostPeriods && periods * longest < rest / 2)
        ++periods;
    const std::int64_t low = std::max<std::int64_t>(0, reference - periods * longest);
    const std::int64_t high = std::max<std::int64_t>(0, reference - periods * shortest);
    const float* samples = mono.data();
    if (!(dotProduct(samples + reference, samples + reference, static_cast<std::size_t>(window)) > 0))
        return false;
    const PeriodMatch match(mono, reference, window);
    const std::int64_t start = searchBest(match, low, high);
    const double distance = static_cast<double>(reference - start) - match.offset(start);
    if (!(distance > 0))
        return false;
    frequency = r / (distance / static_cast<double>(periods));
    return true;
}

bool detectPitch(std::span<const float> mono, std::uint32_t rate, DetectedPitch& pitch) {
    return detectPitch(mono, mono, rate, pitch);
}

bool detectPitch(Waveform& waveform, DetectedPitch& pitch, UserInterface* ui) {
    if (!waveform.loadSamples())
        return fail(kPitchFailed);
    try {
        const std::vector<float> mono = monoCopy(waveform.samples(), waveform.channels, ui);
        if (mono.empty() && waveform.frames > 0)
            return fail(kProcessingCancelled);
        return detectPitch(mono, playedOn(waveform, mono), waveform.sampleRate, pitch);
    } catch (const std::bad_alloc&) {
        return fail(kPitchFailed);
    }
}

}  // namespace velor
