// Joining layers of an instrument that never sound together.
#include <bitset>
#include <memory>
#include <unordered_map>

#include "base/error.h"
#include "formats/framework/fix_ups.h"
#include "items/instrument_levels.h"

namespace velor {

namespace {

// Which key and velocity pairs a layer answers to.
using NoteMap = std::bitset<128 * 128>;

NoteMap notesOf(const Layer& layer) {
    NoteMap notes;
    for (const ItemId id : layer.links) {
        const auto* region = layer.owner().find<Region>(id);
        if (!region)
            continue;
        for (int key = region->keys.low; key <= region->keys.high && key < 128; ++key) {
            for (int velocity = region->velocities.low; velocity <= region->velocities.high && velocity < 128;
                 ++velocity)
                notes.set(static_cast<std::size_t>(key * 128 + velocity));
        }
    }
    return notes;
}

// Returns how many layers were joined to others.
int joinLayers(Collection& collection, const InstrumentLevels& levels, Instrument& instrument) {
    struct Target {
        Layer* layer;
        NoteMap notes;
    };
    std::vector<std::unique_ptr<Target>> targets;
    std::vector<ItemId> gone;
    for (const ItemId id : instrument.links) {
        auto* layer = collection.find<Layer>(id);
        // Another instrument that holds the layer too would lose or gain its regions; linked twice, it sounds
        // twice.
        if (!layer || levels.shared(*layer))
            continue;
        auto candidate = std::make_unique<Target>(Target{layer, notesOf(*layer)});
        Target* into = nullptr;
        for (const auto& target : targets) {
            if (soundsAlike(&instrument.articulation, target->layer->articulation, layer->articulation) &&
                (target->notes & candidate->notes).none()) {
                into = target.get();
                break;
            }
        }
        if (!into) {
            targets.push_back(std::move(candidate));
            continue;
        }
        for (const ItemId region : layer->links)
            into->layer->links.add(region);
        layer->links.clear();
        into->notes |= candidate->notes;
        gone.push_back(id);
    }
    for (const ItemId id : gone)
        instrument.links.remove(id);
    if (!gone.empty())
        collection.removeAll(ItemKind::Layer, gone);
    return static_cast<int>(gone.size());
}

std::string mergedText(int merged) {
    return merged == 0 ? std::string()
                       : formatText("Merged %d layer%s.", merged,
                                    pluralSuffix(static_cast<unsigned long long>(merged)));
}

}  // namespace

std::string compactLayers(Collection& collection, Instrument& instrument) {
    return mergedText(joinLayers(collection, InstrumentLevels(collection), instrument));
}

std::string compactAllLayers(Collection& collection) {
    const InstrumentLevels levels(collection);
    int merged = 0;
    for (Instrument* instrument : collection.all<Instrument>())
        merged += joinLayers(collection, levels, *instrument);
    return mergedText(merged);
}

}  // namespace velor
