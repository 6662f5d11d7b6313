#include "app/processing/changes.h"

#include <algorithm>

#include "base/error.h"
#include "base/hash.h"
#include "items/articulation_text.h"

namespace velor {

namespace {

using Fields = std::vector<CollectionState::Field>;

std::string whole(std::uint64_t value) {
    return formatText("%llu", static_cast<unsigned long long>(value));
}

std::string number(double value) {
    return formatText("%.6g", value);
}

std::string range(const MidiRange& range) {
    return formatText("%d-%d", range.low, range.high);
}

// What an item links to, by number; another order or other items of the same number show in the key.
void addLinks(Fields& fields, const Item& item) {
    static constexpr const char* kNames[kItemKinds] = {"links",  "links", "waveforms", "regions",
                                                       "layers", "links", "tracks",    "links"};
    std::uint64_t key = 14695981039346656037u;  // FNV-1a
    for (const ItemId id : item.links)
        key = (key ^ id.value) * 1099511628211u;
    fields.push_back({kNames[static_cast<std::size_t>(item.kind())], whole(item.links.count()), key});
}

void add(Fields& fields, const Waveform& waveform, const NoteNaming& naming) {
    fields.push_back({"frames", whole(waveform.frames)});
    fields.push_back({"rate", whole(waveform.sampleRate)});
    fields.push_back({"channels", whole(waveform.channels)});
    fields.push_back({"root key", noteName(waveform.rootKey, naming)});
    fields.push_back({"fine tune", formatText("%d", waveform.fineTune)});
    fields.push_back({"tuning", number(static_cast<double>(waveform.tuning))});
    fields.push_back({"gain", number(static_cast<double>(waveform.gain))});
    std::string loop = "none";
    if (waveform.looped) {
        loop = formatText("%s %.10g-%.10g", loopModeName(waveform.loopMode), waveform.loopStart,
                          waveform.loopEnd);
        if (waveform.loopUntilRelease)
            loop += " until release";
    }
    fields.push_back({"loop", loop});
    for (std::size_t i = 0; i < kWaveTexts; ++i)
        fields.push_back({waveTextName(static_cast<WaveText>(i)), waveform.texts[i]});
}

void add(Fields& fields, const Articulation& articulation) {
    for (const auto& [id, value] : articulation.entries()) {
        const ArticulationParameter* row = articulationParameter(id);
        fields.push_back(
            {row && *row->name ? row->name : "trigger setting", number(static_cast<double>(value))});
    }
}

void add(Fields& fields, const Region& region, const NoteNaming& naming) {
    fields.push_back({"keys", range(region.keys)});
    fields.push_back({"velocities", range(region.velocities)});
    const RegionOverrides& own = region.overrides;
    if (own.has(RegionOverrides::RootKey))
        fields.push_back({"own root key", noteName(own.rootKey, naming)});
    if (own.has(RegionOverrides::Tuning))
        fields.push_back({"own tuning", number(static_cast<double>(own.tuning))});
    if (own.has(RegionOverrides::Looped))
        fields.push_back({"own loop", own.looped ? "on" : "off"});
    if (own.has(RegionOverrides::LoopModeFlag))
        fields.push_back({"own loop mode", loopModeName(own.loopMode)});
    if (own.has(RegionOverrides::LoopStart))
        fields.push_back({"own loop start", whole(own.loopStart)});
    if (own.has(RegionOverrides::LoopEnd))
        fields.push_back({"own loop end", whole(own.loopEnd)});
    add(fields, region.articulation);
}

void add(Fields& fields, const MidiSong& song) {
    fields.push_back({"format", whole(song.format)});
    fields.push_back({"division", whole(song.division)});
    for (const auto& [what, text] : {std::pair{"artist", &song.artist},
                                     {"product", &song.product},
                                     {"copyright", &song.copyright},
                                     {"comment", &song.comment},
                                     {"engineer", &song.engineer}})
        fields.push_back({what, *text});
}

void add(Fields& fields, const MidiTrack& track) {
    fields.push_back({"events", whole(track.eventCount), fnv1a64(std::span<const Byte>(track.events))});
    fields.push_back({"bytes", whole(track.events.size())});
    fields.push_back({"port", formatText("%d", track.port)});
    fields.push_back({"channel", formatText("%d", track.channel)});
}

}  // namespace

CollectionState::State CollectionState::stateOf(const Item& item, const NoteNaming& naming) {
    State state;
    state.id = item.id();
    state.name = item.name();
    Fields& fields = state.fields;
    fields.push_back({"name", item.name()});
    switch (item.kind()) {
        case ItemKind::Waveform: {
            const auto& waveform = static_cast<const Waveform&>(item);
            add(fields, waveform, naming);
            state.buffer = waveform.buffer();
            state.source = waveform.source();
            break;
        }
        case ItemKind::Region:
            add(fields, static_cast<const Region&>(item), naming);
            break;
        case ItemKind::Layer:
            add(fields, static_cast<const Layer&>(item).articulation);
            break;
        case ItemKind::Instrument: {
            const auto& instrument = static_cast<const Instrument&>(item);
            const PatchNumber patch = instrument.patch;
            fields.push_back({"patch", formatText("%u:%u:%u%s", patch.bankMsb(), patch.bankLsb(),
                                                  patch.program(), patch.drum() ? " drums" : "")});
            add(fields, instrument.articulation);
            break;
        }
        case ItemKind::MidiSong:
            add(fields, static_cast<const MidiSong&>(item));
            break;
        case ItemKind::MidiTrack:
            add(fields, static_cast<const MidiTrack&>(item));
            break;
        default:
            break;
    }
    addLinks(fields, item);
    return state;
}

CollectionState::CollectionState(const Collection& collection, const NoteNaming& naming) {
    for (const ItemKind kind :
         {ItemKind::Waveform, ItemKind::SynthModel, ItemKind::MidiSong, ItemKind::MidiTrack,
          ItemKind::Instrument, ItemKind::Layer, ItemKind::Region}) {
        for (const ItemId id : collection.list(kind)) {
            if (const Item* item = collection.find(id)) {
                places_.emplace(id, items_.size());
                items_.push_back(stateOf(*item, naming));
            }
        }
    }
}

std::vector<ItemChange> CollectionState::changesTo(const CollectionState& later) const {
    std::vector<ItemChange> changes;
    for (const State& before : items_) {
        const auto place = later.places_.find(before.id);
        if (place == later.places_.end()) {
            changes.push_back({before.id, ItemChange::Kind::Removed, before.name, {}});
            continue;
        }
        const State& after = later.items_[place->second];
        ItemChange change{before.id, ItemChange::Kind::Changed, before.name, {}};
        const auto find = [](const State& state, const char* what) -> const Field* {
            const auto found = std::ranges::find_if(
                state.fields, [=](const Field& field) { return std::string_view(field.what) == what; });
            return found == state.fields.end() ? nullptr : &*found;
        };
        for (const Field& was : before.fields) {
            const Field* now = find(after, was.what);
            if (!now)
                change.fields.push_back({was.what, was.value, "-"});
            else if (now->value != was.value)
                change.fields.push_back({was.what, was.value, now->value});
            else if (now->key != was.key)
                change.fields.push_back({was.what, {}, {}});
        }
        for (const Field& now : after.fields) {
            if (!find(before, now.what))
                change.fields.push_back({now.what, "-", now.value});
        }
        const bool sameSamples =
            before.source ? before.source == after.source : before.buffer.get() == after.buffer.get();
        if (!sameSamples)
            change.fields.push_back({"audio data", {}, {}});
        if (!change.fields.empty())
            changes.push_back(std::move(change));
    }
    for (const State& after : later.items_) {
        if (!places_.contains(after.id))
            changes.push_back({after.id, ItemChange::Kind::Added, after.name, {}});
    }
    return changes;
}

}  // namespace velor
