// Codecs whose data lie in blocks of one size.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor {

// Has `decodeBlock(block, to)` decode block after block; the last one may be cut short. It returns the
// samples it wrote, of which the sum is returned.
template <typename DecodeBlock>
std::size_t decodeBlocks(std::span<const Byte> from, std::uint32_t blockBytes, std::span<std::int16_t> to,
                         DecodeBlock decodeBlock) {
    std::size_t written = 0;
    while (!from.empty() && blockBytes > 0) {
        const auto block = from.first(std::min<std::size_t>(blockBytes, from.size()));
        written += decodeBlock(block, to.subspan(written));
        from = from.subspan(block.size());
    }
    return written;
}

}  // namespace velor
