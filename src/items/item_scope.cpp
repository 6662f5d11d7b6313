#include "items/item_scope.h"

#include <unordered_set>

#include "items/instrument_levels.h"

namespace velor {

namespace {

template <typename T>
class Gathered {
  public:
    explicit Gathered(std::vector<T*>& to) : to_(to) {}
    void add(T* item) {
        if (item && seen_.insert(item).second)
            to_.push_back(item);
    }
    template <typename From>
    void addLinked(const std::vector<From*>& holders) {
        for (const From* holder : holders) {
            for (T* item : linkedItems<T>(*holder))
                add(item);
        }
    }

  private:
    std::vector<T*>& to_;
    std::unordered_set<const T*> seen_;
};

}  // namespace

ItemScope::ItemScope(Item& item) {
    switch (item.kind()) {
        case ItemKind::Collection: {
            const Collection& collection = item.owner();
            instruments = collection.all<Instrument>();
            layers = collection.all<Layer>();
            regions = collection.all<Region>();
            waveforms = collection.all<Waveform>();
            songs = collection.all<MidiSong>();
            tracks = collection.all<MidiTrack>();
            return;
        }
        case ItemKind::Instrument:
            instruments.push_back(static_cast<Instrument*>(&item));
            break;
        case ItemKind::Layer:
            layers.push_back(static_cast<Layer*>(&item));
            break;
        case ItemKind::Region:
            regions.push_back(static_cast<Region*>(&item));
            break;
        case ItemKind::Waveform:
            waveforms.push_back(static_cast<Waveform*>(&item));
            break;
        case ItemKind::MidiSong:
            songs.push_back(static_cast<MidiSong*>(&item));
            Gathered<MidiTrack>(tracks).addLinked(songs);
            break;
        case ItemKind::MidiTrack:
            tracks.push_back(static_cast<MidiTrack*>(&item));
            break;
        case ItemKind::SynthModel:
            break;
    }
    Gathered<Layer>(layers).addLinked(instruments);
    Gathered<Region>(regions).addLinked(layers);
    Gathered<Waveform> played(waveforms);
    for (const Region* region : regions)
        played.add(region->waveform());
}

std::vector<Instrument*> instrumentsOf(Item& item) {
    if (item.kind() == ItemKind::Collection)
        return item.owner().all<Instrument>();
    if (item.kind() == ItemKind::Instrument)
        return {static_cast<Instrument*>(&item)};
    return {};
}

}  // namespace velor
