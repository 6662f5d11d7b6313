// An instrument made ready for playing: its regions with all levels combined and their samples in memory.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "items/collection.h"
#include "items/region_parameters.h"
#include "synth/synth_sample.h"

namespace velor {

// Which of the moving parts a region uses at all, so that voices leave out the others.
enum RegionUse : std::uint32_t {
    kUsePLfo = 1,
    kUseVLfo = 2,
    kUseFLfo = 4,
    kUseXLfo = 8,
    kUsePEnvelope = 16,
    kUseFEnvelope = 32,
    kUseXEnvelope = 64,
    kUseEq = 128,
    kUseFilter = 256,
};

struct SynthRegion {
    MidiRange keys;
    MidiRange velocities;
    std::uint8_t trigger = 0;  // see RegionTrigger
    RegionPedal pedal = RegionPedal::Always;
    std::uint8_t exclusiveClass = 0;
    std::uint32_t use = 0;  // RegionUse bits
    float rootKey = 60;     // MIDI key
    float tuning = 0;       // semitones
    float gain = 0;         // dB, of the waveform
    std::shared_ptr<const SynthSample> sample;
    ArticulationValues values;
};

// Read-only once built, so render threads share it.
struct SynthInstrument {
    PatchNumber patch;
    std::vector<SynthRegion> regions;

    // Builds the regions of all layers in order; those that play nothing, or whose waveform
    // cannot be decoded, are left out. nullptr with LastErrorText when decoding left nothing.
    static std::shared_ptr<const SynthInstrument> build(Instrument& instrument, SynthSampleCache& samples);
};

}  // namespace velor
