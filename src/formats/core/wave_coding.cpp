#include "formats/core/wave_coding.h"

#include <algorithm>

#include "base/error.h"
#include "base/rounding.h"
#include "formats/core/codec_writer.h"
#include "formats/core/codecs/g72x.h"
#include "formats/core/codecs/gsm610.h"
#include "formats/core/wave_format.h"
#include "formats/framework/frame_reader.h"
#include "plugins/mp3_encoder.h"

namespace velor {

namespace {

struct FormatRow {
    SampleEncoding encoding;
    std::uint16_t tag;
    std::uint32_t fmtSize;
};

constexpr FormatRow kFormats[] = {
    {SampleEncoding::Pcm8, wave_tag::kPcm, 16},
    {SampleEncoding::Pcm16, wave_tag::kPcm, 16},
    {SampleEncoding::Pcm24, wave_tag::kPcm, 16},
    {SampleEncoding::Pcm32, wave_tag::kPcm, 16},
    {SampleEncoding::Float32, wave_tag::kFloat, 16},
    {SampleEncoding::MuLaw, wave_tag::kMuLaw, 18},
    {SampleEncoding::ALaw, wave_tag::kALaw, 18},
    {SampleEncoding::Gsm, 0x0031, 20},
    {SampleEncoding::Adpcm2, 0x0064, 16},
    {SampleEncoding::Adpcm3, 0x0014, 20},
    {SampleEncoding::Adpcm4, 0x0040, 20},
    {SampleEncoding::Adpcm5, 0x0014, 20},
    {SampleEncoding::Compressed, 0x0055, 30},
};
constexpr std::uint32_t kExtensibleSize = 40;
// Extensible files have PCM and float only.
constexpr std::uint32_t kExtensibleEncodings =
    encodingBit(SampleEncoding::Pcm8) | encodingBit(SampleEncoding::Pcm16) |
    encodingBit(SampleEncoding::Pcm24) | encodingBit(SampleEncoding::Pcm32) |
    encodingBit(SampleEncoding::Float32);
constexpr std::uint32_t kGsmPairFrames = gsm610::kPairSamples;

// A codec part of one 16-bit word.
std::vector<Byte> oneWord(std::uint16_t value) {
    return {static_cast<Byte>(value), static_cast<Byte>(value >> 8)};
}

void planPlain(const Waveform& waveform, WaveCoding& coding) {
    coding.bits = static_cast<std::uint16_t>(encodingBits(coding.target.layout.encoding));
    coding.blockAlign = static_cast<std::uint16_t>(coding.target.channels * coding.bits / 8);
    coding.bytesPerSecond = coding.blockAlign * coding.rate;
    coding.dataSize = encodedSize(waveform, coding.target);
    coding.storesFact = coding.tag == wave_tag::kMuLaw || coding.tag == wave_tag::kALaw;
    coding.fact = waveform.frames;
}

void planGsm(const Waveform& waveform, WaveCoding& coding) {
    const std::uint64_t pairs = (std::uint64_t{waveform.frames} + kGsmPairFrames - 1) / kGsmPairFrames;
    coding.blockAlign = gsm610::kPairBytes;
    coding.bytesPerSecond = static_cast<std::uint32_t>(coding.rate * 1.625 / 8);
    coding.extra = oneWord(kGsmPairFrames);
    coding.storesFact = true;
    coding.fact = static_cast<std::uint32_t>(std::min<std::uint64_t>(pairs * kGsmPairFrames, UINT32_MAX));
    coding.dataSize = pairs * gsm610::kPairBytes;
}

void planAdpcm(const Waveform& waveform, WaveCoding& coding) {
    const auto bits = static_cast<std::uint32_t>(adpcmBits(coding.target.layout.encoding));
    coding.bits = static_cast<std::uint16_t>(bits);
    coding.blockAlign = static_cast<std::uint16_t>(bits * 16);
    coding.bytesPerSecond = static_cast<std::uint32_t>((std::uint64_t{bits} * coding.rate + 7) / 8);
    coding.extra = oneWord(0);
    coding.storesFact = true;
    coding.fact = waveform.frames;
    coding.dataSize = (std::uint64_t{bits} * waveform.frames + 7) / 8;
}

// MPEGLAYER3WAVEFORMAT and the encoded stream.
bool planMp3(Waveform*& original, double quality, UserInterface& ui, WaveCoding& coding, WorkingCopy& copy) {
    constexpr std::uint32_t kCodecDelay = 1104;  // frames that the decoder gives out before the first one
    std::int64_t bitRate = quality >= 0 ? roundToInteger(std::min(quality, 1e6) * 1000)
                                        : std::int64_t{bitRateOf(original->format)} * 1000;
    if (bitRate < 8000 || bitRate > 320000)
        bitRate = 128000;
    const auto kilobits = static_cast<std::uint32_t>(bitRate / 1000);
    const auto encoder = createMp3Encoder();
    if (!encoder || !encoder->start(coding.rate, static_cast<int>(kilobits), coding.target.channels))
        return false;
    if (coding.rate == 0)
        return false;
    original = copy.atFixedRate(*original, coding.rate, ui);
    if (!original)
        return false;
    Waveform& waveform = *original;
    FrameReader reader(waveform, coding.target.channels);
    if (!reader.open())
        return false;
    for (std::span<const float> samples; reader.next(samples) && !samples.empty();) {
        if (!encoder->encode(samples, coding.stream))
            return false;
        ui.progress(static_cast<double>(reader.framesRead()) / waveform.frames);
        if (ui.aborted())
            return fail("Save aborted!");
    }
    if (reader.failed() || !encoder->finish(coding.stream))
        return false;
    coding.blockAlign = 1;
    coding.bytesPerSecond = static_cast<std::uint32_t>((bitRate + 4) / 8);
    const std::uint32_t framesFactor = coding.rate < 28000 ? 2 : 1;
    const std::uint32_t blockSize = (144000 / framesFactor * kilobits + coding.rate / 2) / coding.rate;
    coding.extra.resize(12);
    ByteWriter extra(coding.extra);
    extra.u16(1);  // MPEGLAYER3_ID_MPEG
    extra.u32(0);  // padding as the frames need it
    extra.u16(static_cast<std::uint16_t>(blockSize));
    extra.u16(1);  // frames a block
    extra.u16(kCodecDelay);
    coding.storesFact = true;
    coding.fact = waveform.frames + kCodecDelay;
    coding.dataSize = coding.stream.size();
    return true;
}

}  // namespace

std::uint32_t waveEncodings() {
    std::uint32_t mask = 0;
    for (const FormatRow& row : kFormats)
        mask |= encodingBit(row.encoding);
    return mask;
}

std::uint32_t extensibleWaveEncodings() {
    return kExtensibleEncodings;
}

bool planWaveCoding(Waveform*& chosen, SampleEncoding encoding, int channels, double quality,
                    UserInterface& ui, WaveCoding& coding, WorkingCopy& copy) {
    const Waveform& waveform = *chosen;
    coding = {};
    const auto* row = std::ranges::find(kFormats, encoding, &FormatRow::encoding);
    if (row == std::end(kFormats))
        return fail("Unsupported subformat");
    coding.tag = row->tag;
    coding.fmtSize = row->fmtSize;
    coding.rate = waveform.sampleRate;
    coding.target.layout.encoding = encoding;
    coding.target.layout.isUnsigned = encoding == SampleEncoding::Pcm8;
    coding.target.channels = channels;
    if (encoding == SampleEncoding::Compressed)
        return planMp3(chosen, quality, ui, coding, copy);
    if (encoding != SampleEncoding::Gsm && adpcmBits(encoding) == 0) {
        planPlain(waveform, coding);
        return true;
    }
    coding.target.channels = 1;
    if (waveform.channels == 2)
        ui.warn({formatText("%s is mono in WAVE files - the two channels are mixed",
                            std::string(encodingName(encoding)).c_str()),
                 "fmt "});
    encoding == SampleEncoding::Gsm ? planGsm(waveform, coding) : planAdpcm(waveform, coding);
    return true;
}

std::uint32_t waveFormatSize(const WaveCoding& coding, bool extensible) {
    return extensible ? kExtensibleSize : coding.fmtSize;
}

void writeWaveFormat(ByteWriter& to, const WaveCoding& coding, bool extensible) {
    to.id(fourCc("fmt "));
    to.u32(waveFormatSize(coding, extensible));
    to.u16(extensible ? wave_tag::kExtensible : coding.tag);
    to.u16(static_cast<std::uint16_t>(coding.target.channels));
    to.u32(coding.rate);
    to.u32(coding.bytesPerSecond);
    to.u16(coding.blockAlign);
    to.u16(coding.bits);
    if (extensible) {
        constexpr std::uint32_t kFrontLeftAndRight = 3, kFrontCentre = 4;
        to.u16(22);  // size of the rest
        to.u16(coding.bits);
        to.u32(coding.target.channels == 1 ? kFrontCentre : kFrontLeftAndRight);
        to.u32(coding.tag);
        to.bytes(kTagGuidTail);
    } else if (coding.fmtSize >= 18) {
        to.u16(static_cast<std::uint16_t>(coding.fmtSize - 18));
        if (coding.fmtSize > 18)
            to.bytes(coding.extra);
    }
}

bool encodeWaveData(Waveform& waveform, const WaveCoding& coding, std::span<Byte> to, UserInterface& ui) {
    const SampleEncoding encoding = coding.target.layout.encoding;
    if (encoding == SampleEncoding::Compressed) {
        std::ranges::copy(coding.stream, to.begin());
        return true;
    }
    if (encoding == SampleEncoding::Gsm)
        return encodeCodes(waveform, 1, to, ui, gsm610::StoredEncoder(gsm610::Layout::Pairs));
    if (const int bits = adpcmBits(encoding))
        return encodeCodes(waveform, 1, to, ui, G72xEncoder(bits, CodePacking::HighBitsFirst));
    return encodeWaveform(waveform, coding.target, to, ui);
}

}  // namespace velor
