#include "dsp/high_pass.h"

#include <cmath>
#include <numbers>

namespace velor {

HighPass::HighPass(double cutoff, double rate) {
    if (!(cutoff > 0 && cutoff < 0.5 * rate))
        return;
    const double w = 2 * std::numbers::pi * cutoff / rate;
    // The quality factors of the two pairs of poles that lie evenly on the half circle.
    for (std::size_t i = 0; i < sections_.size(); ++i) {
        const double q = 0.5 / std::cos(std::numbers::pi * static_cast<double>(2 * i + 1) / 8);
        const double alpha = std::sin(w) / (2 * q);
        const double a0 = 1 + alpha;
        const double b = (1 + std::cos(w)) / (2 * a0);
        sections_[i] = {b, -2 * b, b, -2 * std::cos(w) / a0, (1 - alpha) / a0};
    }
}

void HighPass::process(std::span<float> samples, std::size_t stride) {
    for (std::size_t i = 0; i < samples.size(); i += stride) {
        double value = static_cast<double>(samples[i]);
        for (Section& s : sections_) {
            const double out = s.b0 * value + s.z1;
            s.z1 = s.b1 * value - s.a1 * out + s.z2;
            s.z2 = s.b2 * value - s.a2 * out;
            value = out;
        }
        samples[i] = static_cast<float>(value);
    }
}

}  // namespace velor
