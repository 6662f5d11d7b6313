// Conversion between stored samples and 32-bit float samples: pure functions over spans.
#pragma once

#include <cstdint>
#include <span>

#include "base/byte_order.h"
#include "items/sample_encoding.h"

namespace velor {

// How one sample is stored. Laws and 8-bit samples ignore the order; only integer PCM can be unsigned (offset
// binary).
struct SampleLayout {
    SampleEncoding encoding = SampleEncoding::Pcm16;
    ByteOrder order = ByteOrder::Little;
    bool isUnsigned = false;

    // The layout of a waveform's source format word.
    static SampleLayout fromWord(std::uint32_t sourceFormat);
    std::uint32_t word() const;
    friend bool operator==(const SampleLayout&, const SampleLayout&) = default;
};

// Encodings that decodeSamples and encodeSamples serve: 0-9, 15 and 16.
bool isPlainEncoding(SampleEncoding encoding);
// The bytes that hold `samples` samples (frames × channels): (bits × samples + 7) / 8.
std::uint64_t storedSize(SampleEncoding encoding, std::uint64_t samples);

// Decodes to.size() samples from `from`, which holds at least storedSize() bytes. Full scale is 1.0: integers
// are divided by 2^(bits-1). Packed 12-bit: two samples in three bytes, as one 24-bit word of the given order
// whose low half is the first sample (little-endian) or whose high half is (big-endian); packed 20-bit alike,
// two samples in five bytes. Delta encodings are one running sum over all samples as they lie in the file
// from 0, so a block is decoded in one call.
void decodeSamples(const SampleLayout& layout, std::span<const Byte> from, std::span<float> to);

// The inverse: rounds half away from zero and clips to full scale; NaN becomes 0. `to` holds storedSize()
// bytes.
void encodeSamples(const SampleLayout& layout, std::span<const float> from, std::span<Byte> to);

// 16-bit samples to floats and back, as decodeSamples() and encodeSamples() do it. Both spans have one
// length.
void samplesFrom16(std::span<const std::int16_t> from, std::span<float> to);
void samplesTo16(std::span<const float> from, std::span<std::int16_t> to);

// True when widenSamples() takes `from` to `to`: integer PCM of 8, 16 or 24 bits to the next wider or equal
// one.
bool canWiden(const SampleLayout& from, const SampleLayout& to);
// Integer samples brought into wider integers (or another byte order or sign) without the way over floats:
// exact, and several times faster. Both spans hold the same number of samples.
void widenSamples(const SampleLayout& from, std::span<const Byte> in, const SampleLayout& to,
                  std::span<Byte> out);

// G.711 expansion of one code to a 16-bit value, and compression of one 16-bit value (ITU-T G.711).
std::int16_t muLawToLinear(Byte code);
std::int16_t aLawToLinear(Byte code);
Byte linearToMuLaw(std::int16_t value);
Byte linearToALaw(std::int16_t value);

}  // namespace velor
