// Creative ADPCM of Sound Blaster cards: 4, 2.6 or 2 bits per sample.
//
// The decoder follows the way of SoX, which scales the card's 8-bit steps to 16 bits; others keep the state
// differently and give other low bits. Independent descriptions of the card's own arithmetic are not known.
#pragma once

#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor {

// The numbers are those of the codec field in .voc files.
enum class CreativeAdpcmKind : std::uint8_t { Bits4 = 1, Bits26 = 2, Bits2 = 3 };

// Samples in a byte: 2, 3 or 4.
std::uint32_t samplesPerByte(CreativeAdpcmKind kind);

class CreativeAdpcmDecoder {
  public:
    // `reference` is the unsigned 8-bit sample at the start of the data. It is the first sample itself, which
    // decode() leaves to the caller.
    CreativeAdpcmDecoder(CreativeAdpcmKind kind, Byte reference);

    // Decodes whole bytes as long as their samples fit; returns the number of samples.
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);

  private:
    std::int16_t next(unsigned code);

    CreativeAdpcmKind kind_;
    int sample_;
    int step_ = 0;  // index
};

}  // namespace velor
