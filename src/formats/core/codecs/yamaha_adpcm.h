// Yamaha ADPCM as in WAVE files with format tag 0x20 and the sound chips that read them (AICA, YMZ280B):
// 4-bit codes of 16-bit samples in one endless stream, the step scaled by 8.8 fixed-point factors (Yamaha's
// data sheets of the YMZ280B).
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor {

struct YamahaAdpcmState {
    std::int32_t value = 0;
    std::int32_t step = 127;
};

class YamahaAdpcmDecoder {
  public:
    // `channels` 1 or 2. The low half of a byte comes first in time (mono) or is the left channel (stereo).
    explicit YamahaAdpcmDecoder(int channels) : channels_(channels) {}
    // Two samples a byte. Returns the samples written.
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);

  private:
    int channels_;
    std::array<YamahaAdpcmState, 2> states_{};
};

class YamahaAdpcmEncoder {
  public:
    explicit YamahaAdpcmEncoder(int channels) : channels_(channels) {}
    static constexpr std::uint64_t encodedSize(std::uint64_t samples) { return (samples + 1) / 2; }
    // Two samples a byte; `to` has encodedSize() bytes. Pieces but the last one have an even number of
    // samples.
    void encode(std::span<const std::int16_t> from, std::span<Byte> to);

  private:
    int channels_;
    std::array<YamahaAdpcmState, 2> states_{};
};

}  // namespace velor
