#include "formats/core/raw_speech.h"

#include <algorithm>

#include "base/error.h"
#include "formats/framework/frame_reader.h"

namespace velor {

bool addSpeechWaveform(Collection& collection, OpenFile& file, std::uint64_t frames, CodecData data,
                       SampleEncoding encoding, int bits, std::uint32_t rate) {
    if (frames == 0)
        return fail("Zero length");
    if (frames > UINT32_MAX)
        file.warn("The file is longer than a waveform can be - only the first 4294967295 samples are used");
    auto* waveform = collection.create<Waveform>(file.stem());
    if (!waveform)
        return fail(kOutOfMemory);
    waveform->channels = 1;
    waveform->sampleRate = rate;
    waveform->frames = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, UINT32_MAX));
    waveform->bits = static_cast<std::uint8_t>(bits);
    waveform->format = sampleFormatOf(encoding);
    waveform->sourceFormat = encodingBit(encoding);
    waveform->sourceFile = utf8FromPath(file.path);
    attachCodecSamples(*waveform, file.input, std::move(data));
    return true;
}

Waveform* speechWaveform(Item& item, std::uint32_t rate) {
    if (item.kind() != ItemKind::Waveform) {
        fail(kCannotSaveItem);
        return nullptr;
    }
    auto& waveform = static_cast<Waveform&>(item);
    return requireRate(waveform, rate) ? &waveform : nullptr;
}

}  // namespace velor
