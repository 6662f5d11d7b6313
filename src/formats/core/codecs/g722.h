// ITU-T G.722: 7 kHz audio at 64, 56 or 48 kbit/s. 16 kHz samples are split into two bands, each of which is
// coded as adaptive differential PCM: 2 bits for the upper and 6, 5 or 4 bits for the lower band make a code
// word for every two samples. Pure functions of their state; no input can make them fail.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "formats/core/codecs/code_packing.h"

namespace velor {

inline constexpr std::size_t kG722SamplesPerCode = 2;

// The adaptive predictor and scale factor of one band; numbers have 15 fractional bits unless said otherwise.
struct G722Band {
    std::int32_t prediction = 0, fromZeros = 0;  // of the next sample; the zeros' part of it
    std::int32_t a1 = 0, a2 = 0;                 // pole coefficients, 14 fractional bits
    // Zero coefficients likewise, and twice the last differences, the newest first; two places stay 0.
    std::array<std::int16_t, 8> b{}, doubled{};
    std::int32_t r1 = 0;          // the last reconstructed sample
    std::int32_t p1 = 0, p2 = 0;  // signs of the last partial reconstructions, 0 or -1
    std::int32_t logStep = 0;     // log2 of the quantiser's step, 11 fractional bits
    std::int32_t step;            // the step itself
};

class G722Decoder {
  public:
    // width: bits of a code word as stored, 6 to 8 (48, 56 or 64 kbit/s).
    G722Decoder(int width, CodePacking packing);

    // Decodes the whole codes in `from`, as far as `to` has room for them, and returns the number of samples
    // written. All calls but the last take a multiple of 8 codes.
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);
    void reset();

  private:
    int width_;
    CodePacking packing_;
    G722Band low_, high_;
    // What the receiving filter still needs of the sums and differences of both bands.
    std::array<std::int16_t, 11> sums_, differences_;
};

class G722Encoder {
  public:
    G722Encoder(int width, CodePacking packing);

    std::uint64_t encodedSize(std::uint64_t samples) const {
        return packedSize((samples + 1) / kG722SamplesPerCode, width_);
    }
    // Codes `from` into the encodedSize() bytes of `to`; unused bits of the last byte are 0. All calls but
    // the last take a multiple of 16 samples.
    void encode(std::span<const std::int16_t> from, std::span<Byte> to);
    void reset();

  private:
    int width_;
    CodePacking packing_;
    G722Band low_, high_;
    std::array<std::int16_t, 22> past_;  // samples that the transmitting filter still needs
};

}  // namespace velor
