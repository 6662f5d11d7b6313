// Instrument processes that change values: parameters, ranges, patch numbers, names.
#include <set>

#include "base/text.h"
#include "instrument_tools.h"

namespace velor {
namespace {

using namespace test;
namespace p = parameter;

// What every region of an instrument plays, place by place.
std::vector<ArticulationValues> resolved(const Instrument& instrument) {
    std::vector<ArticulationValues> values;
    for (const Layer* layer : linkedItems<Layer>(instrument)) {
        for (const Region* region : linkedItems<Region>(*layer))
            values.push_back(
                resolveArticulation(&instrument.articulation, &layer->articulation, &region->articulation));
    }
    return values;
}

TEST(CommonParameters, ChangeWhatIsHeardOfTheItemAlone) {
    constexpr std::uint16_t kAttack = p::VEnvelope + p::envelope::Attack1Time;
    constexpr std::uint16_t kRelease = p::VEnvelope + p::envelope::Release1Rate;
    constexpr const char* kName = "adjust-common-parameters";
    const struct {
        std::vector<std::string> settings;
        std::uint16_t number;
        float (*wanted)(float);
        bool filtersOnly = false;
    } cases[] = {
        {{"volume=-4"}, p::MasterVolume, [](float was) { return was - 4; }},
        {{"pan=20"}, p::PanPosition, [](float was) { return was + 0.2f; }},
        {{"coarse=1", "fine=-50"}, p::MasterTuning, [](float was) { return was + 0.5f; }},
        {{"reverb=10"}, p::Send1, [](float was) { return was + 0.1f; }},
        {{"attack=200"}, kAttack, [](float was) { return was * 2; }},
        {{"release=50"}, kRelease, [](float was) { return was / 2; }},
        {{"cutoff=50"}, p::Cutoff, [](float was) { return was / 2; }, true},
        {{"cutoff-frequency=440"}, p::Cutoff, [](float) { return 440.0f; }, true},
        {{"resonance=2"}, p::Resonance, [](float was) { return was + 2; }, true},
        {{"mode=set", "volume=-10"}, p::MasterVolume, [](float) { return -10.0f; }},
        {{"mode=set", "pan=0"}, p::PanPosition, [](float) { return 0.0f; }},
        {{"mode=set", "resonance=6"}, p::Resonance, [](float) { return 6.0f; }, true},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.settings.back());
        for (unsigned seed = 0; seed < 60; ++seed) {
            for (const bool all : {true, false}) {
                RandomBank bank(seed);
                Collection& collection = bank.collection();
                const auto instruments = collection.all<Instrument>();
                const ItemId item = all ? collection.id() : instruments[1]->id();
                std::vector<std::vector<ArticulationValues>> before;
                for (const Instrument* instrument : instruments)
                    before.push_back(resolved(*instrument));
                ASSERT_EQ(runOn(kName, collection, {item}, each.settings).failed, 0u);
                for (std::size_t i = 0; i < instruments.size(); ++i) {
                    const auto after = resolved(*instruments[i]);
                    ASSERT_EQ(after.size(), before[i].size());
                    for (std::size_t j = 0; j < after.size(); ++j) {
                        const ArticulationValues& was = before[i][j];
                        for (std::uint16_t number = 0; number < kArticulationParameters; ++number) {
                            const bool meant = number == each.number && (all || i == 1);
                            // Where no filter is on it makes no difference.
                            if (each.filtersOnly && number == each.number && was[p::FilterTypeCode] == 0 &&
                                meant)
                                continue;
                            // Levels that add up to more than the range are beyond its end.
                            if (meant && number == p::PanPosition && std::fabs(was[number]) == 1 &&
                                each.wanted(0) != 0)
                                continue;
                            const float wanted =
                                meant ? limitedToRange(number, each.wanted(was[number])) : was[number];
                            ASSERT_NEAR(after[j][number], wanted, 1e-4f * std::max(1.0f, std::fabs(wanted)))
                                << number << " bank " << seed << " instrument " << i << (all ? " all" : "");
                        }
                    }
                }
            }
        }
    }
    RandomBank bank(1);
    EXPECT_EQ(runOn(kName, bank.collection(), {bank.collection().id()}).changed, 0u);
    EXPECT_EQ(runOn(kName, bank.collection(), {bank.collection().id()}, {"mode=set"}).changed, 0u);
}

TEST(CommonParameters, ReachSingleLayersAndRegions) {
    Collection collection;
    Instrument* instrument = addInstrument(collection, "i", nullptr);
    Layer* layer = linkedItems<Layer>(*instrument)[0];
    Region* region = linkedItems<Region>(*layer)[0];
    addRegion(*layer, nullptr, {});
    instrument->articulation.set(p::VEnvelope + p::envelope::Attack1Time, 0.5f);
    instrument->articulation.set(p::MasterVolume, -6);
    EXPECT_EQ(
        runOn("adjust-common-parameters", collection, {region->id()}, {"attack=300", "volume=2"}).changed,
        1u);
    EXPECT_EQ(runOn("adjust-common-parameters", collection, {layer->id()}, {"mode=set", "volume=-9"}).changed,
              1u);
    const auto values = resolved(*instrument);
    EXPECT_FLOAT_EQ(values[0][p::VEnvelope + p::envelope::Attack1Time], 1.5f);
    EXPECT_FLOAT_EQ(values[1][p::VEnvelope + p::envelope::Attack1Time], 0.5f);
    EXPECT_FLOAT_EQ(values[0][p::MasterVolume], -9);
    EXPECT_FLOAT_EQ(values[1][p::MasterVolume], -9);
    EXPECT_FLOAT_EQ(instrument->articulation.get(p::MasterVolume, 0), -6);
}

TEST(KeyRanges, AreShiftedAndLimited) {
    const struct {
        MidiRange keys, velocities;
        std::vector<std::string> settings;
        MidiRange keysAfter, velocitiesAfter;
        bool stays = true;
    } cases[] = {
        {{10, 20}, {0, 127}, {"shift=12"}, {22, 32}, {0, 127}},
        {{120, 127}, {0, 127}, {"shift=12"}, {127, 127}, {0, 127}},
        {{0, 127}, {0, 127}, {"shift=12"}, {12, 127}, {0, 127}},
        {{0, 10}, {0, 127}, {"shift=-20", "outside=remove"}, {}, {}, false},
        {{0, 10}, {0, 127}, {"shift=-20", "outside=leave"}, {0, 10}, {0, 127}},
        {{0, 127}, {0, 127}, {"low=C2", "high=C5"}, {36, 72}, {0, 127}},
        {{0, 20}, {0, 127}, {"low=36", "high=72"}, {36, 36}, {0, 127}},
        {{0, 127}, {30, 90}, {"velocity-shift=-40", "velocity-low=1"}, {0, 127}, {1, 50}},
        {{0, 127}, {30, 90}, {"velocity-high=64"}, {0, 127}, {30, 64}},
    };
    for (const auto& each : cases) {
        Collection collection;
        Layer* layer = addLayer(*collection.create<Instrument>("i"));
        Region* region = addRegion(*layer, addWaveform(collection, "w", {0.5f}), each.keys, each.velocities);
        EXPECT_EQ(runOn("adjust-region-key-ranges", collection, {collection.id()}, each.settings).failed, 0u);
        EXPECT_EQ(layer->links.count(), each.stays ? 1u : 0u);
        EXPECT_EQ(collection.count(ItemKind::Region), each.stays ? 1u : 0u);
        if (each.stays) {
            EXPECT_EQ(region->keys, each.keysAfter) << each.settings[0];
            EXPECT_EQ(region->velocities, each.velocitiesAfter) << each.settings[0];
        }
    }
    Collection collection;
    EXPECT_EQ(runOn("adjust-region-key-ranges", collection, {collection.id()}, {"low=50", "high=40"}).failed,
              1u);
}

TEST(KeyRanges, RootKeysMoveTheSounds) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        RandomBank bank(seed);
        Collection& collection = bank.collection();
        const int shift = static_cast<int>(seed) - 30;
        Listener listener;
        const auto before = listener.listen(collection);
        runOn("adjust-region-key-ranges", collection, {collection.id()},
              {"shift=" + std::to_string(shift), "root"});
        const auto after = listener.listen(collection);
        const auto at = [](const Listener::Sound& sound, int key, std::size_t v) {
            return sound[static_cast<std::size_t>(key) * Listener::kVelocities.size() + v];
        };
        // Inside the keyboard; at its ends ranges are cut or pushed together.
        for (int key = 31; key < 97; ++key) {
            for (std::size_t v = 0; v < Listener::kVelocities.size(); ++v) {
                const auto was = at(before, key, v), is = at(after, key + shift, v);
                ASSERT_EQ(was.size(), is.size()) << seed << " key " << key;
                for (std::size_t i = 0; i < was.size(); ++i) {
                    ASSERT_EQ(was[i].what, is[i].what);
                    ASSERT_NEAR(was[i].cents, is[i].cents, 0.01) << seed << " key " << key;
                }
            }
        }
    }
}

