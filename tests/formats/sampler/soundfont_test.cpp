#include "formats/sampler/soundfont_reader.h"

#include "formats/sampler/bank_builder.h"
#include "items/region_parameters.h"

namespace velor {
namespace {

using namespace test;

struct SoundFont : BankFixture {
    SoundFont() : BankFixture("bank.sf2") {}

    using BankFixture::open;
    bool open(const SoundFontBuilder& bank) { return open(bank.build()); }
};

double hertz(double cents) {
    return 8.175798916 * std::pow(2, cents / 1200);
}
double seconds(double timecents) {
    return std::pow(2, timecents / 1200);
}

// Expected values are worked out from the units of SoundFont 2.04, section 8.1.2.
TEST_F(SoundFont, GeneratorsBecomeParameters) {
    struct Case {
        Generators instrument, preset;
        std::vector<std::pair<int, double>> expected;  // parameter and value
    };
    const int V = parameter::VEnvelope, P = parameter::PEnvelope, F = parameter::FEnvelope;
    const Case cases[] = {
        // Tuning: instrument and preset add; each tune stops at its own limit.
        {{{51, 3}, {52, 20}}, {{51, -1}, {52, 5}}, {{0, 2.25}}},
        {{{52, 90}}, {{52, 90}}, {{0, 0.99}}},
        {{{56, 50}}, {}, {{1, 0.5}}},
        {{{51, -60}, {56, 50}}, {}, {{0, -48}}},  // the rest is in the root key
        {{}, {}, {{2, 2}}},
        // a forced key: the same pitch on all keys
        {{{46, 48}}, {}, {{0, -12}, {1, 0}}},
        // Vibrato and modulation LFO.
        {{{6, 30}}, {{6, 20}}, {{3, 0.5}}},
        {{{24, 100}}, {}, {{66, hertz(100)}}},
        {{{6, 30}, {23, -1200}}, {}, {{67, 0.5}}},
        {{{5, 25}, {22, -600}, {21, 0}}, {}, {{7, 0.25}, {78, hertz(-600)}, {79, 1}}},
        {{{22, -600}}, {}, {{78, 5}}},  // not used: left at its default
        {{{13, 30}, {22, -600}}, {}, {{19, 3}, {70, hertz(-600)}}},
        {{{10, 700}, {22, -600}}, {}, {{29, 7}, {74, hertz(-600)}}},
        // Level.
        {{{48, 100}}, {{48, 50}}, {{14, -6}}},
        {{{48, 100}}, {{48, -200}}, {{14, 0}}},
        {{{17, -250}}, {{17, 100}}, {{51, -0.3}}},
        {{{17, 450}}, {{17, 450}}, {{51, 1}}},
        {{{16, 400}}, {}, {{57, 0.4}}},
        {{{15, 250}}, {}, {{61, 0.25}}},
        {{}, {}, {{58, 0.2}, {62, 0.2}}},
        // Filter: off only while it is fully open, flat and at rest.
        {{}, {}, {{23, 0}}},
        {{{8, 13500}}, {}, {{23, 0}}},
        {{{8, 6900}}, {}, {{23, static_cast<double>(FilterType::LowPass12)}, {24, 440}}},
        {{{8, 6900}}, {{8, 1200}}, {{24, 880}}},
        {{{9, 65}}, {}, {{23, static_cast<double>(FilterType::LowPass12)}, {35, 6.5}}},
        {{{11, -2400}}, {}, {{33, -24}, {23, static_cast<double>(FilterType::LowPass12)}}},
        // Volume envelope: times of the segments as they last.
        {{{33, -1200}}, {}, {{V + 1, 0.5}}},
        {{{34, 0}}, {{34, 1200}}, {{V + 5, 2}}},
        {{{35, -2400}}, {}, {{V + 9, 0.25}}},
        {{{36, 1200}, {37, 250}}, {}, {{V + 13, 0.5}, {V + 16, std::pow(10, -25.0 / 20)}}},
        {{{36, 1200}, {37, 1200}}, {}, {{V + 13, 2}, {V + 16, 0}}},
        {{{36, 1200}}, {}, {{V + 13, 0}}},
        {{{38, 600}}, {}, {{V + 17, seconds(600)}}},
        {{}, {}, {{V + 5, 0}}},
        {{{34, 7973}}, {{34, 500}}, {{V + 5, 100}}},  // stops at the longest time
        {{{35, 0}, {39, 50}}, {}, {{V + 11, std::pow(2, -0.5)}}},
        {{{36, 0}, {37, 500}, {40, -100}}, {}, {{V + 15, 2}}},
        {{{35, 0}, {39, 50}, {46, 72}}, {}, {{V + 9, seconds(-600)}}},
        // Modulation envelope: only where it goes.
        {{{7, 1200}, {26, 0}}, {}, {{11, 12}}},
        // The convex attack: 1 + 5/12 log10(time), met exactly at an eighth or so of its time.
        {{{7, 1200}, {26, 0}}, {}, {{P + 1, 0.12}, {P + 4, 1 + 5.0 / 12 * std::log10(0.12)}, {P + 5, 0.88}}},
        // a delay leaves a straight line
        {{{7, 1200}, {26, 0}, {25, -1200}}, {}, {{P + 1, 0.5}, {P + 5, 1}}},
        {{{7, 1200}, {26, 0}}, {}, {{F + 5, 0}}},
        {{{11, 1200}, {28, 1200}, {29, 250}}, {}, {{F + 13, 0.5}, {F + 16, 0.75}}},
        {{{11, 1200}, {30, 0}}, {}, {{F + 17, 1}}},
        {{{26, 0}}, {}, {{P + 5, 0}}},
    };
    for (const Case& each : cases) {
        ASSERT_TRUE(open(SoundFontBuilder::simple({each.preset, {}}, {each.instrument, {}})));
        for (const auto& [parameter, expected] : each.expected)
            EXPECT_NEAR(value(parameter), expected, 1e-5 * std::max(1.0, std::fabs(expected)))
                << "case " << &each - cases << ", parameter " << parameter;
    }
}

TEST_F(SoundFont, ModulatorsBecomeParameters) {
    struct Case {
        std::vector<Modulator> instrument, preset;
        std::vector<std::pair<int, double>> expected;  // parameter and value
        unsigned warnings = 0;
    };
    const int V = parameter::VEnvelope;
    const Case cases[] = {
        // The defaults.
        {{}, {}, {{15, 96}, {4, 0.5}, {5, 0.5}, {52, 1}, {25, 0}}},
        // An instrument's replaces the default, a preset's adds to it.
        {{{0x0502, 48, 480}}, {}, {{15, 48}}},
        {{{0x0502, 48, 0}}, {}, {{15, 0}}},
        {{{0x0502, 48, 480}}, {{0x0502, 48, 240}}, {{15, 72}}},
        {{}, {{0x0502, 48, -960}}, {{15, 0}}},
        {{{0x0402, 48, 480}}, {}, {{15, 48}}},  // the other way round: 96 less 48
        {{{0x0081, 6, 0}}, {{0x0081, 6, 25}}, {{4, 0.25}}},
        {{{0x00DB, 16, 1000}}, {}, {{58, 1}}},
        {{{0x00DD, 15, 0}}, {}, {{62, 0}}},
        {{{0x020E, 52, 6350, 0x0010}}, {}, {{2, 1}}},
        {{{0x020E, 52, 0, 0x0010}, {0x020E, 52, 700}}, {}, {{2, 7}}},
        {{{0x028A, 17, 1000}}, {}, {{52, 1}}},
        // Controllers from 0 up, from the top down, and around the middle.
        {{{0x0081, 8, -2400}}, {}, {{27, -24}}},
        {{{0x0181, 8, -2400}}, {}, {{27, 24}}},
        {{{0x0181, 8, -6600}}, {}, {{24, 440}}},
        {{{0x0281, 13, 20}}, {}, {{20, 4}, {19, -2}}},
        {{{0x0102, 8, -2400}}, {}, {{25, 12}, {24, hertz(12300)}}},
        {{{0x0002, 8, 2400}}, {}, {{25, 12}}},
        {{{0x0202, 10, 600}}, {}, {{32, 6}}},
        {{{0x0002, 9, 120}}, {}, {{36, 12}}},
        {{{0x000D, 9, 30}}, {}, {{38, 3}}},
        {{{0x000D, 48, 60}}, {}, {{18, -6}}},
        {{{0x000A, 5, 80}}, {}, {{9, 0.8}}},
        {{{0x000A, 6, 80}}, {}, {{5, 0.5}}},  // both pressures are one controller here
        {{{0x0002, 34, 1200}}, {}, {{V + 6, 2}}},
        {{{0x0102, 38, 1200}}, {}, {{V + 23, 0.5}}},
        {{{0x0003, 38, -1280}}, {}, {{V + 24, std::pow(2, -0.1)}}},
        {{{0x0203, 17, 640}}, {}, {{53, 0.24}}},
        {{{0x0000, 9, 50}}, {}, {{35, 5}}},  // no controller counts as 1
        // What has no counterpart is said.
        {{{0x0502, 8, 1000}}, {}, {{25, -5}}, 1},         // concave, played straight
        {{{0x0582, 8, 1000}}, {}, {{23, 0}}, 1},          // breath controller, falling
        {{{0x0D02, 8, 1000}}, {}, {{23, 0}}, 1},          // switch
        {{{0x0002, 8, 1000, 0x0003}}, {}, {{23, 0}}, 1},  // product of two controllers
        {{{0x0002, 8, 0, 0x0003}}, {}, {{23, 0}}, 0},     // of no effect
        {{{0x0587, 48, 0}}, {}, {{14, 0}}, 1},            // volume made dead
        {{{0x00FF, 0x8000, 100}}, {}, {{14, 0}}, 1},      // linked modulators
    };
    for (const Case& each : cases) {
        ASSERT_TRUE(open(SoundFontBuilder::simple({{}, each.preset}, {{}, each.instrument})));
        for (const auto& [parameter, expected] : each.expected)
            EXPECT_NEAR(value(parameter), expected, 1e-5 * std::max(1.0, std::fabs(expected)))
                << "case " << &each - cases << ", parameter " << parameter;
        EXPECT_EQ(ui.warnings.size(), each.warnings) << "case " << &each - cases;
    }
}

TEST_F(SoundFont, ABankCanBringItsOwnDefaultModulators) {
    auto bank = SoundFontBuilder::simple({}, {});
    bank.defaultModulators = {{0x0502, 48, 480}, {0x0081, 5, 30}};
    ASSERT_TRUE(open(bank));
    const auto values =
        resolveArticulation(nullptr, nullptr, &collection.all<Region>().front()->articulation);
    EXPECT_FLOAT_EQ(values[parameter::VelocityToVolume], 48);
    EXPECT_FLOAT_EQ(values[parameter::WheelToXLfoToPitch], 0.3f);
    EXPECT_FLOAT_EQ(values[parameter::WheelToPLfoToPitch], 0);
    EXPECT_FLOAT_EQ(values[parameter::Cc91ToSend1], 0);
}

// A compressed sample is a stream of bytes; its length is that of its last Ogg page, and its loop counts from
// its own first frame.
TEST_F(SoundFont, CompressedSamplesAreListedNotDecoded) {
    SoundFontBuilder bank;
    const Bytes page = Bytes().text("OggS").u8(0).u8(4).u32(5000).u32(0).zeros(14);
    bank.points.assign(page.size() / 2 + 20, 0);
    for (std::size_t i = 0; i + 1 < page.size(); i += 2)
        bank.points[10 + i / 2] = page.data[i] | page.data[i + 1] << 8;
    const unsigned at = 20, end = at + static_cast<unsigned>(page.size());
    bank.samples = {{"packed", at, end, 1000, 4000, 44100, 60, 0, 0x11}, {"plain", 0, 8, 2, 6}};
    bank.instruments = {
        {"i", {{{{54, 1}, {53, 0}}, {}}, {{{54, 1}, {2, 100}, {53, 0}}, {}}, {{{53, 1}}, {}}}}};
    bank.presets = {{"p", 0, 0, {{{{41, 0}}, {}}}}};
    ASSERT_TRUE(open(bank));
    ASSERT_EQ(ui.warnings.size(), 1u);
    EXPECT_NE(ui.warnings[0].find("Ogg Vorbis"), std::string::npos);
    const auto regions = collection.all<Region>();
    ASSERT_EQ(regions.size(), 3u);
    Waveform& packed = *regions[0]->waveform();
    EXPECT_EQ(packed.frames, 5000u);
    EXPECT_EQ(packed.loopStart, 1000);
    EXPECT_EQ(packed.loopEnd, 4000);
    EXPECT_EQ(regions[1]->overrides.loopStart, 1100u);
    EXPECT_FALSE(packed.loadSamples());
    EXPECT_EQ(LastErrorText, "Decoding Ogg Vorbis is not supported in this build");
    EXPECT_TRUE(regions[2]->waveform()->loadSamples());
}

TEST_F(SoundFont, ZonesInheritAndIntersect) {
    SoundFontBuilder bank;
    bank.samples = {{"one"}, {"two"}, {"rom", 0, 50, 0, 10, 22050, 60, 0, 0x8001}};
    bank.instruments = {{"split",
                         {{{{17, -500}, {48, 100}}, {}},             // global
                          {{{43, 0x3B00}, {53, 0}, {17, 500}}, {}},  // what follows the sample does not count
                          {{{43, 0x7F3C}, {44, 0x7F40}, {17, 100}, {53, 1}}, {}},
                          {{{43, 0x7F3C}, {53, 2}}, {}},  // ROM
                          {{{53, 77}}, {}},               // no such sample
                          {{{17, 0}}, {}}}},              // names nothing
                        {"plain", {{{{57, 3}, {53, 0}}, {}}}}};
    bank.presets = {{"a", 5, 2, {{{{48, 50}}, {}}, {{{43, 0x4030}, {41, 0}}, {}}, {{{57, 9}, {41, 1}}, {}}}},
                    {"drums", 1, 128, {{{{43, 0x1000}, {44, 0x2000}, {41, 0}}, {}}}},
                    {"beyond", 1, 0x0103, {{{{41, 9}}, {}}}}};
    ASSERT_TRUE(open(bank));
    const auto instruments = collection.all<Instrument>();
    ASSERT_EQ(instruments.size(), 3u);
    const auto named = [&](const char* name) {
        return *std::ranges::find_if(instruments,
                                     [&](const Instrument* each) { return each->name() == name; });
    };
    const Instrument& a = *named("a");
    EXPECT_EQ(a.patch, PatchNumber(5, 0, 2, false));
    EXPECT_EQ(named("drums")->patch, PatchNumber(1, 0, 0, true));
    EXPECT_EQ(named("beyond")->patch, PatchNumber(1, 3, 2, false));
    EXPECT_TRUE(named("beyond")->links.empty());
    ASSERT_EQ(a.links.count(), 2u);
    const auto& split = *collection.find<Layer>(a.links[0]);
    const auto& plain = *collection.find<Layer>(a.links[1]);
    EXPECT_EQ(split.name(), "split");
    ASSERT_EQ(split.links.count(), 2u);
    const auto& low = *collection.find<Region>(split.links[0]);
    const auto& high = *collection.find<Region>(split.links[1]);
    EXPECT_EQ(low.keys, (MidiRange{48, 59}));
    EXPECT_EQ(high.keys, (MidiRange{60, 64}));
    EXPECT_EQ(high.velocities, (MidiRange{64, 127}));
    EXPECT_EQ(low.waveform()->name(), "one");
    EXPECT_EQ(high.waveform()->name(), "two");
    EXPECT_FLOAT_EQ(low.articulation.get(parameter::PanPosition, 0), -1);
    EXPECT_FLOAT_EQ(high.articulation.get(parameter::PanPosition, 0), 0.2f);
    EXPECT_FLOAT_EQ(high.articulation.get(parameter::MasterVolume, 0), -6);  // 10 + 5 dB, of which 0.4
    const auto& only = *collection.find<Region>(plain.links[0]);
    EXPECT_EQ(regionSetting(nullptr, nullptr, only, parameter::ExclusiveClass), 3);
    const auto& drums = *collection.find<Layer>(named("drums")->links[0]);
    EXPECT_EQ(drums.links.count(), 1u);
    EXPECT_EQ(drums.keys(), (MidiRange{0, 16}));
    EXPECT_EQ(drums.velocities(), (MidiRange{0, 32}));
    EXPECT_EQ(ui.warnings.size(), 2u);  // zones that name nothing there is; ROM
}

TEST_F(SoundFont, LoopsKeysAndPartsOfSamples) {
    SoundFontBuilder bank;
    bank.points.resize(70000);
    for (std::size_t i = 0; i < bank.points.size(); ++i)
        bank.points[i] = static_cast<int>(i * 7919 % 65536) - 32768;
    bank.samples = {{"s", 100, 1100, 300, 900, 32000, 62, -7}, {"big", 0, 70000, 5, 10, 44100, 255, 3}};
    const auto zone = [](int key, Generators more, int sample = 0) {
        Generators all{{43, key | key << 8}};
        all.insert(all.end(), more.begin(), more.end());
        all.emplace_back(53, sample);
        return BankZone{all, {}};
    };
    bank.instruments = {{"i",
                         {zone(0, {{54, 1}}),  // looped as the header says
                          zone(1, {}),         // not looped
                          zone(2, {{54, 1}, {2, 10}, {3, -20}, {58, 50}}),
                          zone(3, {{54, 1}, {0, 50}, {1, -100}}),     // a part of the sample
                          zone(4, {{54, 3}, {0, 50}, {1, -100}}),     // the same until release
                          zone(5, {{54, 1}, {2, 800}}),               // loop upside down
                          zone(6, {{54, 2}, {4, 1}, {0, -8}}, 1)}}};  // coarse offset
    bank.presets = {{"p", 0, 0, {{{{41, 0}}, {}}}}};
    ASSERT_TRUE(open(bank));
    std::vector<const Region*> by(7);
    for (const Region* each : collection.all<Region>())
        by[each->keys.low] = each;
    const Waveform& whole = *by[0]->waveform();
    EXPECT_EQ(whole.frames, 1000u);
    EXPECT_EQ(whole.sampleRate, 32000u);
    EXPECT_EQ(whole.rootKey, 62);
    EXPECT_EQ(whole.fineTune, -7);
    EXPECT_TRUE(whole.looped);
    EXPECT_EQ(whole.loopStart, 200);
    EXPECT_EQ(whole.loopEnd, 800);
    EXPECT_EQ(by[0]->overrides.flags, 0);
    EXPECT_EQ(by[1]->waveform(), &whole);
    EXPECT_EQ(by[1]->overrides.flags, RegionOverrides::Looped);
    EXPECT_FALSE(by[1]->overrides.looped);
    EXPECT_EQ(by[2]->waveform(), &whole);
    EXPECT_EQ(by[2]->overrides.flags,
              RegionOverrides::RootKey | RegionOverrides::LoopStart | RegionOverrides::LoopEnd);
    EXPECT_EQ(by[2]->overrides.loopStart, 210u);
    EXPECT_EQ(by[2]->overrides.loopEnd, 780u);
    EXPECT_EQ(by[2]->rootKey(), 50);
    Waveform& part = *by[3]->waveform();
    EXPECT_EQ(part.frames, 850u);
    EXPECT_EQ(part.loopStart, 150);
    EXPECT_EQ(part.loopEnd, 750);
    EXPECT_FALSE(part.loopUntilRelease);
    EXPECT_NE(by[4]->waveform(), &part);
    EXPECT_TRUE(by[4]->waveform()->loopUntilRelease);
    EXPECT_EQ(by[4]->waveform()->frames, 850u);
    EXPECT_FALSE(by[5]->overrides.looped);
    EXPECT_TRUE(by[5]->overrides.has(RegionOverrides::Looped));
    EXPECT_EQ(ui.warnings.size(), 1u);
    Waveform& big = *by[6]->waveform();
    EXPECT_EQ(big.rootKey, 60);
    EXPECT_EQ(big.frames, 70000u - 32760u);
    EXPECT_FALSE(big.looped);
    // Not a sample is read before it is asked for; then each is its point of the file.
    EXPECT_FALSE(part.samplesLoaded());
    ASSERT_TRUE(part.loadSamples());
    ASSERT_TRUE(big.loadSamples());
    for (std::uint32_t i = 0; i < part.frames; ++i)
        ASSERT_EQ(part.samples()[i] * 32768, static_cast<float>(bank.points[150 + i]));
    EXPECT_EQ(big.samples()[0] * 32768, static_cast<float>(bank.points[32760]));
    StoredPcm stored;
    EXPECT_TRUE(part.source()->storedPcm(part, stored));  // conversion takes the bytes as they are
}

TEST_F(SoundFont, SamplesOf24BitsAreExact) {
    auto bank = SoundFontBuilder::simple({}, {});
    bank.samples = {{"s", 20, 120, 0, 0}};
    for (int i = 0; i < 200; ++i) {
        bank.points[static_cast<std::size_t>(i)] = i * 321 - 32768;
        bank.lowBytes.push_back(static_cast<unsigned>(i * 97 % 256));
    }
    const auto expected = [&](std::size_t i) {
        return static_cast<float>(bank.points[i] * 256 + static_cast<int>(bank.lowBytes[i])) / 8388608.0f;
    };
    ASSERT_TRUE(open(bank));
    Waveform& waveform = *collection.all<Waveform>().front();
    EXPECT_EQ(waveform.bits, 24);
    EXPECT_EQ(waveform.format, SampleFormat::Pcm24);
    const auto stream = waveform.source()->openStream(waveform);
    std::vector<float> streamed(60);
    ASSERT_TRUE(stream->read(40, streamed.data()) && stream->read(60, streamed.data()));
    ASSERT_TRUE(waveform.loadSamples());
    for (std::size_t i = 0; i < 100; ++i)
        ASSERT_EQ(waveform.samples()[i], expected(20 + i));
    for (std::size_t i = 0; i < 60; ++i)
        ASSERT_EQ(streamed[i], expected(60 + i));

    bank.lowBytes.resize(150);  // the low bytes of something else
    ASSERT_TRUE(open(bank));
    EXPECT_EQ(collection.all<Waveform>().front()->bits, 16);
}

TEST_F(SoundFont, StereoHalvesJoinOnlyWhenTheyLieAtTheSides) {
    services.load.autoMergeStereo = true;
    for (const int pan : {500, 250}) {
        SoundFontBuilder bank;
        bank.samples = {{"piano L", 0, 100}, {"piano R", 100, 200, 110, 190}};
        for (std::size_t i = 0; i < bank.points.size(); ++i)
            bank.points[i] = static_cast<int>(i);
        bank.instruments = {
            {"i", {{{{17, -pan}, {54, 1}, {53, 0}}, {}}, {{{17, pan}, {54, 1}, {53, 1}}, {}}}}};
        bank.presets = {{"p", 0, 0, {{{{41, 0}}, {}}}}};
        ASSERT_TRUE(open(bank));
        if (pan != 500) {
            EXPECT_EQ(collection.count(ItemKind::Waveform), 2u);
            continue;
        }
        ASSERT_EQ(collection.count(ItemKind::Waveform), 1u);
        Waveform& stereo = *collection.all<Waveform>().front();
        EXPECT_EQ(stereo.channels, 2);
        EXPECT_FALSE(stereo.samplesLoaded());  // joining decodes nothing
        std::vector<float> streamed(180);
        const auto stream = stereo.source()->openStream(stereo);
        ASSERT_TRUE(stream->read(90, streamed.data()) && stream->read(10, streamed.data()));
        ASSERT_TRUE(stereo.loadSamples());
        for (std::size_t i = 0; i < 100; ++i) {
            ASSERT_EQ(stereo.samples()[2 * i] * 32768, static_cast<float>(i));
            ASSERT_EQ(stereo.samples()[2 * i + 1] * 32768, static_cast<float>(100 + i));
        }
        EXPECT_EQ(streamed[1] * 32768, 190);
    }
}

TEST_F(SoundFont, DamageIsSurvivedAndSaid) {
    expectDamageSurvived(
        SoundFontBuilder::simple({{{48, 10}}, {{0x0081, 6, 10}}}, {{{17, 10}, {54, 1}}, {}}).build());
    EXPECT_FALSE(open(chunk("RIFF", Bytes().text("sfbk"))));
    EXPECT_EQ(LastErrorText,
              "The SoundFont bank has no presets and instruments: the file is cut short or damaged");
}

TEST_F(SoundFont, AFileThatAsksForMillionsOfRegionsGetsAWarning) {
    SoundFontBuilder bank;
    bank.instruments = {{"i", std::vector<BankZone>(1000, BankZone{{{53, 0}}, {}})}};
    bank.presets = {{"p", 0, 0, std::vector<BankZone>(1000, BankZone{{{41, 0}}, {}})}};
    ASSERT_TRUE(open(bank));
    EXPECT_EQ(collection.count(ItemKind::Region), 1u << 17);
    EXPECT_FALSE(ui.warnings.empty());
}

TEST_F(SoundFont, ABankInsideAnotherFile) {
    auto bank = SoundFontBuilder::simple({}, {});
    bank.points[3] = -77;
    expectReadInside(bank.build(), readSoundFontForm, 3, -77, "Not a SoundFont bank");
}

TEST_F(SoundFont, MissingPadBytesAreForgiven) {
    auto bank = SoundFontBuilder::simple({}, {});
    Bytes bytes = bank.build();
    // The samples end after an odd number of bytes and the record list follows at once.
    const std::string text(bytes.data.begin(), bytes.data.end());
    const auto smpl = text.find("smpl"), list = text.find("LIST", smpl);
    bytes.data.erase(bytes.data.begin() + static_cast<std::ptrdiff_t>(list) - 1);
    for (const std::size_t size : {smpl + 4, smpl - 8})
        bytes.data[size] -= 1;
    ASSERT_TRUE(open(bytes));
    EXPECT_EQ(collection.count(ItemKind::Region), 1u);
}

}  // namespace
}  // namespace velor
