// Taking instruments apart: velocity ranges into layers, layers into instruments, drum kits into melodic
// instruments.
#pragma once

#include <vector>

#include "items/instrument_levels.h"

namespace velor {

// Gives each velocity range of a layer a layer of its own, the softest staying where it was, in every
// instrument that holds the layer. Nothing sounds different. Returns how many layers were added.
std::size_t splitVelocityLayers(const InstrumentLevels& levels, Layer& layer);

// Makes each layer behind the first an instrument of its own, with the articulation of the instrument and a
// free patch behind its patch. They are listed behind the instrument. Together they sound as it did. Returns
// how many instruments were added, -1 with LastErrorText and nothing changed when no patches are left.
int splitMultiLayered(Collection& collection, const std::vector<Instrument*>& instruments);

struct DrumKitSplit {
    enum class By : std::uint8_t { Keys, Regions, Waveforms };
    // What gets an instrument of its own: keys (neighbouring ones that play the same regions together),
    // single regions, or all regions that play the same waveform.
    By by = By::Keys;
    bool wholeKeyboard = true;  // every key plays the sound, at its own pitch on the keys it came from
    bool keepKit = false;
};

// Makes melodic instruments of drum kits. Their patches are free ones from `first` on. On the keys that the
// kit had a sound on, the instrument with that sound plays it as the kit did. Instruments that are no drum
// kits are left out. Returns how many instruments were added, -1 with LastErrorText and nothing changed when
// no patches are left.
int splitDrumKits(Collection& collection, const std::vector<Instrument*>& instruments,
                  const DrumKitSplit& how);

}  // namespace velor
