#include "items/unused_items.h"

#include <bitset>
#include <memory>
#include <unordered_map>
#include <unordered_set>

#include "items/channel_patches.h"
#include "items/instrument_levels.h"
#include "items/midi_timeline.h"
#include "items/region_parameters.h"

namespace velor {

namespace {

// The velocities that each key is struck with.
using Notes = std::array<std::bitset<128>, 128>;

// The notes of all songs by the patch they are played with.
class PlayedNotes {
  public:
    void add(const MidiSong& song) {
        ChannelPatches channels;
        MidiSongReader reader(song);
        MidiEvent event;
        const MidiTrack* track = nullptr;
        while (reader.next(event, track)) {
            if (!event.isChannel())
                continue;
            const PatchNumber patch = channels.follow(event, *track);
            if (event.isNoteOn())
                notesOf(patch)[event.data1].set(event.data2);
        }
    }
    const std::unordered_map<std::uint32_t, std::unique_ptr<Notes>>& byPatch() const { return notes_; }

  private:
    Notes& notesOf(PatchNumber patch) {
        std::unique_ptr<Notes>& notes = notes_[patch.value];
        if (!notes)
            notes = std::make_unique<Notes>();
        return *notes;
    }
    std::unordered_map<std::uint32_t, std::unique_ptr<Notes>> notes_;
};

bool reached(const Region& region, const Notes& notes, bool onRelease) {
    for (std::size_t key = region.keys.low; key <= region.keys.high && key < notes.size(); ++key) {
        if (onRelease && notes[key].any())
            return true;
        for (std::size_t velocity = region.velocities.low;
             velocity <= region.velocities.high && velocity < 128; ++velocity) {
            if (notes[key].test(velocity))
                return true;
        }
    }
    return false;
}

// The instrument that a patch is played with: the first of its number, or of one that stands in for it. A
// channel whose patch has none at all plays the first one of its kind of bank 0.
class Choice {
  public:
    explicit Choice(const Collection& collection) {
        for (const Instrument* instrument : collection.all<Instrument>())
            byPatch_.try_emplace(instrument->patch.value, instrument);
    }
    const Instrument* of(PatchNumber patch) const {
        for (const PatchNumber start : {patch, PatchNumber(patch.value & PatchNumber::kDrumBit)}) {
            for (const PatchNumber tried : PatchFallbacks(start)) {
                if (const auto found = byPatch_.find(tried.value); found != byPatch_.end())
                    return found->second;
            }
        }
        return nullptr;
    }

  private:
    std::unordered_map<std::uint32_t, const Instrument*> byPatch_;
};

void addNotes(Notes& to, const Notes& from) {
    for (std::size_t key = 0; key < to.size(); ++key)
        to[key] |= from[key];
}

}  // namespace

UnusedItems findUnused(const Collection& collection, const UnusedSearch& how) {
    PlayedNotes played;
    for (const MidiSong* song : collection.all<MidiSong>())
        played.add(*song);
    const Choice choice(collection);
    std::unordered_map<const Instrument*, Notes> used;
    for (const auto& [patch, notes] : played.byPatch()) {
        if (const Instrument* instrument = choice.of(PatchNumber(patch)))
            addNotes(used[instrument], *notes);
    }

    UnusedItems unused;
    std::unordered_set<const Layer*> usedLayers;
    std::unordered_set<const Region*> usedRegions;
    for (const Instrument* instrument : collection.all<Instrument>()) {
        const auto found = used.find(instrument);
        if (found == used.end()) {
            unused.instruments.push_back(instrument->id());
            continue;
        }
        const bool look = how.regions == UnusedSearch::Regions::OfAll ||
                          (how.regions == UnusedSearch::Regions::OfDrumKits && instrument->patch.drum());
        for (const Layer* layer : linkedItems<Layer>(*instrument)) {
            bool any = !look;
            for (const Region* region : linkedItems<Region>(*layer)) {
                const bool onRelease =
                    regionSetting(instrument, layer, *region, parameter::Trigger) == RegionTrigger::kRelease;
                if (look && !reached(*region, found->second, onRelease))
                    continue;
                usedRegions.insert(region);
                any = true;
            }
            if (any)
                usedLayers.insert(layer);
        }
    }
    for (const Layer* layer : collection.all<Layer>()) {
        if (!usedLayers.contains(layer))
            unused.layers.push_back(layer->id());
    }
    std::unordered_set<ItemId> heard;
    for (const Region* region : collection.all<Region>()) {
        if (!usedRegions.contains(region)) {
            unused.regions.push_back(region->id());
            continue;
        }
        for (const ItemId id : region->links)
            heard.insert(id);
    }
    if (how.waveforms) {
        for (const ItemKind kind : {ItemKind::Waveform, ItemKind::SynthModel}) {
            for (const ItemId id : collection.list(kind)) {
                if (!heard.contains(id))
                    (kind == ItemKind::Waveform ? unused.waveforms : unused.models).push_back(id);
            }
        }
    }
    return unused;
}

void removeUnused(Collection& collection, const UnusedItems& unused) {
    collection.removeAll(ItemKind::Instrument, unused.instruments);
    collection.removeAll(ItemKind::Layer, unused.layers);
    collection.removeAll(ItemKind::Region, unused.regions);
    collection.removeAll(ItemKind::Waveform, unused.waveforms);
    collection.removeAll(ItemKind::SynthModel, unused.models);
    const auto dropLost = [&](Item& holder) {
        std::vector<ItemId> left;
        for (const ItemId id : holder.links) {
            if (collection.find(id))
                left.push_back(id);
        }
        if (left.size() != holder.links.count())
            holder.links.assign(left);
    };
    for (Instrument* instrument : collection.all<Instrument>())
        dropLost(*instrument);
    for (Layer* layer : collection.all<Layer>())
        dropLost(*layer);
}

}  // namespace velor
