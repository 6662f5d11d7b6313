#include "items/instrument_split.h"

#include <algorithm>
#include <map>
#include <optional>

#include "base/error.h"
#include "items/instrument_copies.h"
#include "items/key_ranges.h"
#include "items/patch_numbers.h"

namespace velor {

namespace {

constexpr const char* kNoPatches = "There are no patch numbers left";

std::string named(const std::string& name, const std::string& fallback) {
    return name.empty() ? fallback : name;
}

}  // namespace

std::size_t splitVelocityLayers(const InstrumentLevels& levels, Layer& layer) {
    Collection& collection = layer.owner();
    std::map<std::pair<int, int>, std::vector<ItemId>> byVelocity;
    for (const Region* region : linkedItems<Region>(layer))
        byVelocity[{region->velocities.low, region->velocities.high}].push_back(region->id());
    if (byVelocity.size() < 2)
        return 0;
    std::vector<ItemId> added;
    const std::string name = layer.name();
    for (const auto& [velocities, regions] : byVelocity) {
        Layer* target = &layer;
        if (&regions != &byVelocity.begin()->second) {
            target = collection.create<Layer>("");
            target->articulation = layer.articulation;
            added.push_back(target->id());
        }
        target->setName(formatText("%s%svel %d-%d", name.c_str(), name.empty() ? "" : " ", velocities.first,
                                   velocities.second));
        target->links.assign(regions);
    }
    addLayersBehind(levels, layer, added);
    return added.size();
}

int splitMultiLayered(Collection& collection, const std::vector<Instrument*>& instruments) {
    FreePatches patches(collection);
    struct Part {
        Instrument* from;
        Layer* layer;
        PatchNumber patch;
    };
    std::vector<Part> parts;
    for (Instrument* instrument : instruments) {
        const std::vector<Layer*> layers = linkedItems<Layer>(*instrument);
        for (std::size_t i = 1; i < layers.size(); ++i) {
            const std::optional<PatchNumber> patch = patches.take(instrument->patch);
            if (!patch) {
                fail(kNoPatches);
                return -1;
            }
            parts.push_back({instrument, layers[i], *patch});
        }
    }
    ListOrder order(collection, ItemKind::Instrument);
    const Instrument* last = nullptr;
    int number = 1;
    for (const Part& part : parts) {
        number = part.from == last ? number + 1 : 2;
        last = part.from;
        const std::string& layerName = part.layer->name();
        const std::string& whole = part.from->name();
        auto* made = collection.create<Instrument>(layerName.empty() || layerName == whole
                                                       ? formatText("%s %d", whole.c_str(), number)
                                                       : whole + " " + layerName);
        made->patch = part.patch;
        made->articulation = part.from->articulation;
        made->links.add(part.layer->id());
        order.placeBehind(part.from->id(), {made->id()});
    }
    for (const Part& part : parts) {
        const std::vector<Layer*> layers = linkedItems<Layer>(*part.from);
        if (layers.size() > 1)
            part.from->links.assign(std::vector<ItemId>{layers.front()->id()});
    }
    order.apply();
    return static_cast<int>(parts.size());
}

namespace {

// A region of a kit, with the keys of which an instrument is made.
struct DrumPart {
    const Layer* layer;
    const Region* region;
    MidiRange keys;
};
using DrumSound = std::vector<DrumPart>;

// All regions of a kit, layer by layer.
DrumSound partsOf(const Instrument& kit) {
    DrumSound parts;
    for (const Layer* layer : linkedItems<Layer>(kit)) {
        for (const Region* region : linkedItems<Region>(*layer)) {
            if (region->keys.low <= region->keys.high && region->keys.high <= 127)
                parts.push_back({layer, region, region->keys});
        }
    }
    return parts;
}

std::vector<DrumSound> soundsOf(const Instrument& kit, DrumKitSplit::By by) {
    const DrumSound parts = partsOf(kit);
    std::vector<DrumSound> sounds;
    if (by == DrumKitSplit::By::Regions) {
        for (const DrumPart& part : parts)
            sounds.push_back({part});
        return sounds;
    }
    if (by == DrumKitSplit::By::Waveforms) {
        std::map<std::uint32_t, std::size_t> places;
        for (const DrumPart& part : parts) {
            const Waveform* waveform = part.region->waveform();
            // What plays no waveform is a sound of its own.
            const std::uint32_t what = waveform ? waveform->id().value : part.region->id().value;
            const auto [at, fresh] = places.try_emplace(what, sounds.size());
            if (fresh)
                sounds.emplace_back();
            sounds[at->second].push_back(part);
        }
        return sounds;
    }
    std::vector<std::size_t> before;
    for (int key = 0; key < 128; ++key) {
        std::vector<std::size_t> now;
        for (std::size_t i = 0; i < parts.size(); ++i) {
            if (parts[i].region->keys.contains(key))
                now.push_back(i);
        }
        const auto at = static_cast<std::uint8_t>(key);
        if (!now.empty() && now == before) {
            for (DrumPart& part : sounds.back())
                part.keys.high = at;
        } else if (!now.empty()) {
            sounds.emplace_back();
            for (const std::size_t i : now)
                sounds.back().push_back({parts[i].layer, parts[i].region, {at, at}});
        }
        before = std::move(now);
    }
    return sounds;
}

std::string nameOf(const DrumSound& sound, const Instrument& kit) {
    const Region& region = *sound.front().region;
    const Waveform* waveform = region.waveform();
    return named(region.name(), named(waveform ? waveform->name() : std::string(),
                                      formatText("%s %d", kit.name().c_str(), sound.front().keys.low)));
}

Instrument* makeInstrument(const Instrument& kit, const DrumSound& sound, PatchNumber patch, bool spread) {
    Collection& collection = kit.owner();
    auto* made = collection.create<Instrument>(nameOf(sound, kit));
    made->patch = patch;
    made->articulation = kit.articulation;
    const Layer* from = nullptr;
    std::vector<Layer*> layers;
    for (const DrumPart& part : sound) {
        if (part.layer != from) {
            layers.push_back(collection.create<Layer>(part.layer->name()));
            layers.back()->articulation = part.layer->articulation;
            made->links.add(layers.back()->id());
            from = part.layer;
        }
        Region* region = copyRegion(*part.region);
        region->keys = part.keys;
        layers.back()->links.add(region->id());
    }
    if (spread) {
        for (const Layer* layer : layers)
            extendKeyRanges(*layer, &made->articulation, GapRule::Middle, true);
    }
    return made;
}

}  // namespace

int splitDrumKits(Collection& collection, const std::vector<Instrument*>& instruments,
                  const DrumKitSplit& how) {
    FreePatches patches(collection);
    struct Part {
        const Instrument* kit;
        DrumSound sound;
        PatchNumber patch;
    };
    std::vector<Part> parts;
    for (const Instrument* instrument : instruments) {
        if (!instrument->patch.drum())
            continue;
        for (DrumSound& sound : soundsOf(*instrument, how.by)) {
            const std::optional<PatchNumber> patch = patches.take(PatchNumber(0, 0, 0, false));
            if (!patch) {
                fail(kNoPatches);
                return -1;
            }
            parts.push_back({instrument, std::move(sound), *patch});
        }
    }
    if (parts.empty())
        return 0;
    const HeldItems held(collection);
    ListOrder order(collection, ItemKind::Instrument);
    std::vector<ItemId> kits;
    for (const Part& part : parts) {
        const ItemId kit = part.kit->id();
        order.placeBehind(kit, {makeInstrument(*part.kit, part.sound, part.patch, how.wholeKeyboard)->id()});
        if (kits.empty() || kits.back() != kit)
            kits.push_back(kit);
    }
    order.apply();
    if (!how.keepKit) {
        collection.removeAll(ItemKind::Instrument, kits);
        held.removeReleased(collection);
    }
    return static_cast<int>(parts.size());
}

}  // namespace velor
