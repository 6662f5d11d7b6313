#include "items/instrument_copies.h"

#include <algorithm>

namespace velor {

Region* copyRegion(const Region& region) {
    auto* copy = region.owner().create<Region>(region.name());
    copy->keys = region.keys;
    copy->velocities = region.velocities;
    copy->overrides = region.overrides;
    copy->articulation = region.articulation;
    copy->links = region.links;
    return copy;
}

Layer* copyLayer(const Layer& layer) {
    auto* copy = layer.owner().create<Layer>(layer.name());
    copy->articulation = layer.articulation;
    copy->links = layer.links;
    return copy;
}

Layer* copyLayerWithRegions(const Layer& layer) {
    Layer* copy = copyLayer(layer);
    for (std::uint32_t i = 0; i < copy->links.count(); ++i) {
        if (const auto* region = layer.owner().find<Region>(copy->links[i]))
            copy->links.set(i, copyRegion(*region)->id());
    }
    return copy;
}

bool giveOwnLevels(const InstrumentLevels& levels, Instrument& instrument) {
    Collection& collection = instrument.owner();
    bool copied = false;
    for (std::uint32_t i = 0; i < instrument.links.count(); ++i) {
        auto* layer = collection.find<Layer>(instrument.links[i]);
        if (!layer)
            continue;
        if (levels.shared(*layer)) {
            instrument.links.set(i, copyLayerWithRegions(*layer)->id());
            copied = true;
            continue;
        }
        for (std::uint32_t j = 0; j < layer->links.count(); ++j) {
            const auto* region = collection.find<Region>(layer->links[j]);
            if (region && levels.shared(*region)) {
                layer->links.set(j, copyRegion(*region)->id());
                copied = true;
            }
        }
    }
    return copied;
}

void addLayersBehind(const InstrumentLevels& levels, const Layer& layer, std::span<const ItemId> added) {
    // An instrument that links to the layer twice is a holder twice.
    std::vector<Instrument*> holders = levels.holders(layer);
    std::sort(holders.begin(), holders.end());
    holders.erase(std::unique(holders.begin(), holders.end()), holders.end());
    for (Instrument* instrument : holders) {
        std::vector<ItemId> links;
        for (const ItemId id : instrument->links) {
            links.push_back(id);
            if (id == layer.id())
                links.insert(links.end(), added.begin(), added.end());
        }
        instrument->links.assign(links);
    }
}

HeldItems::HeldItems(const Collection& collection) {
    const InstrumentLevels levels(collection);
    for (const Layer* layer : collection.all<Layer>()) {
        if (!levels.holders(*layer).empty())
            layers_.push_back(layer->id());
    }
    for (const Region* region : collection.all<Region>()) {
        if (!levels.holders(*region).empty())
            regions_.push_back(region->id());
    }
}

std::size_t HeldItems::removeReleased(Collection& collection) const {
    std::vector<ItemId> gone;
    {
        const InstrumentLevels levels(collection);
        for (const ItemId id : layers_) {
            const auto* layer = collection.find<Layer>(id);
            if (layer && levels.holders(*layer).empty())
                gone.push_back(id);
        }
    }
    collection.removeAll(ItemKind::Layer, gone);
    std::size_t removed = gone.size();
    gone.clear();
    const InstrumentLevels levels(collection);
    for (const ItemId id : regions_) {
        const auto* region = collection.find<Region>(id);
        if (region && levels.holders(*region).empty())
            gone.push_back(id);
    }
    collection.removeAll(ItemKind::Region, gone);
    return removed + gone.size();
}

void ListOrder::placeBehind(ItemId item, std::vector<ItemId> added) {
    for (const ItemId id : added) {
        moved_.insert(id);
        behind_[item].push_back(id);
    }
}

void ListOrder::apply() {
    if (moved_.empty())
        return;
    std::vector<ItemId> order;
    order.reserve(collection_.list(kind_).size());
    for (const ItemId id : collection_.list(kind_)) {
        if (moved_.contains(id))
            continue;
        order.push_back(id);
        if (const auto found = behind_.find(id); found != behind_.end())
            order.insert(order.end(), found->second.begin(), found->second.end());
    }
    collection_.reorder(kind_, std::move(order));
}

}  // namespace velor
