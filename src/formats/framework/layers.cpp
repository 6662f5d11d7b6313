// Joining layers of an instrument that never sound together.
#include <algorithm>
#include <array>
#include <memory>
#include <unordered_map>

#include "base/error.h"
#include "formats/framework/fix_ups.h"
#include "items/instrument_levels.h"

namespace velor {

namespace {

// Which key and velocity pairs a layer answers to: a set of velocities, 64 to a word, for each key.
class NoteMap {
  public:
    void add(MidiRange keys, MidiRange velocities) {
        const std::uint64_t low = wordOf(velocities, 0), high = wordOf(velocities, 64);
        for (std::size_t key = keys.low; key <= keys.high && key < 128; ++key) {
            words_[2 * key] |= low;
            words_[2 * key + 1] |= high;
        }
    }
    bool meets(const NoteMap& other) const {
        for (std::size_t i = 0; i < words_.size(); ++i) {
            if (words_[i] & other.words_[i])
                return true;
        }
        return false;
    }
    void add(const NoteMap& other) {
        for (std::size_t i = 0; i < words_.size(); ++i)
            words_[i] |= other.words_[i];
    }

  private:
    // The velocities `first` … `first` + 63 that the range holds.
    static std::uint64_t wordOf(MidiRange range, int first) {
        const int low = std::max<int>(range.low - first, 0), high = std::min<int>(range.high - first, 63);
        if (low > high)
            return 0;
        return (~std::uint64_t{0} >> (63 - (high - low))) << low;
    }

    std::array<std::uint64_t, 256> words_{};
};

NoteMap notesOf(const Layer& layer) {
    NoteMap notes;
    for (const ItemId id : layer.links) {
        if (const auto* region = layer.owner().find<Region>(id))
            notes.add(region->keys, region->velocities);
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
            if (!target->notes.meets(candidate->notes) &&
                soundsAlike(&instrument.articulation, target->layer->articulation, layer->articulation)) {
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
        into->notes.add(candidate->notes);
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
