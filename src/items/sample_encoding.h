// How samples are stored in files: the encodings a writer can choose from and the format codes a waveform
// shows.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace velor {

// The codes are bit positions in a format row's flags and in a waveform's source format word.
enum class SampleEncoding : std::uint8_t {
    Pcm8 = 0,
    Pcm12 = 1,
    Pcm16 = 2,
    Pcm20 = 3,
    Pcm24 = 4,
    Pcm32 = 5,
    Float32 = 6,
    Float64 = 7,
    MuLaw = 8,
    ALaw = 9,
    Gsm = 10,
    Adpcm2 = 11,
    Adpcm3 = 12,
    Adpcm4 = 13,
    Adpcm5 = 14,
    DeltaPcm8 = 15,
    DeltaPcm16 = 16,
    Compressed = 17,
    AsciiText = 18,
    Midi = 19,
    None = 20,  // shown as "Mixed" where a selection needs more than one encoding
};

inline constexpr int kSampleEncodings = 20;

constexpr std::uint32_t encodingBit(SampleEncoding encoding) {
    return encoding == SampleEncoding::None ? 0 : 1u << static_cast<unsigned>(encoding);
}

// The display name ("PCM 24-bit"); "Mixed" for None.
std::string_view encodingName(SampleEncoding encoding);
// The inverse, without regard to case; also accepts short forms such as "pcm24", "f32", "ulaw", "alaw".
std::optional<SampleEncoding> encodingFromName(std::string_view name);

// Bits per stored sample of the encodings that have a fixed width; 0 for the others (10-14 and 17-20).
int encodingBits(SampleEncoding encoding);

// Integer PCM of a number of whole bytes: 1 to 4, of which the nearest is taken.
constexpr SampleEncoding pcmEncoding(std::uint64_t bytes) {
    return bytes <= 1   ? SampleEncoding::Pcm8
           : bytes == 2 ? SampleEncoding::Pcm16
           : bytes == 3 ? SampleEncoding::Pcm24
                        : SampleEncoding::Pcm32;
}

// ADPCM by the bits of its codes: 2 to 5, of which the nearest is taken, and back (0 when it is not ADPCM).
constexpr SampleEncoding adpcmEncoding(int bits) {
    const int least = static_cast<int>(SampleEncoding::Adpcm2);
    return static_cast<SampleEncoding>(least + (bits < 2 ? 2 : bits > 5 ? 5 : bits) - 2);
}
constexpr int adpcmBits(SampleEncoding encoding) {
    return encoding >= SampleEncoding::Adpcm2 && encoding <= SampleEncoding::Adpcm5
               ? static_cast<int>(encoding) - static_cast<int>(SampleEncoding::Adpcm2) + 2
               : 0;
}

// The stored-data format of a waveform as the user sees it. 8..20 are bit-rate classes of compressed streams.
enum class SampleFormat : std::uint8_t {
    Pcm8 = 0,
    Pcm16 = 1,
    Pcm24 = 2,
    Pcm32 = 3,
    Float32 = 4,
    MuLaw = 5,
    ALaw = 6,
    Adpcm = 7,  // any speech or ADPCM codec; shown as "ADPCM 4-bit"
    Compressed32k = 8,
    Compressed320k = 20,
};

inline constexpr int kSampleFormats = 21;

std::string_view sampleFormatName(SampleFormat format);
// The format that integer PCM of a width in bits is shown as: up to 8, 16, 24 and more.
SampleFormat sampleFormatOfPcm(int bits);
SampleFormat sampleFormatOf(SampleEncoding encoding);
// The encoding a format stands for: Compressed for the bit-rate classes, Adpcm4 for Adpcm.
SampleEncoding encodingOf(SampleFormat format);
// The bit-rate class nearest to a rate in kbit/s, and the rate a class stands for (0 for other formats).
SampleFormat bitRateClass(double kilobitsPerSecond);
int bitRateOf(SampleFormat format);

// A waveform's source format word: one bit 0-19 for the encoding and these layout flags.
namespace source_format {
inline constexpr std::uint32_t kEncodingMask = 0x000FFFFF;
inline constexpr std::uint32_t kPlanar = 1u << 22;    // two channels as two blocks instead of interleaved
inline constexpr std::uint32_t kUnsigned = 1u << 23;  // offset binary instead of two's complement
inline constexpr std::uint32_t kBigEndian = 1u << 24;

// The position of the lowest set encoding bit; None when no bit is set.
SampleEncoding encoding(std::uint32_t word);
}  // namespace source_format

}  // namespace velor
