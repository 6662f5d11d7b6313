#include "formats/core/aiff_data.h"

#include <algorithm>
#include <array>

#include "base/error.h"
#include "formats/core/codec_streams.h"
#include "formats/core/codecs/dwvw.h"
#include "formats/core/codecs/gsm610.h"
#include "formats/core/undecoded_source.h"
#include "formats/framework/stored_samples.h"
#include "formats/framework/waveform_io.h"

namespace velor {

namespace {

constexpr AiffCompression kCompressions[] = {
    {fourCc("NONE"), AiffCoding::BigEndianPcm},
    {fourCc("none"), AiffCoding::BigEndianPcm},
    {fourCc("twos"), AiffCoding::BigEndianPcm},
    {fourCc("lpcm"), AiffCoding::BigEndianPcm},
    {fourCc("sowt"), AiffCoding::LittleEndianPcm},
    {fourCc("in24"), AiffCoding::BigEndianPcm, 24},
    {fourCc("in32"), AiffCoding::BigEndianPcm, 32},
    {fourCc("fl32"), AiffCoding::Float, 32},
    {fourCc("fl64"), AiffCoding::Float, 64},
    {fourCc("FL32"), AiffCoding::Float, 32},  // older writers
    {fourCc("FL64"), AiffCoding::Float, 64},
    {fourCc("alaw"), AiffCoding::ALaw, 8},
    {fourCc("ALAW"), AiffCoding::ALaw, 8},
    {fourCc("ulaw"), AiffCoding::MuLaw, 8},
    {fourCc("ULAW"), AiffCoding::MuLaw, 8},
    {fourCc("ima4"), AiffCoding::Codec, 4, "IMA ADPCM", 64},
    {fourCc("IMA4"), AiffCoding::Codec, 4, "IMA ADPCM", 64},
    {fourCc("MAC3"), AiffCoding::Codec, 3, "MACE 3:1", 6},
    {fourCc("MAC6"), AiffCoding::Codec, 1, "MACE 6:1", 6},
    {fourCc("G721"), AiffCoding::Codec, 4, "G.721 ADPCM"},
    {fourCc("G722"), AiffCoding::Codec, 4, "G.722"},
    {fourCc("G723"), AiffCoding::Codec, 0, "G.723 ADPCM"},
    {fourCc("G726"), AiffCoding::Codec, 0, "G.726 ADPCM"},
    {fourCc("GSM "), AiffCoding::Codec, 2, "GSM 6.10"},
    {fourCc("DWVW"), AiffCoding::Codec, 0, "DWVW"},
};

// One bit stream through all the data; two channels take turns in it.
class DwvwSamples final : public SampleDecoder {
  public:
    explicit DwvwSamples(int bits) : bits_(bits) {}

    std::size_t decode(std::span<const Byte> from, std::span<float> to) override {
        constexpr float kScale = 1.0f / 2147483648.0f;
        DwvwDecoder decoder(from, bits_);
        std::array<std::int32_t, 4096> piece;
        std::size_t written = 0;
        while (written < to.size()) {
            const std::size_t count =
                decoder.decode(std::span(piece).first(std::min(piece.size(), to.size() - written)));
            if (count == 0)
                break;
            for (std::size_t i = 0; i < count; ++i)
                to[written + i] = static_cast<float>(piece[i]) * kScale;
            written += count;
        }
        return written;
    }

