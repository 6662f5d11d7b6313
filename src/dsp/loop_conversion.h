// Loops that a target cannot play as they are.
#pragma once

#include "items/collection.h"

namespace velor {

struct LoopConversion {
    bool alternatingToForward = false;  // unrolls alternating loops into forward ones of twice the length
    bool append32 = false;              // makes at least 32 frames follow the loop's end
};

// Converts one looped waveform; the loop overrides of the regions that play it follow. An alternating loop
// a..b becomes the forward loop a..b + the same frames backwards, so it sounds alike. The frames appended
// behind a loop continue it. Returns true when the waveform changed; false when there was nothing to do, or
// with LastErrorText when its samples cannot be read ("Out of memory", "Reading from file failed").
bool convertLoop(Collection& collection, Waveform& waveform, const LoopConversion& options);

}  // namespace velor
