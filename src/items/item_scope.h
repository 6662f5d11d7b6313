// What an operation on an item reaches: the item itself and everything below it.
#pragma once

#include <vector>

#include "items/collection.h"

namespace velor {

// The items of each kind at and below an item, each once, in the order of the instruments that hold them. All
// of them for a collection, in list order. Nothing above the item belongs to it.
struct ItemScope {
    explicit ItemScope(Item& item);

    std::vector<Instrument*> instruments;
    std::vector<Layer*> layers;
    std::vector<Region*> regions;
    // The waveform itself, or those that the regions play; all of a collection.
    std::vector<Waveform*> waveforms;
    // The song or track itself, the tracks of a song; all of a collection.
    std::vector<MidiSong*> songs;
    std::vector<MidiTrack*> tracks;
};

// The instruments that an operation on whole instruments works on: an instrument itself, all of a collection;
// none for other items.
std::vector<Instrument*> instrumentsOf(Item& item);

}  // namespace velor
