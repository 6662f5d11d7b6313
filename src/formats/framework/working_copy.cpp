#include "formats/framework/working_copy.h"

#include "base/error.h"

namespace velor {

template <typename Change>
Waveform* WorkingCopy::changed(const Waveform& waveform, UserInterface& ui, Change change) {
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
    if (!change(*copy)) {
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

Waveform* WorkingCopy::atRate(Waveform& waveform, std::uint32_t rate, UserInterface& ui,
                              std::uint8_t method) {
    if (waveform.sampleRate == rate)
        return &waveform;
    return changed(waveform, ui,
                   [&](Waveform& copy) { return ResampleToRate(copy, copy, rate, method, nullptr, &ui); });
}

Waveform* WorkingCopy::atLength(Waveform& waveform, std::uint32_t length, UserInterface& ui,
                                std::uint8_t method) {
    return changed(waveform, ui, [&](Waveform& copy) {
        return ResampleToLength(copy, copy, length, method, nullptr, &ui);
    });
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
