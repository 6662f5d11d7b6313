// The instrument processes over real banks: what must not be heard is not heard.
#include "instrument_sound.h"
#include "process_tools.h"

namespace velor {
namespace {

using test::Listener;
using test::openBank;
using test::runNamed;

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

class UnheardInBanks : public testing::TestWithParam<std::tuple<const char*, const char*>> {};

TEST_P(UnheardInBanks, ChangesNothing) {
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
    // Where instruments come or go it is all of them together that sound as before.
    const bool together = name.starts_with("split-multi") || name.starts_with("merge-instruments");
    if (together)
        keepInstruments(collection, [](std::size_t i) { return i % 7 == 0; });
    Listener listener(false);
    const auto listen = [&] {
        return together ? std::vector<Listener::Sound>{listener.listen(collection)}
                        : listener.listenToEach(collection);
    };
    const auto before = listen();
    const ProcessRun run = runNamed("instrument:" + name, collection, pairs);
    EXPECT_EQ(run.failed, 0u);
    EXPECT_TRUE(run.changed == 1 || !together);
    const auto after = listen();
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); ++i)
        ASSERT_NO_FATAL_FAILURE(test::expectSameSound(before[i], after[i], std::to_string(i)));
    // And once more there is nothing left to do.
    EXPECT_EQ(runNamed("instrument:" + name, collection, pairs).changed, 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Debian, UnheardInBanks,
    testing::Combine(testing::Values("TimGM6mb.sf2", "FluidR3_GM.sf2"),
                     testing::Values("move-articulation-level to=regions", "move-articulation-level to=up",
                                     "move-up-articulation-level-if-all-equal-below",
                                     "merge-layers-into-a-single-layer", "split-layers-with-velocity-splits",
                                     "renumber-instruments", "format-text-in-names case=title",
                                     "split-multi-layered-instruments",
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

}  // namespace
}  // namespace velor
