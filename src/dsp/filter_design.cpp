#include "dsp/filter_design.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace velor {

namespace {

using Complex = std::complex<double>;
constexpr double kPi = std::numbers::pi;

// A frequency in Hz as the bilinear transform s = (1 - 1/z) / (1 + 1/z) needs it.
double prewarped(double frequency, double rate) {
    return std::tan(kPi * frequency / rate);
}

Complex bilinear(Complex s) {
    return (1.0 + s) / (1.0 - s);
}

// A pair of analogue poles (conjugate or both real) with the zeros of the kind.
BiquadSection sectionOf(Complex pole1, Complex pole2, const BiquadSection& zeros, double unityAt) {
    const Complex z1 = bilinear(pole1), z2 = bilinear(pole2);
    BiquadSection section = zeros;
    section.a1 = -(z1 + z2).real();
    section.a2 = (z1 * z2).real();
    const double gain = 1 / std::abs(section.response(unityAt));
    section.b0 *= gain;
    section.b1 *= gain;
    section.b2 *= gain;
    return section;
}

// The frequencies of a band's edges in Hz.
struct Band {
    double low, high;
};
Band bandOf(const FilterDesign& design) {
    double ratio = std::exp2(design.bandwidth / 2);
    if (!(design.bandwidth > 0)) {
        // The edges of a resonator lie so that their product is the square of its frequency and their
        // distance frequency / q.
        const double half = 0.5 / design.q;
        ratio = half + std::sqrt(1 + half * half);
    }
    // Above the frequency and below half the rate, however near that is.
    const double highest = std::max(0.499 * design.rate, 0.5 * (design.frequency + 0.5 * design.rate));
    return {design.frequency / ratio, std::min(design.frequency * ratio, highest)};
}

// Where a Butterworth filter of the order has half of its -3 dB, in decibels, as a share of its cutoff: two
// passes lose 3 dB there.
double twicePoint(unsigned order) {
    return std::pow(std::numbers::sqrt2 - 1, 0.5 / order);
}

std::vector<BiquadSection> butterworth(const FilterDesign& design) {
    const bool band = design.kind == FilterKind::BandPass || design.kind == FilterKind::Notch;
    const unsigned order = design.order;
    const double shift = design.twice ? twicePoint(order) : 1;
    double cutoff = 0, width = 0, centre = 0;
    BiquadSection zeros;
    double unityAt = 0;
    switch (design.kind) {
        case FilterKind::LowPass:
            cutoff = prewarped(design.frequency, design.rate) / shift;
            zeros = {1, 2, 1, 0, 0};
            break;
        case FilterKind::HighPass:
            cutoff = prewarped(design.frequency, design.rate) * shift;
            zeros = {1, -2, 1, 0, 0};
            unityAt = kPi;
            break;
        default: {
            const Band edges = bandOf(design);
            const double low = prewarped(edges.low, design.rate), high = prewarped(edges.high, design.rate);
            const bool pass = design.kind == FilterKind::BandPass;
            centre = std::sqrt(low * high);
            width = (high - low) * (pass ? 1 / shift : shift);
            const double w = 2 * std::atan(centre);
            zeros = pass ? BiquadSection{1, 0, -1, 0, 0} : BiquadSection{1, -2 * std::cos(w), 1, 0, 0};
            unityAt = pass ? w : 0;
        }
    }

    std::vector<BiquadSection> sections;
    // The poles of the upper half circle; the last of an odd order is the real one.
    for (unsigned i = 0; i < (order + 1) / 2; ++i) {
        const bool real = 2 * i + 1 == order;
        const Complex pole = real ? Complex(-1) : std::polar(1.0, kPi * (0.5 + (2 * i + 1) / (2.0 * order)));
        if (!band) {
            const Complex moved = design.kind == FilterKind::LowPass ? pole * cutoff : cutoff / pole;
            if (!real) {
                sections.push_back(sectionOf(moved, std::conj(moved), zeros, unityAt));
            } else {
                // A pole at z = 0 makes the first-order section's missing one.
                const double z = bilinear(moved).real();
                BiquadSection first{1, zeros.b1 / 2, 0, -z, 0};
                const double gain = 1 / std::abs(first.response(unityAt));
                first.b0 *= gain;
                first.b1 *= gain;
                sections.push_back(first);
            }
            continue;
        }
        // s^2 - 2 h s + centre^2 = 0 gives two poles for each of the prototype's.
        const Complex h = (design.kind == FilterKind::BandPass ? pole * width : width / pole) * 0.5;
        const Complex root = std::sqrt(h * h - centre * centre);
        if (real) {
            sections.push_back(sectionOf(h + root, h - root, zeros, unityAt));
        } else {
            sections.push_back(sectionOf(h + root, std::conj(h + root), zeros, unityAt));
            sections.push_back(sectionOf(h - root, std::conj(h - root), zeros, unityAt));
        }
    }
    return sections;
}

BiquadSection cookbook(const FilterDesign& design) {
    const double w = 2 * kPi * design.frequency / design.rate;
    const double c = std::cos(w), s = std::sin(w);
    const double less = 2 * std::sin(w / 2) * std::sin(w / 2);  // 1 - cos w, without losing digits
    const double alpha = design.bandwidth > 0
                             ? s * std::sinh(0.5 * std::numbers::ln2 * design.bandwidth * w / s)
                             : s / (2 * design.q);
    const double a = std::pow(10.0, design.gain / (design.twice ? 80 : 40));
    const double root = 2 * std::sqrt(a) * alpha;
    double b0 = 1, b1 = 0, b2 = 0, a0 = 1 + alpha, a1 = -2 * c, a2 = 1 - alpha;
    switch (design.kind) {
        case FilterKind::LowPass:
            b0 = b2 = less / 2;
            b1 = less;
            break;
        case FilterKind::HighPass:
            b0 = b2 = (1 + c) / 2;
            b1 = -(1 + c);
            break;
        case FilterKind::BandPass:
            b0 = alpha;
            b2 = -alpha;
            break;
        case FilterKind::Notch:
            b0 = b2 = 1;
            b1 = -2 * c;
            break;
        case FilterKind::AllPass:
            b0 = 1 - alpha;
            b1 = -2 * c;
            b2 = 1 + alpha;
            break;
        case FilterKind::Peak:
            b0 = 1 + alpha * a;
            b1 = -2 * c;
            b2 = 1 - alpha * a;
            a0 = 1 + alpha / a;
            a2 = 1 - alpha / a;
            break;
        case FilterKind::LowShelf:
            b0 = a * ((a + 1) - (a - 1) * c + root);
            b1 = 2 * a * ((a - 1) - (a + 1) * c);
            b2 = a * ((a + 1) - (a - 1) * c - root);
            a0 = (a + 1) + (a - 1) * c + root;
            a1 = -2 * ((a - 1) + (a + 1) * c);
            a2 = (a + 1) + (a - 1) * c - root;
            break;
        case FilterKind::HighShelf:
            b0 = a * ((a + 1) + (a - 1) * c + root);
            b1 = -2 * a * ((a - 1) + (a + 1) * c);
            b2 = a * ((a + 1) + (a - 1) * c - root);
            a0 = (a + 1) - (a - 1) * c + root;
            a1 = 2 * ((a - 1) - (a + 1) * c);
            a2 = (a + 1) - (a - 1) * c - root;
            break;
    }
    return {b0 / a0, b1 / a0, b2 / a0, a1 / a0, a2 / a0};
}

}  // namespace

bool canDesign(double frequency, double rate) {
    return frequency >= kLowestFilterFrequency * rate && frequency < 0.5 * rate;
}

std::vector<BiquadSection> designFilter(const FilterDesign& design) {
    if (!canDesign(design.frequency, design.rate))
        return {};
    if (design.order > 0 && design.kind <= FilterKind::Notch)
        return butterworth(design);
    return {cookbook(design)};
}

std::vector<BiquadSection> designButterworth(FilterKind kind, unsigned order, double frequency, double rate) {
    return designFilter({.kind = kind, .rate = rate, .frequency = frequency, .order = order});
}

}  // namespace velor
