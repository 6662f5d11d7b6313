// The operations that the open pipeline applies to a collection after a load, each also a command of its own.
#pragma once

#include <functional>
#include <string>

#include "base/user_interface.h"
#include "items/articulation_moves.h"  // two more of these operations
#include "items/collection.h"

namespace velor {

// While another item of the same kind has the item's name (without regard to case): counts a trailing number
// up, or appends " 1" when there is none or the name ends like a note name (C#4, G3).
void makeNameUnique(Item& item);
// The same for all items of a kind; the first of each name keeps it.
void makeNamesUnique(Collection& collection, ItemKind kind);

// "Done: Deleted %d duplicate waveform%s (%dK samples freed)" or "Done: No duplicate waveforms found".
// Waveforms are duplicates when their samples agree bit for bit, at the same rate; regions that used a later
// one use the first, with overrides where its root key, tuning or loop differ, so nothing sounds different.
// Waveforms that differ in what a region cannot override, or whose samples cannot be read, are left alone.
std::string removeDuplicateWaveforms(Collection& collection, UserInterface& ui);
// "Done: Deleted %d unused waveform%s (%dK samples freed)" or "No unused waveforms found".
std::string removeUnusedWaveforms(Collection& collection);

// Splits stereo waveforms into "name L" and "name R"; each region that played one plays the left half, and a
// copy of it in the same layers the right half, each on its own side and as loud as the region's pan position
// had it. "Done: Split %d stereo waveform%s into %d mono waveforms"; empty when there was none. Waveforms
// whose samples cannot be read stay.
std::string splitStereoWaveforms(Collection& collection, UserInterface& ui);
// Merges mono waveforms whose names differ only by a left/right ending and that agree in frames, rate, root
// key, tuning and loop, when the regions that play them differ in nothing but the side. "Done: Merged %d mono
// waveforms into %d stereo waveform%s"; empty when there was none.
std::string mergeStereoWaveforms(Collection& collection, UserInterface& ui);
// Which mono waveforms that does, and which not. Returns how many pairs were merged; -1 when the user aborts,
// nothing changed then.
struct StereoPairing {
    bool byName = true;
    bool byPanning = false;  // also without such names, when their regions play hard left and hard right
    bool centred = true;     // also those whose regions all play in the middle, though that sounds wider
    std::function<bool(const Waveform& left)> only = {};  // empty for all
};
int mergeStereoPairs(Collection& collection, const StereoPairing& how, UserInterface& ui);

// Joins layers of one instrument that never answer to the same key and velocity and between whose
// articulation there is no difference to hear. Layers that are linked to more than once stay. "Merged %d
// layer%s."; empty when there was none.
std::string compactLayers(Collection& collection, Instrument& instrument);
std::string compactAllLayers(Collection& collection);

}  // namespace velor
