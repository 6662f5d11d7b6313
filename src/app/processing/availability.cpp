#include "app/processing/availability.h"

#include <algorithm>

namespace velor::availability {

namespace {

template <typename Test>
bool anyItem(const ProcessContext& context, Test test) {
    return std::any_of(context.items.begin(), context.items.end(), [&](ItemId id) {
        const Item* item = id == context.collection->id() ? context.collection : context.collection->find(id);
        return item && test(*item);
    });
}

template <typename Test>
bool anyWaveform(const ProcessContext& context, Test test) {
    const std::vector<Waveform*> waveforms = context.waveforms();
    return std::any_of(waveforms.begin(), waveforms.end(),
                       [&](const Waveform* waveform) { return test(*waveform); });
}

// A listed item, or one below a listed item, that is an instrument of a drum patch; a collection stands for
// all.
template <typename Test>
bool anyInstrumentOf(const ProcessContext& context, Test test) {
    return anyItem(context, [&](const Item& item) {
        if (item.kind() == ItemKind::Collection) {
            const std::vector<Instrument*> instruments = context.collection->all<Instrument>();
            return std::any_of(instruments.begin(), instruments.end(),
                               [&](const Instrument* each) { return test(*each); });
        }
        return item.kind() == ItemKind::Instrument && test(static_cast<const Instrument&>(item));
    });
}

template <typename Test>
bool anyPlayedWaveform(const ProcessContext& context, Test test) {
    return anyItem(context, [&](const Item& item) {
        if (item.kind() == ItemKind::Waveform || item.kind() == ItemKind::MidiSong)
            return false;
        // A collection's waveforms count only where regions play them.
        if (item.kind() == ItemKind::Collection) {
            const std::vector<Region*> regions = context.collection->all<Region>();
            return std::any_of(regions.begin(), regions.end(), [&](const Region* region) {
                const Waveform* waveform = region->waveform();
                return waveform && test(*waveform);
            });
        }
        const std::vector<Waveform*> waveforms = context.collection->waveformsOf(item);
        return std::any_of(waveforms.begin(), waveforms.end(),
                           [&](const Waveform* waveform) { return test(*waveform); });
    });
}

bool isAnyOf(const ProcessContext& context, std::initializer_list<ItemKind> kinds) {
    return anyItem(context, [&](const Item& item) {
        return std::find(kinds.begin(), kinds.end(), item.kind()) != kinds.end();
    });
}

}  // namespace

bool always(const ProcessContext&) {
    return true;
}

bool selection(const ProcessContext& context) {
    return context.selection && context.selection->end > context.selection->first;
}

bool looped(const ProcessContext& context) {
    return anyWaveform(context, [](const Waveform& waveform) { return waveform.looped; });
}

bool single(const ProcessContext& context) {
    return context.items.size() == 1 &&
           anyWaveform(context, [](const Waveform& waveform) { return waveform.frames > 0; });
}

bool anyMono(const ProcessContext& context) {
    return anyWaveform(context, [](const Waveform& waveform) { return waveform.channels == 1; });
}

bool anyStereo(const ProcessContext& context) {
    return anyWaveform(context, [](const Waveform& waveform) { return waveform.channels == 2; });
}

bool anyCollection(const ProcessContext& context) {
    return isAnyOf(context, {ItemKind::Collection});
}

bool collectionOrInstrument(const ProcessContext& context) {
    return isAnyOf(context, {ItemKind::Collection, ItemKind::Instrument});
}

bool layerLevel(const ProcessContext& context) {
    return isAnyOf(context, {ItemKind::Collection, ItemKind::Instrument, ItemKind::Layer});
}

bool songs(const ProcessContext& context) {
    return isAnyOf(context, {ItemKind::MidiSong});
}

bool songsOrTracks(const ProcessContext& context) {
    return isAnyOf(context, {ItemKind::MidiSong, ItemKind::MidiTrack});
}

bool playsWaveforms(const ProcessContext& context) {
    return anyPlayedWaveform(context, [](const Waveform&) { return true; });
}

bool playsStereoWaveforms(const ProcessContext& context) {
    return anyPlayedWaveform(context, [](const Waveform& waveform) { return waveform.channels == 2; });
}

bool drumKits(const ProcessContext& context) {
    return anyInstrumentOf(context, [](const Instrument& instrument) { return instrument.patch.drum(); });
}

bool songsAndInstruments(const ProcessContext& context) {
    return anyCollection(context) && context.collection->count(ItemKind::MidiSong) > 0 &&
           context.collection->count(ItemKind::Instrument) > 0;
}

}  // namespace velor::availability
