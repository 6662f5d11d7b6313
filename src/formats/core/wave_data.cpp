#include "formats/core/wave_data.h"

#include <algorithm>

#include "base/byte_reader.h"
#include "formats/core/codec_streams.h"
#include "formats/core/codecs/block_loop.h"
#include "formats/core/codecs/gsm610.h"
#include "formats/core/codecs/ima_adpcm.h"
#include "formats/core/codecs/ms_adpcm.h"
#include "formats/core/codecs/oki_adpcm.h"
#include "formats/core/codecs/yamaha_adpcm.h"
#include "formats/core/undecoded_source.h"
#include "formats/framework/codec_source.h"
#include "formats/framework/stored_samples.h"

namespace velor {

namespace {

// The encoding that a waveform shows for codec data.
SampleEncoding codecEncoding(const WaveFormat& format) {
    if (format.codec == WaveCodec::Gsm610 || format.codec == WaveCodec::GsmFramed)
        return SampleEncoding::Gsm;
    if (format.sampleFormat != SampleFormat::Adpcm)
        return SampleEncoding::Compressed;
    return adpcmEncoding(format.bits);
}

// MS ADPCM: frames per block u16, number of coefficient pairs u16, the pairs.
CodecData msAdpcm(const WaveFormat& format) {
    ByteReader extra{std::span<const Byte>(format.extra)};
    const std::uint32_t framesPerBlock = extra.u16();
    std::vector<MsAdpcmDecoder::Coefficients> coefficients(extra.u16());
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
        const std::int16_t first = extra.s16(), second = extra.s16();
        if (!extra.ok()) {
            coefficients.resize(i);
            break;
        }
        coefficients[i] = {first, second};
    }
    CodecData data;
    const MsAdpcmDecoder probe(format.channels, format.blockAlign, framesPerBlock, coefficients);
    data.unit = {format.blockAlign, probe.framesPerBlock()};
    data.makeDecoder = decoder16<MsAdpcmDecoder>(int{format.channels}, std::uint32_t{format.blockAlign},
                                                 framesPerBlock, coefficients);
    return data;
}

// IMA ADPCM: frames per block u16.
CodecData imaAdpcm(const WaveFormat& format) {
    ByteReader extra{std::span<const Byte>(format.extra)};
    const std::uint32_t framesPerBlock = extra.u16();
    const int kept = std::min<int>(format.channels, 2);
    CodecData data;
    const ImaWaveDecoder probe(format.channels, kept, format.bits, format.blockAlign, framesPerBlock);
    data.unit = {format.blockAlign, probe.framesPerBlock()};
    data.makeDecoder = decoder16<ImaWaveDecoder>(int{format.channels}, kept, int{format.bits},
                                                 std::uint32_t{format.blockAlign}, framesPerBlock);
    return data;
}

// GSM in blocks of one or more pairs of frames; what a block has beyond them is padding.
class GsmBlockDecoder {
  public:
    explicit GsmBlockDecoder(std::uint32_t blockBytes) : blockBytes_(blockBytes) {}

    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to) {
        return decodeBlocks(
            from, blockBytes_, to, [this](std::span<const Byte> block, std::span<std::int16_t> samples) {
                return pairs_.decode(block.first(block.size() / gsm610::kPairBytes * gsm610::kPairBytes),
                                     samples);
            });
    }

  private:
    std::uint32_t blockBytes_;
    gsm610::PairsDecoder pairs_;
};

CodecData gsmPairs(const WaveFormat& format) {
    const std::uint32_t blockBytes = std::max<std::uint32_t>(format.blockAlign, gsm610::kPairBytes);
    CodecData data;
    data.unit = {blockBytes, blockBytes / static_cast<std::uint32_t>(gsm610::kPairBytes) *
                                 static_cast<std::uint32_t>(gsm610::kPairSamples)};
    data.makeDecoder = decoder16<GsmBlockDecoder>(blockBytes);
    return data;
}

// How codec data are decoded; without a decoder where none is built.
CodecData codecData(const WaveFormat& format) {
    CodecData data;
    switch (format.codec) {
        case WaveCodec::MsAdpcm:
            return msAdpcm(format);
        case WaveCodec::ImaAdpcm:
            return imaAdpcm(format);
        case WaveCodec::OkiAdpcm:
            data.unit = {1, 2};
            data.makeDecoder = decoder16<OkiAdpcmDecoder>();
            break;
        case WaveCodec::YamahaAdpcm:
            data.unit = {1, 2u / format.channels};
            data.makeDecoder = decoder16<YamahaAdpcmDecoder>(int{format.channels});
            break;
        case WaveCodec::G72x:
            setG72x(data, format.bits, CodePacking::HighBitsFirst, format.channels);
            break;
        case WaveCodec::G722:
            setG722(data, 8, CodePacking::HighBitsFirst, format.channels);
            break;
        case WaveCodec::Gsm610:
            return gsmPairs(format);
        case WaveCodec::Rockwell:
            setRockwell(data, format.bits);
            break;
        case WaveCodec::GsmFramed:
            data.makeDecoder = decoder16<gsm610::ModemDecoder>();
            break;
        default:
            break;
    }
    return data;
}

void attachPlainData(Waveform& waveform, const WaveFormat& format, std::shared_ptr<File> file,
                     std::uint64_t position, std::uint64_t byteSize) {
    StoredBlock block;
    block.position = position;
    block.byteSize = byteSize;
    block.storedChannels = format.channels;
    switch (format.codec) {
        case WaveCodec::MuLaw:
            block.layout.encoding = SampleEncoding::MuLaw;
            break;
        case WaveCodec::ALaw:
            block.layout.encoding = SampleEncoding::ALaw;
            break;
        case WaveCodec::Float:
            block.layout.encoding = format.bits == 64 ? SampleEncoding::Float64 : SampleEncoding::Float32;
            break;
        default: {
            // Samples fill their container from the top, so narrower ones need no scaling of their own.
            const std::uint32_t bytes = waveContainerBytes(format);
            block.layout.encoding = pcmEncoding(bytes);
            block.layout.isUnsigned = bytes == 1;
            block.containerBytes = bytes;
            break;
        }
    }
    attachStoredSamples(waveform, std::move(file), block);
}

}  // namespace

void attachWaveData(Waveform& waveform, const WaveFormat& format, std::shared_ptr<File> file,
                    std::uint64_t position, std::uint64_t byteSize) {
    if (isPlainCodec(format.codec)) {
        attachPlainData(waveform, format, std::move(file), position, byteSize);
        return;
    }
    waveform.sourceFormat = encodingBit(codecEncoding(format));
    waveform.sourceOffset = position;
    CodecData data = codecData(format);
    if (!data.makeDecoder) {
        waveform.setSource(undecodedSource(waveCodecName(format.codec)));
        return;
    }
    data.position = position;
    data.byteSize = byteSize;
    // A widespread writer of IMA ADPCM divides the "fact" count by the channels; half of a stereo file would
    // be lost.
    if (format.codec == WaveCodec::ImaAdpcm && format.channels == 2 &&
        std::uint64_t{waveform.frames} == framesIn(data) / 2)
        waveform.frames = static_cast<std::uint32_t>(framesIn(data));
    attachCodecSamples(waveform, std::move(file), std::move(data));
}

}  // namespace velor
