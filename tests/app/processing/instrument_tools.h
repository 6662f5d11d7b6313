// Made-up banks for the tests of instrument processes: shared layers and regions, stereo waveforms, pan
// positions and articulation on all levels.
#pragma once

#include <memory>
#include <random>

#include "instrument_sound.h"
#include "process_tools.h"

namespace velor::test {

inline ProcessRun runOn(const std::string& name, Collection& collection, const std::vector<ItemId>& selected,
                        const std::vector<std::string>& pairs = {}, UserInterface* ui = nullptr) {
    return runItems("instrument:" + name, collection, selected, pairs, {}, ui);
}

inline Region* addRegion(Layer& layer, Waveform* waveform, MidiRange keys, MidiRange velocities = {}) {
    auto* region = layer.owner().create<Region>("region");
    region->keys = keys;
    region->velocities = velocities;
    if (waveform)
        region->links.add(waveform->id());
    layer.links.add(region->id());
    return region;
}

inline Layer* addLayer(Instrument& instrument) {
    auto* layer = instrument.owner().create<Layer>("layer");
    instrument.links.add(layer->id());
    return layer;
}

// An instrument with one layer and one region over all keys.
inline Instrument* addInstrument(Collection& collection, const std::string& name, Waveform* waveform,
                                 PatchNumber patch = {}) {
    auto* instrument = collection.create<Instrument>(name);
    instrument->patch = patch;
    addRegion(*addLayer(*instrument), waveform, {});
    return instrument;
}

class RandomBank {
  public:
    explicit RandomBank(unsigned seed) : random_(seed) {
        for (int i = 0; i < 5; ++i) {
            const int channels = 1 + static_cast<int>(next() % 2);
            std::vector<float> samples(400);
            for (float& sample : samples)
                sample = static_cast<float>(next() % 2000) / 1000 - 1;
            Waveform* waveform = addWaveform(*collection_, "wave " + std::to_string(i), samples, channels);
            waveform->rootKey = static_cast<std::uint8_t>(40 + next() % 40);
            waveform->gain = static_cast<float>(next() % 3) - 1;
            if (next() % 2)
                waveform->setLoop(LoopMode::Forward, 20, 90);
        }
        for (int i = 0; i < 4; ++i) {
            auto* instrument = collection_->create<Instrument>("instrument " + std::to_string(i));
            instrument->patch = PatchNumber(next() % 3 + static_cast<unsigned>(i) * 3, 0, 0, i == 3);
            fill(instrument->articulation);
            for (unsigned layers = 1 + next() % 3; layers > 0; --layers)
                addLayerTo(*instrument);
        }
    }
    Collection& collection() { return *collection_; }

  private:
    unsigned next() { return static_cast<unsigned>(random_()); }
    MidiRange range() {
        // Often whole or halved, so that velocity layers and neighbours come about.
        switch (next() % 4) {
            case 0:
                return {0, 63};
            case 1:
                return {64, 127};
            case 2:
                return {};
            default: {
                const auto low = static_cast<std::uint8_t>(next() % 100);
                return {low, static_cast<std::uint8_t>(low + next() % 28)};
            }
        }
    }
    void addLayerTo(Instrument& instrument) {
        if (const auto all = collection_->all<Layer>(); !all.empty() && next() % 4 == 0) {
            instrument.links.add(all[next() % all.size()]->id());
            return;
        }
        Layer* layer = addLayer(instrument);
        fill(layer->articulation);
        for (unsigned regions = next() % 4; regions > 0; --regions) {
            const auto all = collection_->all<Region>();
            if (!all.empty() && next() % 6 == 0) {
                layer->links.add(all[next() % all.size()]->id());
                continue;
            }
            const auto waves = collection_->all<Waveform>();
            Region* region = addRegion(*layer, waves[next() % waves.size()], range(), range());
            fill(region->articulation);
            if (next() % 4 == 0) {
                region->overrides.flags = RegionOverrides::RootKey | RegionOverrides::Tuning;
                region->overrides.rootKey = static_cast<std::uint8_t>(next() % 128);
                region->overrides.tuning = static_cast<float>(next() % 100);
            }
        }
    }
    void fill(Articulation& articulation) {
        namespace p = parameter;
        static constexpr std::pair<std::uint16_t, float> kValues[] = {
            {p::MasterVolume, -6},
            {p::MasterTuning, 0.25f},
            {p::PanPosition, 0.25f},
            {p::PanPosition, -0.5f},
            {p::FilterTypeCode, 2},
            {p::Cutoff, 1200},
            {p::Resonance, 3},
            {p::Send1, 0.25f},
            {p::VEnvelope + p::envelope::Attack1Time, 0.5f},
            {p::VEnvelope + p::envelope::Release1Rate, 2},
            {p::ExclusiveClass, 3},
            {p::Trigger, 1},
        };
        for (const auto& [number, value] : kValues) {
            if (next() % 3 == 0)
                articulation.set(number,
                                 value * static_cast<float>(number == p::Trigger ? 1 : 1 + next() % 2));
        }
    }

    std::mt19937 random_;
    std::unique_ptr<Collection> collection_ = std::make_unique<Collection>();
};

}  // namespace velor::test
