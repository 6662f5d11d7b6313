// Small arithmetic of the voices: fast powers and the units of articulation.
#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>

namespace velor {

inline constexpr std::uint32_t kBlockFrames = 64;

// 2^x for -126 < x < 126, relative error below 3e-7: a polynomial on the fraction, the whole part goes into
// the exponent bits.
inline float fastExp2(float x) {
    x = std::clamp(x, -126.0f, 126.0f);
    const auto whole = static_cast<std::int32_t>(x + (x < 0 ? -0.5f : 0.5f));
    const float f = x - static_cast<float>(whole);
    float p = 1.5403530e-4f;
    p = p * f + 1.3333558e-3f;
    p = p * f + 9.6181291e-3f;
    p = p * f + 5.5504109e-2f;
    p = p * f + 2.4022651e-1f;
    p = p * f + 6.9314718e-1f;
    p = p * f + 1.0f;
    const auto exponent = static_cast<std::uint32_t>(whole + 127) << 23;
    return p * std::bit_cast<float>(exponent);
}

inline float semitonesToRatio(float semitones) {
    return fastExp2(semitones * (1.0f / 12.0f));
}
// dB to linear amplitude.
inline float decibelsToGain(float decibels) {
    return fastExp2(decibels * 0.16609640474f);
}

}  // namespace velor
