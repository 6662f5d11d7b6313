#include "dsp/resampler_interpolators.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "dsp/resampler.h"

namespace velor {

namespace {

// All but NaN and the infinities.
float finite(float sample) {
    return std::fabs(sample) <= std::numeric_limits<float>::max() ? sample : 0.0f;
}

template <unsigned kStride>
void copyForwards(const float* from, unsigned stride, std::size_t count, float* to) {
    for (std::size_t i = 0; i < count; ++i)
        to[i] = finite(from[i * (kStride ? kStride : stride)]);
}

template <unsigned kStride>
void copyBackwards(const float* from, unsigned stride, std::size_t count, float* to) {
    for (std::size_t i = 0; i < count; ++i)
        to[count - 1 - i] = finite(from[i * (kStride ? kStride : stride)]);
}

}  // namespace

void copyChannel(std::span<const float> frames, unsigned channels, unsigned channel, std::int64_t first,
                 std::size_t count, bool backwards, float* to) {
    const auto length = static_cast<std::int64_t>(frames.size() / channels);
    const std::int64_t end = first + static_cast<std::int64_t>(count);
    const std::int64_t realFirst = std::clamp<std::int64_t>(first, 0, length);
    const std::int64_t realEnd = std::clamp<std::int64_t>(end, realFirst, length);
    auto before =
        static_cast<std::size_t>(std::min(std::max<std::int64_t>(realFirst - first, 0), end - first));
    const auto real = static_cast<std::size_t>(realEnd - realFirst);
    std::size_t after = count - before - real;
    if (backwards)
        std::swap(before, after);
    std::fill_n(to, before, 0.0f);
    std::fill_n(to + before + real, after, 0.0f);
    if (real == 0)
        return;
    const float* from = frames.data() + static_cast<std::size_t>(realFirst) * channels + channel;
    to += before;
    if (channels == 1)
        backwards ? copyBackwards<1>(from, 1, real, to) : copyForwards<1>(from, 1, real, to);
    else if (channels == 2)
        backwards ? copyBackwards<2>(from, 2, real, to) : copyForwards<2>(from, 2, real, to);
    else
        backwards ? copyBackwards<0>(from, channels, real, to) : copyForwards<0>(from, channels, real, to);
}

std::unique_ptr<ChannelPlanes> ChannelPlanes::create(std::span<const float> frames, unsigned channels,
                                                     std::uint64_t pre, std::uint64_t post) {
    const std::uint64_t length = channels ? frames.size() / channels : 0;
    const std::uint64_t size = channels * (sizeof(float*) + (pre + length + post) * sizeof(float));
    if (size > std::numeric_limits<std::size_t>::max() / 2)
        return nullptr;
    std::unique_ptr<ChannelPlanes> planes(new (std::nothrow) ChannelPlanes);
    if (!planes)
        return nullptr;
    planes->planes_.reset(static_cast<float**>(::operator new(static_cast<std::size_t>(size), std::nothrow)));
    if (!planes->planes_)
        return nullptr;
    auto* plane = reinterpret_cast<float*>(planes->planes_.get() + channels);
    for (unsigned channel = 0; channel < channels; ++channel) {
        const auto whole = static_cast<std::size_t>(pre + length + post);
        copyChannel(frames, channels, channel, -static_cast<std::int64_t>(pre), whole, false, plane);
        planes->planes_[channel] = plane + pre;
        plane += whole;
    }
    return planes;
}

float NearestInterpolator::sample(std::uint32_t channel, std::int32_t index, double fraction) const {
    return interpolation::nearest(frame(channel, index), fraction);
}

float LinearInterpolator::sample(std::uint32_t channel, std::int32_t index, double fraction) const {
    return interpolation::linear(frame(channel, index), fraction);
}

float CubicInterpolator::sample(std::uint32_t channel, std::int32_t index, double fraction) const {
    return interpolation::cubic(frame(channel, index), fraction);
}

FirInterpolator::FirInterpolator(std::unique_ptr<ChannelPlanes> planes, const FirDesign& design)
    : Interpolator(std::move(planes)),
      stride_((design.taps + 3) / 4 * 4),
      taps_(design.taps),
      scale_(design.scale),
      cutoff_(design.cutoff),
      beta_(design.beta),
      compute_(design) {
    table_.allocate(kPhases, stride_, stride_);
}

std::span<const double> FirInterpolator::row(std::uint32_t number) const {
    return {table_.row(number, compute_, [] { return true; }), stride_};
}

double FirInterpolator::phaseDot(std::uint32_t taps, const float* start, std::ptrdiff_t step,
                                 double phase) const {
    const auto number = static_cast<std::uint32_t>(phase * kPhases);
    const double blend = phase * kPhases - number;
    const auto dot = [=, this](std::uint32_t which) {
        const std::span<const double> weights = row(which);
        double sum = 0;
        for (std::uint32_t m = 0; m < taps; ++m)
            sum += weights[m] * static_cast<double>(start[static_cast<std::ptrdiff_t>(m) * step]);
        return sum;
    };
    return blend != 0 ? blend * dot(number + 1) + (1 - blend) * dot(number) : dot(number);
}

float FirInterpolator::sample(std::uint32_t channel, std::int32_t index, double fraction) const {
    const float* x = frame(channel, index);
    const double left = phaseDot(taps_, x, -1, fraction);
    const double right = phaseDot(taps_ - 1, x + 1, 1, 1 - fraction);
    return static_cast<float>(scale_ * (left + right));
}

std::unique_ptr<Interpolator> makeInterpolator(std::uint8_t method, unsigned firLevel, double ratio,
                                               std::span<const float> frames, unsigned channels) {
    const auto make = [&]<typename Kind>(Kind*) -> std::unique_ptr<Interpolator> {
        auto planes = ChannelPlanes::create(frames, channels, Kind::kPre, Kind::kPost);
        return planes ? std::make_unique<Kind>(std::move(planes)) : nullptr;
    };
    if (firLevel != 0) {
        const FirDesign design = firDesign(firLevel, ratio);
        auto planes = ChannelPlanes::create(frames, channels, design.taps - 1, design.taps);
        if (!planes)
            return nullptr;
        auto fir = std::make_unique<FirInterpolator>(std::move(planes), design);
        return fir->valid() ? std::move(fir) : nullptr;
    }
    switch (static_cast<ResampleMethod>(method)) {
        case ResampleMethod::Nearest:
            return make(static_cast<NearestInterpolator*>(nullptr));
        case ResampleMethod::Cubic:
            return make(static_cast<CubicInterpolator*>(nullptr));
        default:
            return make(static_cast<LinearInterpolator*>(nullptr));
    }
}

}  // namespace velor
