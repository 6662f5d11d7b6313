// The instrument processes over real banks: what must not be heard is not heard.
#include <set>

#include "formats/framework/pipeline.h"
#include "instrument_sound.h"
#include "process_tools.h"

namespace velor {
namespace {

using test::Listener;
using test::runNamed;

bool openBank(Collection& collection, const std::string& name) {
    const auto path = std::filesystem::path("/usr/share/sounds/sf2") / name;
    if (!std::filesystem::exists(path))
        return false;
    const test::TemporaryFolder keepsCurrent;
    UserInterface quiet;
    PipelineServices services;
    services.ui = &quiet;
    return openFile(collection, path, false, services);
}

// Only the instruments whose place in the list `keep` names, with what they play.
template <typename Keep>
void keepInstruments(Collection& collection, Keep keep) {
    std::vector<ItemId> gone;
    for (std::size_t i = 0; i < collection.list(ItemKind::Instrument).size(); ++i) {
        if (!keep(i))
            gone.push_back(collection.list(ItemKind::Instrument)[i]);
    }
    collection.removeAll(ItemKind::Instrument, gone);
}

class EachInstrumentStays : public testing::TestWithParam<std::tuple<const char*, const char*>> {};

TEST_P(EachInstrumentStays, AsItSounds) {
    const auto& [bank, call] = GetParam();
    Collection collection;
    if (!openBank(collection, bank))
        GTEST_SKIP() << "needs " << bank;
    std::vector<std::string> pairs;
    std::string name = call;
    if (const std::size_t space = name.find(' '); space != std::string::npos) {
        pairs.push_back(name.substr(space + 1));
        name.resize(space);
    }
    Listener listener(false);
    const auto before = listener.listenToEach(collection);
    const ProcessRun run = runNamed("instrument:" + name, collection, pairs);
    EXPECT_EQ(run.failed, 0u);
    const auto after = listener.listenToEach(collection);
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); ++i)
        ASSERT_NO_FATAL_FAILURE(test::expectSameSound(before[i], after[i], std::to_string(i)));
    // And once more there is nothing left to do.
    EXPECT_EQ(runNamed("instrument:" + name, collection, pairs).changed, 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Debian, EachInstrumentStays,
    testing::Combine(testing::Values("TimGM6mb.sf2", "FluidR3_GM.sf2"),
                     testing::Values("move-articulation-level to=regions", "move-articulation-level to=up",
                                     "move-up-articulation-level-if-all-equal-below",
                                     "merge-layers-into-a-single-layer", "split-layers-with-velocity-splits",
                                     "renumber-instruments", "format-text-in-names case=title")));

class AllTogetherStay : public testing::TestWithParam<std::tuple<const char*, const char*>> {};

TEST_P(AllTogetherStay, AsTheySound) {
    const auto& [bank, name] = GetParam();
    Collection collection;
    if (!openBank(collection, bank))
        GTEST_SKIP() << "needs " << bank;
    keepInstruments(collection, [](std::size_t i) { return i % 7 == 0; });
    Listener listener(false);
    const auto before = listener.listen(collection);
    const ProcessRun run = runNamed(std::string("instrument:") + name, collection);
    EXPECT_EQ(run.changed, 1u);
    test::expectSameSound(before, listener.listen(collection), name);
}

INSTANTIATE_TEST_SUITE_P(Debian, AllTogetherStay,
                         testing::Combine(testing::Values("TimGM6mb.sf2", "FluidR3_GM.sf2"),
                                          testing::Values("split-multi-layered-instruments",
                                                          "merge-instruments-into-a-single-instrument")));

TEST(InstrumentBanks, StereoDividesIntoLayersAndBack) {
    Collection collection;
    if (!openBank(collection, "FluidR3_GM.sf2"))
        GTEST_SKIP() << "needs FluidR3_GM.sf2";
    // Pianos: panned pairs. What else plays their waveforms goes too, so that they are nobody else's.
    keepInstruments(collection, [](std::size_t i) { return i < 2; });
    Listener listener;
    const auto before = listener.listenToEach(collection);
    ASSERT_GT(Listener::voices(before[0]), 1000u);
    const auto stereoWaves = [&] {
        const auto all = collection.waveformsOf(*collection.all<Instrument>()[0]);
        return std::count_if(all.begin(), all.end(), [](const Waveform* w) { return w->channels == 2; });
    };
    const auto expectAsBefore = [&](const char* when) {
        const auto after = listener.listenToEach(collection);
        for (std::size_t i = 0; i < before.size(); ++i)
            test::expectSameSound(before[i], after[i], when);
    };
    const auto items = [&] {
        return collection.waveformsOf(collection).size() + collection.count(ItemKind::Layer);
    };
    const auto atFirst = stereoWaves();
    runNamed("instrument:merge-mono-waveform-pairs-to-stereo", collection);
    expectAsBefore("merged");
    const auto merged = stereoWaves();
    const auto itemsMerged = items();
    EXPECT_GE(merged, atFirst);
    EXPECT_GT(merged, 0);
    EXPECT_EQ(runNamed("instrument:split-stereo-waveforms-to-dual-layers", collection).changed, 1u);
    EXPECT_EQ(stereoWaves(), 0);
    expectAsBefore("split");
    EXPECT_EQ(runNamed("instrument:merge-mono-waveform-pairs-to-stereo", collection, {"by=panning"}).changed,
              1u);
    EXPECT_EQ(stereoWaves(), merged);
    EXPECT_EQ(items(), itemsMerged) << "no empty layer is left";
    expectAsBefore("merged again");
}

TEST(InstrumentBanks, DrumSoundsStayOnTheirKeys) {
    Collection collection;
    if (!openBank(collection, "TimGM6mb.sf2"))
        GTEST_SKIP() << "needs TimGM6mb.sf2";
    Listener listener(false);
    const Instrument* kit = nullptr;
    for (const Instrument* instrument : collection.all<Instrument>()) {
        if (instrument->patch.drum() && !kit)
            kit = instrument;
    }
    ASSERT_NE(kit, nullptr);
    keepInstruments(collection, [&](std::size_t i) { return collection.all<Instrument>()[i] == kit; });
    const auto before = listener.listen(*kit);
    ASSERT_EQ(runNamed("instrument:split-drum-kit-into-multiple-melodic-inst.", collection, {"keep"}).changed,
              1u);
    std::vector<Listener::Sound> sounds;
    std::set<std::uint32_t> patches;
    for (const Instrument* instrument : collection.all<Instrument>()) {
        if (instrument == kit)
            continue;
        EXPECT_FALSE(instrument->patch.drum());
        EXPECT_TRUE(patches.insert(instrument->patch.value).second);
        sounds.push_back(listener.listen(*instrument));
        EXPECT_EQ(std::count_if(sounds.back().begin(), sounds.back().end(),
                                [](const auto& each) { return each.empty(); }),
                  0)
            << instrument->name() << " is spread over all keys";
    }
    EXPECT_GT(sounds.size(), 30u);
    // Wherever the kit plays, one of them plays exactly the same.
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (before[i].empty())
            continue;
        const bool found = std::any_of(sounds.begin(), sounds.end(), [&](const Listener::Sound& sound) {
            return std::equal(sound[i].begin(), sound[i].end(), before[i].begin(), before[i].end(),
                              [](const auto& a, const auto& b) {
                                  return a.what == b.what && std::abs(a.cents - b.cents) < 0.01;
                              });
        });
        EXPECT_TRUE(found) << "key " << i / Listener::kVelocities.size();
    }
}

