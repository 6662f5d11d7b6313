// Rockwell ADPCM with codes of 2, 3 or 4 bits, as voice modems record it: an adaptive quantiser behind a
// predictor of two poles and six zeros, then a fixed de-emphasis.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor {

// The state that decoder and encoder share.
class RockwellCodec {
  public:
    // `bits` 2, 3 or 4; anything else is taken as 4.
    explicit RockwellCodec(int bits);

    // Codes follow each other without gaps from the low bits of little-endian 16-bit words on. This many
    // bytes hold a whole number of words and of codes, so data are decoded and encoded in multiples of it;
    // only the last piece may be of any length.
    static constexpr std::size_t unitBytes(int bits) { return bits == 3 ? 6 : 2; }
    static constexpr std::size_t unitSamples(int bits) { return bits == 3 ? 16 : bits == 2 ? 8 : 4; }

    int bits() const { return bits_; }
    // The sample that the next code would give.
    std::int16_t sampleFor(unsigned code) const;
    // Moves on by one code and returns its sample.
    std::int16_t advance(unsigned code);

  private:
    struct Table;

    std::int32_t quantised(unsigned code) const;
    std::int32_t reconstructed(std::int32_t difference) const;

    int bits_;
    const Table* table_;
    std::int32_t step_ = 31;
    std::int32_t prediction_ = 0;                    // 15 fractional bits below the sample
    std::array<std::int32_t, 8> coefficients_ = {};  // two poles, six zeros
    std::array<std::int32_t, 8> history_ = {};       // sums Y1 Y2, then differences Q1 to Q6
    std::int32_t last_ = 0;                          // output
};

class RockwellDecoder {
  public:
    explicit RockwellDecoder(int bits) : codec_(bits) {}

    // Returns the number of samples written: those of all whole codes.
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);

  private:
    RockwellCodec codec_;
};

class RockwellEncoder {
  public:
    explicit RockwellEncoder(int bits) : codec_(bits) {}

    std::uint64_t encodedSize(std::uint64_t samples) const {
        return (samples * static_cast<unsigned>(codec_.bits()) + 7) / 8;
    }
    // Fills `to`, of encodedSize() bytes. Each code is the one that comes nearest to its sample.
    void encode(std::span<const std::int16_t> from, std::span<Byte> to);

  private:
    RockwellCodec codec_;
};

}  // namespace velor
