// Copies of a waveform at a fraction of its sample rate, for playing it octaves above its root key: a sampler
// that reads more than one frame for each output frame hears everything above half of the output's rate as
// aliases, which the low-pass of the resampling takes away before.
#pragma once

#include <cstdint>

#include "base/user_interface.h"
#include "items/region_loop.h"

namespace velor {

// Whether a copy `octaves` below the rate is of use: enough frames, and a loop long enough to hold a period.
bool canTakeOctaves(const Waveform& waveform, const RegionLoop& loop, int octaves);

// Fills `copy` (another waveform, in whatever collection) with the frames of `source` at 1 / 2^octaves of its
// rate, or at the ratio nearest to it that makes the loop a whole number of frames long: rounding a short
// loop would be heard as a wrong pitch. It says that it has the source's rate still, so that it sounds
// `octaves` higher and its root key is as much higher (where that leaves the keyboard, the tuning lower);
// what remains of the ratio goes to the tuning. So each key sounds at the same pitch and, in its octave, is
// read at the same speed as the source around its root key. The loop, of whole frames, becomes the waveform's
// own. A forward loop is heard as before without a step at its ends: it is filtered as endless and begins a
// little later. What lies behind a loop that is not heard after the release is cut off. `addedCents` is what
// of the tuning is due to the ratio. False with LastErrorText.
bool makeOctaveCopy(Waveform& copy, Waveform& source, const RegionLoop& loop, int octaves, float& addedCents,
                    UserInterface& ui);

}  // namespace velor