TEST(KeyRanges, GapsAreClosed) {
    struct Expected {
        const char* gaps;
        std::vector<MidiRange> keys;
    };
    const struct {
        std::vector<std::pair<MidiRange, MidiRange>> regions;  // keys and velocities
        std::vector<Expected> expected;
    } cases[] = {
        {{{{40, 50}, {0, 127}}, {{60, 70}, {0, 127}}},
         {{"middle", {{0, 55}, {56, 127}}},
          {"lower", {{0, 59}, {60, 127}}},
          {"upper", {{0, 50}, {51, 127}}}}},
        // Two velocities of one key, beside one region for both.
        {{{{40, 40}, {0, 63}}, {{40, 40}, {64, 127}}, {{42, 50}, {0, 127}}},
         {{"middle", {{0, 41}, {0, 41}, {42, 127}}}}},
        // What overlaps stays between its neighbours; velocities that do not meet are no neighbours.
        {{{{30, 50}, {0, 127}}, {{45, 60}, {0, 127}}, {{80, 90}, {0, 10}}},
         {{"middle", {{0, 50}, {45, 70}, {71, 127}}}}},
        {{{{10, 20}, {0, 63}}, {{100, 110}, {64, 127}}}, {{"middle", {{0, 127}, {0, 127}}}}},
    };
    for (const auto& each : cases) {
        for (const auto& expected : each.expected) {
            Collection collection;
            Layer* layer = addLayer(*collection.create<Instrument>("i"));
            for (const auto& [keys, velocities] : each.regions)
                addRegion(*layer, nullptr, keys, velocities);
            EXPECT_EQ(runOn("auto-extend-region-key-ranges", collection, {layer->id()},
                            {std::string("gaps=") + expected.gaps})
                          .changed,
                      1u);
            std::vector<MidiRange> keys;
            for (const Region* region : linkedItems<Region>(*layer))
                keys.push_back(region->keys);
            EXPECT_TRUE(keys == expected.keys)
                << expected.gaps << " " << int(keys[0].low) << "-" << int(keys[0].high) << " "
                << int(keys[1].low) << "-" << int(keys[1].high);
        }
    }
    // A key that plays on release does not stand in the way of one that plays on attack.
    Collection collection;
    Layer* layer = addLayer(*collection.create<Instrument>("i"));
    Region* attack = addRegion(*layer, nullptr, {40, 50});
    Region* release = addRegion(*layer, nullptr, {60, 60});
    release->articulation.set(p::Trigger, RegionTrigger::kRelease);
    runOn("auto-extend-region-key-ranges", collection, {collection.id()}, {"ends=0"});
    EXPECT_EQ(attack->keys, (MidiRange{40, 50}));
    runOn("auto-extend-region-key-ranges", collection, {collection.id()});
    EXPECT_EQ(attack->keys, MidiRange{});
    EXPECT_EQ(release->keys, MidiRange{});
}

