// What no song of a collection plays.
#pragma once

#include "items/collection.h"

namespace velor {

struct UnusedItems {
    std::vector<ItemId> instruments, layers, regions, waveforms, models;
    std::size_t count() const {
        return instruments.size() + layers.size() + regions.size() + waveforms.size() + models.size();
    }
};

struct UnusedSearch {
    enum class Regions : std::uint8_t { Keep, OfDrumKits, OfAll };
    // Regions of used instruments that no note of a song reaches.
    Regions regions = Regions::Keep;
    // Waveforms and synthesis models that no remaining region plays.
    bool waveforms = true;
};

// Instruments are used when a song plays a note with their patch, or with one that they stand in for (see
// PatchFallbacks). A region is reached by the key and velocity of a note; one that plays when a key is
// released by its key alone. Layers go with their last region.
UnusedItems findUnused(const Collection& collection, const UnusedSearch& how);

void removeUnused(Collection& collection, const UnusedItems& unused);

}  // namespace velor
