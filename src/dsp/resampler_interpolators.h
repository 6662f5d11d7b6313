// Single samples between the frames of a waveform. Whole waveforms are resampled much faster by
// resampleFrames(), which gives the same values.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "dsp/resampler_filter.h"

namespace velor {

// The samples of one channel as they are interpolated: `count` of them from frame `first` on, 0 outside of
// the waveform. Samples that are not finite become 0, since a single one would spread over a filter's whole
// length. `frames` are interleaved; `to` is filled front to back or, when `backwards`, from its end.
void copyChannel(std::span<const float> frames, unsigned channels, unsigned channel, std::int64_t first,
                 std::size_t count, bool backwards, float* to);

// All channels of a waveform apart, with zeros before and behind, in one allocation: a pointer for each
// channel, then the planes. Indices from -pre to length + post - 1 are valid.
class ChannelPlanes {
  public:
    // nullptr when memory is exhausted.
    static std::unique_ptr<ChannelPlanes> create(std::span<const float> frames, unsigned channels,
                                                 std::uint64_t pre, std::uint64_t post);

    // The channel's first frame.
    const float* channel(std::uint32_t which) const { return planes_[which]; }

  private:
    ChannelPlanes() = default;

    struct Release {
        void operator()(float** block) const { ::operator delete(static_cast<void*>(block)); }
    };
    std::unique_ptr<float*[], Release> planes_;
};

class Interpolator {
  public:
    explicit Interpolator(std::unique_ptr<ChannelPlanes> planes) : planes_(std::move(planes)) {}
    virtual ~Interpolator() = default;
    Interpolator(const Interpolator&) = delete;
    Interpolator& operator=(const Interpolator&) = delete;

    // The value `fraction` (0 up to 1) of the way from frame `index` to the next one.
    virtual float sample(std::uint32_t channel, std::int32_t index, double fraction) const = 0;

  protected:
    const float* frame(std::uint32_t channel, std::int32_t index) const {
        return planes_->channel(channel) + index;
    }

  private:
    std::unique_ptr<ChannelPlanes> planes_;
};

class NearestInterpolator final : public Interpolator {
  public:
    static constexpr std::uint64_t kPre = 0;
    static constexpr std::uint64_t kPost = 1;
    using Interpolator::Interpolator;
    float sample(std::uint32_t channel, std::int32_t index, double fraction) const override;
};

class LinearInterpolator final : public Interpolator {
  public:
    static constexpr std::uint64_t kPre = 0;
    static constexpr std::uint64_t kPost = 1;
    using Interpolator::Interpolator;
    float sample(std::uint32_t channel, std::int32_t index, double fraction) const override;
};

// Lagrange's polynomial of third order through four frames.
class CubicInterpolator final : public Interpolator {
  public:
    static constexpr std::uint64_t kPre = 1;
    static constexpr std::uint64_t kPost = 2;
    using Interpolator::Interpolator;
    float sample(std::uint32_t channel, std::int32_t index, double fraction) const override;
};

// A windowed sinc. The side at and before the position has one tap more than the side behind it.
class FirInterpolator final : public Interpolator {
  public:
    static constexpr std::uint32_t kPhases = 2048;

    // Needs taps - 1 zeros before the planes and taps behind. With an empty table when memory is exhausted.
    FirInterpolator(std::unique_ptr<ChannelPlanes> planes, const FirDesign& design);

    bool valid() const { return table_.phases() != 0; }
    float sample(std::uint32_t channel, std::int32_t index, double fraction) const override;

    std::uint32_t stride() const { return stride_; }
    std::uint32_t taps() const { return taps_; }
    double scale() const { return scale_; }
    double cutoff() const { return cutoff_; }
    double beta() const { return beta_; }
    // Taps 0 to taps() - 1 for the phase number / kPhases, then zeros up to stride().
    std::span<const double> row(std::uint32_t number) const;

  private:
    double phaseDot(std::uint32_t taps, const float* start, std::ptrdiff_t step, double phase) const;

    PhaseTable<double> table_;
    std::uint32_t stride_;
    std::uint32_t taps_;
    double scale_;
    double cutoff_;
    double beta_;
    FirTaps compute_;
};

// The interpolator of a method for interleaved frames; firLevel as firLevelOf() gives it. nullptr when memory
// is exhausted.
std::unique_ptr<Interpolator> makeInterpolator(std::uint8_t method, unsigned firLevel, double ratio,
                                               std::span<const float> frames, unsigned channels);

namespace interpolation {

// x points at the frame at or before the position.
inline float nearest(const float* x, double fraction) {
    return x[fraction >= 0.5 ? 1 : 0];
}
inline float linear(const float* x, double fraction) {
    return static_cast<float>(x[0] + (static_cast<double>(x[1]) - x[0]) * fraction);
}
inline float cubic(const float* x, double t) {
    const double y0 = x[-1], y1 = x[0], y2 = x[1], y3 = x[2];
    const double value =
        ((((y1 - y2) * 3 + y3 - y0) * t + ((y0 + y2) * 3 - 6 * y1)) * t + (6 * y2 - y3 - 3 * y1 - 2 * y0)) *
            t +
        6 * y1;
    return static_cast<float>(value * (1.0 / 6));
}

}  // namespace interpolation

}  // namespace velor
