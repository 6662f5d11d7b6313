// Instrument processes that rearrange layers and regions: nothing that is heard changes, also not in
// instruments that share layers or regions with those that are processed.
#include <set>

#include "instrument_tools.h"
#include "items/midi_timeline.h"
#include "thinning.h"

namespace velor {
namespace {

using namespace test;

constexpr unsigned kBanks = 80 / test::kThinning;

// Every link leads somewhere and nothing lost its last holder.
void expectSound(const Collection& collection, const std::set<ItemId>& heldBefore, const std::string& what) {
    const InstrumentLevels levels(collection);
    for (const ItemKind kind : {ItemKind::Instrument, ItemKind::Layer, ItemKind::Region}) {
        for (const ItemId id : collection.list(kind)) {
            for (const ItemId link : collection.find(id)->links)
                ASSERT_NE(collection.find(link), nullptr) << what;
        }
    }
    for (const Layer* layer : collection.all<Layer>())
        ASSERT_TRUE(!levels.holders(*layer).empty() || !heldBefore.contains(layer->id())) << what;
    for (const Region* region : collection.all<Region>())
        ASSERT_TRUE(!levels.holders(*region).empty() || !heldBefore.contains(region->id())) << what;
}

std::set<ItemId> heldItems(const Collection& collection) {
    std::set<ItemId> held;
    for (const ItemKind kind : {ItemKind::Instrument, ItemKind::Layer}) {
        for (const ItemId id : collection.list(kind))
            held.insert(collection.find(id)->links.begin(), collection.find(id)->links.end());
    }
    return held;
}

TEST(InstrumentLevelProcesses, ChangeNoInstrumentsSound) {
    const struct {
        const char* name;
        std::vector<std::string> settings;
        bool splits = false;  // instruments; they sound together as before
    } cases[] = {
        {"merge-layers-into-a-single-layer", {}},
        {"split-layers-with-velocity-splits", {}},
        {"split-stereo-waveforms-to-dual-layers", {}},
        {"merge-mono-waveform-pairs-to-stereo", {}},
        {"move-articulation-level", {}},
        {"move-articulation-level", {"to=up"}},
        {"move-up-articulation-level-if-all-equal-below", {}},
        {"split-multi-layered-instruments", {}, true},
        {"merge-instruments-into-a-single-instrument", {}, true},
    };
    for (const auto& each : cases) {
        unsigned changed = 0;
        for (unsigned seed = 0; seed < kBanks; ++seed) {
            for (int selected = 0; selected < 3; ++selected) {
                RandomBank bank(seed);
                Collection& collection = bank.collection();
                // Pairs to merge come from a split.
                if (std::string(each.name).starts_with("merge-mono"))
                    runOn("split-stereo-waveforms-to-dual-layers", collection, {collection.id()});
                std::vector<ItemId> items{collection.id()};
                if (selected == 1)
                    items = {collection.list(ItemKind::Instrument)[1]};
                else if (selected == 2)
                    items = {collection.list(ItemKind::Instrument)[0],
                             collection.list(ItemKind::Instrument)[3]};
                Listener listener;
                const auto before = listener.listenToEach(collection);
                const auto whole = listener.listen(collection);
                const auto held = heldItems(collection);
                const ProcessRun run = runOn(each.name, collection, items, each.settings);
                const std::string what = std::string(each.name) + ", bank " + std::to_string(seed) +
                                         ", selection " + std::to_string(selected);
                ASSERT_EQ(run.failed, 0u) << what;
                changed += run.changed > 0;
                if (each.splits) {
                    ASSERT_NO_FATAL_FAILURE(expectSameSound(whole, listener.listen(collection), what));
                } else {
                    const auto after = listener.listenToEach(collection);
                    ASSERT_EQ(before.size(), after.size());
                    for (std::size_t i = 0; i < before.size(); ++i)
                        ASSERT_NO_FATAL_FAILURE(
                            expectSameSound(before[i], after[i], what + " #" + std::to_string(i)));
                }
                ASSERT_NO_FATAL_FAILURE(expectSound(collection, held, what));
            }
        }
        EXPECT_GT(changed, kBanks / 20) << each.name << " did something";
    }
}

TEST(InstrumentLevelProcesses, DoWhatTheyAreCalled) {
    for (unsigned seed = 0; seed < 50; ++seed) {
        const auto run = [](Collection& collection, const char* name) {
            return runOn(name, collection, {collection.id()});
        };
        RandomBank bank(seed);
        Collection& collection = bank.collection();
        run(collection, "split-stereo-waveforms-to-dual-layers");
        for (const Region* region : collection.all<Region>())
            EXPECT_EQ(region->waveform()->channels, 1);
        run(collection, "split-layers-with-velocity-splits");
        for (const Layer* layer : collection.all<Layer>()) {
            std::set<std::uint16_t> velocities;
            for (const Region* region : linkedItems<Region>(*layer))
                velocities.insert(region->velocities.word());
            EXPECT_LE(velocities.size(), 1u);
        }
        run(collection, "split-multi-layered-instruments");
        std::set<std::uint32_t> patches;
        for (const Instrument* instrument : collection.all<Instrument>()) {
            EXPECT_LE(linkedItems<Layer>(*instrument).size(), 1u);
            EXPECT_TRUE(patches.insert(instrument->patch.value).second);
        }
        const PatchNumber first = collection.all<Instrument>()[0]->patch;
        run(collection, "merge-instruments-into-a-single-instrument");
        ASSERT_EQ(collection.count(ItemKind::Instrument), 1u);
        EXPECT_EQ(collection.all<Instrument>()[0]->patch, first);
        run(collection, "merge-layers-into-a-single-layer");
        EXPECT_EQ(linkedItems<Layer>(*collection.all<Instrument>()[0]).size(), 1u);
    }
}

TEST(InstrumentLevelProcesses, MergeIntoVelocitiesAndKeyZones) {
    for (const bool keys : {false, true}) {
        Collection collection;
        Listener listener;
        std::vector<Listener::Sound> before;
        for (int i = 0; i < 3; ++i) {
            Waveform* waveform =
                addWaveform(collection, "w", std::vector<float>(100, 0.1f * static_cast<float>(i + 1)));
            Instrument* made = addInstrument(collection, "i", waveform);
            made->articulation.set(parameter::MasterVolume, static_cast<float>(-i));
            before.push_back(listener.listen(*made));
        }
        EXPECT_EQ(runOn("merge-instruments-into-a-single-instrument", collection, {collection.id()},
                        keys ? std::vector<std::string>{"as=keys", "low=40", "high=69"}
                             : std::vector<std::string>{"as=velocities"})
                      .changed,
                  1u);
        ASSERT_EQ(collection.count(ItemKind::Instrument), 1u);
        const auto after = listener.listen(collection);
        for (std::size_t i = 0; i < after.size(); ++i) {
            const std::size_t key = i / Listener::kVelocities.size();
            const int velocity = Listener::kVelocities[i % Listener::kVelocities.size()];
            const std::size_t which = keys ? (key < 50   ? 0u
                                              : key < 60 ? 1u
                                                         : 2u)
                                           : (velocity < 42   ? 0u
                                              : velocity < 85 ? 1u
                                                              : 2u);
            ASSERT_EQ(after[i], before[which][i]) << key << " " << velocity;
        }
    }
    // More instruments than keys between the ends.
    Collection collection;
    for (int i = 0; i < 3; ++i)
        addInstrument(collection, "i", nullptr);
    EXPECT_EQ(runOn("merge-instruments-into-a-single-instrument", collection, {collection.id()},
                    {"as=keys", "low=40", "high=41"})
                  .failed,
              1u);
    EXPECT_EQ(collection.count(ItemKind::Instrument), 3u);
}

TEST(InstrumentLevelProcesses, DrumKitsBecomeInstruments) {
    Collection collection;
    const auto wave = [&](const char* name, float value) {
        return addWaveform(collection, name, std::vector<float>(50, value));
    };
    Waveform* kick = wave("kick", 0.5f);
    Waveform* snare = wave("snare", 0.25f);
    auto* kit = collection.create<Instrument>("kit");
    kit->patch = PatchNumber(0, 0, 0, true);
    Layer* layer = addLayer(*kit);
    addRegion(*layer, kick, {35, 36});
    addRegion(*layer, snare, {38, 38}, {0, 63});
    addRegion(*layer, kick, {38, 38}, {64, 127});
    addRegion(*layer, snare, {40, 45});
    for (Region* region : collection.all<Region>())
        region->setName("");
    addInstrument(collection, "piano", kick);
    const struct {
        const char* by;
        std::vector<std::string> names;
    } cases[] = {{"key", {"kick", "snare", "snare"}},
                 {"region", {"kick", "snare", "kick", "snare"}},
                 {"waveform", {"kick", "snare"}}};
    for (const auto& each : cases) {
        Listener listener;
        for (const bool spread : {true, false}) {
            // A fresh kit for each case: a copy within the collection.
            auto* fresh = collection.create<Instrument>("kit");
            fresh->patch = kit->patch;
            fresh->links = kit->links;
            const auto before = listener.listen(*fresh);
            const std::size_t place = collection.count(ItemKind::Instrument) - 1;
            const ItemId freshId = fresh->id();
            EXPECT_EQ(runOn("split-drum-kit-into-multiple-melodic-inst.", collection, {freshId},
                            {std::string("by=") + each.by, spread ? "spread=1" : "spread=0"})
                          .changed,
                      1u);
            EXPECT_EQ(collection.find(freshId), nullptr);
            const auto all = collection.all<Instrument>();
            std::vector<std::string> names;
            std::vector<const Instrument*> made;
            std::vector<Listener::Sound> sounds;
            for (std::size_t i = place; i < all.size(); ++i) {
                names.push_back(all[i]->name());
                made.push_back(all[i]);
                sounds.push_back(listener.listen(*all[i]));
                EXPECT_EQ(all[i]->patch.value, i - place + 1) << "behind the piano, which has 0";
            }
            EXPECT_EQ(names, each.names);
            if (!spread)
                expectSameSound(before, listener.listen(made), each.by);
            // Spread, each plays on every key, unless its waveform has keys of several velocities, and where
            // the kit plays one of them plays just that.
            if (spread && std::string_view(each.by) != "waveform") {
                for (const Listener::Sound& sound : sounds)
                    EXPECT_EQ(std::ranges::count_if(sound, [](const auto& at) { return !at.empty(); }) % 128,
                              0);
            }
            for (std::size_t cell = 0; spread && cell < before.size(); ++cell) {
                const auto playsThat = [&](const Listener::Sound& sound) {
                    return !sound[cell].empty() && sound[cell][0].what == before[cell][0].what &&
                           std::abs(sound[cell][0].cents - before[cell][0].cents) < 0.01;
                };
                EXPECT_TRUE(before[cell].empty() || std::ranges::any_of(sounds, playsThat))
                    << each.by << " key " << cell / Listener::kVelocities.size();
            }
            std::vector<ItemId> gone;
            for (const Instrument* instrument : made)
                gone.push_back(instrument->id());
            collection.removeAll(ItemKind::Instrument, gone);
        }
    }
}

// A song that plays some notes.
void addSong(Collection& collection, const std::vector<std::array<std::uint8_t, 3>>& messages) {
    auto* song = collection.create<MidiSong>("song");
    auto* track = collection.create<MidiTrack>("track");
    song->links.add(track->id());
    MidiEventWriter writer(track->events);
    std::uint64_t tick = 0;
    for (const auto& [status, data1, data2] : messages) {
        MidiEvent event;
        event.tick = tick += 10;
        event.status = status;
        event.data1 = data1;
        event.data2 = data2;
        writer.add(event);
    }
    writer.addEndOfTrack(tick);
    track->eventCount = writer.count();
}

TEST(InstrumentLevelProcesses, WhatSongsPlayStays) {
    using Names = std::vector<std::string>;
    for (const bool regions : {false, true}) {
        Collection collection;
        const auto add = [&](const char* name, PatchNumber patch) {
            return addInstrument(collection, name, addWaveform(collection, name, {0.5f, 0.25f}), patch);
        };
        add("piano", PatchNumber(0, 0, 0, false));
        add("organ", PatchNumber(16, 0, 0, false));  // stands in for bank 8
        add("strings", PatchNumber(48, 0, 0, false));
        Instrument* kit = add("kit", PatchNumber(0, 0, 0, true));
        add("other kit", PatchNumber(8, 0, 0, true));
        Layer* layer = linkedItems<Layer>(*kit)[0];
        linkedItems<Region>(*layer)[0]->keys = {36, 36};
        addRegion(*layer, addWaveform(collection, "snare", {0.1f}), {38, 38})->setName("snare");
        addWaveform(collection, "loose", {0.1f});
        addSong(collection, {{0xB0, 0, 8},       // bank 8
                             {0xC0, 16, 0},      //
                             {0x90, 60, 100},    // the organ
                             {0xC1, 48, 0},      // chosen, but never played
                             {0x92, 60, 0},      // a note-off
                             {0x99, 36, 100}});  // the kick drum
        EXPECT_EQ(runOn("remove-items-not-used-by-any-song", collection, {collection.id()},
                        {regions ? "regions=drums" : "regions=none"})
                      .changed,
                  1u);
        EXPECT_EQ(namesOf(collection, ItemKind::Instrument), (Names{"organ", "kit"}));
        EXPECT_EQ(namesOf(collection, ItemKind::Waveform),
                  regions ? (Names{"organ", "kit"}) : (Names{"organ", "kit", "snare"}));
        EXPECT_EQ(collection.count(ItemKind::Layer), 2u);
        EXPECT_EQ(collection.count(ItemKind::Region), regions ? 2u : 3u);
        EXPECT_EQ(layer->links.count(), regions ? 1u : 2u);
        EXPECT_EQ(runOn("remove-items-not-used-by-any-song", collection, {collection.id()},
                        {regions ? "regions=drums" : "regions=none"})
                      .changed,
                  0u);
    }
}

}  // namespace
}  // namespace velor
