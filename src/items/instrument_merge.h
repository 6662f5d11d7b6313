// Merging layers, and merging instruments.
#pragma once

#include <vector>

#include "items/instrument_levels.h"

namespace velor {

// Merges layers of an instrument into the first of them, which gets all their regions. Where the records of
// the layers differ they are given to the regions, so that nothing sounds different. Layers and regions that
// something else holds too are copied first. `levels` is of the time before; layers that the instrument does
// not hold are left out. False when there are fewer than two. Layers that nothing holds any more stay: see
// HeldItems.
bool mergeLayers(const InstrumentLevels& levels, Instrument& instrument,
                 const std::vector<const Layer*>& layers);

struct InstrumentMerge {
    enum class How : std::uint8_t {
        Layers,      // all sound together
        Velocities,  // each in its share of the velocities, its own velocity ranges made as much narrower
        Keys,        // each in its share of the keys, at its own pitch; regions outside of it are left out
    };
    How how = How::Layers;
    // Of the keys between which the zones are shared out; the first and last zone reach to the ends.
    MidiRange zones;
};

// What mergeInstruments() would do with more instruments than velocities or keys.
inline constexpr const char* kTooManyToMerge = "There are more instruments than there is room for zones";

// Merges instruments into the first of them, which keeps its patch and its name; the others are removed with
// the layers and regions that nothing else holds. What an instrument sets goes to its layers. Returns the
// number of regions left out, -1 with LastErrorText when there are too many instruments.
int mergeInstruments(Collection& collection, const std::vector<Instrument*>& instruments,
                     const InstrumentMerge& merge);

}  // namespace velor
