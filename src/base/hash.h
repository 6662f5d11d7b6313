// Hashes named by the file formats and tables of the system.
#pragma once

#include <span>

#include "base/byte_order.h"

namespace velor {

// 64-bit FNV-1a over the four bytes of a 32-bit number, least significant byte first.
constexpr std::uint64_t fnv1a64(std::uint32_t value) {
    std::uint64_t hash = 0xcbf29ce484222325u;
    for (int i = 0; i < 4; ++i)
        hash = (hash ^ (value >> (8 * i) & 0xFF)) * 0x100000001b3u;
    return hash;
}

// 64-bit FNV-1a over any bytes.
constexpr std::uint64_t fnv1a64(std::span<const Byte> bytes) {
    std::uint64_t hash = 0xcbf29ce484222325u;
    for (const Byte byte : bytes)
        hash = (hash ^ byte) * 0x100000001b3u;
    return hash;
}

}  // namespace velor
