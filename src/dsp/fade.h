// Curves along which sound fades.
#pragma once

#include <cstdint>

namespace velor {

enum class FadeCurve : std::uint8_t {
    Linear,
    Exponential,  // even steps in decibels over 40 dB, shifted to begin at 0: slow at the quiet end
    Logarithmic,  // its inverse: fast at the quiet end
    SCurve,       // raised cosine: no corner at either end
    EqualPower,   // quarter of a sine: two sounds that are not alike keep their power when they cross
};
inline constexpr const char* kFadeCurveWords = "linear|exponential|logarithmic|s-curve|equal-power";

// The share of the full level at t: 0 at t = 0, 1 at t = 1, rising between them.
double fadeShare(FadeCurve curve, double t);

}  // namespace velor
