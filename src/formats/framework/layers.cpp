// Joining layers of an instrument that never sound together.
#include <bitset>
#include <memory>
#include <unordered_map>

#include "base/error.h"
#include "formats/framework/fix_ups.h"

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

}  // namespace

std::string compactLayers(Collection& collection, Instrument& instrument) {
    struct Target {
        Layer* layer;
        NoteMap notes;
    };
    std::vector<std::unique_ptr<Target>> targets;
    std::vector<ItemId> gone;
    for (const ItemId id : instrument.links) {
        auto* layer = collection.find<Layer>(id);
        if (!layer)
            continue;
        auto candidate = std::make_unique<Target>(Target{layer, notesOf(*layer)});
        Target* into = nullptr;
        for (const auto& target : targets) {
            if (target->layer->articulation == layer->articulation &&
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
    if (gone.empty())
        return {};
    for (const ItemId id : gone)
        instrument.links.remove(id);
    collection.removeAll(ItemKind::Layer, gone);
    return formatText("Merged %d layer%s.", static_cast<int>(gone.size()), pluralSuffix(gone.size()));
}

std::string compactAllLayers(Collection& collection) {
    std::uint32_t merged = 0;
    for (Instrument* instrument : collection.all<Instrument>()) {
        const std::uint32_t before = instrument->links.count();
        compactLayers(collection, *instrument);
        merged += before - instrument->links.count();
    }
    return merged == 0 ? std::string()
                       : formatText("Merged %d layer%s.", static_cast<int>(merged), pluralSuffix(merged));
}

// Articulation parameters are not moved between levels yet.
void moveArticulation(Collection&) {}
void moveTriggerParameters(Collection&, Layer&) {}

}  // namespace velor
