// Silence taken away and waveforms split at it, and all structural processes over real files.
#include <cmath>
#include <numbers>

#include "base/error.h"
#include "dsp/silence.h"
#include "loop_player.h"
#include "process_tools.h"

namespace velor {
namespace {

constexpr std::uint32_t kRate = 10000;  // ten frames to a millisecond

// Tones of the given lengths (ms) with silence before, between and behind them.
std::vector<float> tones(const std::vector<std::pair<int, int>>& silenceAndSound, int after, int channels = 1,
                         float noise = 0) {
    std::vector<float> samples;
    const auto put = [&](int ms, bool sound) {
        for (int i = 0; i < ms * 10; ++i) {
            const double phase = 2 * std::numbers::pi * i / 40 + 0.4;
            const float value =
                sound ? static_cast<float>(0.5 * std::sin(phase)) : noise * (i % 2 ? 1.0f : -1.0f);
            // The sound is in the last channel alone.
            for (int channel = 0; channel < channels; ++channel)
                samples.push_back(channel + 1 == channels ? value : 0.0f);
        }
    };
    for (const auto& [silence, sound] : silenceAndSound) {
        put(silence, false);
        put(sound, true);
    }
    put(after, false);
    return samples;
}

struct Silence : testing::Test {
    Collection collection;
    test::RecordingInterface ui;
    Waveform& wave() { return *collection.all<Waveform>().at(0); }
    ProcessRun run(const std::string& name, const std::vector<std::string>& pairs = {}) {
        return test::runNamed(name, collection, pairs, {}, &ui);
    }
};

TEST_F(Silence, IsRemovedWhereWanted) {
    const auto frames = [&](const std::vector<std::string>& pairs, int channels = 1) {
        collection.clear();
        test::addWaveform(collection, "x",
                          tones({{300, 100}, {250, 100}, {100, 100}}, 400, channels, 0.0005f), channels,
                          kRate);
        EXPECT_EQ(run("remove-silent-sections", pairs).failed, 0u);
        return wave().frames / 10;  // ms
    };
    EXPECT_EQ(frames({}), 400u + 4 * 10) << "100 ms inside are too short to go";
    EXPECT_EQ(frames({}, 2), 440u);
    EXPECT_EQ(frames({"keep=0"}), 400u);
    EXPECT_EQ(frames({"keep=0", "start=0"}), 700u);
    EXPECT_EQ(frames({"keep=0", "end=0"}), 800u);
    EXPECT_EQ(frames({"keep=0", "inside=0"}), 650u);
    EXPECT_EQ(frames({"keep=0", "minimum=100"}), 300u);
    EXPECT_EQ(frames({"keep=80", "minimum=100"}), 300u + 80 + 160 + 100 + 80)
        << "margins share what is between two sounds";
    EXPECT_EQ(frames({"threshold=-80"}), 1350u) << "the noise is louder";
    EXPECT_EQ(frames({"ignore=350"}), 1350u) << "no sound is long enough";
    EXPECT_EQ(ui.warnings.size(), 1u);
}

// What remains of the sounds is what they were, and a loop in one of them plays on.
TEST_F(Silence, SoundsAndLoopsStay) {
    const std::vector<float> before = tones({{300, 100}, {250, 100}}, 400);
    test::addWaveform(collection, "x", before, 1, kRate);
    wave().setLoop(LoopMode::Forward, 6700, 7100);
    const std::vector<float> loop(before.begin() + 6700, before.begin() + 7100);
    EXPECT_EQ(run("remove-silent-sections", {"keep=5"}).changed, 1u);
    EXPECT_EQ(std::vector<float>(wave().samples().begin() + 50, wave().samples().begin() + 1050),
              std::vector<float>(before.begin() + 3000, before.begin() + 4000));
    EXPECT_EQ(std::vector<float>(wave().samples().begin() + static_cast<std::ptrdiff_t>(wave().loopStart),
                                 wave().samples().begin() + static_cast<std::ptrdiff_t>(wave().loopEnd)),
              loop);
    EXPECT_EQ(run("remove-silent-sections", {"keep=5"}).changed, 0u) << "nothing is left to remove";
}

TEST_F(Silence, SplitsNameAndKeepEverything) {
    const std::vector<float> samples = tones({{50, 100}, {250, 120}, {300, 140}}, 50);
    Waveform& original = *test::addWaveform(collection, "Kit", samples, 1, kRate);
    original.rootKey = 36;
    original.fineTune = -3;
    original.gain = 2;
    original.text(WaveText::Artist) = "me";
    original.setLoop(LoopMode::Alternating, 4100, 4500.5);
    const std::vector<float> loop(samples.begin() + 4100, samples.begin() + 4501);
    test::addWaveform(collection, "Last", {0.5f}, 1, kRate);
    EXPECT_EQ(run("split-waveform-at-silent-sections", {"fade=0", "keep=0"}).changed, 1u);
    ASSERT_EQ(test::namesOf(collection, ItemKind::Waveform),
              (std::vector<std::string>{"Kit 1", "Kit 2", "Kit 3", "Last"}));
    std::vector<float> joined, sounds;
    for (std::size_t i = 0; i < 3; ++i) {
        const Waveform& part = *collection.all<Waveform>()[i];
        EXPECT_EQ(part.rootKey, 36);
        EXPECT_EQ(part.fineTune, -3);
        EXPECT_EQ(part.gain, 2.0f);
        EXPECT_EQ(part.text(WaveText::Artist), "me");
        EXPECT_EQ(part.sampleRate, kRate);
        EXPECT_EQ(part.looped, i == 1);
        joined.insert(joined.end(), part.samples().begin(), part.samples().end());
    }
    for (const float sample : samples) {
        if (sample != 0)
            sounds.push_back(sample);
    }
    std::erase(joined, 0.0f);
    EXPECT_EQ(joined, sounds);
    const Waveform& looped = *collection.all<Waveform>()[1];
    EXPECT_EQ(looped.loopMode, LoopMode::Alternating);
    EXPECT_EQ(looped.loopEnd - looped.loopStart, 400.5);
    EXPECT_EQ(
        std::vector<float>(looped.samples().begin() + static_cast<std::ptrdiff_t>(looped.loopStart),
                           looped.samples().begin() + static_cast<std::ptrdiff_t>(looped.loopStart) + 401),
        loop);
}

TEST_F(Silence, SplitsLeaveInstrumentsPlaying) {
    for (const char* original : {"original=auto", "original=keep", "original=remove"}) {
        collection.clear();
        Waveform& waveform = *test::addWaveform(collection, "x", tones({{50, 100}, {250, 100}}, 0), 1, kRate);
        waveform.setLoop(LoopMode::Alternating, 600, 4500);  // no part holds all of that
        Region& region = *test::addRegion(collection, waveform);
        test::setRegionLoop(region, 600, 1000);
        const std::vector<float> held = test::playHeld(waveform, 3000, region.overrides);
        EXPECT_EQ(run("split-waveform-at-silent-sections", {original, "fade=0"}).changed, 1u);
        const bool removed = std::string(original) == "original=remove";
        EXPECT_EQ(collection.count(ItemKind::Waveform), removed ? 2u : 3u);
        for (const Waveform* part : collection.all<Waveform>())
            EXPECT_EQ(part->looped, part->name() == "x");
        ASSERT_TRUE(region.waveform());
        EXPECT_EQ(region.waveform()->name(), removed ? "x 1" : "x");
        const std::vector<float> now = test::playHeld(*region.waveform(), 2000, region.overrides);
        const std::size_t cut = removed ? 400 : 0;  // 50 ms of silence but for 10
        EXPECT_EQ(now, std::vector<float>(held.begin() + static_cast<std::ptrdiff_t>(cut),
                                          held.begin() + static_cast<std::ptrdiff_t>(cut) + 2000));
    }
    // Nothing to split and too much to split: all stays.
    EXPECT_EQ(run("split-waveform-at-silent-sections", {"minimum=600000"}).changed, 0u);
    collection.clear();
    std::vector<float> clicks(60000, 0.0f);
    for (std::size_t i = 0; i < clicks.size(); i += 4)
        clicks[i] = 1;
    test::addWaveform(collection, "clicks", clicks, 1, kRate);
    const ProcessRun tooMany = run("split-waveform-at-silent-sections", {"minimum=0", "ignore=0", "keep=0"});
    EXPECT_EQ(tooMany.items.at(0).error,
              "This would make 15000 waveforms; choose a lower threshold or a longer silence");
    EXPECT_EQ(collection.count(ItemKind::Waveform), 1u);
}

// Every sound of a folder of effects and of a bank: nothing fails, nothing louder than the threshold gets
// lost, and looped notes sound on as they did.
TEST_F(Silence, RealFiles) {
    std::size_t files = 0;
    for (const char* folder : {"/usr/share/sounds/alsa", "/usr/share/games/tecnoballz/sounds"}) {
        std::error_code none;
        for (const auto& entry : std::filesystem::directory_iterator(folder, none)) {
            if (entry.path().extension() != ".wav")
                continue;
            collection.clear();
            if (!test::openWaveform(collection, entry.path()))
                continue;
            ++files;
            SCOPED_TRACE(entry.path().string());
            const auto energy = [](const Waveform& waveform) {
                double sum = 0;
                for (const float sample : waveform.samples())
                    sum += static_cast<double>(sample) * static_cast<double>(sample);
                return sum;
            };
            const double before = energy(wave());
            const std::uint32_t frames = wave().frames;
            EXPECT_EQ(run("remove-silent-sections", {"threshold=-50", "fade=0"}).failed, 0u);
            EXPECT_LE(wave().frames, frames);
            EXPECT_NEAR(energy(wave()), before, before * 1e-3 + 1e-6 * wave().channels * frames);
            EXPECT_EQ(run("split-waveform-at-silent-sections", {"threshold=-50", "minimum=50"}).failed, 0u);
        }
    }
    std::size_t looped = 0;
    collection.clear();
    if (test::openBank(collection, "TimGM6mb.sf2")) {
        struct Note {
            Region* region;
            std::vector<float> held;
        };
        std::vector<Note> notes;
        for (Region* region : collection.all<Region>()) {
            Waveform* waveform = region->waveform();
            if (waveform && waveform->looped && waveform->loadSamples())
                notes.push_back(
                    {region, test::playHeld(*waveform, waveform->frames + 500, region->overrides)});
        }
        EXPECT_EQ(run("loop-sanitizer-converter").failed, 0u);
        const ProcessRun trimmed = run("trim-waveform-after-loop");
        EXPECT_EQ(trimmed.failed, 0u);
        EXPECT_GT(trimmed.changed, 0u);
        for (const Note& note : notes)
            looped += test::playHeld(*note.region->waveform(), note.held.size(), note.region->overrides) ==
                      note.held;
        EXPECT_EQ(looped, notes.size());
        EXPECT_EQ(run("move-loop-points-to-zero-crossing").failed, 0u);
        EXPECT_EQ(run("parse-root-key-from-waveform-name").failed, 0u);
        EXPECT_EQ(run("set-waveform-names-from-root-keys").failed, 0u);
    }
    if (files + looped == 0)
        GTEST_SKIP() << "needs alsa-utils, tecnoballz-data or timgm6mb-soundfont";
}

}  // namespace
}  // namespace velor
