// Notes of instruments with a known pitch, from the SoundFont banks of Debian's packages.
#pragma once

#include <functional>
#include <set>
#include <string>

#include "items/region_parameters.h"

// Benchmarks use this file too, and have no include path to the tests.
#include "../thinning.h"
#include "../wave_tools.h"

namespace velor::test {

// What a General MIDI program leaves no doubt about. Bells, organs, harmonicas, guitar harmonics, palm mutes
// and hits are left out: banks put them an octave up or down by taste, or they have no single pitch. So are
// effects and drums.
inline bool hasCertainPitch(PatchNumber patch) {
    const unsigned program = patch.program();
    return !patch.drum() && patch.bankMsb() == 0 && patch.bankLsb() == 0 && program < 96 &&
           !(program >= 9 && program <= 23) && program != 28 && program != 31 && program != 47 &&
           program != 55;
}

// Calls `visit` for every waveform of such programs, once each, with its samples loaded and the pitch at
// which its bank plays it unchanged, in cents above key 0. False when the bank is not installed.
inline bool visitRealNotes(const std::string& bank, const std::function<void(Waveform&, double)>& visit) {
    Collection collection;
    if (!openBank(collection, bank))
        return false;
    std::set<const Waveform*> seen;
    for (const Instrument* instrument : collection.all<Instrument>()) {
        if (!hasCertainPitch(instrument->patch))
            continue;
        for (const ItemId layerId : instrument->links) {
            const Layer* layer = collection.find<Layer>(layerId);
            for (const ItemId regionId : layer->links) {
                const Region* region = collection.find<Region>(regionId);
                Waveform* waveform = region->waveform();
                if (!waveform || waveform->frames < 200 || !seen.insert(waveform).second ||
                    seen.size() % kThinning != 0 || !waveform->loadSamples())
                    continue;
                const double fine = static_cast<double>(region->overrides.has(RegionOverrides::Tuning)
                                                            ? region->overrides.tuning
                                                            : waveform->tuningCents());
                const auto values = resolveArticulation(&instrument->articulation, &layer->articulation,
                                                        &region->articulation);
                visit(*waveform, 100.0 * region->rootKey() - fine -
                                     100 * static_cast<double>(values[parameter::MasterTuning]));
                waveform->releaseSamples();
            }
        }
    }
    return true;
}

}  // namespace velor::test
