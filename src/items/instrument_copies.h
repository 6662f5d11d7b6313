// Copies of regions and layers, for operations that must not reach what other instruments share.
#pragma once

#include <span>
#include <unordered_set>
#include <vector>

#include "items/instrument_levels.h"

namespace velor {

// A region like another one, in the same collection, held by no layer yet.
Region* copyRegion(const Region& region);
// A layer like another one, held by no instrument yet: with links to the same regions, or to copies of them.
Layer* copyLayer(const Layer& layer);
Layer* copyLayerWithRegions(const Layer& layer);

// Gives an instrument layers and regions that nothing else holds, by copies of those that more than one link
// leads to. What it plays stays the same. Layers and regions may be left without a holder when all of their
// instruments get copies: see HeldItems. True when something was copied.
bool giveOwnLevels(const InstrumentLevels& levels, Instrument& instrument);

// Lets every instrument that plays a layer play new ones too, right behind it.
void addLayersBehind(const InstrumentLevels& levels, const Layer& layer, std::span<const ItemId> added);

// Remembers which layers and regions are held, so that those can go that nothing holds any more after an
// operation. Items that nothing held before stay.
class HeldItems {
  public:
    explicit HeldItems(const Collection& collection);
    // Removes layers that no instrument holds any more, then regions that no layer holds any more. Waveforms
    // stay. Returns how many items were removed.
    std::size_t removeReleased(Collection& collection) const;

  private:
    std::vector<ItemId> layers_, regions_;
};

// Places new items right behind another one of their kind in the collection's list.
class ListOrder {
  public:
    ListOrder(Collection& collection, ItemKind kind) : collection_(collection), kind_(kind) {}
    // The items are created already, so that they stand at the end of the list.
    void placeBehind(ItemId item, std::vector<ItemId> added);
    // One pass over the list for all that was asked for.
    void apply();

  private:
    Collection& collection_;
    ItemKind kind_;
    std::unordered_map<ItemId, std::vector<ItemId>> behind_;
    std::unordered_set<ItemId> moved_;
};

}  // namespace velor
