#include "formats/core/raw_adpcm.h"

#include <algorithm>

#include "base/error.h"
#include "formats/core/codecs/oki_adpcm.h"
#include "formats/core/codecs/yamaha_adpcm.h"
#include "formats/framework/codec_source.h"
#include "formats/framework/file_image.h"
#include "formats/framework/frame_reader.h"

namespace velor {

namespace {

constexpr std::uint32_t kVoxRate = 8000;  // Hz; the other customary rate is 6000
constexpr std::uint32_t kYamahaRate = 44100;
// Both codecs are one endless stream of two codes a byte.
constexpr CodecUnit kUnit{1, 2};

bool readStream(Collection& collection, OpenFile& file, std::uint32_t rate,
                std::function<std::unique_ptr<SampleDecoder>()> makeDecoder) {
    auto* waveform = collection.create<Waveform>(file.stem());
    if (!waveform)
        return fail(kOutOfMemory);
    waveform->sourceFile = utf8FromPath(file.path);
    waveform->sampleRate = rate;
    waveform->channels = 1;
    waveform->bits = 4;
    waveform->format = SampleFormat::Adpcm;
    waveform->sourceFormat = encodingBit(SampleEncoding::Adpcm4);
    waveform->frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(file.size() * 2, UINT32_MAX));
    CodecData data;
    data.byteSize = file.size();
    data.unit = kUnit;
    data.makeDecoder = std::move(makeDecoder);
    attachCodecSamples(*waveform, file.input, std::move(data));
    return true;
}

template <typename Encoder>
bool writeStream(Waveform& waveform, OpenFile& file, Encoder encoder) {
    FileImage image;
    if (!settleFrameCount(waveform) || !image.allocate((std::uint64_t{waveform.frames} + 1) / 2))
        return false;
    std::span<Byte> rest = image.bytes();
    const auto encode = [&](std::span<const std::int16_t> samples) {
        const std::size_t bytes = std::min((samples.size() + 1) / 2, rest.size());
        encoder.encode(samples, rest.first(bytes));
        rest = rest.subspan(bytes);
        return true;
    };
    return feed16(waveform, 1, FrameReader::kPieceFrames, *file.ui, encode) && file.write(image.bytes());
}

}  // namespace

bool readVox(Collection& collection, OpenFile& file, std::uint32_t variant) {
    return readStream(collection, file, variant ? variant : kVoxRate, decoder16<OkiAdpcmDecoder>());
}

bool writeVox(Item& item, OpenFile& file, std::uint32_t variant) {
    if (item.kind() != ItemKind::Waveform)
        return fail(kCannotSaveItem);
    auto& waveform = static_cast<Waveform&>(item);
    return requireRate(waveform, variant ? variant : kVoxRate) &&
           writeStream(waveform, file, OkiAdpcmEncoder());
}

bool readYamahaAdpcm(Collection& collection, OpenFile& file, std::uint32_t) {
    return readStream(collection, file, kYamahaRate, decoder16<YamahaAdpcmDecoder>(1));
}

bool writeYamahaAdpcm(Item& item, OpenFile& file, std::uint32_t) {
    if (item.kind() != ItemKind::Waveform)
        return fail(kCannotSaveItem);
    return writeStream(static_cast<Waveform&>(item), file, YamahaAdpcmEncoder(1));
}

}  // namespace velor
