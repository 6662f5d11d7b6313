#include "formats/framework/working_copy.h"

#include "base/error.h"
#include "dsp/resampler.h"

namespace velor {

Waveform* WorkingCopy::atRate(Waveform& waveform, std::uint32_t rate, UserInterface& ui) {
    if (waveform.sampleRate == rate)
        return &waveform;
    auto collection = std::make_unique<Collection>();
    collection->formatRow = waveform.owner().formatRow;
    collection->fileName = waveform.owner().fileName;
    // With the same id; a fresh one would be missing from the collections that the user makes later.
    auto* copy = collection->create<Waveform>(waveform.name(), waveform.id().serial());
    if (!copy) {
        fail(kOutOfMemory);
        return nullptr;
    }
    copy->copyContentFrom(waveform);
    ui.status("Resampling - " + waveform.name());
    if (!ResampleToRate(*copy, *copy, rate, static_cast<std::uint8_t>(ResampleMethod::FirAuto), nullptr,
                        &ui)) {
        if (LastErrorText == kResamplingAborted)
            fail("Save aborted!");
        return nullptr;
    }
    // Rounding may have put the loop's end behind the last frame.
    FixUpLists lists;
    copy->fixUp(lists);
    collection_ = std::move(collection);
    return copy;
}

Waveform* WorkingCopy::atFixedRate(Waveform& waveform, std::uint32_t rate, UserInterface& ui) {
    const std::uint32_t before = waveform.sampleRate;
    Waveform* const fitting = atRate(waveform, rate, ui);
    if (fitting && fitting != &waveform)
        ui.warn({formatText("Resampled from %u Hz to %u Hz, the only rate that this file type holds",
                            static_cast<unsigned>(before), static_cast<unsigned>(rate)),
                 {},
                 0});
    return fitting;
}

}  // namespace velor
