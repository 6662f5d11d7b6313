#include "dsp/pitch_period.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>
#include <vector>

#include "dsp/fft.h"

namespace velor {

namespace {

constexpr double kWindowSeconds = 0.2;
constexpr int kWindows = 5;
constexpr double kAttackShare = 0.15;  // of the waveform, not looked at when it is long enough
constexpr double kSilence = 1e-9;      // mean square
constexpr double kGoodEnough = 0.85;   // of the highest peak
constexpr double kClearlyHigher = 0.02;
constexpr double kOwnPartials = 0.08;  // amplitude, of the strongest partial that both periods explain

struct Peak {
    double lag = 0;
    double height = 0;
};

// Correlation by lag and the power spectrum, both summed over windows of equal weight.
class Repetition {
  public:
    Repetition(std::span<const float> mono, std::uint32_t rate)
        : mono_(mono),
          window_(std::min(std::bit_floor(static_cast<std::size_t>(rate * kWindowSeconds)), mono.size())),
          fft_(std::bit_ceil(2 * window_)),
          spectrum_(fft_.bins()),
          padded_(fft_.size()),
          product_(window_ / 2 + 1),
          energy_(window_ / 2 + 1),
          power_(fft_.bins()) {
        const bool several = mono.size() >= 2 * window_;
        for (int i = 0; i < (several ? kWindows : 1); ++i) {
            const double place = several ? kAttackShare + (1 - 2 * kAttackShare) * i / (kWindows - 1) : 0.5;
            add(static_cast<std::size_t>(static_cast<double>(mono.size() - window_) * place));
        }
        for (std::size_t lag = 0; lag < product_.size(); ++lag)
            product_[lag] = energy_[lag] > 1e-3 * energy_[0] ? product_[lag] / energy_[lag] : 0;
    }

    // The highest point of each stretch above zero but the first, whose top is lag 0.
    std::vector<Peak> peaks() const {
        const std::vector<double>& n = product_;
        std::vector<Peak> found;
        std::size_t lag = 0;
        while (lag < n.size() && n[lag] > 0)
            ++lag;
        while (lag < n.size()) {
            std::size_t top = lag;
            for (; lag < n.size() && n[lag] <= 0; ++lag)
                top = lag + 1;
            for (; lag < n.size() && n[lag] > 0; ++lag)
                top = n[lag] > n[top] ? lag : top;
            if (top + 1 >= n.size() || n[top] < n[top - 1] || n[top] < n[top + 1])
                continue;
            const double curve = n[top - 1] - 2 * n[top] + n[top + 1];
            const double offset = curve < 0 ? 0.5 * (n[top - 1] - n[top + 1]) / curve : 0;
            found.push_back(
                {static_cast<double>(top) + offset, n[top] - 0.25 * (n[top - 1] - n[top + 1]) * offset});
        }
        return found;
    }

    // Amplitude of the strongest partial at odd multiples of 1/lag, relative to that at even ones.
    double oddPartials(double lag) const {
        const double spacing = static_cast<double>(fft_.size()) / lag;  // bins
        double strongest[2] = {};
        for (int h = 1; h * spacing + 0.25 * spacing < static_cast<double>(power_.size()) && h <= 40; ++h) {
            const auto low = static_cast<std::size_t>((h - 0.2) * spacing);
            const auto high = static_cast<std::size_t>((h + 0.2) * spacing);
            for (std::size_t bin = std::max<std::size_t>(low, 1); bin <= high && bin + 1 < power_.size();
                 ++bin) {
                if (power_[bin] >= power_[bin - 1] && power_[bin] >= power_[bin + 1])
                    strongest[h % 2] = std::max(strongest[h % 2], power_[bin]);
            }
        }
        return strongest[0] > 0 ? std::sqrt(strongest[1] / strongest[0]) : 1;
    }

  private:
    void add(std::size_t at) {
        double mean = 0;
        for (std::size_t i = 0; i < window_; ++i)
            mean += static_cast<double>(mono_[at + i]);
        mean /= static_cast<double>(window_);
        std::vector<double> sums(window_ + 1);  // of squares, up to each sample
        std::ranges::fill(padded_, 0.0f);
        for (std::size_t i = 0; i < window_; ++i) {
            const double sample = static_cast<double>(mono_[at + i]) - mean;
            padded_[i] = static_cast<float>(sample);
            sums[i + 1] = sums[i] + sample * sample;
        }
        const double all = sums[window_];
        if (!(all > kSilence * static_cast<double>(window_)) || !std::isfinite(all))
            return;
        // Scaled to unit energy, so that squares of extreme values still fit.
        const auto scale = static_cast<float>(1 / std::sqrt(all));
        for (float& sample : padded_)
            sample *= scale;
        fft_.forward(padded_, spectrum_);
        for (RealFft::Complex& bin : spectrum_)
            bin = std::norm(bin);
        fft_.inverse(spectrum_, padded_);
        for (std::size_t lag = 0; lag < product_.size(); ++lag) {
            product_[lag] += static_cast<double>(padded_[lag]);
            energy_[lag] += std::sqrt(sums[window_ - lag] * (all - sums[lag])) / all;
        }
        // The spectrum for partials wants a window of its own: without one the strong ones hide the weak.
        std::ranges::fill(padded_, 0.0f);
        for (std::size_t i = 0; i < window_; ++i) {
            const double turn =
                2 * std::numbers::pi * (static_cast<double>(i) + 0.5) / static_cast<double>(window_);
            padded_[i] = static_cast<float>((static_cast<double>(mono_[at + i]) - mean) *
                                            (0.5 - 0.5 * std::cos(turn))) *
                         scale;
        }
        fft_.forward(padded_, spectrum_);
        for (std::size_t bin = 0; bin < power_.size(); ++bin)
            power_[bin] += static_cast<double>(std::norm(spectrum_[bin]));
    }

    std::span<const float> mono_;
    std::size_t window_;
    RealFft fft_;
    std::vector<RealFft::Complex> spectrum_;
    std::vector<float> padded_;
    std::vector<double> product_, energy_, power_;
};

}  // namespace

bool estimatePeriod(std::span<const float> mono, std::uint32_t rate, PeriodEstimate& estimate) {
    if (mono.size() < 16 || rate < 100)
        return false;
    const Repetition repetition(mono, rate);
    const std::vector<Peak> peaks = repetition.peaks();
    if (peaks.empty())
        return false;
    const double highest = std::ranges::max_element(peaks, {}, &Peak::height)->height;
    const auto first =
        std::ranges::find_if(peaks, [=](const Peak& peak) { return peak.height >= kGoodEnough * highest; });
    Peak chosen = *first;
    for (const Peak& peak : peaks) {
        if (std::abs(peak.lag / chosen.lag - 2) < 0.05 && peak.height > chosen.height + kClearlyHigher &&
            repetition.oddPartials(peak.lag) > kOwnPartials) {
            chosen = peak;
            break;
        }
    }
    estimate = {rate / chosen.lag, std::min(chosen.height, 1.0)};
    return true;
}

}  // namespace velor
