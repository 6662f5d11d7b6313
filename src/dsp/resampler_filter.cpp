#include "dsp/resampler_filter.h"

#include <algorithm>

namespace velor {

namespace {

struct Level {
    unsigned upTo;  // bits
    double cutoff;
    double beta;
    std::uint32_t taps;
};

constexpr Level kLevels[] = {
    {8, 0.77, 6.0, 8},     {12, 0.86, 7.5, 17},     {16, 0.905, 9.5, 34},
    {20, 0.97, 11.0, 132}, {~0u, 0.985, 14.0, 499},
};
constexpr double kCutoffUpwards = 1.0;
constexpr double kBetaUpwards = 9.0;

// Far beyond what any table can hold, and low enough to be rounded up.
constexpr double kMostTaps = 4294967040.0;

// Two units in the last place below the nearest double to pi: the value that existing tables were made with.
constexpr double kPi = 0x1.921fb54442d16p+1;

constexpr std::size_t kTogether = 64;  // taps that are worked out side by side

}  // namespace

FirDesign firDesign(unsigned level, double ratio) {
    const Level& row = *std::ranges::find_if(kLevels, [=](const Level& each) { return level <= each.upTo; });
    FirDesign design;
    design.scale = std::min(ratio, 1.0);
    design.taps = static_cast<std::uint32_t>(std::min(std::ceil(row.taps / design.scale), kMostTaps));
    design.cutoff = ratio >= 1.0 ? kCutoffUpwards : row.cutoff;
    design.beta = ratio >= 1.0 ? kBetaUpwards : row.beta;
    return design;
}

FirTaps::FirTaps(const FirDesign& design) : design_(design) {
    // I0(z) = sum of ((z/2)^k / k!)²; with z² = beta² y, a polynomial in y whose terms are all positive.
    const double quarter = design.beta * design.beta / 4;
    double term = 1;
    double sum = 0;
    for (int k = 1; term >= sum * 1e-21; ++k) {
        window_.push_back(term);
        sum += term;
        term *= quarter / (static_cast<double>(k) * k);
    }
    for (double& coefficient : window_)
        coefficient /= sum;
}

template <typename Sample>
void FirTaps::fill(double phase, std::uint32_t first, std::span<Sample> taps) const {
    const double reach = 1 / (design_.scale * design_.taps);
    for (std::size_t done = 0; done < taps.size(); done += kTogether) {
        const std::size_t count = std::min(kTogether, taps.size() - done);
        double y[kTogether];
        double sinc[kTogether];
        double window[kTogether];
        for (std::size_t i = 0; i < kTogether; ++i) {
            const double x = (static_cast<double>(first + done + i) + phase) * design_.scale;
            y[i] = 1 - x * reach * (x * reach);
            sinc[i] = x * kPi;
            window[i] = window_.back();
        }
        for (std::size_t k = window_.size() - 1; k-- > 0;) {
            for (std::size_t i = 0; i < kTogether; ++i)
                window[i] = window[i] * y[i] + window_[k];
        }
        for (std::size_t i = 0; i < count; ++i) {
            double tap = 0;
            if (first + done + i < design_.taps)
                tap = sinc[i] == 0 ? design_.cutoff
                                   : window[i] * (std::sin(design_.cutoff * sinc[i]) / sinc[i]);
            taps[done + i] = static_cast<Sample>(tap);
        }
    }
}

void FirTaps::compute(double phase, std::uint32_t first, std::span<double> taps) const {
    fill(phase, first, taps);
}

void FirTaps::compute(double phase, std::uint32_t first, std::span<float> taps) const {
    fill(phase, first, taps);
}

}  // namespace velor
