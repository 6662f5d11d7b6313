// Loops that a target cannot play as they are.
#pragma once

#include "base/user_interface.h"
#include "items/collection.h"

namespace velor {

struct LoopConversion {
    bool alternatingToForward = false;  // unrolls alternating loops into forward ones of twice the length
    bool append32 = false;              // makes at least 32 frames follow the loop's end
    bool backwardToForward = false;     // puts a turned copy behind loops that are played backwards
};

// Converts one looped waveform; the loop overrides of the regions that play it follow. An alternating loop
// a..b becomes the forward loop a..b + the same frames backwards, so it sounds alike. A backward loop a..b,
// which runs to b before it turns, becomes a forward one over a turned copy of its frames from b on. The
// frames appended behind a loop continue it. Returns true when the waveform changed; false when there was
// nothing to do, or with LastErrorText when its samples cannot be read ("Out of memory", "Reading from file
// failed") or `ui` (may be null; asked every few milliseconds) wants to stop.
bool convertLoop(Collection& collection, Waveform& waveform, const LoopConversion& options,
                 UserInterface* ui = nullptr);

}  // namespace velor
