// The loop that a region plays its waveform with.
#pragma once

#include "items/instrument.h"

namespace velor {

struct RegionLoop {
    bool on = false;  // a loop of at least one frame within the waveform
    LoopMode mode = LoopMode::None;
    double start = 0;           // frames
    double end = 0;             // frames, exclusive
    bool untilRelease = false;  // what follows the loop is heard after the key is released

    friend bool operator==(const RegionLoop&, const RegionLoop&) = default;
};

// The waveform's loop with what the region sets instead; never one that reaches outside the waveform.
RegionLoop regionLoop(const Waveform& waveform, const RegionOverrides& overrides);

// Makes the loop points that regions set for the waveform end with it, after frames were cut off. A region
// whose loop was cut off whole plays that of the waveform.
void limitLoopOverrides(const Waveform& waveform);

}  // namespace velor
