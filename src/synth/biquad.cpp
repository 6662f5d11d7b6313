#include "synth/biquad.h"

#include <cmath>

namespace velor {

namespace {

constexpr float kTwoPi = 6.28318530718f;

struct Angle {
    float cosine, alpha;
    Angle(float frequency, float q)
        : cosine(std::cos(kTwoPi * frequency)), alpha(std::sin(kTwoPi * frequency) / (2 * q)) {}
};

Biquad normalised(float b0, float b1, float b2, float a0, float a1, float a2) {
    const float by = 1 / a0;
    return {b0 * by, b1 * by, b2 * by, a1 * by, a2 * by};
}

}  // namespace

Biquad Biquad::lowPass(float frequency, float q) {
    const auto [c, alpha] = Angle(frequency, q);
    return normalised((1 - c) / 2, 1 - c, (1 - c) / 2, 1 + alpha, -2 * c, 1 - alpha);
}

Biquad Biquad::highPass(float frequency, float q) {
    const auto [c, alpha] = Angle(frequency, q);
    return normalised((1 + c) / 2, -(1 + c), (1 + c) / 2, 1 + alpha, -2 * c, 1 - alpha);
}

Biquad Biquad::bandPass(float frequency, float q) {
    const auto [c, alpha] = Angle(frequency, q);
    return normalised(alpha, 0, -alpha, 1 + alpha, -2 * c, 1 - alpha);
}

Biquad Biquad::notch(float frequency, float q) {
    const auto [c, alpha] = Angle(frequency, q);
    return normalised(1, -2 * c, 1, 1 + alpha, -2 * c, 1 - alpha);
}

Biquad Biquad::allPass(float frequency, float q) {
    const auto [c, alpha] = Angle(frequency, q);
    return normalised(1 - alpha, -2 * c, 1 + alpha, 1 + alpha, -2 * c, 1 - alpha);
}

Biquad Biquad::peak(float frequency, float q, float gain) {
    const auto [c, alpha] = Angle(frequency, q);
    const float a = std::pow(10.0f, gain / 40);
    return normalised(1 + alpha * a, -2 * c, 1 - alpha * a, 1 + alpha / a, -2 * c, 1 - alpha / a);
}

Biquad Biquad::lowShelf(float frequency, float q, float gain) {
    const auto [c, alpha] = Angle(frequency, q);
    const float a = std::pow(10.0f, gain / 40);
    const float slope = 2 * std::sqrt(a) * alpha;
    return normalised(a * ((a + 1) - (a - 1) * c + slope), 2 * a * ((a - 1) - (a + 1) * c),
                      a * ((a + 1) - (a - 1) * c - slope), (a + 1) + (a - 1) * c + slope,
                      -2 * ((a - 1) + (a + 1) * c), (a + 1) + (a - 1) * c - slope);
}

Biquad Biquad::highShelf(float frequency, float q, float gain) {
    const auto [c, alpha] = Angle(frequency, q);
    const float a = std::pow(10.0f, gain / 40);
    const float slope = 2 * std::sqrt(a) * alpha;
    return normalised(a * ((a + 1) + (a - 1) * c + slope), -2 * a * ((a - 1) + (a + 1) * c),
                      a * ((a + 1) + (a - 1) * c - slope), (a + 1) - (a - 1) * c + slope,
                      2 * ((a - 1) - (a + 1) * c), (a + 1) - (a - 1) * c - slope);
}

Biquad Biquad::lowPass6(float frequency) {
    const float k = std::tan(kTwoPi / 2 * frequency);
    return normalised(k, k, 0, k + 1, k - 1, 0);
}

Biquad Biquad::highPass6(float frequency) {
    const float k = std::tan(kTwoPi / 2 * frequency);
    return normalised(1, -1, 0, k + 1, k - 1, 0);
}

// The section is linear, so its answer to four inputs and two states is the sum of its answers to each alone.
void Biquad::block(BiquadBlock& to) const {
    for (int column = 0; column < 6; ++column) {
        float s1 = column == 4 ? 1.0f : 0.0f;
        float s2 = column == 5 ? 1.0f : 0.0f;
        for (int i = 0; i < 4; ++i) {
            const float x = column == i ? 1.0f : 0.0f;
            const float y = b0 * x + s1;
            s1 = b1 * x - a1 * y + s2;
            s2 = b2 * x - a2 * y;
            to.columns[column][i] = y;
        }
        to.columns[column][4] = s1;
        to.columns[column][5] = s2;
        to.columns[column][6] = to.columns[column][7] = 0;
    }
}

}  // namespace velor
