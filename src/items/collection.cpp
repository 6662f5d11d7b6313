#include "items/collection.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "base/error.h"
#include "base/text.h"

namespace velor {

std::array<std::uint32_t, kItemKinds> LastSerials{};

namespace {

std::uint32_t& lastSerial(ItemKind kind) {
    return LastSerials[static_cast<std::size_t>(kind)];
}

}  // namespace

Collection::Collection() : Item(*this, ItemId(ItemKind::Collection, 0)) {
    setName("New collection");
}

Collection::~Collection() = default;

std::unique_ptr<Item> Collection::make(ItemKind kind, ItemId id) {
    switch (kind) {
        case ItemKind::Waveform:
            return std::unique_ptr<Item>(new Waveform(*this, id));
        case ItemKind::SynthModel:
            return std::unique_ptr<Item>(new SynthModel(*this, id));
        case ItemKind::Region:
            return std::unique_ptr<Item>(new Region(*this, id));
        case ItemKind::Layer:
            return std::unique_ptr<Item>(new Layer(*this, id));
        case ItemKind::Instrument:
            return std::unique_ptr<Item>(new Instrument(*this, id));
        case ItemKind::MidiTrack:
            return std::unique_ptr<Item>(new MidiTrack(*this, id));
        case ItemKind::MidiSong:
            return std::unique_ptr<Item>(new MidiSong(*this, id));
        case ItemKind::Collection:
            break;
    }
    return nullptr;
}

void Collection::registerItem(std::unique_ptr<Item> item) {
    const auto kind = static_cast<std::size_t>(item->kind());
    ++counters_[kind];
    lists_[kind].push_back(item->id());
    table_.insert(std::move(item));
}

Item* Collection::create(ItemKind kind, std::uint32_t serial, std::string_view name) {
    if (kind == ItemKind::Collection)
        return nullptr;
    if (serial >= kFreshSerial) {
        serial = (lastSerial(kind) + 1) & ItemId::kSerialMask;
        while (ItemId(kind, serial).value != kNoItem.value && table_.find(ItemId(kind, serial)))
            serial = (serial + 1) & ItemId::kSerialMask;
    }
    const ItemId id(kind, serial);
    if (table_.find(id))
        return nullptr;
    lastSerial(kind) = serial;
    auto item = make(kind, id);
    Item* created = item.get();
    created->setName(name);
    registerItem(std::move(item));
    return created;
}

Item* Collection::find(ItemId id) const {
    return id ? table_.find(id) : nullptr;
}

bool Collection::remove(ItemId id) {
    if (!id || id.kind() == ItemKind::Collection || !table_.take(id))
        return false;
    const auto kind = static_cast<std::size_t>(id.kind());
    --counters_[kind];
    std::erase(lists_[kind], id);
    return true;
}

void Collection::removeAll(ItemKind kind, const std::vector<ItemId>& ids) {
    std::unordered_set<ItemId> gone;
    for (const ItemId id : ids) {
        if (id && id.kind() == kind && table_.take(id))
            gone.insert(id);
    }
    const auto index = static_cast<std::size_t>(kind);
    counters_[index] -= static_cast<std::uint32_t>(gone.size());
    std::erase_if(lists_[index], [&](ItemId id) { return gone.contains(id); });
}

void Collection::clear() {
    table_.clear();
    counters_.fill(0);
    for (auto& each : lists_)
        each.clear();
    links.clear();
}

void Collection::reorder(ItemKind kind, std::vector<ItemId> order) {
    lists_[static_cast<std::size_t>(kind)] = std::move(order);
}

std::vector<Waveform*> Collection::waveformsOf(const Item& item) const {
    std::vector<Waveform*> found;
    std::unordered_set<const Item*> seen;
    const auto addRegion = [&](const Region* region) {
        Waveform* wave = region ? region->waveform() : nullptr;
        if (wave && seen.insert(wave).second)
            found.push_back(wave);
    };
    const auto addLayer = [&](const Layer* layer) {
        if (layer) {
            for (const ItemId id : layer->links)
                addRegion(find<Region>(id));
        }
    };
    switch (item.kind()) {
        case ItemKind::Waveform:
            found.push_back(find<Waveform>(item.id()));
            break;
        case ItemKind::Region:
            addRegion(static_cast<const Region*>(&item));
            break;
        case ItemKind::Layer:
            addLayer(static_cast<const Layer*>(&item));
            break;
        case ItemKind::Instrument:
            for (const ItemId id : item.links)
                addLayer(find<Layer>(id));
            break;
        case ItemKind::Collection:
            found = all<Waveform>();
            break;
        default:
            break;
    }
    return found;
}

Instrument* Collection::instrumentHolding(const Item& item) const {
    for (Instrument* instrument : all<Instrument>()) {
        if (instrument->id() == item.id())
            return instrument;
        for (const ItemId layerId : instrument->links) {
            if (layerId == item.id())
                return instrument;
            const auto* layer = find<Layer>(layerId);
            if (!layer)
                continue;
            for (const ItemId regionId : layer->links) {
                const auto* region = find<Region>(regionId);
                if (region && (regionId == item.id() || region->links.contains(item.id())))
                    return instrument;
            }
        }
    }
    return nullptr;
}

MidiSong* Collection::songHolding(const MidiTrack& track) const {
    for (MidiSong* song : all<MidiSong>()) {
        if (song->links.contains(track.id()))
            return song;
    }
    return nullptr;
}

std::vector<ItemId> Collection::mergeFrom(Collection& other) {
    std::unordered_map<ItemId, ItemId> renumbered;
    std::vector<ItemId> moved;
    for (const ItemKind kind : kContainedKinds) {
        for (const ItemId id : other.list(kind)) {
            ItemId target = id;
            if (table_.find(id)) {
                std::uint32_t serial = lastSerial(kind);
                do
                    serial = (serial + 1) & ItemId::kSerialMask;
                while (serial == kFreshSerial || table_.find(ItemId(kind, serial)) ||
                       other.table_.find(ItemId(kind, serial)));
                lastSerial(kind) = serial;
                target = ItemId(kind, serial);
                renumbered.emplace(id, target);
            }
            auto item = other.table_.take(id);
            item->id_ = target;
            item->owner_ = this;
            registerItem(std::move(item));
            moved.push_back(target);
        }
    }
    if (!renumbered.empty()) {
        for (const ItemId id : moved) {
            ItemLinks& itemLinks = table_.find(id)->links;
            for (std::uint32_t i = 0; i < itemLinks.count(); ++i) {
                if (const auto found = renumbered.find(itemLinks[i]); found != renumbered.end())
                    itemLinks.set(i, found->second);
            }
        }
    }
    other.clear();
    return moved;
}

std::size_t Collection::serializedSize() const {
    return Item::serializedSize() + 4 + textSize(fileName) + 1;
}

void Collection::serialize(ByteWriter& to) const {
    Item::serialize(to);
    to.write(static_cast<std::int32_t>(formatRow));
    writeText(to, fileName);
    to.u8(static_cast<std::uint8_t>((sortWaveforms ? 1 : 0) | (sortTree ? 2 : 0)));
}

bool Collection::deserialize(ByteReader& from) {
    if (!Item::deserialize(from))
        return false;
    formatRow = from.s32();
    if (!readText(from, fileName))
        return false;
    const std::uint8_t marks = from.u8();
    sortWaveforms = marks & 1;
    sortTree = marks & 2;
    return from.ok();
}

void Collection::fixUp(FixUpLists&) {
    const auto sortByName = [this](ItemKind kind) {
        std::vector<ItemId> order = list(kind);
        std::stable_sort(order.begin(), order.end(),
                         [this](ItemId a, ItemId b) { return lessNoCase(find(a)->name(), find(b)->name()); });
        reorder(kind, std::move(order));
    };
    if (sortWaveforms)
        sortByName(ItemKind::Waveform);
    if (sortTree) {
        std::vector<ItemId> order = list(ItemKind::Instrument);
        std::stable_sort(order.begin(), order.end(), [this](ItemId a, ItemId b) {
            const auto* x = find<Instrument>(a);
            const auto* y = find<Instrument>(b);
            if (x->patch.value != y->patch.value)
                return x->patch.value < y->patch.value;
            return lessNoCase(x->name(), y->name());
        });
        reorder(ItemKind::Instrument, std::move(order));
        sortByName(ItemKind::SynthModel);
        sortByName(ItemKind::MidiSong);
    }
}

std::string Collection::summary(const NoteNaming&) const {
    const std::uint32_t instruments = count(ItemKind::Instrument);
    const std::uint32_t waveforms = count(ItemKind::Waveform);
    return formatText("Collection with %d instrument%s and %d waveform%s", static_cast<int>(instruments),
                      pluralSuffix(instruments), static_cast<int>(waveforms), pluralSuffix(waveforms));
}

std::string selectionSummary(const std::vector<const Item*>& selected, const NoteNaming& naming) {
    if (selected.empty() || !selected.front())
        return {};
    if (selected.size() == 1)
        return selected.front()->summary(naming);
    return formatText("Selected %d items", static_cast<int>(selected.size()));
}

std::string waveformSelectionSummary(std::uint64_t waveforms, std::uint64_t totalFrames) {
    std::uint64_t size = (totalFrames + 512) / 1024;
    char unit = 'K';
    if (size >= 10240) {
        size = (size + 512) / 1024;
        unit = 'M';
    }
    return formatText("Selected %d waveforms ~ %s%c samples", static_cast<int>(waveforms),
                      std::to_string(size).c_str(), unit);
}

}  // namespace velor
