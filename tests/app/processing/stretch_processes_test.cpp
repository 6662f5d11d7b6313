// "Time stretch" and "Pitch scale" as a user runs them: lengths, pitches, loops, root keys, refusals.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "dsp/pitch.h"
#include "loop_player.h"
#include "process_tools.h"

namespace velor {
namespace {

using namespace test;

struct StretchProcesses : testing::Test {
    Waveform* add(const std::vector<float>& samples, int channels = 1, std::uint32_t rate = 44100) {
        collection.clear();
        wave = addWaveform(collection, "wave", samples, channels, rate);
        return wave;
    }
    ProcessRun process(const char* name, const std::vector<std::string>& pairs) {
        return runNamed(name, collection, pairs, {}, &ui);
    }
    double pitch() {
        DetectedPitch found;
        EXPECT_TRUE(detectPitch(*wave, found));
        return 100.0 * found.key - found.cents;
    }
    RecordingInterface ui;
    Collection collection;
    Waveform* wave = nullptr;
};

// A note with harmonics that decays a little. Cents above key 0.
std::vector<float> note(std::size_t frames, double cents, double rate = 44100) {
    const double frequency = keyFrequency(cents / 100);
    std::vector<float> samples(frames);
    for (std::size_t i = 0; i < frames; ++i) {
        const double t = static_cast<double>(i) / rate;
        double sum = 0;
        for (int k = 1; k < 8; ++k)
            sum += std::sin(2 * std::numbers::pi * frequency * k * t) / k;
        samples[i] = static_cast<float>(0.3 * sum * std::exp(-0.5 * t));
    }
    return samples;
}

TEST_F(StretchProcesses, LengthIsThatOfRatioMillisecondsOrTempo) {
    const struct {
        std::vector<std::string> pairs;
        std::uint32_t frames;  // 0: fails
    } cases[] = {
        {{"ratio=150"}, 66150},
        {{"ratio=33.3"}, 14685},
        {{"length=2500"}, 110250},
        {{"tempo-from=120", "tempo-to=90"}, 58800},
        {{"tempo-from=120"}, 0},
        {{"ratio=150", "length=10"}, 0},
        {{"length=1"}, 0},
        {{"length=20000"}, 0},
        {{"ratio=1000", "mode=solo"}, 441000},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.pairs[0]);
        add(note(44100, 6000));
        wave->rootKey = 61;
        wave->fineTune = 7;
        const ProcessRun done = process("Time stretch", each.pairs);
        EXPECT_EQ(done.failed, each.frames == 0 ? 1u : 0u);
        EXPECT_EQ(wave->frames, each.frames == 0 ? 44100u : each.frames);
        EXPECT_EQ(wave->sampleRate, 44100u);
        EXPECT_EQ(wave->rootKey, 61);
        EXPECT_EQ(wave->fineTune, 7);
        EXPECT_NEAR(pitch(), 6000, 3);
    }
    // Nothing to do leaves the samples alone.
    add(note(1000, 6000));
    const SampleBufferRef before = wave->buffer();
    EXPECT_EQ(process("Time stretch", {}).changed, 0u);
    EXPECT_EQ(process("Pitch scale", {}).changed, 0u);
    EXPECT_EQ(wave->buffer().get(), before.get());
    for (const std::vector<float>& tiny : {std::vector<float>{}, {0.5f}}) {
        add(tiny);
        EXPECT_EQ(process("Time stretch", {"ratio=200"}).failed, 0u);
        EXPECT_EQ(process("Pitch scale", {"semitones=-12"}).failed, 0u);
    }
}

TEST_F(StretchProcesses, PitchMovesAndLengthStays) {
    for (const char* mode : {"mode=music", "mode=solo"}) {
        for (const double cents : {-1200.0, -550.0, 30.0, 400.0, 1200.0}) {
            SCOPED_TRACE(testing::Message() << mode << " " << cents);
            const int semitones = static_cast<int>(std::trunc(cents / 100));
            const std::string rest = "cents=" + std::to_string(cents - 100 * semitones);
            add(note(60000, 6000));
            ASSERT_EQ(process("Pitch scale", {"semitones=" + std::to_string(semitones), rest, mode}).changed,
                      1u);
            EXPECT_EQ(wave->frames, 60000u);
            EXPECT_NEAR(pitch(), 6000 + cents, 3);
            EXPECT_EQ(wave->rootKey, 60);
            EXPECT_TRUE(ui.warnings.empty());
        }
    }
}

TEST_F(StretchProcesses, RootKeysFollowThePitchWhenAsked) {
    add(note(60000, 6000 - 20));
    wave->fineTune = 20;
    Region *plain = addRegion(collection, *wave), *own = addRegion(collection, *wave);
    own->overrides.flags = RegionOverrides::RootKey | RegionOverrides::Tuning;
    own->overrides.rootKey = 72;
    own->overrides.tuning = 10;
    ASSERT_EQ(process("Pitch scale", {"semitones=3", "cents=45", "root-key"}).changed, 1u);
    // 6325 cents: key 63 whose tune is lowered, played as high as before on key 60.
    EXPECT_EQ(wave->rootKey, 63);
    EXPECT_EQ(wave->fineTune, -25);
    EXPECT_NEAR(100.0 * wave->rootKey - wave->fineTune, pitch(), 3);
    EXPECT_EQ(plain->overrides.flags, 0);
    EXPECT_NEAR(100.0 * own->overrides.rootKey - static_cast<double>(own->overrides.tuning), 7200 - 10 + 345,
                0.01);

    wave->rootKey = 126;
    const SampleBufferRef before = wave->buffer();
    EXPECT_EQ(process("Pitch scale", {"semitones=12", "root-key"}).failed, 1u) << "no such key";
    EXPECT_EQ(wave->buffer().get(), before.get());
    EXPECT_EQ(own->overrides.rootKey, 75);
}

TEST_F(StretchProcesses, LoopsFollow) {
    // A single period in the middle of a note: it must still be one of the new pitch.
    add(sine(30000, 100));
    wave->setLoop(LoopMode::Forward, 20000, 20100);
    Region* region = addRegion(collection, *wave);
    setRegionLoop(*region, 20000, 20200);
    ASSERT_EQ(process("Pitch scale", {"semitones=7"}).changed, 1u);
    const double factor = std::exp2(7.0 / 12);
    EXPECT_NEAR(wave->loopEnd - wave->loopStart, 100 / factor, 1e-9);
    const auto at = [&](double frame) {  // between two frames
        const auto samples = std::as_const(*wave).samples();
        const auto whole = static_cast<std::size_t>(frame);
        const double share = frame - std::floor(frame);
        return (1 - share) * static_cast<double>(samples[whole]) +
               share * static_cast<double>(samples[whole + 1]);
    };
    for (int i = -60; i < 60; ++i)
        ASSERT_NEAR(at(wave->loopStart + i), at(wave->loopEnd + i), 0.005) << i;
    EXPECT_NEAR(region->overrides.loopStart, wave->loopStart, 1);
    EXPECT_NEAR(region->overrides.loopEnd - region->overrides.loopStart, 200 / factor, 1);

    // A waveform that is all loop.
    add(sine(100, 100));
    wave->setLoop(LoopMode::Forward, 0, 100);
    EXPECT_EQ(process("Time stretch", {"ratio=200"}).changed, 0u);
    EXPECT_EQ(ui.warnings.size(), 1u);
    EXPECT_EQ(wave->frames, 100u);
}

// Where the spectrum of a pulse train through a resonance is strongest.
TEST_F(StretchProcesses, FormantsStayWhenAsked) {
    const double resonance = 1500;
    std::vector<float> voice(66150);
    double y1 = 0, y2 = 0;
    const double radius = 0.985, turn = 2 * std::numbers::pi * resonance / 44100;
    for (std::size_t i = 0; i < voice.size(); ++i) {
        const double now =
            (i % 368 == 0 ? 1.0 : 0.0) + 2 * radius * std::cos(turn) * y1 - radius * radius * y2;
        y2 = y1;
        y1 = now;
        voice[i] = static_cast<float>(0.02 * now);
    }
    const auto strongest = [&] {
        const auto samples = std::as_const(*wave).samples().subspan(20000, 16384);
        double best = 0, where = 0;
        for (double frequency = 400; frequency < 4000; frequency += 4) {
            double re = 0, im = 0;
            for (std::size_t i = 0; i < samples.size(); ++i) {
                const double phase = 2 * std::numbers::pi * frequency * static_cast<double>(i) / 44100;
                re += static_cast<double>(samples[i]) * std::cos(phase);
                im += static_cast<double>(samples[i]) * std::sin(phase);
            }
            if (re * re + im * im > best) {
                best = re * re + im * im;
                where = frequency;
            }
        }
        return where;
    };
    add(voice);
    ASSERT_EQ(process("Pitch scale", {"semitones=7"}).changed, 1u);
    EXPECT_NEAR(strongest(), resonance * std::exp2(7.0 / 12), 130);
    add(voice);
    ASSERT_EQ(process("Pitch scale", {"semitones=7", "formants"}).changed, 1u);
    EXPECT_NEAR(strongest(), resonance, 130);
    EXPECT_NEAR(wave->frames, 66150, 1);
}

TEST_F(StretchProcesses, HeadroomIsKeptAndOverloadIsSaidOnce) {
    add(note(30000, 5000));
    for (float& sample : wave->samples())
        sample *= 4;
    const float before = *std::ranges::max_element(std::as_const(*wave).samples());
    ASSERT_GT(before, 1.5f);
    ASSERT_EQ(process("Pitch scale", {"semitones=2"}).changed, 1u);
    EXPECT_GT(*std::ranges::max_element(std::as_const(*wave).samples()), 0.6f * before) << "clipped";
    EXPECT_TRUE(ui.warnings.empty()) << "it was beyond full scale before";
    // Noise at full scale: its peaks move.
    std::vector<float> square = noise(30000, 4);
    for (float& sample : square)
        sample = sample > 0 ? 0.99f : -0.99f;
    add(square);
    ASSERT_EQ(process("Time stretch", {"ratio=130", "mode=music"}).changed, 1u);
    EXPECT_EQ(ui.warnings.size(), 1u);
}

}  // namespace
}  // namespace velor
