// DWVW (delta with variable word width), the lossless packing of AIFF-C files with samples of 12 to 24 bits:
// each sample is a difference, stored in as many bits as it needs, and the width of that number is a
// difference too.
#pragma once

#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor {

class DwvwDecoder {
  public:
    static constexpr bool supportsWidth(int bits) {
        return bits == 12 || bits == 16 || bits == 20 || bits == 24;
    }

    // `data` is one continuous bit stream, which must outlive the decoder; `bits` the width of a sample. With
    // another width than the four the stream yields nothing.
    DwvwDecoder(std::span<const Byte> data, int bits) : data_(data), bits_(bits) {}

    // Decodes the next samples in the order of the stream, left-justified in 32 bits. Returns how many there
    // were before the data ended. Writers round the stream up with zeros, which decode to a few samples more:
    // the frame count of the file says where it really ends.
    std::size_t decode(std::span<std::int32_t> to);

  private:
    std::uint32_t take(int count);

    std::span<const Byte> data_;
    int bits_;
    std::size_t at_ = 0;        // next byte
    std::uint64_t window_ = 0;  // bits that were read ahead, in its low end
    int windowBits_ = 0;
    bool ended_ = false;
    int width_ = 0;  // of the last difference
    std::int32_t sample_ = 0;
};

}  // namespace velor
