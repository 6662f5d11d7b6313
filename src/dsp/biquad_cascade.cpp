#include "dsp/biquad_cascade.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "dsp/sample_blocks.h"

namespace velor {

namespace {

constexpr std::size_t kScratch = 512;  // samples
constexpr std::size_t kGroup = 4;      // sections whose coefficients the processor keeps at hand
constexpr double kInaudible = 1e-30;   // below it a decaying state would end in slow denormal numbers

// Runs a group of sections over a piece. The sections of one sample wait for each other, those of successive
// samples overlap.
template <std::size_t Count>
void filterGroup(const BiquadSection* sections, double* state, double* samples, std::size_t count) {
    std::array<BiquadSection, Count> s;
    std::array<double, 2 * Count> z;
    std::copy_n(sections, Count, s.begin());
    std::copy_n(state, 2 * Count, z.begin());
    for (std::size_t i = 0; i < count; ++i) {
        double value = samples[i];
        for (std::size_t k = 0; k < Count; ++k) {
            const double out = s[k].b0 * value + z[2 * k];
            z[2 * k] = s[k].b1 * value - s[k].a1 * out + z[2 * k + 1];
            z[2 * k + 1] = s[k].b2 * value - s[k].a2 * out;
            value = out;
        }
        samples[i] = value;
    }
    for (std::size_t k = 0; k < 2 * Count; ++k)
        state[k] = std::fabs(z[k]) < kInaudible ? 0 : z[k];
}

}  // namespace

std::complex<double> BiquadSection::response(double w) const {
    const std::complex<double> z1 = std::polar(1.0, -w);
    const std::complex<double> z2 = z1 * z1;
    return (b0 + b1 * z1 + b2 * z2) / (1.0 + a1 * z1 + a2 * z2);
}

std::complex<double> responseOf(std::span<const BiquadSection> sections, double w) {
    std::complex<double> response = 1;
    for (const BiquadSection& section : sections)
        response *= section.response(w);
    return response;
}

BiquadCascade::BiquadCascade(std::vector<BiquadSection> sections)
    : sections_(std::move(sections)), state_(2 * sections_.size()) {}

void BiquadCascade::filterScratch(double* scratch, std::size_t count) {
    for (std::size_t k = 0; k < sections_.size(); k += kGroup) {
        const BiquadSection* group = sections_.data() + k;
        double* state = state_.data() + 2 * k;
        switch (std::min(kGroup, sections_.size() - k)) {
            case 1:
                filterGroup<1>(group, state, scratch, count);
                break;
            case 2:
                filterGroup<2>(group, state, scratch, count);
                break;
            case 3:
                filterGroup<3>(group, state, scratch, count);
                break;
            default:
                filterGroup<4>(group, state, scratch, count);
                break;
        }
    }
}

template <bool Write, typename Sample>
void BiquadCascade::run(std::span<Sample> samples, std::size_t stride) {
    if (sections_.empty())
        return;
    std::array<double, kScratch> scratch;
    for (std::size_t at = 0; at < samples.size(); at += kScratch * stride) {
        const std::size_t count = std::min(kScratch, (samples.size() - at + stride - 1) / stride);
        for (std::size_t i = 0; i < count; ++i)
            scratch[i] = static_cast<double>(finiteOrZero(samples[at + i * stride]));
        filterScratch(scratch.data(), count);
        if constexpr (Write) {
            for (std::size_t i = 0; i < count; ++i)
                samples[at + i * stride] = static_cast<float>(scratch[i]);
        }
    }
}

void BiquadCascade::process(std::span<float> samples, std::size_t stride) {
    run<true>(samples, stride);
}

void BiquadCascade::advance(std::span<const float> samples, std::size_t stride) {
    run<false>(samples, stride);
}

}  // namespace velor