// How many regions of a layer answer to each key and velocity.
std::vector<int> answers(const Layer& layer) {
    std::vector<int> counts(128 * 128);
    for (const Region* region : linkedItems<Region>(layer)) {
        for (std::size_t key = region->keys.low; key <= region->keys.high; ++key) {
            for (std::size_t velocity = region->velocities.low; velocity <= region->velocities.high;
                 ++velocity)
                ++counts[128 * key + velocity];
        }
    }
    return counts;
}

TEST(InstrumentBanks, ExtendedKeysPlayEverywhereAndNeverTwice) {
    for (const char* gaps : {"middle", "lower", "upper"}) {
        Collection collection;
        if (!openBank(collection, "TimGM6mb.sf2"))
            GTEST_SKIP() << "needs TimGM6mb.sf2";
        // Gaps: of each region only some keys stay.
        for (Region* region : collection.all<Region>())
            region->keys.low =
                std::max(region->keys.low, static_cast<std::uint8_t>(region->keys.high * 7 / 8));
        std::vector<std::vector<int>> before;
        for (const Layer* layer : collection.all<Layer>())
            before.push_back(answers(*layer));
        EXPECT_EQ(
            runNamed("instrument:auto-extend-region-key-ranges", collection, {std::string("gaps=") + gaps})
                .changed,
            1u);
        std::size_t index = 0;
        for (const Layer* layer : collection.all<Layer>()) {
            const auto& was = before[index++];
            const auto is = answers(*layer);
            for (std::size_t velocity = 0; velocity < 128; ++velocity) {
                int most = 0;
                for (std::size_t key = 0; key < 128; ++key)
                    most = std::max(most, was[128 * key + velocity]);
                for (std::size_t cell = velocity; cell < was.size(); cell += 128) {
                    ASSERT_LE(is[cell], was[cell] > 0 ? was[cell] : most)
                        << layer->name() << " key " << cell / 128;
                    ASSERT_GE(is[cell], was[cell]) << layer->name() << " key " << cell / 128;
                    ASSERT_GE(is[cell], std::min(most, 1)) << layer->name() << " key " << cell / 128;
                }
            }
        }
    }
}

