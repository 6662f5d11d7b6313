// The two packed forms of Amiga 8SVX samples: 4-bit indices into a table of differences.
#pragma once

#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor {

enum class NibbleDelta : std::uint8_t { Fibonacci = 1, Exponential = 2 };

// Decodes one channel: a pad byte, the first value, then two differences in each byte, the high nibble first.
// The running sum wraps modulo 256, as on the Amiga. Returns the number of samples, at most to.size(); the
// first value itself is not one of them.
std::size_t decodeNibbleDelta(NibbleDelta kind, std::span<const Byte> from, std::span<std::int8_t> to);

// Samples in a channel of that many bytes.
constexpr std::uint64_t nibbleDeltaSamples(std::uint64_t bytes) {
    return bytes > 2 ? (bytes - 2) * 2 : 0;
}

}  // namespace velor
