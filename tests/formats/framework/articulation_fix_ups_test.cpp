// Operations on collections that have to know what regions play with everything their layers and instruments
// add.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "formats/framework/fix_ups.h"
#include "items/instrument_levels.h"
#include "items/region_parameters.h"
#include "test_tools.h"

namespace velor {
namespace {

namespace p = parameter;

struct ArticulationFixUps : testing::Test {
    Instrument* addInstrument() { return collection.create<Instrument>("i"); }
    Layer* addLayer(Instrument& instrument) {
        auto* layer = collection.create<Layer>("l");
        instrument.links.add(layer->id());
        return layer;
    }
    Region* addRegion(Layer& layer, const Waveform& wave, MidiRange keys = {}) {
        auto* region = collection.create<Region>("r");
        region->keys = keys;
        region->links.add(wave.id());
        layer.links.add(region->id());
        return region;
    }
    static ArticulationValues played(const Instrument& instrument, const Layer& layer, const Region& region) {
        return resolveArticulation(&instrument.articulation, &layer.articulation, &region.articulation);
    }

    // The halves of a stereo recording in a layer each.
    struct Pair {
        Instrument* instrument;
        Layer* layers[2];
        Region* regions[2];
    };
    Pair addPair() {
        collection.clear();
        auto* left = test::addWaveform(collection, "w L", {0.5f, 0});
        auto* right = test::addWaveform(collection, "w R", {0.25f, 0});
        auto* instrument = addInstrument();
        Layer *first = addLayer(*instrument), *second = addLayer(*instrument);
        return {instrument, {first, second}, {addRegion(*first, *left), addRegion(*second, *right)}};
    }

    // Mean squares of the two channels that a region sounds with: mono waveforms are panned with constant
    // power, full to a side at ±1; stereo ones are balanced.
    std::pair<double, double> heard(const Instrument& instrument) {
        std::pair<double, double> power;
        for (const Layer* layer : linkedItems<Layer>(instrument)) {
            for (const Region* region : linkedItems<Region>(*layer)) {
                const ArticulationValues values = played(instrument, *layer, *region);
                const double angle = (static_cast<double>(values[p::PanPosition]) + 1) * std::numbers::pi / 4;
                const double gain = std::pow(10, static_cast<double>(values[p::MasterVolume]) / 20);
                const Waveform& wave = *region->waveform();
                const auto samples = wave.samples();
                double left = std::cos(angle), right = std::sin(angle);
                if (wave.channels == 2) {
                    left = std::min(1.0, left * std::numbers::sqrt2);
                    right = std::min(1.0, right * std::numbers::sqrt2);
                }
                const auto sample = [&](std::size_t i) { return static_cast<double>(samples[i]); };
                power.first += std::pow(gain * left * sample(0), 2);
                power.second += std::pow(gain * right * sample(wave.channels == 2 ? 1 : 0), 2);
            }
        }
        return power;
    }

