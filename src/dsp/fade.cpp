#include "dsp/fade.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace velor {

double fadeShare(FadeCurve curve, double t) {
    constexpr double kSpan = 100;  // 40 dB
    t = std::clamp(t, 0.0, 1.0);
    if (t == 0 || t == 1)
        return t;
    switch (curve) {
        case FadeCurve::Exponential:
            return (std::exp(t * std::log(kSpan)) - 1) / (kSpan - 1);
        case FadeCurve::Logarithmic:
            return std::log1p(t * (kSpan - 1)) / std::log(kSpan);
        case FadeCurve::SCurve:
            return 0.5 - 0.5 * std::cos(std::numbers::pi * t);
        case FadeCurve::EqualPower:
            return std::sin(std::numbers::pi / 2 * t);
        case FadeCurve::Linear:
            break;
    }
    return t;
}

}  // namespace velor
