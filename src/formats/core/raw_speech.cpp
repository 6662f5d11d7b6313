#include "formats/core/raw_speech.h"

#include "base/error.h"
#include "formats/framework/waveform_io.h"

namespace velor {

bool addSpeechWaveform(Collection& collection, OpenFile& file, std::uint64_t frames, CodecData data,
                       SampleEncoding encoding, int bits, std::uint32_t rate) {
    if (frames == 0)
        return fail("Zero length");
    const std::uint32_t kept = clampFrames(file, frames);
    Waveform* waveform = createWaveform(collection, file);
    if (!waveform)
        return false;
    waveform->channels = 1;
    waveform->sampleRate = rate;
    waveform->frames = kept;
    setEncoding(*waveform, encoding);
    waveform->bits = static_cast<std::uint8_t>(bits);
    attachCodecSamples(*waveform, file.input, std::move(data));
    return true;
}

Waveform* speechWaveform(Item& item, const OpenFile& file, WorkingCopy& copy, std::uint32_t rate) {
    Waveform* waveform = waveformToWrite(item);
    return waveform ? copy.atFixedRate(*waveform, rate, *file.ui) : nullptr;
}

}  // namespace velor
