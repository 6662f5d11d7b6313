// How a region of a stereo waveform divides into regions of its two halves.
#pragma once

#include "items/instrument_levels.h"

namespace velor {

inline constexpr float kPanLeft = -1, kPanMiddle = 0, kPanRight = 1;

// The records above a region; nullptr for none. Of a region that sounds at several places those of the first.
struct LevelsAbove {
    const Articulation* instrument = nullptr;
    const Articulation* layer = nullptr;
};
LevelsAbove levelsAbove(const InstrumentLevels& levels, const Region& region);

// What a region plays below these levels.
ArticulationValues playedBelow(const LevelsAbove& above, const Region& region);

// What the levels above add to a region's own pan position.
float panAbove(const LevelsAbove& above);

// Makes a region play at a pan position whatever its layer and its instrument add.
void panTo(const LevelsAbove& above, Region& region, float position);

// Turns a region of a stereo waveform, which played at a pan position, into one of its halves: hard on its
// side and as loud as the balance had it there.
void takeStereoSide(const LevelsAbove& above, Region& region, float pan, bool right);

}  // namespace velor
