// IMA (DVI) ADPCM: the codes of the IMA Digital Audio Doc-Pac (1992) in the blocks of WAVE files (format tag
// 0x11) and in the packets of QuickTime and AIFC files ("ima4").
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/byte_order.h"

namespace velor {

// WAVE blocks: for each channel a header of four bytes (first sample, step index), then the codes in groups
// of 32-bit words by channel. 4-bit codes are decoded by the published sum of shifted steps; for 2 and 3
// bits, which the publication leaves out, the difference is (2 × magnitude + 1) × step >> (bits - 1).
class ImaWaveDecoder {
  public:
    // `channels` as stored, of which the first `kept` (1 or 2) are decoded; `bits` 2, 3 or 4.
    // `framesPerBlock` as the header says; 0 or too many: what a block of `blockBytes` holds.
    ImaWaveDecoder(int channels, int kept, int bits, std::uint32_t blockBytes, std::uint32_t framesPerBlock);

    // Frames in a block of `bytes` bytes: the one in the header and one for each code. 0 when it is shorter
    // than its headers. A group that is cut short counts as far as its bytes go.
    static std::uint32_t framesIn(std::uint32_t bytes, int channels, int bits);
    std::uint32_t framesPerBlock() const { return framesPerBlock_; }

    // Decodes block after block, the last one may be cut short. Returns the samples written (frames × kept).
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);

  private:
    std::size_t decodeBlock(std::span<const Byte> block, std::span<std::int16_t> to);

    int channels_;
    int kept_;
    int bits_;
    std::uint32_t blockBytes_;
    std::uint32_t framesPerBlock_;
    std::vector<Byte> padded_;  // a copy of a cut block, filled up with zeros
};

// "ima4": packets of 34 bytes and 64 frames, the channels in turn. Every packet starts from its header, which
// holds the upper nine bits of the predictor and the step index.
class Ima4Decoder {
  public:
    static constexpr std::uint32_t kPacketBytes = 34;
    static constexpr std::uint32_t kPacketFrames = 64;

    explicit Ima4Decoder(int channels) : channels_(channels) {}

    // Decodes groups of one packet a channel; a cut group is left out. Returns the samples written.
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to) const;

  private:
    int channels_;
};

}  // namespace velor
