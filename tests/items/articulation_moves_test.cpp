#include "items/articulation_moves.h"

#include <gtest/gtest.h>

#include "items/region_parameters.h"

namespace velor {
namespace {

namespace p = parameter;

// That nothing sounds different is seen on random instruments by the processes, on real banks with them.
struct OneInstrument : testing::Test {
    Layer* addLayer() {
        auto* layer = collection.create<Layer>("l");
        instrument->links.add(layer->id());
        return layer;
    }
    Region* addRegion(Layer& layer) {
        auto* region = collection.create<Region>("r");
        layer.links.add(region->id());
        return region;
    }
    Collection collection;
    Instrument* instrument = collection.create<Instrument>("i");
};

TEST_F(OneInstrument, WhatAllAgreeInMovesAsHighAsItCan) {
    Layer* layers[] = {addLayer(), addLayer()};
    std::vector<Region*> regions;
    for (Layer* layer : layers) {
        for (int i = 0; i < 2; ++i) {
            Region* region = regions.emplace_back(addRegion(*layer));
            region->articulation.set(p::MasterVolume, -6);
            region->articulation.set(p::Cutoff, 500);
            region->articulation.set(p::BendToPitch, layer == layers[0] ? 12.0f : 7.0f);
            region->articulation.set(p::MasterTuning, static_cast<float>(i));
            region->articulation.set(p::Trigger, 1);
        }
    }
    instrument->articulation.set(p::MasterVolume, -1);
    instrument->articulation.set(p::Cutoff, 9000);
    EXPECT_EQ(moveArticulationUp(collection, *instrument), 2 + 2 + 2 + 1 + 1);
    Articulation expected;
    expected.set(p::MasterVolume, -7);
    expected.set(p::Cutoff, 500);
    EXPECT_EQ(instrument->articulation, expected);
    expected.clear();
    expected.set(p::BendToPitch, 12);
    EXPECT_EQ(layers[0]->articulation, expected);
    for (std::size_t i = 0; i < regions.size(); ++i) {
        expected.clear();
        expected.set(p::MasterTuning, static_cast<float>(i % 2));
        expected.set(p::Trigger, 1);
        EXPECT_EQ(regions[i]->articulation, expected);
    }

    moveArticulationDown(*instrument);
    EXPECT_TRUE(instrument->articulation.empty());
    EXPECT_TRUE(layers[0]->articulation.empty());
    expected.clear();
    expected.set(p::MasterTuning, 1);
    expected.set(p::BendToPitch, 7);
    expected.set(p::MasterVolume, -7);
    expected.set(p::Cutoff, 500);
    expected.set(p::Trigger, 1);
    EXPECT_EQ(regions[3]->articulation, expected);
}

TEST_F(OneInstrument, WhatWouldSoundDifferentStays) {
    Layer* layer = addLayer();
    Region* region = addRegion(*layer);
    addRegion(*addLayer());  // sets nothing, so nothing goes up to the instrument
    const auto stays = [&](std::uint16_t number, float top, float middle, float bottom) {
        instrument->articulation.clear();
        layer->articulation.clear();
        region->articulation.clear();
        instrument->articulation.set(number, top);
        layer->articulation.set(number, middle);
        region->articulation.set(number, bottom);
        moveArticulationUp(collection, *instrument);
        return region->articulation.get(number, 0) == bottom;
    };
    EXPECT_FALSE(stays(p::MasterVolume, 1, 2, 3));
    EXPECT_EQ(layer->articulation.get(p::MasterVolume, 0), 5);
    EXPECT_EQ(instrument->articulation.get(p::MasterVolume, 0), 1);
    EXPECT_TRUE(stays(p::MasterVolume, 1, -1, 1e-9f)) << "the sum would lose it";
    EXPECT_TRUE(stays(p::MasterVolume, 0, 60, 60)) << "no level can hold 120 dB";
    EXPECT_FALSE(stays(p::Cutoff, 1, -1, 1e-9f));
}

TEST_F(OneInstrument, SharedItemsKeepWhatTheyHave) {
    auto* other = collection.create<Instrument>("other");
    Layer* shared = addLayer();
    Region* inShared = addRegion(*shared);
    other->links.add(shared->id());
    Layer* own = addLayer();
    Region* inOwn = addRegion(*own);
    for (Region* region : {inShared, inOwn})
        region->articulation.set(p::MasterVolume, -6);
    moveArticulation(collection);
    EXPECT_TRUE(inShared->articulation.has(p::MasterVolume));
    EXPECT_TRUE(own->articulation.has(p::MasterVolume)) << "a layer of this instrument alone";
    EXPECT_TRUE(instrument->articulation.empty());

    instrument->articulation.set(p::MasterTuning, 1);
    moveArticulationDown(*instrument);
    EXPECT_TRUE(instrument->articulation.has(p::MasterTuning)) << "the other instrument must not get it";
    EXPECT_TRUE(inOwn->articulation.has(p::MasterVolume));
    EXPECT_TRUE(own->articulation.empty());
}

TEST_F(OneInstrument, TriggersGoToTheRegions) {
    Layer* layer = addLayer();
    Region* plain = addRegion(*layer);
    Region* special = addRegion(*layer);
    layer->articulation.set(p::Trigger, 1);
    layer->articulation.set(p::ExclusiveClass, 4);
    layer->articulation.set(p::MasterVolume, -3);
    special->articulation.set(p::Trigger, 0);
    // The second region takes part elsewhere: it has a trigger of its own, but would take the class along.
    collection.create<Layer>("elsewhere")->links.add(special->id());
    moveTriggerParameters(collection, *layer);
    EXPECT_FALSE(layer->articulation.has(p::Trigger));
    EXPECT_TRUE(layer->articulation.has(p::ExclusiveClass));
    EXPECT_TRUE(layer->articulation.has(p::MasterVolume));
    EXPECT_EQ(plain->articulation.get(p::Trigger, -1), 1);
    EXPECT_EQ(special->articulation.get(p::Trigger, -1), 0);
    EXPECT_FALSE(plain->articulation.has(p::ExclusiveClass));

    Layer* empty = addLayer();
    empty->articulation.set(p::PedalCondition, 1);
    moveTriggerParameters(collection);
    EXPECT_TRUE(empty->articulation.has(p::PedalCondition)) << "there is no region to take it";
}

}  // namespace
}  // namespace velor
