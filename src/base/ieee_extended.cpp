#include "base/ieee_extended.h"

namespace velor {

namespace {

constexpr int kBias = 16383;
// The exponent at which the top 32 mantissa bits are the number itself.
constexpr int kWholeMantissa = kBias + 31;
constexpr std::int64_t kOverflow = 0x7FFFFFFF;

}  // namespace

std::int64_t integerFromExtended(std::span<const Byte, kExtendedBytes> bytes) {
    const auto head = loadBe<std::uint16_t>(bytes.data());
    const auto mantissa = loadBe<std::uint32_t>(bytes.data() + 2);
    const int exponent = head & 0x7FFF;
    if (exponent == 0 && mantissa == 0)
        return 0;
    std::int64_t value = kOverflow;
    if (exponent <= kWholeMantissa) {
        const int right = kWholeMantissa - exponent;
        value = right < 32 ? mantissa >> right : 0;
    }
    return head & 0x8000 ? -value : value;
}

void storeExtended(std::span<Byte, kExtendedBytes> bytes, std::uint32_t value) {
    int exponent = 0;
    std::uint32_t mantissa = value;
    if (value != 0) {
        const int left = std::countl_zero(value);
        mantissa = value << left;
        exponent = kWholeMantissa - left;
    }
    storeBe(bytes.data(), static_cast<std::uint16_t>(exponent));
    storeBe(bytes.data() + 2, mantissa);
    storeBe(bytes.data() + 6, std::uint32_t{0});
}

}  // namespace velor
