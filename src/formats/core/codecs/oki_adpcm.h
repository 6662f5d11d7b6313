// OKI (Dialogic) ADPCM: 4-bit codes of 12-bit samples in one endless stream, as in .vox files and format tag
// 0x17. Step table and index changes as in Dialogic's "ADPCM Algorithm" application note (1988); the
// difference is formed in one multiplication, as all present-day programs do, where the note sums up
// truncated parts.
#pragma once

#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor {

// One channel. A pass starts with value 0 and the smallest step.
class OkiAdpcmDecoder {
  public:
    // Two samples a byte, high half first; 12-bit values scaled to 16 bits. Returns the samples written.
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);

  private:
    std::int32_t value_ = 0;
    std::uint32_t row_ = 0;
};

class OkiAdpcmEncoder {
  public:
    static constexpr std::uint64_t encodedSize(std::uint64_t samples) { return (samples + 1) / 2; }
    // Codes two samples a byte; an odd number ends with a code for silence in the last half byte. `to` has
    // encodedSize() bytes. Pieces but the last one have an even number of samples.
    void encode(std::span<const std::int16_t> from, std::span<Byte> to);

  private:
    std::uint32_t code(int target);
    std::int32_t value_ = 0;
    std::uint32_t row_ = 0;
};

}  // namespace velor
