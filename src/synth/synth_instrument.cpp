#include "synth/synth_instrument.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"

namespace velor {

namespace {

namespace p = parameter;

std::uint32_t usedParts(const ArticulationValues& v) {
    const auto any = [&](int first, int last) {
        for (int i = first; i <= last; ++i)
            if (v[static_cast<std::size_t>(i)] != 0)
                return true;
        return false;
    };
    std::uint32_t use = 0;
    if (any(p::PLfoToPitch, p::VelocityToPLfoToPitch))
        use |= kUsePLfo;
    if (any(p::XLfoToPitch, p::VelocityToXLfoToPitch) || v[p::XLfoToPan] != 0)
        use |= kUseXLfo;
    if (any(p::VLfoToVolume, p::VelocityToVLfoToVolume))
        use |= kUseVLfo;
    if (any(p::PEnvToPitch, p::VelocityToPEnvToPitch))
        use |= kUsePEnvelope;
    if (v[p::XEnvToPan] != 0)
        use |= kUseXEnvelope;
    if (v[p::FilterTypeCode] != 0) {
        use |= kUseFilter;
        if (any(p::FLfoToCutoff, p::VelocityToFLfoToCutoff))
            use |= kUseFLfo;
        if (any(p::FEnvToCutoff, p::VelocityToFEnvToCutoff))
            use |= kUseFEnvelope;
    }
    for (int band = 0; band < 3; ++band)
        if (v[static_cast<std::size_t>(p::Eq1Mode + band * p::eq::Rows + p::eq::Gain)] != 0)
            use |= kUseEq;
    return use;
}

}  // namespace

std::shared_ptr<const SynthInstrument> SynthInstrument::build(Instrument& instrument,
                                                              SynthSampleCache& samples) {
    auto built = std::make_shared<SynthInstrument>();
    built->patch = instrument.patch;
    Collection& collection = instrument.owner();
    bool failed = false;
    for (const ItemId layerId : instrument.links) {
        Layer* layer = collection.find<Layer>(layerId);
        if (!layer)
            continue;
        for (const ItemId regionId : layer->links) {
            Region* region = collection.find<Region>(regionId);
            Waveform* waveform = region ? region->waveform() : nullptr;
            if (!waveform)
                continue;
            SynthRegion made;
            made.sample = samples.sample(*waveform, region->overrides);
            if (!made.sample) {
                failed = failed || !LastErrorText.empty();  // else a waveform without frames
                continue;
            }
            made.keys = region->keys;
            made.velocities = region->velocities;
            made.trigger = static_cast<std::uint8_t>(regionSetting(&instrument, layer, *region, p::Trigger));
            made.pedal =
                static_cast<RegionPedal>(regionSetting(&instrument, layer, *region, p::PedalCondition));
            made.exclusiveClass =
                static_cast<std::uint8_t>(regionSetting(&instrument, layer, *region, p::ExclusiveClass));
            const float cents = region->overrides.has(RegionOverrides::Tuning) ? region->overrides.tuning
                                                                               : waveform->tuningCents();
            made.rootKey = region->rootKey();
            // Whatever a file said: beyond ten octaves nothing is heard, and no sum may fail to be a number.
            made.tuning = std::isfinite(cents) ? std::clamp(cents / 100, -120.0f, 120.0f) : 0;
            made.gain = std::isfinite(waveform->gain) ? std::clamp(waveform->gain, -200.0f, 96.0f) : 0;
            made.values =
                resolveArticulation(&instrument.articulation, &layer->articulation, &region->articulation);
            made.use = usedParts(made.values);
            built->regions.push_back(std::move(made));
        }
    }
    // What can be played is played; an instrument of which nothing is left is an error.
    return failed && built->regions.empty() ? nullptr : built;
}

}  // namespace velor
