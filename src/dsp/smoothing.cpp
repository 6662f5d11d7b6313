#include "dsp/smoothing.h"

#include <algorithm>
#include <complex>
#include <numbers>

#include "dsp/sample_blocks.h"

namespace velor {

void smooth(std::span<const float> from, unsigned channels, unsigned channel, std::size_t first,
            std::span<float> to, std::size_t reach, SmoothingShape shape) {
    using Complex = std::complex<double>;
    const auto frames = static_cast<std::ptrdiff_t>(from.size() / channels);
    if (frames == 0)
        return;
    const auto sample = [&](std::ptrdiff_t frame) {
        const auto at = static_cast<std::size_t>(std::clamp<std::ptrdiff_t>(frame, 0, frames - 1));
        return static_cast<double>(finiteOrZero(from[at * channels + channel]));
    };
    const auto h = static_cast<std::ptrdiff_t>(reach);
    // The Hann window is a constant plus a cosine, and the sum under a cosine follows from the one a frame
    // before by a turn.
    const double angle = std::numbers::pi / static_cast<double>(h + 1);
    const Complex turn = std::polar(1.0, -angle);
    const Complex leaving = std::polar(1.0, -angle * static_cast<double>(h));
    const Complex entering = std::conj(leaving);
    const bool hann = shape == SmoothingShape::Hann;
    const double scale = 1 / (hann ? static_cast<double>(h + 1) : static_cast<double>(2 * h + 1));
    const auto begin = static_cast<std::ptrdiff_t>(first);
    double sum = 0;
    Complex turning = 0;
    for (std::ptrdiff_t k = -h; k <= h; ++k) {
        sum += sample(begin + k);
        if (hann)
            turning += sample(begin + k) * std::polar(1.0, angle * static_cast<double>(k));
    }
    for (std::size_t i = 0; i < to.size(); ++i) {
        to[i] = static_cast<float>(scale * (hann ? 0.5 * sum + 0.5 * turning.real() : sum));
        const std::ptrdiff_t at = begin + static_cast<std::ptrdiff_t>(i);
        const double old = sample(at - h), next = sample(at + h + 1);
        sum += next - old;
        if (hann)
            turning = turn * (turning - old * leaving) + next * entering;
    }
}

}  // namespace velor
