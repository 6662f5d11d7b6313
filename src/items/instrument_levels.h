// Which layers hold a region, and which instruments hold a layer.
#pragma once

#include <unordered_map>
#include <vector>

#include "items/collection.h"

namespace velor {

// A view of a collection's links at the moment it is made; links that change later are not seen.
class InstrumentLevels {
  public:
    explicit InstrumentLevels(const Collection& collection);

    // One entry for each link, so that a layer that links to a region twice is there twice.
    const std::vector<Layer*>& holders(const Region& region) const;
    const std::vector<Instrument*>& holders(const Layer& layer) const;

    // True when more than one link leads to the item: what is changed at one place would change another.
    bool shared(const Region& region) const { return holders(region).size() > 1; }
    bool shared(const Layer& layer) const { return holders(layer).size() > 1; }

  private:
    std::unordered_map<ItemId, std::vector<Layer*>> regions_;
    std::unordered_map<ItemId, std::vector<Instrument*>> layers_;
};

// The items of kind T that an item links to, in order; links that lead nowhere are left out.
template <typename T>
std::vector<T*> linkedItems(const Item& item) {
    std::vector<T*> items;
    for (const ItemId id : item.links) {
        if (T* linked = item.owner().find<T>(id))
            items.push_back(linked);
    }
    return items;
}

}  // namespace velor