  private:
    int bits_;
};

// Bits of a code. Writers may give the width of decoded samples instead; then the data size tells.
int codeWidth(const Waveform& waveform, std::uint64_t declaredSize) {
    const std::uint64_t samples = std::uint64_t{waveform.frames} * waveform.channels;
    if ((waveform.bits >= 2 && waveform.bits <= 5) || samples == 0)
        return std::clamp<int>(waveform.bits, 2, 5);
    return static_cast<int>(std::clamp<std::uint64_t>((declaredSize * 8 + samples / 2) / samples, 2, 5));
}

// The common chunk counts packets. Some writers count the frames instead, or share the packets out among
// the channels; the size that the data chunk declares tells.
void correctPacketCount(Waveform& waveform, const CodecUnit& unit, std::uint64_t declaredSize) {
    const std::uint64_t held = declaredSize / unit.bytes * unit.frames;
    const std::uint64_t counted = waveform.frames;
    const bool framesCounted =
        counted > held && counted / unit.frames > held - unit.frames && counted / unit.frames <= held;
    if (framesCounted)
        waveform.frames /= unit.frames;
    else if (waveform.channels == 2 && counted / unit.frames == held / unit.frames / 2)
        waveform.frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(held, UINT32_MAX));
}

// The unit and the decoder of codec data; without a decoder where none is built. Corrects the frame count of
// IMA ADPCM.
void setDecoder(CodecData& data, const AiffCompression& compression, Waveform& waveform,
                std::uint64_t declaredSize) {
    const int channels = waveform.channels;
    switch (compression.type) {
        case fourCc("ima4"):
        case fourCc("IMA4"):
            setIma4(data, channels);
            correctPacketCount(waveform, data.unit, declaredSize);
            break;
        case fourCc("GSM "):
            data.unit = {gsm610::kFrameBytes, gsm610::kFrameSamples};
            data.makeDecoder = decoder16<gsm610::FramesDecoder>();
            break;
        case fourCc("MAC3"):
            setMace(data, MaceRatio::ThreeToOne, channels);
            break;
        case fourCc("MAC6"):
            setMace(data, MaceRatio::SixToOne, channels);
            break;
        case fourCc("DWVW"):
            if (DwvwDecoder::supportsWidth(waveform.bits)) {
                data.makeDecoder = [bits = int{waveform.bits}] {
                    return std::make_unique<DwvwSamples>(bits);
                };
            }
            break;
        case fourCc("G722"):
            setG722(data, 8, CodePacking::HighBitsFirst, channels);
            break;
        case fourCc("G721"):
        case fourCc("G723"):
        case fourCc("G726"):
            setG72x(data, codeWidth(waveform, declaredSize), CodePacking::HighBitsFirst, channels);
            break;
        default:
            break;
    }
}

SampleLayout plainLayout(const AiffCompression& compression, int bits) {
    // Samples fill their bytes from the top, so narrower ones need no scaling of their own.
    SampleLayout layout;
    layout.order = compression.coding == AiffCoding::LittleEndianPcm ? ByteOrder::Little : ByteOrder::Big;
    layout.isUnsigned = compression.coding == AiffCoding::UnsignedPcm;
    switch (compression.coding) {
        case AiffCoding::Float:
            layout.encoding = bits == 64 ? SampleEncoding::Float64 : SampleEncoding::Float32;
            break;
        case AiffCoding::ALaw:
            layout.encoding = SampleEncoding::ALaw;
            break;
        case AiffCoding::MuLaw:
            layout.encoding = SampleEncoding::MuLaw;
            break;
        default:
            layout.encoding = pcmEncoding((static_cast<unsigned>(bits) + 7) / 8);
            break;
    }
    return layout;
}

}  // namespace

const AiffCompression* findAiffCompression(std::uint32_t type) {
    const auto* found = std::ranges::find(kCompressions, type, &AiffCompression::type);
    return found != std::end(kCompressions) ? found : nullptr;
}

bool applyAiffCompression(const AiffCompression& compression, std::uint16_t commonBits, std::uint32_t frames,
                          Waveform& waveform) {
    const int bits = compression.bits ? compression.bits : commonBits;
    const bool pcm = compression.coding <= AiffCoding::UnsignedPcm;
    if (pcm && (bits < 1 || bits > 32))
        return fail(kUnknownSampleFormat);
    waveform.bits = static_cast<std::uint8_t>(std::clamp(bits, 1, 64));
    std::uint64_t count = std::uint64_t{frames} * compression.framesPerUnit;
    switch (compression.coding) {
        case AiffCoding::Float:
            waveform.format = SampleFormat::Float32;
            break;
        case AiffCoding::ALaw:
            waveform.format = SampleFormat::ALaw;
            break;
        case AiffCoding::MuLaw:
            waveform.format = SampleFormat::MuLaw;
            break;
        case AiffCoding::Codec:
            waveform.format = SampleFormat::Adpcm;
            if (compression.type == fourCc("GSM ") && waveform.channels != 1)
                return fail("Can only handle (the standard!) mono GSM");
            if (compression.type == fourCc("DWVW"))
                waveform.format = SampleFormat::Pcm16;
            else if (compression.type == fourCc("GSM "))
                count = (count + 159) / 160 * 160;
            break;
        default:
            waveform.format = sampleFormatOfPcm(bits);
            break;
    }
    waveform.frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(count, UINT32_MAX));
    return true;
}

void attachAiffData(Waveform& waveform, const AiffCompression& compression, std::shared_ptr<File> file,
                    const AiffData& data) {
    if (compression.coding != AiffCoding::Codec) {
        StoredBlock block;
        block.position = data.position;
        block.byteSize = data.size;
        block.storedChannels = waveform.channels;
        block.layout = plainLayout(compression, waveform.bits);
        attachStoredSamples(waveform, std::move(file), block);
        return;
    }
    waveform.sourceOffset = data.position;
    waveform.sourceFormat =
        encodingBit(compression.type == fourCc("GSM ") ? SampleEncoding::Gsm : SampleEncoding::Adpcm4);
    CodecData codec;
    setDecoder(codec, compression, waveform, data.declaredSize);
    if (!codec.makeDecoder) {
        waveform.setSource(undecodedSource(compression.codec));
        return;
    }
    codec.position = data.position;
    codec.byteSize = data.size;
    attachCodecSamples(waveform, std::move(file), std::move(codec));
}

}  // namespace velor
