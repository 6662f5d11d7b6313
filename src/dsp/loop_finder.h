// Finding a loop that is not heard.
#pragma once

#include <array>

#include "base/user_interface.h"
#include "dsp/loop_similarity.h"
#include "items/waveform.h"

namespace velor {

struct LoopFinderOptions {
    bool breakOnRelease = false;   // the loop ends when the key is released
    bool highPass = false;         // take away what lies below the fundamental
    bool crossfade = false;        // over the longest possible length
    bool cutAfterEnd = false;      // keep 32 frames after the loop; not with breakOnRelease
    bool fractionalStart = false;  // place the start between frames
    bool loopTuning = false;       // set the further tuning so that the loop is in tune
    // Shares of the waveform's length. The defaults leave the attack alone, and an end that fades out.
    float rangeStart = 0.25f;
    float rangeEnd = 0.95f;
    float minimumLength = 0.05f;
};

// The labels of the page: the six switches in the order above, then the two ranges, and the choice that the
// page itself applies to a selection.
inline constexpr std::array<const char*, 6> kLoopFinderSwitches = {
    "Break loop on Key-Release",        "High-pass-filter the entire wave below F0",
    "Crossfade the looped samples",     "Cut everything after loop end (append 32)",
    "Find fractional loop start point", "Set loop tuning param"};
inline constexpr const char* kLoopRangeLabel = "Loop search range:";
inline constexpr const char* kLoopMinimumLabel = "Minimum loop length:";
inline constexpr const char* kLoopSkipLabel = "Skip already looped waves (keep existing)";

struct FoundLoop {
    double start = 0;      // frames
    double end = 0;        // frames, exclusive
    float similarity = 0;  // of what precedes end and start, see loopSimilarity(); before any cross-fade
};

// Gives a waveform (1 or 2 channels) the loop between zero crossings of equal direction whose surroundings
// are most alike, of about a whole number of periods when it has a pitch, and does what the options ask for.
// Status, progress and abort go through `ui`; the answer to an abort takes some milliseconds. False when no
// two zero crossings are alike ("No loop was found"), when the samples can not be read or memory is missing,
// or after an abort ("Processing was cancelled"); the waveform is then unchanged.
bool findLoop(Waveform& waveform, const LoopFinderOptions& options, UserInterface& ui,
              FoundLoop* found = nullptr);

}  // namespace velor