TEST(PatchNumbers, AreCountedAndMoved) {
    const auto patches = [](const Collection& collection) {
        std::vector<std::uint32_t> all;
        for (const Instrument* instrument : collection.all<Instrument>())
            all.push_back(instrument->patch.value);
        return all;
    };
    Collection many;
    for (int i = 0; i < 130; ++i)
        many.create<Instrument>("i")->patch = PatchNumber(5, 0, 0, i == 3);
    EXPECT_EQ(runOn("renumber-instruments", many, {many.id()}).changed, 1u);
    EXPECT_EQ(many.all<Instrument>()[3]->patch, PatchNumber(0, 0, 0, true));
    EXPECT_EQ(many.all<Instrument>()[4]->patch, PatchNumber(3, 0, 0, false));
    EXPECT_EQ(many.all<Instrument>()[129]->patch, PatchNumber(0, 0, 1, false));
    EXPECT_EQ(runOn("renumber-instruments", many, {many.id()}).changed, 0u);
    runOn("renumber-instruments", many, {many.id()}, {"start=100", "keep-drums", "bank=lsb"});
    EXPECT_EQ(many.all<Instrument>()[3]->patch, PatchNumber(0, 0, 0, true));
    EXPECT_EQ(many.all<Instrument>()[29]->patch, PatchNumber(0, 1, 0, false));

    const auto number = [](unsigned program, unsigned msb, bool drum = false) {
        return PatchNumber(program, 0, msb, drum).value;
    };
    const struct {
        std::vector<std::string> settings;
        std::vector<std::uint32_t> after;  // empty: refused
    } cases[] = {
        {{"to-msb=3", "from=melodic"}, {}},  // two with program 1 meet
        {{"from-msb=0", "from=melodic", "to-msb=3"},
         {number(1, 3), number(2, 3), number(1, 1), number(0, 0, true)}},
        {{"from-msb=0", "from=melodic", "to-msb=1"}, {}},
        {{"from-msb=0", "from=melodic", "to-msb=1", "conflicts=next-free"},
         {number(3, 1), number(2, 1), number(1, 1), number(0, 0, true)}},
        {{"from-msb=0", "from=melodic", "to-msb=1", "conflicts=replace"},
         {number(1, 1), number(2, 1), number(0, 0, true)}},
        {{"from=drums", "to=melodic"}, {number(1, 0), number(2, 0), number(1, 1), number(0, 0)}},
        {{"from-msb=5", "to-msb=3"}, {number(1, 0), number(2, 0), number(1, 1), number(0, 0, true)}},
    };
    for (const auto& each : cases) {
        Collection collection;
        for (const std::uint32_t patch : {number(1, 0), number(2, 0), number(1, 1), number(0, 0, true)})
            addInstrument(collection, "i", nullptr, PatchNumber(patch));
        const auto before = patches(collection);
        const ProcessRun run =
            runOn("move-instruments-between-banks", collection, {collection.id()}, each.settings);
        EXPECT_EQ(run.failed, each.after.empty() ? 1u : 0u) << each.settings[0];
        EXPECT_EQ(patches(collection), each.after.empty() ? before : each.after) << each.settings[0];
        EXPECT_EQ(collection.count(ItemKind::Layer), collection.count(ItemKind::Instrument));
        EXPECT_EQ(collection.count(ItemKind::Region), collection.count(ItemKind::Instrument));
    }
}

