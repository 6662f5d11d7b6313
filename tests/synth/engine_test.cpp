#include "synth/engine.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <random>
#include <thread>

#include "base/error.h"
#include "synth_fixture.h"

namespace velor {
namespace {

namespace p = parameter;

struct EngineTest : OneSine {};

TEST_F(EngineTest, MessagesMoveThePitch) {
    struct Case {
        const char* what;
        std::vector<std::array<unsigned, 3>> messages;
        double semitones;
    };
    const Case cases[] = {
        {"root key", {}, 0},
        {"bend up by the instrument's range", {{0xE0, 127, 127}}, 2},
        {"bend down", {{0xE0, 0, 0}}, -2},
        {"bend centre", {{0xE0, 0, 64}}, 0},
        {"bend range 12", {{0xB0, 101, 0}, {0xB0, 100, 0}, {0xB0, 6, 12}, {0xE0, 127, 127}}, 12},
        {"bend range 1.5",
         {{0xB0, 101, 0}, {0xB0, 100, 0}, {0xB0, 6, 1}, {0xB0, 38, 50}, {0xE0, 0, 0}},
         -1.5},
        {"data entry without a number", {{0xB0, 6, 12}, {0xE0, 127, 127}}, 2},
        {"fine tuning up", {{0xB0, 101, 0}, {0xB0, 100, 1}, {0xB0, 6, 96}}, 0.5},
        {"coarse tuning", {{0xB0, 101, 0}, {0xB0, 100, 2}, {0xB0, 6, 71}}, 7},
        {"coarse tuning stepped", {{0xB0, 101, 0}, {0xB0, 100, 2}, {0xB0, 6, 64}, {0xB0, 96, 0}}, 1},
        {"fine tuning stepped down",
         {{0xB0, 101, 0}, {0xB0, 100, 1}, {0xB0, 6, 64}, {0xB0, 38, 0}, {0xB0, 97, 0}},
         -1.0 / 8192},
        {"null parameter resets",
         {{0xB0, 101, 0}, {0xB0, 100, 2}, {0xB0, 6, 71}, {0xB0, 101, 127}, {0xB0, 100, 127}, {0xB0, 6, 0}},
         0},
        {"reset all controllers", {{0xE0, 127, 127}, {0xB0, 121, 0}}, 0},
    };
    for (const Case& c : cases) {
        const auto synth = engine();
        for (const auto& [status, data1, data2] : c.messages)
            send(*synth, status, data1, data2);
        send(*synth, 0x90, 60, 127);
        const double heard = frequency(play(*synth, 1));
        EXPECT_NEAR(semitones(heard / 480), c.semitones, 0.0005) << c.what;
    }
}

TEST_F(EngineTest, KeysAndTuningSetThePitch) {
    for (const auto& [key, keyToPitch, tuning, expected] : {std::tuple{72, 1.0f, 0.0f, 12.0},
                                                            {36, 1.0f, 0.0f, -24.0},
                                                            {84, 0.5f, 0.0f, 12.0},
                                                            {60, 1.0f, -1.25f, -1.25}}) {
        instrument.articulation.set(p::KeyToPitch, keyToPitch);
        region.articulation.set(p::MasterTuning, tuning);
        const auto synth = engine();
        send(*synth, 0x90, static_cast<unsigned>(key), 127);
        EXPECT_NEAR(semitones(frequency(play(*synth, 1)) / 480), expected, 0.0005) << key;
    }
}

TEST_F(EngineTest, MessagesMoveTheLevel) {
    struct Case {
        const char* what;
        std::vector<std::array<unsigned, 3>> messages;
        int velocity;
        double left, right;  // dB against volume 127, centre
    };
    const Case cases[] = {
        {"full", {{0xB0, 7, 127}}, 127, 0, 0},
        {"volume 100 at start", {}, 127, 40 * std::log10(100.0 / 127), 40 * std::log10(100.0 / 127)},
        {"expression 64",
         {{0xB0, 7, 127}, {0xB0, 11, 64}},
         127,
         40 * std::log10(64.0 / 127),
         40 * std::log10(64.0 / 127)},
        {"velocity 64", {{0xB0, 7, 127}}, 64, 40 * std::log10(64.0 / 127), 40 * std::log10(64.0 / 127)},
        {"fourteen bits",
         {{0xB0, 7, 64}, {0xB0, 39, 64}},
         127,
         40 * std::log10((64 * 128 + 64) / 16129.0),
         40 * std::log10((64 * 128 + 64) / 16129.0)},
        {"hard left", {{0xB0, 7, 127}, {0xB0, 10, 0}}, 127, 3.0103, -90},
        {"hard right", {{0xB0, 7, 127}, {0xB0, 10, 127}}, 127, -90, 3.0103},
        {"pan 63 is centre", {{0xB0, 7, 127}, {0xB0, 10, 63}}, 127, 0, 0},
        {"pan half right", {{0xB0, 7, 127}, {0xB0, 10, 64}, {0xB0, 42, 0}}, 127, 0, 0},
        {"soft pedal", {{0xB0, 7, 127}, {0xB0, 67, 127}}, 127, -3, -3},
    };
    for (const Case& c : cases) {
        const auto synth = engine();
        for (const auto& [status, data1, data2] : c.messages)
            send(*synth, status, data1, data2);
        send(*synth, 0x90, 60, static_cast<unsigned>(c.velocity));
        const auto sound = play(*synth, 0.5);
        // The sine of amplitude 0.5 in the middle of constant-power panning.
        const double reference = decibels(0.5 / std::sqrt(2.0) / std::sqrt(2.0));
        const double left = decibels(rms(sound, 0, 4800)) - reference;
        const double right = decibels(rms(sound, 1, 4800)) - reference;
        EXPECT_NEAR(std::max(left, -90.0), c.left, 0.02) << c.what;
        EXPECT_NEAR(std::max(right, -90.0), c.right, 0.02) << c.what;
    }
}

// Each depth moves what its name says by what it says. Square waves of 1 Hz are at 1 when the first of two
// moments is measured and at -1 when the second is; envelopes are at 0 and at 1.
TEST_F(EngineTest, DepthsMoveWhatTheyName) {
    using Settings = std::vector<std::pair<int, float>>;
    struct Case {
        const char* what;
        Settings settings;
        std::vector<std::array<unsigned, 3>> messages;
        double level;                 // of the left side at first, dB against the same without the settings
        double pitchMove, levelMove;  // from the first moment to the second, semitones and dB
        double balance = 0;           // left against right at the second, dB
        unsigned key = 60;
    };
    const double half = 20 * std::log10(std::tan(std::numbers::pi * 3 / 8));  // panned by a half
    const double left = 20 * std::log10(std::sqrt(2.0) * std::cos(std::numbers::pi * 3 / 8));
    const double shut = -10 * std::log10(1 + std::pow(4.0, 4));  // two octaves above a Butterworth's cutoff
    const double open = -10 * std::log10(1 + std::pow(0.25, 4));
    const Case cases[] = {
        {"P-LFO", {{p::PLfoToPitch, 1}}, {}, 0, -2, 0},
        {"wheel", {{p::WheelToPLfoToPitch, 2}}, {{0xB0, 1, 127}}, 0, -4, 0},
        {"aftertouch", {{p::PressureToPLfoToPitch, 2}}, {{0xD0, 127, 0}}, 0, -4, 0},
        {"velocity", {{p::VelocityToPLfoToPitch, 1}}, {}, 0, -2, 0},
        {"X-LFO", {{p::XLfoToPitch, 0.5f}}, {}, 0, -1, 0},
        {"P-ENV", {{p::PEnvToPitch, 3}}, {}, 0, 3, 0},
        {"V-LFO", {{p::VLfoToVolume, 3}}, {}, 3, 0, -6},
        {"wheel", {{p::WheelToVolume, -6}}, {{0xB0, 1, 127}}, -6, 0, 0},
        {"X-LFO", {{p::XLfoToPan, 0.5f}}, {}, left, 0, half, half},
        {"X-ENV", {{p::XEnvToPan, -0.5f}}, {}, 0, 0, left + half, half},
        {"key", {{p::KeyToPan, 0.5f}}, {}, left, 0, 0, -half, 72},
        {"F-LFO", {{p::Cutoff, 480}, {p::FLfoToCutoff, -24}}, {}, shut, 0, open - shut},
        {"F-ENV", {{p::Cutoff, 120}, {p::FEnvToCutoff, 48}}, {}, shut, 0, open - shut},
        {"velocity", {{p::Cutoff, 480}, {p::VelocityToCutoff, -24}}, {}, shut, 0, 0},
        {"equaliser", {{p::Eq1Mode + p::eq::Frequency, 480}, {p::Eq1Mode + p::eq::Gain, 6}}, {}, 6, 0, 0},
    };
    const auto hear = [&](const Case& c, const Settings& settings) {
        region.articulation.clear();
        for (const int lfo : {p::PLfo, p::VLfo, p::FLfo, p::XLfo}) {
            region.articulation.set(static_cast<std::uint16_t>(lfo + p::lfo::Shape),
                                    static_cast<float>(LfoShape::Square));
            region.articulation.set(static_cast<std::uint16_t>(lfo + p::lfo::Frequency), 1);
        }
        for (const int envelope : {p::PEnvelope, p::FEnvelope, p::XEnvelope})
            region.articulation.set(static_cast<std::uint16_t>(envelope + p::envelope::Attack1Time), 0.5f);
        for (const auto& [number, value] : settings)
            region.articulation.set(static_cast<std::uint16_t>(number), value);
        if (settings.size() == 2 && settings[0].first == p::Cutoff)
            region.articulation.set(p::FilterTypeCode, static_cast<float>(FilterType::LowPass12));
        const auto synth = engine();
        for (const auto& [status, data1, data2] : c.messages)
            send(*synth, status, data1, data2);
        send(*synth, 0x90, c.key, 127);
        play(*synth, 0.1);
        std::vector<float> first = play(*synth, 0.3);
        play(*synth, 0.2);
        return std::pair(std::move(first), play(*synth, 0.3));
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.what << " to " << c.settings.back().first);
        const auto [first, second] = hear(c, c.settings);
        const std::vector<float> plain = hear(c, {}).first;
        EXPECT_NEAR(decibels(rms(first, 0) / rms(plain, 0)), c.level, 0.1);
        EXPECT_NEAR(semitones(frequency(second) / frequency(first)), c.pitchMove, 0.01);
        EXPECT_NEAR(decibels(rms(second, 0) / rms(first, 0)), c.levelMove, 0.1);
        EXPECT_NEAR(decibels(rms(second, 0) / rms(second, 1)), c.balance, 0.1);
    }
}

// Both effects make a steady note waver, reverb sounds on when it has ended; neither is heard unless sent to.
TEST_F(EngineTest, SendsReachTheirEffects) {
    region.articulation.set(p::VEnvelope + p::envelope::Release1Rate, 0.02f);
    options = {1, true, true};
    for (const unsigned sent : {0u, 91u, 93u}) {
        SCOPED_TRACE(sent);
        const auto synth = engine();
        for (const unsigned number : {91u, 93u})
            send(*synth, 0xB0, number, number == sent ? 127 : 0);
        send(*synth, 0x90, 60, 127);
        play(*synth, 0.5);
        double least = 1, most = 0;
        for (int i = 0; i < 40; ++i) {
            const double level = rms(play(*synth, 0.05), 0);
            least = std::min(least, level);
            most = std::max(most, level);
        }
        EXPECT_EQ(decibels(most / least) > 1, sent != 0);
        send(*synth, 0x80, 60, 0);
        play(*synth, 0.2);
        EXPECT_EQ(rms(play(*synth, 0.1), 0) > 1e-3, sent == 91);
    }
}

// How many notes sound after messages and, each time, 50 ms; 'S' is note sounding unreleased or held.
TEST_F(EngineTest, PedalsHoldNotes) {
    instrument.articulation.set(p::VEnvelope + p::envelope::Release1Rate, 0.02f);
    struct Case {
        const char* what;
        std::vector<std::array<unsigned, 3>> messages;
        std::uint32_t notes;
    };
    const Case cases[] = {
        {"released", {{0x90, 60, 100}, {0x80, 60, 0}}, 0},
        {"velocity 0 releases", {{0x90, 60, 100}, {0x90, 60, 0}}, 0},
        {"sustained", {{0xB0, 64, 127}, {0x90, 60, 100}, {0x80, 60, 0}}, 1},
        {"pedal up", {{0xB0, 64, 127}, {0x90, 60, 100}, {0x80, 60, 0}, {0xB0, 64, 0}}, 0},
        {"pedal up, key down", {{0xB0, 64, 127}, {0x90, 60, 100}, {0xB0, 64, 63}}, 1},
        {"sostenuto holds what sounds", {{0x90, 60, 100}, {0xB0, 66, 127}, {0x80, 60, 0}}, 1},
        {"sostenuto does not hold later notes", {{0xB0, 66, 127}, {0x90, 60, 100}, {0x80, 60, 0}}, 0},
        {"sostenuto up", {{0x90, 60, 100}, {0xB0, 66, 127}, {0x80, 60, 0}, {0xB0, 66, 0}}, 0},
        {"sostenuto up under sustain",
         {{0x90, 60, 100}, {0xB0, 66, 127}, {0x80, 60, 0}, {0xB0, 64, 127}, {0xB0, 66, 0}},
         1},
        {"all notes off", {{0x90, 60, 100}, {0x90, 64, 100}, {0xB0, 123, 0}}, 0},
        {"all notes off honours the pedal", {{0xB0, 64, 127}, {0x90, 60, 100}, {0xB0, 123, 0}}, 1},
        {"all sound off does not", {{0xB0, 64, 127}, {0x90, 60, 100}, {0xB0, 120, 0}}, 0},
        {"poly", {{0x90, 60, 100}, {0x90, 64, 100}}, 2},
        {"mono", {{0xB0, 126, 1}, {0x90, 60, 100}, {0x90, 64, 100}}, 1},
        {"a key struck again replaces its note", {{0x90, 60, 100}, {0x90, 60, 100}}, 1},
    };
    for (const Case& c : cases) {
        const auto synth = engine();
        for (const auto& [status, data1, data2] : c.messages) {
            send(*synth, status, data1, data2);
            play(*synth, 0.05);
        }
        play(*synth, 0.05);
        EXPECT_EQ(synth->soundingNotes(), c.notes) << c.what;
    }
}

TEST_F(EngineTest, RegionsAreChosenByTriggerPedalAndClass) {
    // Four regions an octave apart tell by their pitch which one sounds.
    const auto add = [&](int trigger, int pedal, int exclusive, int octave) -> Region& {
        Region& made = items.region(instrument, wave);
        made.articulation.set(p::Trigger, static_cast<float>(trigger));
        made.articulation.set(p::PedalCondition, static_cast<float>(pedal));
        made.articulation.set(p::ExclusiveClass, static_cast<float>(exclusive));
        made.articulation.set(p::MasterTuning, static_cast<float>(12 * octave));
        return made;
    };
    region.keys = {0, 10};
    add(2, 0, 0, 0).keys = {60, 60};
    add(2, 0, 0, 1).keys = {60, 60};
    add(2, 0, 0, 2).keys = {60, 60};
    add(0, 1, 0, 1).keys = {62, 62};
    add(0, 2, 0, 2).keys = {62, 62};
    Region& release = add(1, 0, 0, 1);
    release.keys = {64, 64};
    release.articulation.set(p::VEnvelope + p::envelope::Release1Rate, 5);
    add(0, 0, 5, 0).keys = {70, 70};
    add(0, 0, 5, 0).keys = {71, 71};
    const auto octave = [&](SynthEngine& synth) {
        const double heard = std::log2(frequency(play(synth, 0.2)) / 480);
        return static_cast<int>(std::lround(heard));
    };
    const auto synth = engine();
    std::vector<int> robin;
    for (int i = 0; i < 4; ++i) {
        send(*synth, 0x90, 60, 100);
        robin.push_back(octave(*synth));
        send(*synth, 0xB0, 120, 0);
        play(*synth, 0.01);
    }
    EXPECT_EQ(robin, (std::vector<int>{0, 1, 2, 0}));
    send(*synth, 0x90, 62, 100);
    EXPECT_EQ(octave(*synth), 2 + 0) << "pedal up";
    send(*synth, 0xB0, 120, 0);
    play(*synth, 0.01);
    send(*synth, 0xB0, 64, 127);
    send(*synth, 0x90, 62, 100);
    EXPECT_EQ(octave(*synth), 1) << "pedal down";
    send(*synth, 0xB0, 120, 0);
    send(*synth, 0xB0, 64, 0);
    play(*synth, 0.01);
    send(*synth, 0x90, 64, 100);
    play(*synth, 0.05);
    EXPECT_EQ(synth->soundingNotes(), 0u) << "release regions wait for the release";
    send(*synth, 0x80, 64, 0);
    play(*synth, 0.05);
    EXPECT_EQ(synth->soundingNotes(), 1u);
    send(*synth, 0xB0, 120, 0);
    play(*synth, 0.01);
    send(*synth, 0x90, 70, 100);
    play(*synth, 0.05);
    send(*synth, 0x90, 71, 100);
    play(*synth, 0.1);
    EXPECT_EQ(synth->soundingNotes(), 1u) << "one of an exclusive class";
}

TEST_F(EngineTest, ALoopedReleaseRegionEndsByItself) {
    Region& echo = items.region(instrument, wave);
    echo.articulation.set(p::Trigger, RegionTrigger::kRelease);
    echo.articulation.set(p::VEnvelope + p::envelope::Decay1Time, 0.1f);
    echo.articulation.set(p::VEnvelope + p::envelope::Release1Rate, 0.1f);
    const auto synth = engine();
    send(*synth, 0x90, 60, 100);
    play(*synth, 0.05);
    send(*synth, 0x80, 60, 0);
    EXPECT_GT(rms(play(*synth, 0.05), 0, 1200), 0.05);
    play(*synth, 0.3);
    EXPECT_EQ(synth->soundingNotes(), 0u);
}

TEST_F(EngineTest, ProgramsFallBack) {
    const auto synth = engine(32, 32);
    Instrument& lsb = items.instrument(PatchNumber(5, 3, 0, false));
    Instrument& bank = items.instrument(PatchNumber(5, 0, 9, false));
    Instrument& drums = items.instrument(PatchNumber(0, 0, 0, true));
    for (Instrument* made : {&lsb, &bank, &drums}) {
        items.region(*made, wave);
        ASSERT_TRUE(synth->loadInstrument(*made, true));
    }
    struct Case {
        unsigned channel, msb, lsb, program;
        std::uint32_t patch;
    };
    const std::uint32_t none = 0xFFFFFFFF;
    for (const Case& c : {Case{0, 0, 3, 5, lsb.patch.value},
                          {0, 9, 4, 5, bank.patch.value},
                          {0, 8, 0, 0, 0},
                          {0, 0, 0, 5, none},
                          {9, 0, 0, 40, drums.patch.value},
                          {25, 0, 0, 1, drums.patch.value}}) {
        const unsigned port = c.channel / 16;
        const unsigned low = c.channel % 16;
        send(*synth, 0xB0 | low, 0, c.msb, port);
        send(*synth, 0xB0 | low, 32, c.lsb, port);
        send(*synth, 0xC0 | low, c.program, 0, port);
        play(*synth, 0.01);
        const auto& held = synth->channel(c.channel).instrument;
        EXPECT_EQ(held ? held->patch.value : none, c.patch) << c.channel << ' ' << c.msb << ' ' << c.program;
    }
    send(*synth, 0x90 | 8, 60, 100, 2);
    play(*synth, 0.01);
    EXPECT_EQ(synth->soundingNotes(), 0u) << "channel 40 of 32";
}

TEST_F(EngineTest, LoadIsShed) {
    for (const auto& [notes, load, fading, left] :
         {std::tuple{40u, 0.9, 3u, 40u}, {8u, 1.2, 0u, 6u}, {40u, 0.8, 0u, 40u}, {2u, 0.95, 1u, 2u}}) {
        const auto synth = engine(64);
        for (unsigned i = 0; i < notes; ++i)
            send(*synth, 0x90, 20 + i, 100);
        play(*synth, 0.05);
        synth->shedLoad(load);
        EXPECT_EQ(synth->soundingNotes(), left);
        play(*synth, 0.1);
        EXPECT_EQ(synth->soundingNotes(), left - fading) << load;
    }
}

TEST_F(EngineTest, PolyphonyIsKept) {
    const auto synth = engine(10);
    for (unsigned i = 0; i < 30; ++i) {
        send(*synth, 0x90, 20 + i, 40 + i);
        play(*synth, 0.02);
    }
    play(*synth, 0.1);
    EXPECT_EQ(synth->soundingNotes(), 10u);
}

TEST_F(EngineTest, DeviceBuffersAreFilledFromBlocks) {
    const auto whole = engine();
    const auto parts = engine();
    send(*whole, 0x90, 60, 100);
    send(*parts, 0x90, 60, 100);
    std::vector<float> expected(2 * 640);
    whole->render(expected.data(), 640, 2);
    std::vector<float> six;
    for (const std::uint32_t frames : {1u, 63u, 100u, 7u, 300u, 169u}) {
        std::vector<float> piece(6 * frames, -1.0f);
        parts->render(piece.data(), frames, 6);
        six.insert(six.end(), piece.begin(), piece.end());
    }
    for (std::size_t i = 0; i < 640; ++i) {
        EXPECT_EQ(six[6 * i], expected[2 * i]);
        EXPECT_EQ(six[6 * i + 1], expected[2 * i + 1]);
        EXPECT_EQ(six[6 * i + 5], 0);
    }
}

TEST_F(EngineTest, PortamentoTakesItsTimePerSemitone) {
    const auto synth = engine();
    send(*synth, 0xB0, 65, 127);
    send(*synth, 0xB0, 5, 64);
    send(*synth, 0x90, 60, 127);
    play(*synth, 0.2);
    EXPECT_NEAR(synth->channel(0).portamentoSeconds, 0.005 * std::exp2(6.4 * 8193 / 16384), 1e-6);
    send(*synth, 0x90, 72, 127);
    send(*synth, 0x80, 60, 0);
    // 12 semitones of 46 ms each: half the way after 0.276 s.
    const double seconds = 12 * 0.005 * std::exp2(6.4 * 8193 / 16384);
    const auto glide = play(*synth, seconds);
    const auto at = static_cast<std::size_t>(seconds / 2 * kTestRate) * 2;
    const std::vector<float> middle(glide.begin() + static_cast<long>(at) - 1200,
                                    glide.begin() + static_cast<long>(at) + 1200);
    EXPECT_NEAR(semitones(frequency(middle, 0) / 480), 6, 0.3);
    EXPECT_NEAR(semitones(frequency(play(*synth, 0.3)) / 480), 12, 0.001);
}

TEST_F(EngineTest, StatusTellsRegionsAndClipping) {
    const auto synth = engine();
    EXPECT_EQ(synth->statusText(), "");
    send(*synth, 0xB0, 7, 127);
    send(*synth, 0x90, 60, 127);
    play(*synth, 0.02);
    EXPECT_EQ(synth->statusText(), "1 region");
    for (unsigned key = 61; key < 72; ++key)
        send(*synth, 0x90, key, 127);
    play(*synth, 0.2);
    EXPECT_EQ(synth->statusText(), "12 regions -CLIPPING-");
}

// The same sums for one worker and for several.
TEST_F(EngineTest, WorkersDoNotChangeTheSound) {
    std::vector<std::vector<float>> sounds;
    for (const std::uint32_t workers : {1u, 2u, 4u}) {
        options = {workers, true, true};
        const auto synth = engine(64);
        send(*synth, 0xB0, 91, 100);
        send(*synth, 0xB0, 93, 100);
        for (unsigned i = 0; i < 40; ++i)
            send(*synth, 0x90, 30 + i, 60 + i);
        sounds.push_back(play(*synth, 0.5));
    }
    EXPECT_EQ(sounds[0], sounds[1]);
    EXPECT_EQ(sounds[0], sounds[2]);
    EXPECT_GT(rms(sounds[0], 0), 0.1);
}

// Of the next block, all that is heard.
float blockSum(SynthEngine& synth) {
    float out[2 * kBlockFrames], sum = 0;
    synth.renderBlock(out);
    for (const float sample : out)
        sum += std::fabs(sample);
    return sum;
}

// Whatever comes in: everything can be ended, nothing is not a number.
TEST_F(EngineTest, RandomMessagesLeaveNothingBehind) {
    instrument.articulation.set(p::FilterTypeCode, 2);
    instrument.articulation.set(p::WheelToCutoff, 60);
    instrument.articulation.set(p::PLfoToPitch, 3);
    options = {2, true, true};
    const auto synth = engine(24, 32);
    std::mt19937 random(7);
    // A minute at more than 10,000 messages a second; less where sanitizers make it long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr int kBlocks = 4000;
#else
    constexpr int kBlocks = 45000;
#endif
    for (int block = 0; block < kBlocks; ++block) {
        for (int i = 0; i < 14; ++i) {
            const auto status = static_cast<unsigned>(0x80 + random() % 0x80);
            synth->queueEvent(
                MidiMessage(status, static_cast<unsigned>(random() % 200),
                            static_cast<unsigned>(random() % 128), static_cast<unsigned>(random() % 4)),
                0);
        }
        ASSERT_TRUE(std::isfinite(blockSum(*synth))) << block;
    }
    for (unsigned channel = 0; channel < 32; ++channel)
        for (const unsigned number : {64u, 66u, 123u, 120u})
            send(*synth, 0xB0 | channel % 16, number, 0, channel / 16);
    play(*synth, 5);
    EXPECT_EQ(synth->soundingNotes(), 0u);
    EXPECT_EQ(synth->soundingRegions(), 0u);
}

// Articulation of every kind of value, as damaged files bring it: all that is heard are numbers, and notes
// end.
TEST_F(EngineTest, AnyArticulationCanBePlayed) {
    std::mt19937 random(11);
    const auto pick = [&](std::uint32_t below) { return static_cast<std::uint32_t>(random() % below); };
    for (int round = 0; round < 300; ++round) {
        region.articulation.clear();
        for (std::uint32_t i = pick(60); i-- > 0;) {
            const auto number = static_cast<std::uint16_t>(pick(kArticulationParameters));
            const ArticulationParameter& row = *articulationParameter(number);
            const float share = static_cast<float>(pick(1001)) / 1000;
            const float inside = row.minimum + share * (row.maximum - row.minimum);
            const float values[] = {inside, row.minimum, row.maximum, inside * 1e6f, -inside * 1e30f};
            region.articulation.set(number, values[pick(5)]);
        }
        wave.sampleRate = round % 10 == 0 ? pick(3) * 2000000000u : kTestRate;
        const auto synth = engine();
        for (int block = 0; block < 60; ++block) {
            if (block % 10 == 0)
                send(*synth, 0x90, pick(128), 1 + pick(127));
            send(*synth, 0xB0, pick(128), pick(128));
            ASSERT_TRUE(std::isfinite(blockSum(*synth))) << round;
        }
        send(*synth, 0xB0, 120, 0);
        play(*synth, 0.01);
        ASSERT_EQ(synth->soundingNotes(), 0u);
    }
}

TEST_F(EngineTest, FourThreadsFeedTheRing) {
    options = {2, true, true};
    const auto synth = engine(32, 64);
    std::atomic<int> accepted{0};
    std::atomic<int> running{4};
    std::vector<std::thread> writers;
    for (unsigned port = 0; port < 4; ++port) {
        writers.emplace_back([&, port] {
            for (unsigned i = 0; i < 4000; ++i) {
                while (!synth->queueEvent(MidiMessage(0xB0, 7, i & 127, port), 0))
                    std::this_thread::yield();
                ++accepted;
            }
            --running;
        });
    }
    float out[2 * kBlockFrames];
    while (running > 0)
        synth->renderBlock(out);
    for (std::thread& writer : writers)
        writer.join();
    synth->renderBlock(out);
    EXPECT_EQ(accepted, 16000);
    for (unsigned port = 0; port < 4; ++port)
        EXPECT_EQ(synth->channel(port * 16).midi.volume.coarse, 3999 & 127);
}

TEST_F(EngineTest, InstrumentsAreRemovedAndReplacedWhilePlaying) {
    const auto synth = engine();
    send(*synth, 0x90, 60, 100);
    play(*synth, 0.05);
    Instrument& other = items.instrument();
    Region& high = items.region(other, wave);
    high.articulation.set(p::MasterTuning, 12);
    ASSERT_TRUE(synth->requestReplace(PatchNumber(), other));
    send(*synth, 0x90, 60, 100);
    play(*synth, 0.1);
    EXPECT_NEAR(frequency(play(*synth, 0.3)), 960, 0.1);
    ASSERT_TRUE(synth->requestRemove(PatchNumber()));
    play(*synth, 0.05);
    EXPECT_EQ(synth->soundingNotes(), 0u);
    EXPECT_FALSE(synth->hasInstrument(PatchNumber()));
    send(*synth, 0x90, 60, 100);
    play(*synth, 0.05);
    EXPECT_EQ(synth->soundingNotes(), 0u);
}

}  // namespace
}  // namespace velor
