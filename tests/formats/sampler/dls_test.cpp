#include "formats/sampler/dls_reader.h"

#include "formats/sampler/bank_builder.h"
#include "items/region_parameters.h"

namespace velor {
namespace {

using namespace test;

struct Dls : BankFixture {
    Dls() : BankFixture("bank.dls") {}

    // Opens a bank of one instrument with one region.
    bool openArticulation(const Bytes& instrument, const Bytes& region = {}) {
        return open(dlsBank({dlsInstrument("i", 0, 0, dlsRegion(0, 127, 0, 0, region), instrument)},
                            {dlsWave("w", std::vector<int>(100, 5))}));
    }
};

// Expected values are worked out from the units of DLS level 2.2, chapter 1.14.
TEST_F(Dls, ConnectionsBecomeParameters) {
    struct Case {
        const char* id;
        std::vector<Connection> connections;
        std::vector<std::pair<int, double>> expected;  // parameter and value
        unsigned warnings = 0;
    };
    const int V = parameter::VEnvelope, P = parameter::PEnvelope, F = parameter::FEnvelope;
    const double zero = -32768;  // the scale 80000000h
    const Case cases[] = {
        // Defaults.
        {"art2", {}, {{15, 96}, {2, 2}, {1, 1}, {52, 1}, {58, 1}, {62, 1}, {V + 16, 1}}},
        // Values.
        {"art2", {{0, 0, 1, 0, -60}}, {{14, -6}}},
        {"art2", {{0, 0, 3, 0, 250}}, {{0, 2.5}}},
        {"art2", {{0, 0, 4, 0, -250}}, {{51, -0.5}}},
        {"art2", {{0, 0, 0x81, 0, 300}}, {{57, 0.3}}},
        {"art2", {{0, 0, 0x80, 0, 300}}, {{61, 0.3}}},
        {"art2", {{0, 0, 0x500, 0, 6900}}, {{24, 440}}},
        {"art2", {{0, 0, 0x500, 0, 32768 - 1.0 / 65536}}, {{23, 0}}},  // 7FFFFFFFh: off
        {"art2", {{0, 0, 0x501, 0, 75}}, {{35, 7.5}}},
        {"art2", {{3, 0, 3, 0, 6400}}, {{1, 0.5}}},
        // Envelopes: the decay is the time for 96 dB, of which it goes as far as the sustain level.
        {"art1", {{0, 0, 0x206, 0, 1200}}, {{V + 5, 2}}},
        {"art1", {{0, 0, 0x206, 0, zero}}, {{V + 5, 0}}},
        {"art1",
         {{0, 0, 0x207, 0, 1200}, {0, 0, 0x20A, 0, 750}},
         {{V + 13, 0.5}, {V + 16, std::pow(10, -24.0 / 20)}}},
        {"art1", {{0, 0, 0x207, 0, 0}, {0, 0, 0x20A, 0, 0}}, {{V + 16, 0}, {V + 13, 100 / 96.0}}},
        {"art1", {{0, 0, 0x209, 0, 1200}}, {{V + 17, 2 * 100 / 96.0}}},
        {"art2", {{0, 0, 0x20B, 0, 0}}, {{V + 1, 1}}},
        {"art2", {{0, 0, 0x20C, 0, 0}}, {{V + 9, 1}}},
        {"art2", {{0, 0, 0x20D, 0, -4800}}, {{V + 26, 0.0625}}},
        {"art2", {{5, 0, 3, 0, 1200}, {0, 0, 0x30A, 0, 0}}, {{P + 5, 1}}},
        {"art2",
         {{5, 0, 0x500, 0, 1200}, {0, 0, 0x30B, 0, 0}, {0, 0, 0x30E, 0, 250}},
         {{F + 13, 0.75}, {F + 16, 0.25}}},
        {"art2", {{5, 0, 0x500, 0, 1200}}, {{33, 12}}},
        // Times that go with key and velocity.
        {"art1", {{2, 0, 0x206, 0, 1200}, {0, 0, 0x206, 0, 0}}, {{V + 6, 2}}},
        {"art1", {{3, 0, 0x207, 0, -12800}, {0, 0, 0x207, 0, 0}, {0, 0, 0x20A, 0, 0}}, {{V + 15, 0.5}}},
        {"art1",
         {{3, 0, 0x207, 0, -12800}, {0, 0, 0x207, 0, 6000}, {0, 0, 0x20A, 0, 0}},
         {{V + 13, 100 / 96.0}}},  // 6000 less what key 60 takes away
        // LFOs. The only one of level 1 is the vibrato.
        {"art1", {{1, 0, 3, 0, 25}}, {{3, 0.25}}},
        {"art1", {{1, 0x81, 3, 0, 50}}, {{4, 0.5}, {66, 5}, {67, 0.01}}},
        {"art1", {{1, 0x81, 3, 0, 50}, {0, 0, 0x104, 0, -2451}}, {{66, 1.985}}},
        {"art1", {{1, 0, 1, 0, 30}}, {{19, 3}}},
        {"art2", {{1, 0, 3, 0, 25}}, {{7, 0.25}}},
        {"art2", {{9, 8, 3, 0, 25}}, {{5, 0.25}}},
        {"art2", {{1, 0x81, 0x500, 0, 1200}}, {{30, 12}}},
        // the control upside down
        {"art2", {{9, 0x81, 3, 0x200, 25}}, {{3, 0.25}, {4, -0.25}}},
        // Controllers.
        {"art2", {{2, 0, 1, 0x8400, -480}}, {{15, 48}}},
        {"art1", {{2, 0, 1, 1, -960}}, {{15, 96}}},
        {"art2", {{2, 0, 0x500, 0, 2400}}, {{25, 12}}},
        {"art2", {{3, 0, 0x500, 0, 6400}}, {{26, 64}}},
        {"art2", {{6, 0x100, 3, 0x4000, 12700}}, {{2, 2}}},
        {"art2", {{0xDB, 0, 0x81, 0, 500}}, {{58, 0.5}}},
        // Said, not played: a reserved place, breath to cutoff, volume of another law.
        {"art2", {{0, 0, 0x30C, 0, 5}}, {{23, 0}}, 1},
        {"art2", {{0x82, 0, 0x500, 0, 5}}, {{23, 0}}, 1},
        {"art2", {{0x87, 0, 1, 0x8400, -480}}, {{14, 0}}, 1},
    };
    for (const Case& each : cases) {
        ASSERT_TRUE(openArticulation(articulationChunk(each.id, each.connections)));
        for (const auto& [parameter, expected] : each.expected)
            EXPECT_NEAR(value(parameter), expected, 1e-3 * std::max(0.1, std::fabs(expected)))
                << "case " << &each - cases << ", parameter " << parameter;
        EXPECT_EQ(ui.warnings.size(), each.warnings) << "case " << &each - cases;
    }
    // A region's connection takes the place of the instrument's of the same ends.
    ASSERT_TRUE(openArticulation(articulationChunk("art2", {{0, 0, 4, 0, 100}, {0, 0, 0x206, 0, 0}}),
                                 articulationChunk("art2", {{0, 0, 4, 0, -500}})));
    EXPECT_NEAR(value(parameter::PanPosition), -1, 1e-6);
    EXPECT_NEAR(value(V + 5), 1, 1e-6);
}

TEST_F(Dls, InstrumentsRegionsAndWaves) {
    const std::vector<int> ramp = [] {
        std::vector<int> points(1000);
        for (std::size_t i = 0; i < points.size(); ++i)
            points[i] = static_cast<int>(i * 65) - 32768;
        return points;
    }();
    const Bytes regions = dlsRegion(0, 59, 0, 1)
                              .add(dlsRegion(60, 70, 4, 0, waveSampleChunk(64, -20, -3, 0, 100, 500), 2, 2))
                              .add(dlsRegion(71, 71, 0, 1, waveSampleChunk(50, 130, 1)))
                              .add(dlsRegion(72, 72, 0, 9))   // no such wave
                              .add(dlsRegion(80, 75, 0, 0));  // no key at all
    ASSERT_TRUE(open(
        dlsBank({dlsInstrument("melody", 0x00000503, 7, regions),
                 dlsInstrument("kit", 0x80000000, 3, dlsRegion(36, 36, 0, 0))},
                {dlsWave("ramp", ramp), dlsWave("looped", ramp, waveSampleChunk(48, 10, 2, 1, 200, 300))})));
    const auto instruments = collection.all<Instrument>();
    ASSERT_EQ(instruments.size(), 2u);
    EXPECT_EQ(instruments[0]->name(), "melody");
    EXPECT_EQ(instruments[0]->patch, PatchNumber(7, 3, 5, false));
    EXPECT_EQ(instruments[1]->patch, PatchNumber(3, 0, 0, true));
    const auto waves = collection.all<Waveform>();
    ASSERT_EQ(waves.size(), 2u);
    EXPECT_EQ(waves[0]->name(), "ramp");
    EXPECT_FALSE(waves[0]->samplesLoaded());
    ASSERT_TRUE(waves[0]->loadSamples());
    for (std::size_t i = 0; i < ramp.size(); ++i)
        ASSERT_EQ(waves[0]->samples()[i] * 32768, static_cast<float>(ramp[i]));
    // A wave that says nothing of its own takes key and loop of the region that plays it.
    EXPECT_EQ(waves[0]->rootKey, 64);
    EXPECT_EQ(waves[0]->fineTune, -20);
    EXPECT_EQ(waves[0]->loopStart, 100);
    EXPECT_EQ(waves[0]->loopEnd, 600);
    EXPECT_FALSE(waves[0]->loopUntilRelease);
    EXPECT_TRUE(waves[1]->loopUntilRelease);
    EXPECT_EQ(waves[1]->rootKey, 48);

    const auto all = collection.all<Region>();
    ASSERT_EQ(all.size(), 5u);
    const auto& low = *all[0];
    EXPECT_EQ(low.keys, (MidiRange{0, 59}));
    EXPECT_EQ(low.waveform(), waves[1]);
    EXPECT_EQ(low.overrides.flags, 0);
    EXPECT_FALSE(low.articulation.has(parameter::MasterVolume));
    const auto& middle = *all[1];
    EXPECT_EQ(middle.waveform(), waves[0]);
    EXPECT_EQ(middle.overrides.flags, 0);
    EXPECT_FLOAT_EQ(middle.articulation.get(parameter::MasterVolume, 0), -3);
    EXPECT_FLOAT_EQ(middle.articulation.get(parameter::PanPosition, 0), 1);  // right half of a pair
    EXPECT_EQ(regionSetting(nullptr, nullptr, middle, parameter::ExclusiveClass), 4);
    const auto& high = *all[2];  // its own root, tuning, gain, and no loop
    EXPECT_EQ(high.rootKey(), 50);
    EXPECT_FLOAT_EQ(high.overrides.tuning, 130);
    EXPECT_TRUE(high.overrides.has(RegionOverrides::Looped));
    EXPECT_FALSE(high.overrides.looped);
    EXPECT_FLOAT_EQ(high.articulation.get(parameter::MasterVolume, 0), -1);  // 1 dB instead of the wave's 2
    EXPECT_EQ(all[3]->waveform(), nullptr);
    EXPECT_EQ(all[4]->overrides.flags, RegionOverrides::Looped);
    EXPECT_EQ(ui.warnings.size(), 1u);
}

TEST_F(Dls, ConditionsChooseLists) {
    const auto id = [](std::uint32_t first) { return Bytes().u32(first).zeros(12); };
    const auto query = [&](unsigned operation, std::uint32_t first) {
        return Bytes().u16(operation).add(id(first));
    };
    const auto constant = [](std::uint32_t value) { return Bytes().u16(0x10).u32(value); };
    struct Case {
        Bytes program;
        bool used;
    };
    const Case cases[] = {
        {constant(1), true},
        {constant(0), false},
        {query(0x11, 0xF14599E5), true},   // level 2
        {query(0x11, 0x178F2F24), false},  // GM hardware
        {query(0x12, 0x178F2F28), true},
        {query(0x12, 0x12345678), false},
        {query(0x11, 0x178F2F24).u16(0xF), true},
        {constant(1000000).add(query(0x11, 0x178F2F28)).u16(0xD), true},        // memory >= a million
        {constant(2).add(constant(7)).u16(5).add(constant(5)).u16(0xE), true},  // 7 - 2 == 5
        {Bytes().u16(0x1), true},  // nothing to work on: the list counts
        {constant(0).u16(0x7777), true},
    };
    for (const Case& each : cases) {
        const Bytes region = dlsRegion(0, 127, 0, 0, chunk("cdl ", each.program));
        ASSERT_TRUE(open(dlsBank({dlsInstrument("i", 0, 0, region)}, {dlsWave("w", {1, 2})})));
        EXPECT_EQ(collection.count(ItemKind::Region), each.used ? 1u : 0u) << "case " << &each - cases;
    }
}

TEST_F(Dls, ABankInsideAnotherFile) {
    expectReadInside(dlsBank({dlsInstrument("i", 0, 0, dlsRegion(0, 127, 0, 0))}, {dlsWave("w", {1, 2, -3})}),
                     readDlsForm, 2, -3, "Not a DLS bank");
}

TEST_F(Dls, DamageIsSurvivedAndSaid) {
    expectDamageSurvived(dlsBank(
        {dlsInstrument("i", 0, 0,
                       dlsRegion(0, 127, 0, 0, waveSampleChunk(60, 0, 0, 0, 1, 5))
                           .add(dlsRegion(0, 127, 0, 1, chunk("cdl ", Bytes().u16(0x10).u32(1)))),
                       articulationChunk("art2", {{0, 0, 4, 0, 100}, {1, 0x81, 3, 0, 50}}))},
        {dlsWave("w", {1, 2, 3, 4, 5, 6, 7, 8}), dlsWave("v", {1, 2}, waveSampleChunk(60, 0, 0, 0, 0, 2))}));
}

}  // namespace
}  // namespace velor
