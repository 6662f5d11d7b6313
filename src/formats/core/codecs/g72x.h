// ITU-T G.726 adaptive differential PCM at 16, 24, 32 and 40 kbit/s, which took over G.721 (32) and G.723 (24
// and 40): 8000 Hz, one code of 2 to 5 bits for each sample. The form with uniform samples (G.726 Annex A),
// whose 14 bits are the upper ones of 16. Pure functions of their state; no input can make them fail.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "formats/core/codecs/code_packing.h"

namespace velor {

// A past value in the predictor's short floating-point form: mantissa (6 bits, always at least 32) times
// 2^(exponent - 6), and its sign as 0 or -1.
struct G72xHistory {
    std::int8_t exponent = 0, mantissa = 32, sign = 0;
};

// What coder and decoder know of one channel, in the integer formats of G.726; named as there.
struct G72xState {
    std::int32_t yl = 34816, yu = 544;      // slow and fast scale factor of the quantiser (log2, 15 and 9
                                            // fractional bits)
    std::int32_t dms = 0, dml = 0, ap = 0;  // short and long mean of the code size, speed control
    bool td = false;                        // the signal is a tone
    std::int32_t a1 = 0, a2 = 0;            // pole coefficients, 14 fractional bits
    std::array<std::int32_t, 6> b{};        // zero coefficients likewise
    // Signs of the last two partially reconstructed signals, 0 or -1.
    std::int32_t pk1 = 0, pk2 = 0;
    G72xHistory sr1, sr2;             // the last two outputs
    std::array<G72xHistory, 6> dq{};  // the last six quantised differences, the oldest first
};

class G72xDecoder {
  public:
    // width: 2 to 5 bits. With two channels the codes alternate by channel.
    G72xDecoder(int width, CodePacking packing, int channels = 1);

    // Decodes the whole codes in `from`, as far as `to` (interleaved) has room for them, and returns their
    // number. All calls but the last take a multiple of eight codes.
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);
    void reset() { states_ = {}; }

  private:
    int width_;
    CodePacking packing_;
    std::size_t channels_;
    std::array<G72xState, 2> states_;
};

class G72xEncoder {
  public:
    G72xEncoder(int width, CodePacking packing, int channels = 1);

    std::uint64_t encodedSize(std::uint64_t samples) const { return packedSize(samples, width_); }
    // Codes `from` (interleaved) into the encodedSize() bytes of `to`; unused bits of the last byte are 0.
    // All calls but the last take a multiple of eight samples.
    void encode(std::span<const std::int16_t> from, std::span<Byte> to);
    void reset() { states_ = {}; }

  private:
    int width_;
    CodePacking packing_;
    std::size_t channels_;
    std::array<G72xState, 2> states_;
};

}  // namespace velor
