#include "formats/core/codecs/nibble_delta.h"

#include <algorithm>

namespace velor {

namespace {
constexpr std::int8_t kFibonacci[16] = {-34, -21, -13, -8, -5, -3, -2, -1, 0, 1, 2, 3, 5, 8, 13, 21};
constexpr std::int8_t kExponential[16] = {-128, -64, -32, -16, -8, -4, -2, -1, 0, 1, 2, 4, 8, 16, 32, 64};
}  // namespace

std::size_t decodeNibbleDelta(NibbleDelta kind, std::span<const Byte> from, std::span<std::int8_t> to) {
    if (from.size() < 2)
        return 0;
    const auto& table = kind == NibbleDelta::Fibonacci ? kFibonacci : kExponential;
    auto value = static_cast<Byte>(from[1]);
    const std::span<const Byte> codes = from.subspan(2);
    const std::size_t count = std::min(codes.size() * 2, to.size());
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned nibble = i % 2 == 0 ? codes[i / 2] >> 4 : codes[i / 2] & 15u;
        value = static_cast<Byte>(value + table[nibble]);
        to[i] = static_cast<std::int8_t>(value);
    }
    return count;
}

}  // namespace velor
