// GSM 06.10 full-rate speech (ETSI EN 300 961): 160 samples of 8000 Hz in 260 bits, with the fixed-point
// arithmetic of the standard, so every conforming coder gives the same bits and samples.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor::gsm610 {

inline constexpr std::size_t kFrameSamples = 160;
// Frames on their own: the signature 1101b, then all fields, most significant bits first (RFC 3551, 4.5.8).
inline constexpr std::size_t kFrameBytes = 33;
// Two frames without signature, least significant bits first; the second one starts within a byte. WAVE
// files have them.
inline constexpr std::size_t kPairBytes = 65;
inline constexpr std::size_t kPairSamples = 2 * kFrameSamples;
inline constexpr std::uint32_t kSampleRate = 8000;  // Hz

// True when the first byte of a 33-byte frame carries the signature.
constexpr bool hasSignature(Byte first) {
    return first >> 4 == 0xD;
}

// The residual of 40 samples: one in three of them, scaled by their maximum, beside what repeats after a lag.
struct Subframe {
    std::uint8_t lag = 0;                       // 7 bits; valid are 40 to 120 samples
    std::uint8_t gain = 0;                      // 2 bits
    std::uint8_t grid = 0;                      // 2 bits: phase of the samples that are kept
    std::uint8_t maximum = 0;                   // 6 bits: logarithm of the block maximum
    std::array<std::uint8_t, 13> samples = {};  // 3 bits each

    friend bool operator==(const Subframe&, const Subframe&) = default;
};

// The fields of one frame.
struct Frame {
    std::array<std::uint8_t, 8> logAreaRatios = {};  // 6, 6, 5, 5, 4, 4, 3, 3 bits
    std::array<Subframe, 4> subframes;

    friend bool operator==(const Frame&, const Frame&) = default;
};

// The two bit layouts. Unpacking takes any bits; a missing signature is for the caller to mind.
Frame unpackFrame(std::span<const Byte, kFrameBytes> from);
void packFrame(const Frame& frame, std::span<Byte, kFrameBytes> to);
std::array<Frame, 2> unpackPair(std::span<const Byte, kPairBytes> from);
void packPair(const std::array<Frame, 2>& frames, std::span<Byte, kPairBytes> to);

// The decoder of one stream. Every frame goes on from the state that the one before it left.
class Decoder {
  public:
    // Samples are full scale 16-bit; their three low bits are 0, for the codec has 13 bits.
    void decode(const Frame& frame, std::span<std::int16_t, kFrameSamples> to);
    void decodeFrame(std::span<const Byte, kFrameBytes> from, std::span<std::int16_t, kFrameSamples> to) {
        decode(unpackFrame(from), to);
    }
    void decodePair(std::span<const Byte, kPairBytes> from, std::span<std::int16_t, kPairSamples> to);

  private:
    static constexpr std::size_t kHistory = 120;

    std::array<std::int16_t, kHistory + kFrameSamples> residual_ = {};  // of the frame and before it
    std::array<std::int16_t, 8> areaRatios_ = {};                       // of the frame before
    std::array<std::int32_t, 8> lattice_ = {};
    std::int32_t deemphasis_ = 0;
    std::uint8_t lag_ = 40;  // the last valid one
};

// Decoders of stored data: whole units one after the other, each frame going on from the one before it. They
// return the number of samples written; what a cut unit does not hold is left out.
class FramesDecoder {  // units of 33 bytes
  public:
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);

  private:
    Decoder decoder_;
};
class PairsDecoder {  // units of 65 bytes
  public:
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);

  private:
    Decoder decoder_;
};

// Frames as voice modems deliver them: FE FE before speech or B6 B6 before what is below the threshold of
// silence, the frame of 33 bytes, and 00 A5 A5.
inline constexpr std::size_t kModemFrameBytes = 38;
void packModemFrame(const Frame& frame, std::span<Byte, kModemFrameBytes> to);
// Takes all data at once, since frames without their marks are 33 bytes long, though each still counts as 38
// bytes of the data. A waveform may end within a frame.
class ModemDecoder {
  public:
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);

  private:
    Decoder decoder_;
};

// The encoder of one stream.
class Encoder {
  public:
    // Takes full scale 16-bit samples, of which the codec uses the upper 13 bits.
    Frame encode(std::span<const std::int16_t, kFrameSamples> from);
    void encodeFrame(std::span<const std::int16_t, kFrameSamples> from, std::span<Byte, kFrameBytes> to) {
        packFrame(encode(from), to);
    }
    void encodePair(std::span<const std::int16_t, kPairSamples> from, std::span<Byte, kPairBytes> to);

  private:
    using Samples = std::array<std::int16_t, kFrameSamples>;
    static constexpr std::size_t kHistory = 120;

    void preprocess(std::span<const std::int16_t, kFrameSamples> from, Samples& to);
    void analyse(const std::array<std::int16_t, 8>& areaRatios, Samples& samples);
    void encodeSubframe(const std::int16_t* wanted, std::int16_t* residual, Subframe& to);

    std::array<std::int16_t, kHistory + kFrameSamples> residual_ = {};  // as the decoder has it
    std::array<std::int16_t, 8> areaRatios_ = {};
    std::array<std::int16_t, 8> lattice_ = {};
    std::int64_t offset_ = 0;       // offset compensation: the filtered sample, 15 fractional bits
    std::int32_t offsetInput_ = 0;  // and the last input
    std::int32_t preemphasis_ = 0;
};

// The encoder of stored data in one of the three layouts: whole units one after the other, the last one
// filled up with silence.
enum class Layout : std::uint8_t { Frames, Pairs, Modem };
class StoredEncoder {
  public:
    explicit StoredEncoder(Layout layout) : layout_(layout) {}
    std::uint64_t encodedSize(std::uint64_t samples) const {
        return (samples + unitSamples() - 1) / unitSamples() * unitBytes();
    }
    // Pieces but the last one are whole units.
    void encode(std::span<const std::int16_t> from, std::span<Byte> to);

  private:
    std::size_t unitSamples() const { return layout_ == Layout::Pairs ? kPairSamples : kFrameSamples; }
    std::size_t unitBytes() const {
        return layout_ == Layout::Pairs   ? kPairBytes
               : layout_ == Layout::Modem ? kModemFrameBytes
                                          : kFrameBytes;
    }

    Layout layout_;
    Encoder encoder_;
};

}  // namespace velor::gsm610