// What a layer plays at a key and velocity: how long a turn of the loop is, in frames, and the pitch that the
// frames are read at, in cents.
using Readings = std::vector<std::pair<double, double>>;
std::vector<Readings> readings(const Collection& collection) {
    std::vector<Readings> all;
    const InstrumentLevels levels(collection);
    for (const Layer* layer : collection.all<Layer>()) {
        const auto& holders = levels.holders(*layer);
        const Articulation* above = holders.empty() ? nullptr : &holders[0]->articulation;
        std::vector<Readings> here(128 * 3);
        for (const Region* region : linkedItems<Region>(*layer)) {
            const Waveform& waveform = *region->waveform();
            const ArticulationValues values =
                resolveArticulation(above, &layer->articulation, &region->articulation);
            const RegionLoop loop = regionLoop(waveform, region->overrides);
            const double tuning = region->overrides.has(RegionOverrides::Tuning)
                                      ? static_cast<double>(region->overrides.tuning)
                                      : static_cast<double>(waveform.tuningCents());
            for (int key = region->keys.low; key <= region->keys.high; ++key) {
                for (const int velocity : {1, 64, 127}) {
                    if (region->velocities.contains(velocity))
                        here[static_cast<std::size_t>(3 * key + velocity / 63)].emplace_back(
                            loop.on ? loop.end - loop.start : 0,
                            100 * (key - region->rootKey()) *
                                    static_cast<double>(values[parameter::KeyToPitch]) +
                                tuning);
                }
            }
        }
        all.insert(all.end(), here.begin(), here.end());
    }
    return all;
}

TEST(InstrumentBanks, CopiesForOctavesKeepThePitchOfEveryKey) {
    Collection collection;
    if (!openBank(collection, "TimGM6mb.sf2"))
        GTEST_SKIP() << "needs TimGM6mb.sf2";
    const auto before = readings(collection);
    const std::uint32_t waves = collection.count(ItemKind::Waveform);
    const ProcessRun run = runNamed("instrument:add-downsampled-waves-at-every-octave", collection);
    ASSERT_EQ(run.changed, 1u) << run.items[0].error;
    EXPECT_GT(collection.count(ItemKind::Waveform), waves + 50);
    const auto after = readings(collection);
    ASSERT_EQ(before.size(), after.size());
    int copies = 0;
    for (std::size_t i = 0; i < before.size(); ++i) {
        ASSERT_EQ(before[i].size(), after[i].size());
        for (std::size_t j = 0; j < before[i].size(); ++j) {
            const auto& [wasLength, wasCents] = before[i][j];
            const auto& [length, cents] = after[i][j];
            ASSERT_EQ(wasLength > 0, length > 0);
            // A loop with half of the frames, read at half of the speed, lasts as long.
            if (length > 0) {
                ASSERT_NEAR(cents - wasCents, 1200 * std::log2(length / wasLength), 0.02);
            } else {
                ASSERT_NEAR(std::remainder(cents - wasCents, 1200), 0, 0.02);
            }
            copies += std::abs(cents - wasCents) > 100;
        }
    }
    EXPECT_GT(copies, 1000);
    for (const Waveform* waveform : collection.all<Waveform>()) {
        if (waveform->looped) {
            EXPECT_LE(waveform->loopEnd, waveform->frames) << waveform->name();
        }
    }
}

TEST(InstrumentBanks, AllProcessesRunOneAfterTheOther) {
    Collection collection;
    if (!openBank(collection, "TimGM6mb.sf2"))
        GTEST_SKIP() << "needs TimGM6mb.sf2";
    for (const ProcessRow& row : processCatalogue(ProcessFlavour::Instrument)) {
        const std::string word = processWord(row);
        // Without a song everything would be unused, and without a text there is nothing to search.
        if (word == "remove-items-not-used-by-any-song")
            continue;
        const ProcessRun run = runNamed("instrument:" + word, collection,
                                        word == "search-and-replace-text-in-names"
                                            ? std::vector<std::string>{"search=a", "replace=b"}
                                            : std::vector<std::string>{});
        EXPECT_EQ(run.failed, 0u) << word << ": " << (run.items.empty() ? "" : run.items[0].error);
        for (const ItemKind kind : {ItemKind::Instrument, ItemKind::Layer, ItemKind::Region}) {
            for (const ItemId id : collection.list(kind)) {
                for (const ItemId link : collection.find(id)->links)
                    ASSERT_NE(collection.find(link), nullptr) << word;
            }
        }
    }
}

}  // namespace
}  // namespace velor
