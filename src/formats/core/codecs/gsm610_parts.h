// What the GSM 06.10 decoder and encoder share: the arithmetic, the tables and the decoding of the fields,
// which the encoder repeats to know what the decoder will have. Names in comments are those of the standard's
// text.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>

#include "formats/core/codecs/gsm610.h"

namespace velor::gsm610 {

inline std::int32_t saturate(std::int32_t value) {
    return std::clamp(value, -32768, 32767);
}

// mult_r, the rounded product of two fractions. The standard saturates -1 x -1, but one factor here is always
// a coefficient and above -32768.
inline std::int32_t product(std::int32_t a, std::int32_t b) {
    return (a * b + 16384) >> 15;
}
// mult, the same without rounding.
inline std::int32_t productDown(std::int32_t a, std::int32_t b) {
    return (a * b) >> 15;
}

using Coefficients = std::array<std::int16_t, 8>;

inline constexpr std::array<std::int32_t, 8> kRatioOffset = {0, 0, 2048, -2560, 94, -1792, -341, -1144};  // B
inline constexpr std::array<std::int32_t, 8> kRatioMinimum = {-32, -32, -16, -16, -8, -8, -4, -4};  // MIC
inline constexpr std::array<std::int32_t, 4> kGains = {3277, 11469, 21299, 32767};                  // QLB

// Log area ratios are interpolated in the first 40 samples of a frame: zones with constant coefficients, by
// their ends.
inline constexpr std::array<std::size_t, 4> kZoneEnds = {13, 27, 40, 160};

// LARpp from the codes (5.2.8).
Coefficients decodeAreaRatios(const std::array<std::uint8_t, 8>& codes);
// The reflection coefficients rp of each zone from the ratios of the frame before and of this one (5.2.9).
// They stay within -32767 to 32767.
std::array<Coefficients, 4> reflectionCoefficients(const Coefficients& before, const Coefficients& now);

// The scale of a block of residual samples, from the code of its maximum: mantissa / 8 + 1 times a power
// of 2.
struct BlockScale {
    std::int32_t exponent;  // -4 to 6
    std::int32_t mantissa;  // 0 to 7
};
BlockScale blockScale(std::uint8_t maximum);
// The 13 residual samples of a subframe, xMp (5.2.16).
std::array<std::int16_t, 13> decodeResidual(const Subframe& from);

}  // namespace velor::gsm610
