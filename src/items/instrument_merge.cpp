#include "items/instrument_merge.h"

#include <algorithm>
#include <unordered_set>

#include "base/error.h"
#include "items/articulation_moves.h"
#include "items/instrument_copies.h"

namespace velor {

namespace {

// What a folded record may hold beyond the ranges of its parameters is limited, where nothing above adds to
// it.
void limit(const Articulation& above, Articulation& record) {
    const std::vector<Articulation::Entry> entries = record.entries();
    for (const auto& [number, value] : entries) {
        if (!above.has(number))
            record.set(number, limitedToRange(number, value));
    }
}

void dropLayers(Instrument& instrument, const std::unordered_set<ItemId>& gone) {
    std::vector<ItemId> left;
    for (const ItemId id : instrument.links) {
        if (!gone.contains(id))
            left.push_back(id);
    }
    instrument.links.assign(left);
}

// The part of 0..127 that the zone of one of `count` instruments covers. The zones are shared out between the
// ends of `within`, and the outer ones reach to 0 and 127.
MidiRange zoneOf(std::size_t index, std::size_t count, MidiRange within) {
    const std::size_t low = within.low, size = std::size_t{within.high} - low + 1;
    MidiRange zone;
    if (index > 0)
        zone.low = static_cast<std::uint8_t>(low + index * size / count);
    if (index + 1 < count)
        zone.high = static_cast<std::uint8_t>(low + (index + 1) * size / count - 1);
    return zone;
}

// 0..127 laid out over the zone.
MidiRange squeezed(MidiRange range, MidiRange zone) {
    const int size = zone.high - zone.low + 1;
    const int low = zone.low + std::min<int>(range.low, 127) * size / 128;
    const int high = zone.low + (std::min<int>(range.high, 127) + 1) * size / 128 - 1;
    return {static_cast<std::uint8_t>(low), static_cast<std::uint8_t>(std::max(low, high))};
}

// Brings the regions of an instrument into its zone. Returns how many lie outside of it.
int moveIntoZone(Collection& collection, Instrument& instrument, InstrumentMerge::How how, MidiRange zone) {
    int outside = 0;
    for (Layer* layer : linkedItems<Layer>(instrument)) {
        std::vector<ItemId> left;
        for (const ItemId id : layer->links) {
            auto* region = collection.find<Region>(id);
            if (!region)
                continue;
            if (how == InstrumentMerge::How::Velocities) {
                region->velocities = squeezed(region->velocities, zone);
            } else if (region->keys.low > zone.high || region->keys.high < zone.low) {
                ++outside;
                continue;
            } else {
                region->keys = {std::max(region->keys.low, zone.low), std::min(region->keys.high, zone.high)};
            }
            left.push_back(id);
        }
        layer->links.assign(left);
    }
    return outside;
}

}  // namespace

bool mergeLayers(const InstrumentLevels& levels, Instrument& instrument,
                 const std::vector<const Layer*>& layers) {
    Collection& collection = instrument.owner();
    std::unordered_set<ItemId> meant;
    for (const Layer* layer : layers)
        meant.insert(layer->id());
    std::vector<std::uint32_t> places;
    for (std::uint32_t i = 0; i < instrument.links.count(); ++i) {
        if (meant.contains(instrument.links[i]) && collection.find<Layer>(instrument.links[i]))
            places.push_back(i);
    }
    if (places.size() < 2)
        return false;
    const auto layerAt = [&](std::uint32_t place) { return collection.find<Layer>(instrument.links[place]); };
    const Articulation first = layerAt(places[0])->articulation;
    const bool alike = std::all_of(places.begin() + 1, places.end(), [&](std::uint32_t place) {
        return soundsAlike(&instrument.articulation, first, layerAt(place)->articulation);
    });
    // The layer that takes all of them must be this instrument's alone.
    if (levels.shared(*layerAt(places[0])))
        instrument.links.set(places[0], copyLayer(*layerAt(places[0]))->id());
    Layer& into = *layerAt(places[0]);
    std::vector<ItemId> regions;
    std::unordered_set<ItemId> gone;
    for (const std::uint32_t place : places) {
        const Layer& layer = *layerAt(place);
        // A copy is not known to `levels`: its regions have the layer it was copied from as a holder too.
        const bool copied = &layer == &into && levels.holders(layer).empty();
        for (const ItemId id : layer.links) {
            auto* region = collection.find<Region>(id);
            if (!region)
                continue;
            if (!alike) {
                if (copied || levels.shared(*region) || levels.shared(layer))
                    region = copyRegion(*region);
                foldArticulation(layer.articulation, region->articulation);
                limit(instrument.articulation, region->articulation);
            }
            regions.push_back(region->id());
        }
        if (&layer != &into)
            gone.insert(layer.id());
    }
    into.links.assign(regions);
    if (!alike)
        into.articulation.clear();
    dropLayers(instrument, gone);
    return true;
}

int mergeInstruments(Collection& collection, const std::vector<Instrument*>& instruments,
                     const InstrumentMerge& merge) {
    using How = InstrumentMerge::How;
    const std::size_t count = instruments.size();
    const std::size_t room =
        merge.how == How::Layers ? count : std::size_t{merge.zones.high} - merge.zones.low + 1;
    if (merge.zones.low > merge.zones.high || count > room) {
        fail(kTooManyToMerge);
        return -1;
    }
    if (count < 2)
        return 0;
    Instrument& into = *instruments.front();
    const bool alike = std::all_of(instruments.begin() + 1, instruments.end(), [&](const Instrument* other) {
        return other->articulation == into.articulation;
    });
    const HeldItems held(collection);
    const InstrumentLevels levels(collection);
    int outside = 0;
    std::vector<ItemId> layers;
    for (std::size_t i = 0; i < count; ++i) {
        Instrument& instrument = *instruments[i];
        if (merge.how != How::Layers) {
            giveOwnLevels(levels, instrument);
            outside += moveIntoZone(collection, instrument, merge.how, zoneOf(i, count, merge.zones));
        }
        for (Layer* layer : linkedItems<Layer>(instrument)) {
            if (merge.how != How::Layers && layer->links.empty())
                continue;
            if (!alike && !instrument.articulation.empty()) {
                if (levels.shared(*layer))
                    layer = copyLayer(*layer);
                foldArticulation(instrument.articulation, layer->articulation);
            }
            if (layer->name().empty())
                layer->setName(instrument.name());
            layers.push_back(layer->id());
        }
    }
    into.links.assign(layers);
    if (!alike)
        into.articulation.clear();
    std::vector<ItemId> gone;
    for (std::size_t i = 1; i < count; ++i)
        gone.push_back(instruments[i]->id());
    collection.removeAll(ItemKind::Instrument, gone);
    held.removeReleased(collection);
    return outside;
}

}  // namespace velor