TEST(ItemNames, AreFormatted) {
    using Names = std::vector<std::string>;
    const struct {
        std::vector<std::string> settings;
        Names before, after;
    } cases[] = {
        {{"case=upper"},
         {"Gr\xC3\xBC\xC3\x9F"
          "e 1"},
         {"GR\xC3\x9C\xC3\x9F"
          "E 1"}},
        {{"case=lower"}, {"GR\xDC\xD7 A"}, {"gr\xFC\xD7 a"}},  // Windows-1252, with a sign that is no letter
        {{"case=title"}, {"o'neill's GRAND piano-2b"}, {"O'neill's Grand Piano-2b"}},
        {{"trim"}, {"  a   b ", "\xE3\x81\x82 "}, {"a b", "\xE3\x81\x82"}},
        {{"underscores"}, {"_big_kick__1"}, {"big kick 1"}},
        {{"file-names"}, {"a/b: \"c\"?.", "CON<>"}, {"ab c", "CON"}},
        {{"length=4"},
         {"\xC3\xA4\xC3\xB6\xC3\xBC\xC3\xA4\xC3\xB6", "abc"},
         {"\xC3\xA4\xC3\xB6\xC3\xBC\xC3\xA4", "abc"}},
        // Names that differed stay different, those that were equal stay equal, but for `unique`.
        {{"length=5"},
         {"Piano left", "Piano right", "PIANO", "Kick", "Kick"},
         {"Piano", "Pian2", "PIAN3", "Kick", "Kick"}},
        {{"unique"}, {"Kick", "kick", "Kick 2", "", ""}, {"Kick", "kick 2", "Kick 2 2", "", ""}},
        {{"length=1"}, {"aa", "ab", "ac"}, {"a", "2", "3"}},
    };
    for (const auto& each : cases) {
        Collection collection;
        for (const std::string& name : each.before)
            collection.create<Instrument>(name);
        runOn("format-text-in-names", collection, {collection.id()}, each.settings);
        EXPECT_EQ(namesOf(collection, ItemKind::Instrument), each.after) << each.settings[0];
        EXPECT_EQ(runOn("format-text-in-names", collection, {collection.id()}, each.settings).changed, 0u)
            << each.settings[0];
    }
}

TEST(ItemNames, ReachTheChosenKindsBelowTheItem) {
    for (const bool replace : {false, true}) {
        Collection collection;
        Waveform* waveform = addWaveform(collection, "an apple", {0.5f});
        Waveform* other = addWaveform(collection, "an apple too", {0.5f});
        Instrument* instrument = addInstrument(collection, "an apple pie", waveform);
        addInstrument(collection, "an apple tart", other);
        Region* region = linkedItems<Region>(*linkedItems<Layer>(*instrument)[0])[0];
        region->setName("an apple core");
        const ProcessRun run = replace ? runOn("search-and-replace-text-in-names", collection,
                                               {instrument->id()}, {"search=apple", "replace=APPLE"})
                                       : runOn("format-text-in-names", collection, {instrument->id()},
                                               {"case=upper", "regions=0"});
        EXPECT_EQ(run.changed, 1u);
        EXPECT_EQ(instrument->name(), replace ? "an APPLE pie" : "AN APPLE PIE");
        EXPECT_EQ(waveform->name(), replace ? "an APPLE" : "AN APPLE");
        EXPECT_EQ(region->name(), replace ? "an APPLE core" : "an apple core");
        EXPECT_EQ(other->name(), "an apple too");
        EXPECT_EQ(collection.all<Instrument>()[1]->name(), "an apple tart");
    }
}

}  // namespace
}  // namespace velor
