// Changing the length of a waveform without its pitch.
#pragma once

#include <cstdint>
#include <vector>

#include "base/user_interface.h"
#include "dsp/phase_vocoder.h"
#include "dsp/stretch_map.h"
#include "items/collection.h"

namespace velor {

enum class StretchMode : std::uint8_t {
    Auto,   // Solo for waveforms of less than a quarter of a second without loop, else Music
    Music,  // phase vocoder
    Solo,   // WSOLA
};

struct StretchOptions {
    double ratio = 1;  // new length / old length; documented for 0.1 to 10
    StretchMode mode = StretchMode::Auto;
    bool keepAttacks = true;  // struck and spoken onsets are moved, not stretched
    double formantScale = 1;  // see VocoderOptions; other values than 1 make the mode Music
};

struct StretchedSound {
    SampleBufferRef buffer;
    StretchMap map;
};

// The waveform's samples, stretched, and which frame went where; the waveform stays as it is but for being
// loaded. The loops that the waveform itself and the regions that play it have are watched:
// - A loop of about a quarter of a second or less (before or after) keeps its length: a longer one would
//   sound the same for as long as a key is held, and be harder to join. What precedes and follows it is
//   stretched, and the whole gets the length that this gives.
// - Around both ends of a longer loop the sound is left as it was, so that the loop stays as seamless.
// - What little precedes a longer loop (some 60 ms at most) keeps its length as well.
// Without these the length is exactly `frames` × ratio, rounded.
// Empty with LastErrorText: "Out of memory", "Processing was cancelled", "The stretched waveform would be too
// long", or what reading the samples failed with.
StretchedSound stretched(const Collection& collection, Waveform& waveform, const StretchOptions& options,
                         UserInterface& ui);

// Moves the loop of a waveform and those of the regions that play it to where the map put them, times
// `scale` (a resampling that followed). The waveform has its new samples already.
void moveLoops(Collection& collection, Waveform& waveform, const StretchMap& map, double scale = 1);

}  // namespace velor
