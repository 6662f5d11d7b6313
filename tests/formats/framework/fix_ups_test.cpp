#include "formats/framework/fix_ups.h"

#include <gtest/gtest.h>

#include "dsp/loop_conversion.h"
#include "test_tools.h"

namespace velor {
namespace {

std::vector<std::string> uniqueNames(const std::vector<std::string>& names) {
    Collection collection;
    for (const auto& name : names)
        collection.create<Waveform>(name);
    makeNamesUnique(collection, ItemKind::Waveform);
    std::vector<std::string> result;
    for (const auto* wave : collection.all<Waveform>())
        result.push_back(wave->name());
    return result;
}

TEST(UniqueNames, CountAndKeepNoteNames) {
    using Names = std::vector<std::string>;
    const struct {
        Names given, expected;
    } cases[] = {
        {{"Kick", "Kick", "Kick"}, {"Kick", "Kick 1", "Kick 2"}},
        {{"Snare9", "Snare9"}, {"Snare9", "Snare10"}},
        {{"Pad C4", "Pad C4"}, {"Pad C4", "Pad C4 1"}},
        {{"F#3", "F#3", "F#3"}, {"F#3", "F#3 1", "F#3 2"}},
        {{"Kick", "KICK", "Kick 1"}, {"Kick", "KICK 2", "Kick 1"}},
        {{"", ""}, {"", " 1"}},
        {{"7", "7"}, {"7", "8"}},
        {{"x999999999999999999999", "x999999999999999999999"},
         {"x999999999999999999999", "x9991000000000000000000"}},
    };
    for (const auto& each : cases)
        EXPECT_EQ(uniqueNames(each.given), each.expected);
    const std::string longName(300, 'n');
    EXPECT_EQ(uniqueNames({longName, longName})[1], std::string(125, 'n') + " 1");
    EXPECT_EQ(uniqueNames(std::vector<std::string>(20000, "same")).back(), "same 19999");

    Collection collection;
    collection.create<Waveform>("Kick");
    Item* second = collection.create<Waveform>("kick");
    makeNameUnique(*second);
    EXPECT_EQ(second->name(), "kick 1");
    makeNameUnique(*second);
    EXPECT_EQ(second->name(), "kick 1");
}

Region* addRegion(Collection& collection, Layer& layer, Waveform& wave, MidiRange keys = {},
                  MidiRange velocities = {}) {
    auto* region = collection.create<Region>("r");
    region->keys = keys;
    region->velocities = velocities;
    region->links.add(wave.id());
    layer.links.add(region->id());
    return region;
}

TEST(Duplicates, RegionsKeepSoundingTheSame) {
    Collection collection;
    UserInterface ui;
    const std::vector<float> tone(2048, 0.25f);
    auto* first = test::addWaveform(collection, "a", tone);
    auto* same = test::addWaveform(collection, "b", tone);
    auto* otherRate = test::addWaveform(collection, "c", tone, 1, 22050);
    auto* otherGain = test::addWaveform(collection, "d", tone);
    otherGain->gain = 3;
    auto* unusedOtherRoot = test::addWaveform(collection, "e", tone);
    unusedOtherRoot->rootKey = 10;
    same->rootKey = 72;
    same->setLoop(LoopMode::Forward, 100, 2000);
    auto* layer = collection.create<Layer>("l");
    auto* region = addRegion(collection, *layer, *same);
    const std::string report = removeDuplicateWaveforms(collection, ui);
    EXPECT_EQ(report, "Done: Deleted 1 duplicate waveform (2K samples freed)");
    EXPECT_EQ(collection.count(ItemKind::Waveform), 4u);
    EXPECT_EQ(region->waveform(), first);
    EXPECT_EQ(region->rootKey(), 72);
    EXPECT_TRUE(region->overrides.has(RegionOverrides::LoopEnd));
    EXPECT_EQ(region->overrides.loopEnd, 2000u);
    EXPECT_NE(collection.find(otherRate->id()), nullptr);
    EXPECT_EQ(removeDuplicateWaveforms(collection, ui), "Done: No duplicate waveforms found");

    EXPECT_EQ(removeUnusedWaveforms(collection), "Done: Deleted 3 unused waveforms (6K samples freed)");
    EXPECT_EQ(removeUnusedWaveforms(collection), "No unused waveforms found");
}

TEST(Stereo, SplitAndMergeAreInverses) {
    Collection collection;
    UserInterface ui;
    auto* wave = test::addWaveform(collection, "Pad", {0.1f, -0.1f, 0.2f, -0.2f, 0.3f, -0.3f}, 2);
    wave->setLoop(LoopMode::Forward, 1, 3);
    wave->rootKey = 50;
    auto* layer = collection.create<Layer>("l");
    addRegion(collection, *layer, *wave, {10, 20});
    EXPECT_EQ(splitStereoWaveforms(collection, ui), "Done: Split 1 stereo waveform into 2 mono waveforms");
    ASSERT_EQ(collection.count(ItemKind::Waveform), 2u);
    ASSERT_EQ(layer->links.count(), 2u);
    const auto* right = collection.find<Region>(layer->links[1]);
    EXPECT_EQ(right->waveform()->name(), "Pad R");
    EXPECT_EQ(right->waveform()->samples()[2], -0.3f);
    EXPECT_EQ(right->waveform()->rootKey, 50);
    EXPECT_EQ(right->waveform()->loopEnd, 3);
    EXPECT_EQ(right->keys, (MidiRange{10, 20}));

    EXPECT_EQ(mergeStereoWaveforms(collection, ui), "Done: Merged 2 mono waveforms into 1 stereo waveform");
    ASSERT_EQ(collection.count(ItemKind::Waveform), 1u);
    EXPECT_EQ(collection.count(ItemKind::Region), 1u);
    EXPECT_EQ(wave->name(), "Pad");
    EXPECT_EQ(wave->channels, 2);
    EXPECT_EQ(wave->samples()[5], -0.3f);
    EXPECT_TRUE(collection.find<Region>(layer->links[0])->articulation.empty());
}

TEST(Stereo, OnlyTruePairsAreMerged) {
    Collection collection;
    UserInterface ui;
    test::addWaveform(collection, "A_L", {1, 2});
    test::addWaveform(collection, "A_R", {1, 2, 3});  // other length
    test::addWaveform(collection, "Bell", {1, 2});    // ends in l, but not as a side
    test::addWaveform(collection, "Ber", {1, 2});
    auto* left = test::addWaveform(collection, "C (L)", {1, 2});
    test::addWaveform(collection, "C (R)", {1, 2});
    auto* layer = collection.create<Layer>("l");
    addRegion(collection, *layer, *left);  // the left half is also played alone
    EXPECT_EQ(mergeStereoWaveforms(collection, ui), "");
    EXPECT_EQ(collection.count(ItemKind::Waveform), 6u);
}

TEST(Layers, OnlyLayersThatNeverSoundTogetherJoin) {
    Collection collection;
    auto* wave = test::addWaveform(collection, "w", {0});
    auto* instrument = collection.create<Instrument>("i");
    const auto addLayer = [&](MidiRange keys, MidiRange velocities) {
        auto* layer = collection.create<Layer>("l");
        addRegion(collection, *layer, *wave, keys, velocities);
        instrument->links.add(layer->id());
        return layer;
    };
    addLayer({0, 59}, {});
    addLayer({60, 127}, {0, 63});
    addLayer({60, 127}, {64, 127});
    addLayer({60, 60}, {64, 64});                        // overlaps
    addLayer({0, 10}, {})->articulation.set(14, -6.0f);  // sounds different
    EXPECT_EQ(compactAllLayers(collection), "Merged 2 layers.");
    ASSERT_EQ(instrument->links.count(), 3u);
    EXPECT_EQ(collection.find<Layer>(instrument->links[0])->links.count(), 3u);
    EXPECT_EQ(collection.count(ItemKind::Layer), 3u);
    EXPECT_EQ(instrument->regionCount(), 5u);
}

// What a loop plays: the frames heard when `count` frames are played from the start.
std::vector<float> played(const Waveform& wave, std::size_t count) {
    std::vector<float> heard;
    std::ptrdiff_t at = 0, step = 1;
    const auto start = static_cast<std::ptrdiff_t>(wave.loopStart),
               end = static_cast<std::ptrdiff_t>(wave.loopEnd);
    while (heard.size() < count) {
        heard.push_back(wave.samples()[static_cast<std::size_t>(at)]);
        at += step;
        if (step > 0 && at == end) {
            if (wave.loopMode == LoopMode::Alternating)
                step = -1, at = end - 1;
            else
                at = start;
        } else if (step < 0 && at < start) {
            step = 1, at = start;
        }
    }
    return heard;
}

TEST(LoopConversion, UnrolledLoopSoundsAlikeAndFramesFollowTheLoop) {
    std::vector<float> ramp(50);
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<float>(i);
    for (const LoopConversion options : {LoopConversion{true, false}, {false, true}, {true, true}}) {
        Collection collection;
        auto* wave = test::addWaveform(collection, "w", ramp);
        wave->setLoop(LoopMode::Alternating, 20, 45);
        auto* layer = collection.create<Layer>("l");
        auto* region = addRegion(collection, *layer, *wave);
        region->overrides.flags = RegionOverrides::LoopEnd;
        region->overrides.loopEnd = 48;
        const std::vector<float> before = played(*wave, 300);
        EXPECT_TRUE(convertLoop(collection, *wave, options));
        EXPECT_EQ(played(*wave, 300), before);
        if (options.alternatingToForward) {
            EXPECT_EQ(wave->loopMode, LoopMode::Forward);
            EXPECT_EQ(wave->loopEnd, 70);
            EXPECT_EQ(region->overrides.loopEnd, 73u);
        }
        if (options.append32) {
            EXPECT_EQ(wave->frames - wave->loopEnd, 32);
        }
        EXPECT_FALSE(convertLoop(collection, *wave, options)) << "nothing left to do";
    }
}

}  // namespace
}  // namespace velor
