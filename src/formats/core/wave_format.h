// The "fmt " chunk of RIFF WAVE files: the format tags, what they say about the data, and who decodes them.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "items/waveform.h"

namespace velor {

namespace wave_tag {
inline constexpr std::uint16_t kPcm = 0x0001;
inline constexpr std::uint16_t kFloat = 0x0003;
inline constexpr std::uint16_t kALaw = 0x0006;
inline constexpr std::uint16_t kMuLaw = 0x0007;
inline constexpr std::uint16_t kExtensible = 0xFFFE;
}  // namespace wave_tag

// Bytes 4-15 of the sub-format GUIDs that stand for a format tag (the tag is in the first four bytes).
inline constexpr std::array<Byte, 12> kTagGuidTail{0x00, 0x00, 0x10, 0x00, 0x80, 0x00,
                                                   0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

// The coding of the data. Several tags name one coding.
enum class WaveCodec : std::uint8_t {
    Pcm,
    Float,
    MuLaw,
    ALaw,
    MsAdpcm,
    ImaAdpcm,
    OkiAdpcm,
    YamahaAdpcm,
    G72x,  // G.721, G.723 (24 and 40 kbit/s), G.726; the bits per code tell which
    G722,
    Gsm610,     // 65-byte blocks of 320 samples
    GsmFramed,  // 38-byte frames of 160 samples
    Rockwell,
    MpegLayer12,
    MpegLayer3,
    Stream,  // AAC and other streams of the codec libraries
    OggVorbis,
};

// PCM, float and the laws: one sample after the other, nothing packed.
constexpr bool isPlainCodec(WaveCodec codec) {
    return codec <= WaveCodec::ALaw;
}

// The name used in messages ("IMA ADPCM").
std::string_view waveCodecName(WaveCodec codec);

// A parsed "fmt " chunk.
struct WaveFormat {
    WaveCodec codec = WaveCodec::Pcm;
    std::uint16_t tag = wave_tag::kPcm;  // of the sub-format for extensible files
    std::uint16_t channels = 0;          // as stored; may be more than the waveform keeps
    std::uint32_t rate = 0;              // Hz
    std::uint32_t bytesPerSecond = 0;
    std::uint16_t blockAlign = 0;
    std::uint16_t storedBits = 0;  // the bits field: the container's width in extensible files
    std::uint16_t bits = 0;        // significant bits; 1 marks a bit-rate stream, 2 GSM
    SampleFormat sampleFormat = SampleFormat::Pcm16;
    bool extensible = false;
    std::vector<Byte> extra;  // the codec's bytes after cbSize, as far as the chunk holds them
};

// Parses the payload of a "fmt " chunk. False with a message for what cannot be handled.
bool parseWaveFormat(std::span<const Byte> chunk, WaveFormat& format);

// Frames in `dataBytes` bytes of data, rounded to the nearest; saturates at the largest 32-bit number.
std::uint32_t waveFramesIn(const WaveFormat& format, std::uint64_t dataBytes);
// True when the count comes from the data size alone, whatever a "fact" chunk before the data says.
bool waveFramesFixedByData(const WaveFormat& format);

// Sets the waveform's rate, channels (the first two of more), bits and displayed format.
void applyWaveFormat(const WaveFormat& format, Waveform& waveform);

// The bytes of one stored sample of PCM and float data.
std::uint32_t waveContainerBytes(const WaveFormat& format);

}  // namespace velor
