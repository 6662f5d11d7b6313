#include "formats/core/wave_format.h"

#include <algorithm>

#include "base/byte_reader.h"
#include "base/error.h"
#include "base/rounding.h"

namespace velor {

namespace {

struct TagRow {
    std::uint16_t tag;
    WaveCodec codec;
};

// Registered format tags (RFC 2361 and its successors) by what their data are.
constexpr TagRow kTags[] = {
    {wave_tag::kPcm, WaveCodec::Pcm},
    {wave_tag::kFloat, WaveCodec::Float},
    {wave_tag::kMuLaw, WaveCodec::MuLaw},
    {0x0171, WaveCodec::MuLaw},
    {wave_tag::kALaw, WaveCodec::ALaw},
    {0x0172, WaveCodec::ALaw},
    {0x0002, WaveCodec::MsAdpcm},
    {0x0011, WaveCodec::ImaAdpcm},
    {0x0017, WaveCodec::OkiAdpcm},
    {0x0020, WaveCodec::YamahaAdpcm},
    {0x0014, WaveCodec::G72x},
    {0x0040, WaveCodec::G72x},
    {0x0042, WaveCodec::G72x},
    {0x0045, WaveCodec::G72x},
    {0x0059, WaveCodec::G72x},
    {0x0064, WaveCodec::G72x},
    {0x0085, WaveCodec::G72x},
    {0x008B, WaveCodec::G72x},
    {0x0093, WaveCodec::G72x},
    {0x0123, WaveCodec::G72x},
    {0x0140, WaveCodec::G72x},
    {0x4243, WaveCodec::G72x},
    {0xA105, WaveCodec::G72x},
    {0xA107, WaveCodec::G72x},
    {0x0065, WaveCodec::G722},
    {0x0031, WaveCodec::Gsm610},
    {0x1000, WaveCodec::Gsm610},
    {0x0303, WaveCodec::GsmFramed},
    {0x003B, WaveCodec::Rockwell},
    {0x0300, WaveCodec::Rockwell},
    {0x0050, WaveCodec::MpegLayer12},
    {0x0055, WaveCodec::MpegLayer3},
    {0x00B0, WaveCodec::Stream},
    {0x00FF, WaveCodec::Stream},
    {0x0180, WaveCodec::Stream},
    {0x2006, WaveCodec::Stream},
    {0x2007, WaveCodec::Stream},
    {0x4143, WaveCodec::Stream},
    {0xA106, WaveCodec::Stream},
    {0x674F, WaveCodec::OggVorbis},
    {0x6750, WaveCodec::OggVorbis},
    {0x6751, WaveCodec::OggVorbis},
    {0x676F, WaveCodec::OggVorbis},
    {0x6770, WaveCodec::OggVorbis},
    {0x6771, WaveCodec::OggVorbis},
};

constexpr std::uint16_t kStreamBits = 1;
constexpr std::uint16_t kGsmBits = 2;
constexpr std::size_t kMostExtra = 65536;

std::uint32_t bytesFor(std::uint32_t bits) {
    return std::max(1u, (bits + 7) / 8);
}

// Reads what follows the 14-byte head of an extensible file and finds the tag its sub-format stands for.
bool parseExtensible(ByteReader head, WaveFormat& format) {
    format.extensible = true;
    format.storedBits = head.u16();
    head.skip(2);  // cbSize
    format.bits = head.u16();
    head.skip(4);  // channel mask: the first two channels are kept whatever they are
    const std::uint32_t tag = head.u32();
    const auto tail = head.bytes(kTagGuidTail.size());
    if (!head.ok() || tag > 0xFFFF || !std::ranges::equal(tail, kTagGuidTail))
        return fail("Unsupported 'Extensible' subformat GUID");
    format.tag = static_cast<std::uint16_t>(tag);
    // Writers leave the valid bits at 0 when all of the container is in use.
    if (format.bits == 0 || format.bits > format.storedBits)
        format.bits = format.storedBits;
    return true;
}

void setBitRate(WaveFormat& format, double kilobits) {
    format.bits = kStreamBits;
    format.sampleFormat = bitRateClass(kilobits);
}

// MPEG1WAVEFORMAT: head layer u16, head bit rate u32, head mode u16 …
bool parseMpeg12(ByteReader extra, WaveFormat& format) {
    constexpr unsigned kSingleChannel = 8, kOtherModes = 7;
    extra.skip(2);
    const std::uint32_t bitRate = extra.u32();
    const std::uint16_t mode = extra.u16();
    if ((mode & kSingleChannel) && (mode & kOtherModes))
        return fail("Can't handle mixed channel mode MPEG streams");
    setBitRate(format, bitRate < 8000 ? 128 : bitRate / 1000.0);
    return true;
}

// MPEGLAYER3WAVEFORMAT: id u16, flags u32, block size u16 … A block is one frame of 1152 samples, half as
// long below 28 kHz.
void parseMpeg3(ByteReader extra, WaveFormat& format) {
    extra.skip(6);
    const double blockSize = extra.u16();
    setBitRate(format, blockSize * format.rate / (format.rate < 28000 ? 72000 : 144000));
}

// Checks what each coding demands and derives the bits and the displayed format.
bool checkCodec(WaveFormat& format) {
    const bool bits2to4 = format.storedBits >= 2 && format.storedBits <= 4;
    const ByteReader extra{std::span<const Byte>(format.extra)};
    if (format.codec != WaveCodec::Pcm)
        format.bits = format.storedBits;
    if (!isPlainCodec(format.codec))
        format.sampleFormat = SampleFormat::Adpcm;
    switch (format.codec) {
        case WaveCodec::Pcm:
            if (format.bits > 255)
                return fail("Unsupported bits/sample for PCM samples");
            format.sampleFormat = sampleFormatOfPcm(format.bits);
            return true;
        case WaveCodec::Float:
            format.sampleFormat = SampleFormat::Float32;
            return format.bits == 32 || format.bits == 64 ||
                   fail("Unsupported bits/sample for IEEE floating point samples");
        case WaveCodec::MuLaw:
            format.bits = 8;
            format.sampleFormat = SampleFormat::MuLaw;
            return true;
        case WaveCodec::ALaw:
            format.bits = 8;
            format.sampleFormat = SampleFormat::ALaw;
            return true;
        case WaveCodec::MsAdpcm:
            return (format.bits == 4 && format.channels <= 2) || fail("Unsupported or invalid MS ADPCM file");
        case WaveCodec::ImaAdpcm:
            return bits2to4 || fail("Unsupported or invalid IMA ADPCM file");
        case WaveCodec::OkiAdpcm:
            if (format.channels != 1)
                return fail("Can only handle mono Dialogic ADPCM format");
            return format.bits == 4 || fail("Unsupported or invalid Dialogic ADPCM file");
        case WaveCodec::YamahaAdpcm:
            if (format.channels > 2)
                return fail("> 2ch Yamaha ADPCM not supported");
            return format.bits == 4 || fail("Unsupported bits/sample for Yamaha ADPCM format");
        case WaveCodec::G72x:
            if (format.channels > 2)
                return fail("Can't handle > 2 channel files");
            return bits2to4 || format.bits == 5 ||
                   fail("Invalid no bits/sample for CCITT G.721/.723/.726 ADPCM encoding");
        case WaveCodec::G722:
            format.bits = 4;
            return format.channels <= 2 || fail("Can't handle > 2 channel files");
        case WaveCodec::Gsm610:
        case WaveCodec::GsmFramed:
            format.bits = kGsmBits;
            return format.channels == 1 || fail("Can only handle (the standard!) mono GSM");
        case WaveCodec::Rockwell:
            if (!bits2to4)
                return fail("Unsupported or invalid Rockwell ADPCM file");
            return format.channels == 1 || fail("Can only handle mono Rockwell ADPCM format");
        case WaveCodec::MpegLayer12:
            return parseMpeg12(extra, format);
        case WaveCodec::MpegLayer3:
            parseMpeg3(extra, format);
            return true;
        case WaveCodec::Stream:
        case WaveCodec::OggVorbis:
            setBitRate(format, format.bytesPerSecond * 8.0 / 1000);
            return true;
    }
    return true;
}

}  // namespace

std::string_view waveCodecName(WaveCodec codec) {
    static constexpr std::string_view kNames[] = {"PCM",
                                                  "IEEE float",
                                                  "mu-law",
                                                  "A-law",
                                                  "MS ADPCM",
                                                  "IMA ADPCM",
                                                  "OKI ADPCM",
                                                  "Yamaha ADPCM",
                                                  "G.721/G.723/G.726 ADPCM",
                                                  "G.722",
                                                  "GSM 6.10",
                                                  "GSM 6.10",
                                                  "Rockwell ADPCM",
                                                  "MPEG audio",
                                                  "MPEG layer 3",
                                                  "compressed streams",
                                                  "Ogg Vorbis"};
    return kNames[static_cast<std::size_t>(codec)];
}

bool parseWaveFormat(std::span<const Byte> chunk, WaveFormat& format) {
    format = {};
    ByteReader reader(chunk);
    format.tag = reader.u16();
    format.channels = reader.u16();
    format.rate = reader.u32();
    format.bytesPerSecond = reader.u32();
    format.blockAlign = reader.u16();
    if (!reader.ok())
        return fail("The WAVE format chunk is too short");
    if (format.channels == 0)
        return fail("No channels");
    if (format.tag == wave_tag::kExtensible) {
        if (!parseExtensible(reader, format))
            return false;
    } else if (reader.remaining() >= 2) {
        format.storedBits = format.bits = reader.u16();
        const std::size_t extraBytes = reader.remaining() >= 2 ? reader.u16() : 0;
        const auto extra = reader.bytes(std::min({extraBytes, reader.remaining(), kMostExtra}));
        format.extra.assign(extra.begin(), extra.end());
    } else {
        // The oldest PCM files end here: the block tells the width.
        format.storedBits = format.bits =
            static_cast<std::uint16_t>(std::min(format.blockAlign * 8 / format.channels, 255));
    }
    const auto* row = std::ranges::find(kTags, format.tag, &TagRow::tag);
    if (row == std::end(kTags))
        return fail("Unsupported compression type");
    format.codec = row->codec;
    return checkCodec(format);
}

void applyWaveFormat(const WaveFormat& format, Waveform& waveform) {
    waveform.sampleRate = format.rate;
    waveform.channels = static_cast<std::uint8_t>(std::min<unsigned>(format.channels, 2));
    waveform.bits = static_cast<std::uint8_t>(format.bits);
    waveform.format = format.sampleFormat;
}

std::uint32_t waveContainerBytes(const WaveFormat& format) {
    return bytesFor(format.storedBits);
}

bool waveFramesFixedByData(const WaveFormat& format) {
    return format.extensible && isPlainCodec(format.codec);
}

std::uint32_t waveFramesIn(const WaveFormat& format, std::uint64_t dataBytes) {
    double frames = 0;
    if (waveFramesFixedByData(format)) {
        frames =
            static_cast<double>(dataBytes / (std::uint64_t{waveContainerBytes(format)} * format.channels));
    } else if (format.codec == WaveCodec::GsmFramed) {
        frames = static_cast<double>(dataBytes / 38 * 160);
    } else if (const int kilobits = bitRateOf(format.sampleFormat); kilobits > 0) {
        frames = static_cast<double>(format.rate) * static_cast<double>(dataBytes) * 8 / (kilobits * 1000.0);
    } else {
        double bits = std::max<std::uint16_t>(format.bits, 1);
        if (format.codec == WaveCodec::Pcm)
            bits = waveContainerBytes(format) * 8;
        else if (format.codec == WaveCodec::Gsm610)
            bits = 1.625;  // 65 bytes for 320 samples
        frames = static_cast<double>(dataBytes) * 8 / (bits * format.channels);
    }
    return static_cast<std::uint32_t>(std::min<std::int64_t>(roundToInteger(frames), UINT32_MAX));
}

}  // namespace velor
