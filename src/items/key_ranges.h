// Moving, limiting and extending the key and velocity ranges of regions.
#pragma once

#include <vector>

#include "items/instrument_levels.h"

namespace velor {

// What happens to a range of 0..127: first it is shifted, then its ends are brought within the limits.
struct RangeChange {
    int shift = 0;
    MidiRange limits;

    bool changesNothing() const { return shift == 0 && limits == MidiRange{}; }
};

// What becomes of a region of which nothing is left within the limits.
enum class OutsideRegions : std::uint8_t {
    Nearest,  // it keeps one key or velocity, the limit that is nearest
    Remove,   // it is removed from its layers and from the collection
    Leave,    // it stays as it was
};

struct RangeAdjustment {
    RangeChange keys;
    RangeChange velocities;
    bool rootKeys = false;  // root keys are shifted along, so that the same sounds move to other keys
    OutsideRegions outside = OutsideRegions::Nearest;
};

// Returns how many regions changed. A root key that would leave 0..127 stops there, and the region's tuning
// makes up for the rest, for regions that follow the keyboard.
std::size_t adjustRanges(Collection& collection, const std::vector<Region*>& regions,
                         const RangeAdjustment& how);

enum class GapRule : std::uint8_t {
    Middle,  // both neighbours take half of a gap
    Lower,   // the lower neighbour takes all of it
    Upper,   // the upper one does
};

// Closes the gaps between the regions of a layer: each region is extended towards its neighbours, those whose
// velocities overlap its own, and with `ends` to keys 0 and 127 where it has none. A key and velocity at
// which something plays never plays more afterwards. Regions that play when a key is released are neighbours
// only of each other. `above` is the instrument's record, nullptr for none. Returns how many regions changed.
std::size_t extendKeyRanges(const Layer& layer, const Articulation* above, GapRule rule, bool ends);

}  // namespace velor
