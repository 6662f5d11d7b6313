// Everything that is open: the owner of all items.
#pragma once

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "items/instrument.h"
#include "items/item.h"
#include "items/item_table.h"
#include "items/midi_song.h"
#include "items/synth_model.h"
#include "items/waveform.h"

namespace velor {

template <typename T>
inline constexpr ItemKind kKindOf = ItemKind::Collection;
template <>
inline constexpr ItemKind kKindOf<Waveform> = ItemKind::Waveform;
template <>
inline constexpr ItemKind kKindOf<SynthModel> = ItemKind::SynthModel;
template <>
inline constexpr ItemKind kKindOf<Region> = ItemKind::Region;
template <>
inline constexpr ItemKind kKindOf<Layer> = ItemKind::Layer;
template <>
inline constexpr ItemKind kKindOf<Instrument> = ItemKind::Instrument;
template <>
inline constexpr ItemKind kKindOf<MidiTrack> = ItemKind::MidiTrack;
template <>
inline constexpr ItemKind kKindOf<MidiSong> = ItemKind::MidiSong;

class Collection final : public Item {
  public:
    // Named "New collection", id 0xE0000000, no items.
    Collection();
    ~Collection() override;

    // Creates an item of a contained kind. With kFreshSerial it gets the next serial never used for its kind
    // in this run of the application; an explicit serial is used as it is. nullptr when the kind is
    // Collection or the id is taken.
    Item* create(ItemKind kind, std::uint32_t serial, std::string_view name);
    template <typename T>
    T* create(std::string_view name, std::uint32_t serial = kFreshSerial) {
        return static_cast<T*>(create(kKindOf<T>, serial, name));
    }

    // nullptr for kNoItem, for unknown ids, and for an id of another kind than T.
    Item* find(ItemId id) const;
    template <typename T>
    T* find(ItemId id) const {
        return id && id.kind() == kKindOf<T> ? static_cast<T*>(table_.find(id)) : nullptr;
    }

    // Removes one item (not what it links to, nor the links to it). False for unknown ids.
    bool remove(ItemId id);
    // Removes many items of one kind in one pass.
    void removeAll(ItemKind kind, const std::vector<ItemId>& ids);
    // Removes every item and resets the counters; the collection's name and source stay.
    void clear();

    std::uint32_t count(ItemKind kind) const { return counters_[static_cast<std::size_t>(kind)]; }
    bool empty() const { return table_.size() == 0; }
    // The items of a kind in the order the tree shows them.
    const std::vector<ItemId>& list(ItemKind kind) const { return lists_[static_cast<std::size_t>(kind)]; }
    // Replaces the order of a kind's list; `order` must hold the same ids.
    void reorder(ItemKind kind, std::vector<ItemId> order);
    const ItemTable& table() const { return table_; }

    // The items of a kind as objects, in list order.
    template <typename T>
    std::vector<T*> all() const {
        std::vector<T*> items;
        items.reserve(list(kKindOf<T>).size());
        for (const ItemId id : list(kKindOf<T>))
            items.push_back(find<T>(id));
        return items;
    }

    // The waveforms that an item uses, each once, in order of first use: itself for a waveform, through
    // regions for regions, layers and instruments, all for a collection.
    std::vector<Waveform*> waveformsOf(const Item& item) const;
    // The instrument that holds a region, layer or synthesis model; nullptr when none does.
    Instrument* instrumentHolding(const Item& item) const;
    // The song that holds a track; nullptr when none does.
    MidiSong* songHolding(const MidiTrack& track) const;

    // Moves every item of `other` in here. Items whose id is taken get fresh serials and all links among the
    // moved items follow. `other` is empty afterwards. Returns the new ids of the moved items, in order.
    std::vector<ItemId> mergeFrom(Collection& other);

    // --- Where it came from ---
    int formatRow = -1;    // index of the format-table row it was read with
    std::string fileName;  // UTF-8, full path
    // Marks set by the load options; the tree and the list sort by name when they are on.
    bool sortWaveforms = false;
    bool sortTree = false;

    void serialize(ByteWriter& to) const override;
    bool deserialize(ByteReader& from) override;
    std::size_t serializedSize() const override;
    void fixUp(FixUpLists& lists) override;
    std::string summary(const NoteNaming& naming) const override;

  private:
    std::unique_ptr<Item> make(ItemKind kind, ItemId id);
    void registerItem(std::unique_ptr<Item> item);

    ItemTable table_;
    std::array<std::uint32_t, kItemKinds> counters_{};
    std::array<std::vector<ItemId>, kItemKinds> lists_;
};

// The serial that was handed out last for each kind, over all collections of the application.
extern std::array<std::uint32_t, kItemKinds> LastSerials;

// The status text of a selection: the item's own summary for one, "Selected %d items" for several.
std::string selectionSummary(const std::vector<const Item*>& selected, const NoteNaming& naming);
// "Selected %d waveforms ~ %s%c samples", sizes in K (1024) up to 10239K and in M above.
std::string waveformSelectionSummary(std::uint64_t waveforms, std::uint64_t totalFrames);

}  // namespace velor
