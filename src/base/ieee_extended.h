// The 80-bit IEEE 754 extended numbers in which AIFF files keep their sample rate.
#pragma once

#include <span>

#include "base/byte_order.h"

namespace velor {

inline constexpr std::size_t kExtendedBytes = 10;

// The integer part of a big-endian 80-bit number, taken from the top 32 bits of its mantissa. Infinities, NaN
// and everything beyond 32 bits give 0x7FFFFFFF.
std::int64_t integerFromExtended(std::span<const Byte, kExtendedBytes> bytes);

// Stores an integer exactly.
void storeExtended(std::span<Byte, kExtendedBytes> bytes, std::uint32_t value);

}  // namespace velor
