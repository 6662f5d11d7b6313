// Resampling by the definition of its filters, in double precision and one product at a time.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace velor::test {

// Interleaved frames as the resampler should give them, before rounding to floats.
class ReferenceResampler {
  public:
    ReferenceResampler(std::vector<float> frames, unsigned channels, int method, unsigned bits, double ratio)
        : frames_(std::move(frames)), channels_(channels), method_(method), ratio_(ratio) {
        static constexpr int kLevels[] = {0, 0, 0, 8, 12, 16, 20, 24};
        level_ = method == 8 ? (bits > 16 ? 20 : 16) : method < 8 ? kLevels[method] : 0;
        scale_ = std::min(ratio, 1.0);
        switch (level_) {
            case 8:
                set(0.77, 6.0, 8);
                break;
            case 12:
                set(0.86, 7.5, 17);
                break;
            case 16:
                set(0.905, 9.5, 34);
                break;
            case 20:
                set(0.97, 11.0, 132);
                break;
            default:
                set(0.985, 14.0, 499);
        }
    }

    std::vector<double> run(std::size_t outputs) {
        std::vector<double> result;
        double position = 0;
        for (std::size_t k = 0; k < outputs; ++k, position += 1 / ratio_) {
            const bool inside = position < static_cast<double>(frames_.size() / channels_);
            const long index = inside ? static_cast<long>(position) : 0;
            const double fraction = static_cast<float>(position - static_cast<double>(index));
            for (unsigned c = 0; c < channels_; ++c)
                result.push_back(inside ? std::clamp(value(c, index, fraction), -1.0, 1.0) : 0.0);
        }
        return result;
    }

    // The row of a phase r / 2048, by the definition of window and sinc.
    const std::vector<double>& row(unsigned r) {
        std::vector<double>& taps = rows_[r];
        for (unsigned k = static_cast<unsigned>(taps.size()); k < taps_; ++k)
            taps.push_back(tap(k, r / 2048.0));
        return taps;
    }
    unsigned taps() const { return taps_; }

  private:
    void set(double cutoff, double beta, double base) {
        cutoff_ = ratio_ >= 1 ? 1.0 : cutoff;
        beta_ = ratio_ >= 1 ? 9.0 : beta;
        taps_ = static_cast<unsigned>(std::ceil(base / scale_));
    }

    static double bessel(double z) { return std::cyl_bessel_i(0.0, z); }

    double tap(unsigned k, double phase) const {
        if (k == 0 && phase == 0)
            return cutoff_;
        const double x = (k + phase) * scale_;
        const double a = x * M_PI;
        const double edge = x / (scale_ * taps_);
        return bessel(beta_ * std::sqrt(std::max(1 - edge * edge, 0.0))) / bessel(beta_) *
               std::sin(cutoff_ * a) / a;
    }

    double x(unsigned channel, long index) const {
        if (index < 0 || index >= static_cast<long>(frames_.size() / channels_))
            return 0;
        const double sample = frames_[static_cast<std::size_t>(index) * channels_ + channel];
        return std::isfinite(sample) ? sample : 0;
    }

    double phaseDot(unsigned channel, unsigned taps, long start, int step, double phase) {
        const auto j = static_cast<unsigned>(phase * 2048);
        const double u = phase * 2048 - j;
        const std::vector<double>& low = row(j);
        const std::vector<double>& high = u != 0 ? row(j + 1) : low;
        double sum = 0;
        for (unsigned m = 0; m < taps; ++m)
            sum += (u * high[m] + (1 - u) * low[m]) * x(channel, start + static_cast<long>(m) * step);
        return sum;
    }

    double value(unsigned c, long i, double t) {
        if (level_ != 0)
            return scale_ * (phaseDot(c, taps_, i, -1, t) + phaseDot(c, taps_ - 1, i + 1, 1, 1 - t));
        if (method_ == 0)
            return x(c, t >= 0.5 ? i + 1 : i);
        if (method_ != 2)
            return x(c, i) + (x(c, i + 1) - x(c, i)) * t;
        // Lagrange's basis for the nodes -1, 0, 1, 2.
        return x(c, i - 1) * (-t * (t - 1) * (t - 2) / 6) + x(c, i) * ((t + 1) * (t - 1) * (t - 2) / 2) +
               x(c, i + 1) * (-(t + 1) * t * (t - 2) / 2) + x(c, i + 2) * ((t + 1) * t * (t - 1) / 6);
    }

    std::vector<float> frames_;
    unsigned channels_;
    int method_;
    int level_ = 0;
    double ratio_;
    double scale_ = 1, cutoff_ = 1, beta_ = 0;
    unsigned taps_ = 0;
    std::map<unsigned, std::vector<double>> rows_;
};

}  // namespace velor::test
