#include "formats/core/raw_adpcm.h"

#include "formats/core/codec_writer.h"
#include "formats/core/codecs/oki_adpcm.h"
#include "formats/core/codecs/yamaha_adpcm.h"
#include "formats/core/raw_speech.h"
#include "formats/framework/waveform_io.h"

namespace velor {

namespace {

constexpr std::uint32_t kVoxRate = 8000;  // Hz; the other customary rate is 6000
constexpr std::uint32_t kYamahaRate = 44100;

// Both codecs are one endless stream of two codes a byte.
bool readStream(Collection& collection, OpenFile& file, std::uint32_t rate,
                std::function<std::unique_ptr<SampleDecoder>()> makeDecoder) {
    CodecData data;
    data.byteSize = file.size();
    data.unit = {1, 2};
    data.makeDecoder = std::move(makeDecoder);
    const std::uint64_t frames = framesIn(data);
    return addSpeechWaveform(collection, file, frames, std::move(data), SampleEncoding::Adpcm4, 4, rate);
}

}  // namespace

bool readVox(Collection& collection, OpenFile& file, std::uint32_t variant) {
    return readStream(collection, file, variant ? variant : kVoxRate, decoder16<OkiAdpcmDecoder>());
}

bool writeVox(Item& item, OpenFile& file, std::uint32_t variant) {
    WorkingCopy copy;
    Waveform* waveform = speechWaveform(item, file, copy, variant ? variant : kVoxRate);
    return waveform && writeCodes(*waveform, file, OkiAdpcmEncoder());
}

bool readYamahaAdpcm(Collection& collection, OpenFile& file, std::uint32_t) {
    return readStream(collection, file, kYamahaRate, decoder16<YamahaAdpcmDecoder>(1));
}

bool writeYamahaAdpcm(Item& item, OpenFile& file, std::uint32_t) {
    Waveform* waveform = waveformToWrite(item);
    return waveform && writeCodes(*waveform, file, YamahaAdpcmEncoder(1));
}

}  // namespace velor
