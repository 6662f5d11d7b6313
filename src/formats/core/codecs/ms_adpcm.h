// Microsoft ADPCM (format tag 2): 4-bit codes in blocks, each with its own predictor. Layout and arithmetic
// as published with the RIFF format registrations (RFC 2361 and the multimedia data standards update of
// 1994).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/byte_order.h"

namespace velor {

// Decodes whole blocks of one or two channels.
class MsAdpcmDecoder {
  public:
    struct Coefficients {
        int first = 0;   // of the sample before, 8.8 fixed point
        int second = 0;  // of the one before that
    };

    // `framesPerBlock` as the header says; 0 or too many: what a block of `blockBytes` holds. An empty table
    // stands for the standard one.
    MsAdpcmDecoder(int channels, std::uint32_t blockBytes, std::uint32_t framesPerBlock,
                   std::vector<Coefficients> coefficients);

    // Frames that a block of `bytes` bytes holds; 0 when it is shorter than its header.
    static std::uint32_t framesIn(std::uint32_t bytes, int channels);
    std::uint32_t framesPerBlock() const { return framesPerBlock_; }

    // Decodes block after block, the last one may be cut short. Returns the samples written (frames ×
    // channels).
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);

  private:
    std::size_t decodeBlock(std::span<const Byte> block, std::span<std::int16_t> to) const;

    int channels_;
    std::uint32_t blockBytes_;
    std::uint32_t framesPerBlock_;
    std::vector<Coefficients> coefficients_;
};

}  // namespace velor
