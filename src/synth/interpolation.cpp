#include "synth/interpolation.h"

#include <algorithm>
#include <cmath>

namespace velor {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kTapsPerOctave = 16;   // taps at ratio 1; they grow with the ratio
constexpr double kKaiserBeta = 6.0;  // side lobes about 63 dB down

// Modified Bessel function of order 0, by its power series.
double bessel(double x) {
    double sum = 1;
    double term = 1;
    for (int i = 1; i < 40; ++i) {
        term *= (x / (2 * i)) * (x / (2 * i));
        sum += term;
        if (term < 1e-12 * sum)
            break;
    }
    return sum;
}

// The right half of a Kaiser window on a fine grid (J. F. Kaiser, 1974).
class KaiserWindow {
  public:
    KaiserWindow() {
        for (int i = 0; i <= kSteps; ++i) {
            const double x = static_cast<double>(i) / kSteps;
            grid_[static_cast<std::size_t>(i)] =
                bessel(kKaiserBeta * std::sqrt(1 - x * x)) / bessel(kKaiserBeta);
        }
    }
    // At a distance of 0..1 from the middle.
    double at(double distance) const {
        const double x = std::min(std::fabs(distance), 1.0) * kSteps;
        const auto i = static_cast<std::size_t>(std::min(x, kSteps - 1.0));
        const double f = x - static_cast<double>(i);
        return grid_[i] * (1 - f) + grid_[i + 1] * f;
    }

  private:
    static constexpr int kSteps = 2048;
    std::array<double, kSteps + 1> grid_;
};

}  // namespace

const InterpolationFilters& InterpolationFilters::instance() {
    static const InterpolationFilters filters;
    return filters;
}

InterpolationFilters::InterpolationFilters() {
    std::size_t size = 8;
    std::array<int, kLevels> taps;
    for (int level = 0; level < kLevels; ++level) {
        const double ratio = std::exp2(level / 4.0);
        taps[static_cast<std::size_t>(level)] =
            std::min(kMaximumTaps, (static_cast<int>(std::lround(kTapsPerOctave * ratio)) + 7) / 8 * 8);
        size += static_cast<std::size_t>(taps[static_cast<std::size_t>(level)]) *
                (InterpolationFilter::kPhases + 1);
    }
    memory_.resize(size);
    auto* to = memory_.data();
    while (reinterpret_cast<std::uintptr_t>(to) % 32 != 0)
        ++to;
    const KaiserWindow window;
    for (int level = 0; level < kLevels; ++level) {
        InterpolationFilter& filter = filters_[static_cast<std::size_t>(level)];
        filter.taps = taps[static_cast<std::size_t>(level)];
        filter.maximumRatio = static_cast<float>(std::exp2(level / 4.0));
        filter.rows = to;
        // The middle of the transition band, in source frames: for samples played at their own speed or
        // slower a little below half their rate; above, low enough that the stop band begins at half the
        // output rate.
        const double cutoff = level == 0 ? 0.46 : 0.5 * 0.82 / filter.maximumRatio;
        const int half = filter.taps / 2;
        for (int phase = 0; phase <= InterpolationFilter::kPhases; ++phase) {
            const double offset = static_cast<double>(phase) / InterpolationFilter::kPhases;
            double sum = 0;
            std::array<double, kMaximumTaps> row;
            for (int tap = 0; tap < filter.taps; ++tap) {
                const double x = tap - (half - 1) - offset;
                const double angle = 2 * kPi * cutoff * x;
                const double sinc = std::fabs(angle) < 1e-9 ? 1 : std::sin(angle) / angle;
                row[static_cast<std::size_t>(tap)] = sinc * window.at(x / half);
                sum += row[static_cast<std::size_t>(tap)];
            }
            for (int tap = 0; tap < filter.taps; ++tap)
                *to++ = static_cast<float>(row[static_cast<std::size_t>(tap)] / sum);
        }
    }
}

const InterpolationFilter& InterpolationFilters::forRatio(float ratio) const {
    for (const InterpolationFilter& filter : filters_)
        if (ratio <= filter.maximumRatio * 1.0001f)
            return filter;
    return filters_.back();
}

}  // namespace velor
