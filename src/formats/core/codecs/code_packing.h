// Streams of 1- to 8-bit code words packed into bytes without gaps, as the ITU-T speech codecs are stored.
#pragma once

#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor {

// Where in a byte the first code word lies. Files call the first "big endian" and the second "little endian";
// RFC 3551 and Sun audio files have the second, RFC 3551's AAL2 variants and WAVE files the first.
enum class CodePacking : std::uint8_t { HighBitsFirst, LowBitsFirst };

// Eight codes fill `width` bytes: a stream may be cut after every multiple of eight codes.
inline constexpr std::size_t kCodesPerUnit = 8;

// Bytes that hold `codes` code words of `width` bits.
constexpr std::uint64_t packedSize(std::uint64_t codes, int width) {
    return codes / 8 * static_cast<std::uint64_t>(width) +
           (codes % 8 * static_cast<std::uint64_t>(width) + 7) / 8;
}

// Whole code words in so many bytes.
constexpr std::size_t codesIn(std::size_t bytes, int width) {
    return bytes / static_cast<std::size_t>(width) * 8 +
           bytes % static_cast<std::size_t>(width) * 8 / static_cast<std::size_t>(width);
}

// Fills `codes` from `from`, which holds packedSize() bytes. width: 2 to 8.
void unpackCodes(int width, CodePacking packing, std::span<const Byte> from, std::span<std::uint8_t> codes);

// The inverse; bits above the width must be 0, unused bits of the last byte become 0.
void packCodes(int width, CodePacking packing, std::span<const std::uint8_t> codes, std::span<Byte> to);

}  // namespace velor
