#include "app/processing/changes.h"

#include "base/error.h"
#include "items/articulation_text.h"

namespace velor {

namespace {

using Fields = std::vector<std::pair<const char*, std::string>>;

std::string whole(std::uint64_t value) {
    return formatText("%llu", static_cast<unsigned long long>(value));
}

std::string number(double value) {
    return formatText("%.6g", value);
}

std::string range(const MidiRange& range) {
    return formatText("%d-%d", range.low, range.high);
}

// Links as a text that is equal for equal links; which item they name is shown by the counts.
std::string linksText(const Item& item) {
    std::string text = whole(item.links.count());
    std::uint64_t hash = 14695981039346656037u;
    for (const ItemId id : item.links)
        hash = (hash ^ id.value) * 1099511628211u;
    return text + formatText(" (%08x)", static_cast<unsigned>(hash ^ hash >> 32));
}

void add(Fields& fields, const Waveform& waveform, const NoteNaming& naming) {
    fields.emplace_back("frames", whole(waveform.frames));
    fields.emplace_back("rate", whole(waveform.sampleRate));
    fields.emplace_back("channels", whole(waveform.channels));
    fields.emplace_back("root key", noteName(waveform.rootKey, naming));
    fields.emplace_back("fine tune", formatText("%d", waveform.fineTune));
    fields.emplace_back("tuning", number(static_cast<double>(waveform.tuning)));
    fields.emplace_back("gain", number(static_cast<double>(waveform.gain)));
    std::string loop = "none";
    if (waveform.looped) {
        loop = formatText("%s %.10g-%.10g", loopModeName(waveform.loopMode), waveform.loopStart,
                          waveform.loopEnd);
        if (waveform.loopUntilRelease)
            loop += " until release";
    }
    fields.emplace_back("loop", loop);
    for (std::size_t i = 0; i < kWaveTexts; ++i)
        fields.emplace_back(waveTextName(static_cast<WaveText>(i)), waveform.texts[i]);
}

void add(Fields& fields, const Articulation& articulation) {
    for (const auto& [id, value] : articulation.entries()) {
        const ArticulationParameter* row = articulationParameter(id);
        fields.emplace_back(row && *row->name ? row->name : "trigger setting",
                            number(static_cast<double>(value)));
    }
}

void add(Fields& fields, const Region& region, const NoteNaming& naming) {
    fields.emplace_back("keys", range(region.keys));
    fields.emplace_back("velocities", range(region.velocities));
    const RegionOverrides& own = region.overrides;
    if (own.has(RegionOverrides::RootKey))
        fields.emplace_back("own root key", noteName(own.rootKey, naming));
    if (own.has(RegionOverrides::Tuning))
        fields.emplace_back("own tuning", number(static_cast<double>(own.tuning)));
    if (own.has(RegionOverrides::Looped))
        fields.emplace_back("own loop", own.looped ? "on" : "off");
    if (own.has(RegionOverrides::LoopModeFlag))
        fields.emplace_back("own loop mode", loopModeName(own.loopMode));
    if (own.has(RegionOverrides::LoopStart))
        fields.emplace_back("own loop start", whole(own.loopStart));
    if (own.has(RegionOverrides::LoopEnd))
        fields.emplace_back("own loop end", whole(own.loopEnd));
    add(fields, region.articulation);
}

void add(Fields& fields, const MidiSong& song) {
    fields.emplace_back("format", whole(song.format));
    fields.emplace_back("division", whole(song.division));
    for (const auto& [what, text] : {std::pair{"artist", &song.artist},
                                     {"product", &song.product},
                                     {"copyright", &song.copyright},
                                     {"comment", &song.comment},
                                     {"engineer", &song.engineer}})
        fields.emplace_back(what, *text);
}

// Events as their number and size, and their content.
void add(Fields& fields, const MidiTrack& track) {
    fields.emplace_back("events", whole(track.eventCount));
    fields.emplace_back("bytes", whole(track.events.size()));
    fields.emplace_back(
        "event data",
        formatText("%08x", static_cast<unsigned>(std::hash<std::string_view>()(
                               {reinterpret_cast<const char*>(track.events.data()), track.events.size()}))));
    fields.emplace_back("port", formatText("%d", track.port));
    fields.emplace_back("channel", formatText("%d", track.channel));
}

}  // namespace

CollectionState::State CollectionState::stateOf(const Item& item, const NoteNaming& naming) {
    State state;
    state.id = item.id();
    state.name = item.name();
    Fields& fields = state.fields;
    fields.emplace_back("name", item.name());
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
            fields.emplace_back("patch", formatText("%u:%u:%u%s", patch.bankMsb(), patch.bankLsb(),
                                                    patch.program(), patch.drum() ? " drums" : ""));
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
    fields.emplace_back("links", linksText(item));
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
        const auto valueIn = [](const State& state, const char* what) -> std::string {
            for (const auto& [name, value] : state.fields) {
                if (name == what)
                    return value;
            }
            return "-";
        };
        for (const auto& [what, value] : before.fields) {
            if (std::string now = valueIn(after, what); now != value)
                change.fields.push_back({what, value, std::move(now)});
        }
        for (const auto& [what, value] : after.fields) {
            if (valueIn(before, what) == "-" && value != "-")
                change.fields.push_back({what, "-", value});
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