    Collection collection;
    UserInterface ui;
};

TEST_F(ArticulationFixUps, SplitStereoSoundsAsItDid) {
    // Pan positions of instrument, layer and region.
    const float cases[][3] = {{0, 0, 0},       {0, 0, 0.5f},    {0.5f, 0, 0},  {0, 1, -1},
                              {0.5f, 0.5f, 0}, {-1, -1, 0.25f}, {0, -0.25f, 1}};
    for (const auto& pans : cases) {
        SCOPED_TRACE(testing::Message() << pans[0] << ' ' << pans[1] << ' ' << pans[2]);
        collection.clear();
        auto* wave = test::addWaveform(collection, "w", {0.5f, 0.25f, 0, 0}, 2);
        auto* instrument = addInstrument();
        auto* layer = addLayer(*instrument);
        auto* region = addRegion(*layer, *wave);
        instrument->articulation.set(p::PanPosition, pans[0]);
        layer->articulation.set(p::PanPosition, pans[1]);
        region->articulation.set(p::PanPosition, pans[2]);
        const auto before = heard(*instrument);
        splitStereoWaveforms(collection, ui);
        ASSERT_EQ(layer->links.count(), 2u);
        const auto after = heard(*instrument);
        EXPECT_NEAR(after.first, before.first, 1e-6);
        EXPECT_NEAR(after.second, before.second, 1e-6);
        for (const Region* half : linkedItems<Region>(*layer)) {
            const float side = half == region ? -1.0f : 1.0f;
            EXPECT_EQ(played(*instrument, *layer, *half)[p::PanPosition], side);
        }
    }
}

TEST_F(ArticulationFixUps, SplitStereoReachesEveryLayerOfARegion) {
    auto* wave = test::addWaveform(collection, "w", {0.5f, 0.25f}, 2);
    auto* instrument = addInstrument();
    Layer* layers[] = {addLayer(*instrument), addLayer(*instrument)};
    auto* region = addRegion(*layers[0], *wave);
    layers[1]->links.add(region->id());
    splitStereoWaveforms(collection, ui);
    for (const Layer* layer : layers)
        EXPECT_EQ(layer->links.count(), 2u);

    EXPECT_NE(mergeStereoWaveforms(collection, ui), "");
    for (const Layer* layer : layers) {
        EXPECT_EQ(layer->links.count(), 1u);
        EXPECT_TRUE(layer->links.contains(region->id()));
    }
}

TEST_F(ArticulationFixUps, StereoPairsMayBePannedAtAnyLevel) {
    enum Level { InInstrument, InLayer, InRegion };
    const struct {
        Level level;
        float left, right;
        bool merges;
    } cases[] = {
        {InRegion, -1, 1, true},        {InLayer, -1, 1, true},
        {InRegion, 0, 0, true},         {InLayer, 0, 0, true},
        {InRegion, 1, -1, false},       {InLayer, 1, -1, false},
        {InRegion, -0.5f, 0.5f, false}, {InInstrument, 0.5f, 0.5f, false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(testing::Message() << each.level << ' ' << each.left);
        const auto [instrument, layers, regions] = addPair();
        // The same said at different levels.
        layers[0]->articulation.set(p::MasterVolume, -2);
        regions[1]->articulation.set(p::MasterVolume, -2);
        const float pans[] = {each.left, each.right};
        for (int i = 0; i < 2; ++i) {
            Articulation* levels[] = {&instrument->articulation, &layers[i]->articulation,
                                      &regions[i]->articulation};
            levels[each.level]->set(p::PanPosition, pans[i]);
        }
        const auto before = heard(*instrument);
        EXPECT_EQ(!mergeStereoWaveforms(collection, ui).empty(), each.merges);
        if (!each.merges)
            continue;
        EXPECT_EQ(played(*instrument, *layers[0], *regions[0])[p::PanPosition], 0);
        EXPECT_EQ(instrument->regionCount(), 1u);
        if (each.left == -1) {
            EXPECT_NEAR(heard(*instrument).first, before.first, 1e-6);
            EXPECT_NEAR(heard(*instrument).second, before.second, 1e-6);
        }
    }
}

TEST_F(ArticulationFixUps, StereoPairsOfDifferentSoundStayApart) {
    // The layers differ, the regions do not.
    const struct {
        std::uint16_t number;
        float value;
    } cases[] = {{p::MasterVolume, -3}, {p::Cutoff, 500}, {p::Trigger, 1}, {p::ExclusiveClass, 2}};
    for (const auto& each : cases) {
        const Pair pair = addPair();
        pair.layers[1]->articulation.set(each.number, each.value);
        EXPECT_EQ(mergeStereoWaveforms(collection, ui), "") << each.number;
        pair.layers[0]->articulation.set(each.number, each.value);
        EXPECT_NE(mergeStereoWaveforms(collection, ui), "") << each.number;
    }
    // Halves in two instruments do not sound together.
    const Pair pair = addPair();
    pair.instrument->links.remove(pair.layers[1]->id());
    addInstrument()->links.add(pair.layers[1]->id());
    EXPECT_EQ(mergeStereoWaveforms(collection, ui), "");
}

TEST_F(ArticulationFixUps, LayersJoinByWhatTheyAddAndStayWhereOthersUseThem) {
    auto* wave = test::addWaveform(collection, "w", {0});
    auto* instrument = addInstrument();
    const auto layerAt = [&](std::uint8_t key) {
        Layer* layer = addLayer(*instrument);
        addRegion(*layer, *wave, {key, key});
        return layer;
    };
    instrument->articulation.set(p::Cutoff, 500);
    layerAt(1);
    layerAt(2)->articulation.set(p::Cutoff, 500);      // repeats the instrument's
    layerAt(3)->articulation.set(p::MasterVolume, 0);  // adds nothing
    layerAt(4)->articulation.set(p::Cutoff, 8000);     // the default, but not here
    layerAt(5)->articulation.set(p::ExclusiveClass, 1);
    auto* other = addInstrument();
    Layer* shared = layerAt(6);
    other->links.add(shared->id());
    Layer* twice = layerAt(7);
    instrument->links.add(twice->id());
    const std::uint32_t sounding = instrument->regionCount();
    EXPECT_EQ(compactAllLayers(collection), "Merged 2 layers.");
    EXPECT_EQ(instrument->regionCount(), sounding);
    EXPECT_EQ(collection.find<Layer>(instrument->links[0])->links.count(), 3u);
    EXPECT_EQ(other->regionCount(), 1u);
    EXPECT_EQ(collection.find<Layer>(other->links[0]), shared);
    EXPECT_EQ(compactLayers(collection, *instrument), "");
}

TEST_F(ArticulationFixUps, LoadOptionsMoveSettings) {
    auto* wave = test::addWaveform(collection, "w", {0});
    auto* instrument = addInstrument();
    auto* layer = addLayer(*instrument);
    auto* region = addRegion(*layer, *wave);
    layer->articulation.set(p::ExclusiveClass, 3);
    region->articulation.set(p::MasterVolume, -6);
    region->articulation.set(134, 1);  // a separator
    PipelineServices services;
    services.ui = &ui;
    services.load.autoMoveTriggerParams = true;
    services.load.autoMoveArticulation = false;
    ASSERT_TRUE(fixUpCollection(collection, kAllKinds, true, services));
    EXPECT_EQ(region->articulation.get(p::ExclusiveClass, 0), 3);
    EXPECT_TRUE(region->articulation.has(p::MasterVolume));
    EXPECT_FALSE(region->articulation.has(134));
    services.load.autoMoveArticulation = true;
    ASSERT_TRUE(fixUpCollection(collection, kAllKinds, false, services));
    EXPECT_TRUE(region->articulation.has(p::MasterVolume)) << "saving moves nothing";
    ASSERT_TRUE(fixUpCollection(collection, kAllKinds, true, services));
    EXPECT_EQ(instrument->articulation.get(p::MasterVolume, 0), -6);
    EXPECT_FALSE(region->articulation.has(p::MasterVolume));
}

}  // namespace
}  // namespace velor
