// Cut, trim, insert and join: against each other, against sox, and over real files.
#include <cmath>
#include <numbers>

#include "base/error.h"
#include "loop_player.h"
#include "process_tools.h"

namespace velor {
namespace {

using test::samplesOf;

struct StructureEdits : testing::Test {
    Collection collection;
    test::RecordingInterface ui;

    Waveform& wave() { return *collection.all<Waveform>().at(0); }
    ProcessRun run(const std::string& name, const std::vector<std::string>& pairs = {},
                   std::optional<FrameSelection> selection = {}) {
        return test::runNamed(name, collection, pairs, selection, &ui);
    }
    // The same for one waveform of several.
    ProcessRun runFirst(const std::string& name, const std::vector<std::string>& pairs,
                        std::optional<FrameSelection> selection = {}) {
        return test::runItems(name, collection, {wave().id()}, pairs, selection, &ui);
    }
    static std::string error(const ProcessRun& result) { return result.items.at(0).error; }
};

TEST_F(StructureEdits, CuttingWhatWasInsertedGivesTheOriginal) {
    for (const int channels : {1, 2}) {
        for (const std::uint32_t position : {0u, 333u, 1000u}) {
            collection.clear();
            test::addWaveform(collection, "x", test::numberedFrames(1000, static_cast<std::size_t>(channels)),
                              channels);
            wave().setLoop(LoopMode::Alternating, 300, 400.5);
            const std::vector<float> before = samplesOf(wave());
            const FrameSelection at{position, position};
            EXPECT_EQ(run("insert-silence", {"frames=77", "fade=5"}, at).changed, 1u);
            EXPECT_EQ(wave().frames, 1077u);
            EXPECT_EQ(run("cut-away-selection", {}, FrameSelection{position, position + 77}).changed, 1u);
            EXPECT_EQ(samplesOf(wave()), before) << position;
            EXPECT_EQ(wave().loopStart, 300);
            EXPECT_EQ(wave().loopEnd, 400.5);
            // And the other way round: what was cut is put back.
            const std::vector<float> piece(before.begin() + 100 * channels, before.begin() + 250 * channels);
            test::addWaveform(collection, "piece", piece, channels);
            EXPECT_EQ(runFirst("cut-away-selection", {}, FrameSelection{100, 250}).changed, 1u);
            EXPECT_EQ(wave().loopStart, 150);
            EXPECT_EQ(runFirst("insert-another-waveform", {"wave=piece"}, FrameSelection{100, 100}).changed,
                      1u);
            EXPECT_EQ(samplesOf(wave()), before);
            EXPECT_EQ(wave().loopStart, 300);
        }
    }
}

TEST_F(StructureEdits, RefusesWhatMakesNoSense) {
    test::addWaveform(collection, "x", test::numberedFrames(100));
    wave().setLoop(LoopMode::Forward, 10, 20);
    const auto buffer = wave().buffer();
    for (const char* name :
         {"cut-away-selection", "trim-waveform-to-selection", "set-loop-points-to-selection"})
        EXPECT_EQ(error(run(name)), "Nothing is selected") << name;
    EXPECT_EQ(error(run("cut-away-selection", {}, FrameSelection{0, 500})),
              "Nothing would be left of the waveform");
    EXPECT_EQ(error(run("trim-waveform-to-selection", {}, FrameSelection{200, 500})),
              "Nothing would be left of the waveform");
    EXPECT_EQ(run("trim-waveform-to-selection", {}, FrameSelection{0, 500}).changed, 0u);
    EXPECT_EQ(run("insert-silence", {"length=0"}).changed, 0u);
    EXPECT_EQ(error(run("insert-silence", {"frames=4294967295"})),
              "The result would be longer than 4294967295 frames");
    wave().sampleRate = 2147483648u;
    EXPECT_EQ(error(run("insert-silence", {"length=2000"})),
              "The sample rate is too high for a length in ms; say it in frames");
    EXPECT_EQ(error(run("append-combine-waveforms", {"wave=nobody"})),
              "there is neither a waveform nor a file \"nobody\"");
    test::addWaveform(collection, "slow", test::numberedFrames(1000), 1, 1);
    EXPECT_EQ(error(runFirst("append-combine-waveforms", {"wave=slow"})),
              "The result would be longer than 4294967295 frames");
    EXPECT_EQ(wave().buffer().get(), buffer.get());
    EXPECT_EQ(wave().loopEnd, 20);
}

TEST_F(StructureEdits, JoinsInEveryWay) {
    const std::vector<float> own = test::numberedFrames(1000), other(500, 0.25f);
    struct Case {
        const char* how;
        const char* gap;
        std::uint32_t frames;
        double loopStart;
    };
    for (const Case& c : {Case{"append", "0", 1500, 100},
                          {"before", "0", 1500, 600},
                          {"append", "10", 1600, 100},
                          {"before", "10", 1600, 700},
                          {"append", "-20", 1300, 100},
                          {"before", "-20", 1300, 400},
                          {"append", "-900", 1000, 100},
                          {"right", "0", 1000, 100},
                          {"left", "5", 1000, 100}}) {
        SCOPED_TRACE(std::string(c.how) + c.gap);
        collection.clear();
        test::addWaveform(collection, "own", own, 1, 10000);
        test::addWaveform(collection, "other", other, 1, 10000);
        wave().setLoop(LoopMode::Forward, 100, 900);
        const std::vector<float> held = test::playHeld(wave(), 900);
        ASSERT_EQ(runFirst("append-combine-waveforms",
                           {"wave=other", std::string("how=") + c.how, std::string("gap=") + c.gap})
                      .changed,
                  1u);
        EXPECT_EQ(wave().frames, c.frames);
        EXPECT_EQ(wave().loopStart, c.loopStart);
        EXPECT_EQ(wave().loopEnd, c.loopStart + 800);
        if (std::string(c.how) == "right" || std::string(c.how) == "left") {
            const std::size_t ownSide = std::string(c.how) == "left";
            ASSERT_EQ(wave().channels, 2);
            EXPECT_EQ(wave().samples()[2 * 499 + ownSide], own[499]);
            EXPECT_EQ(wave().samples()[2 * 499 + 1 - ownSide], 0.25f);
            EXPECT_EQ(wave().samples()[2 * 500 + 1 - ownSide], 0.0f);
            EXPECT_EQ(wave().samples()[2 * 999 + ownSide], own[999]);
        } else {
            EXPECT_EQ(wave().samples()[std::string(c.how) == "append" ? 0 : wave().frames - 1],
                      std::string(c.how) == "append" ? own.front() : own.back());
        }
    }
}

// Equal power keeps the level of noise, linear that of one sound with itself.
TEST_F(StructureEdits, OverlapsKeepTheLevel) {
    const std::vector<float> a = test::noise(20000, 3, 0.17f), b = test::noise(20000, 4, 0.17f);
    test::addWaveform(collection, "a", a, 1, 10000);
    test::addWaveform(collection, "b", b, 1, 10000);
    EXPECT_EQ(runFirst("append-combine-waveforms", {"wave=b", "gap=-1000"}).changed, 1u);
    double power = 0;
    for (std::size_t i = 14000; i < 16000; ++i)
        power += std::pow(static_cast<double>(wave().samples()[i]), 2) / 2000;
    EXPECT_NEAR(10 * std::log10(power / (0.17 * 0.17 / 3)), 0, 0.5);
    collection.clear();
    test::addWaveform(collection, "a", std::vector<float>(20000, 0.5f), 1, 10000);
    EXPECT_EQ(runFirst("append-combine-waveforms", {"wave=a", "gap=-1000", "curve=linear"}).changed, 1u);
    for (const float sample : wave().samples())
        ASSERT_NEAR(sample, 0.5f, 1e-6f);
    EXPECT_TRUE(ui.warnings.empty());
    wave().samples()[0] = 0.5f;
    EXPECT_EQ(runFirst("append-combine-waveforms", {"wave=a", "gap=-1000"}).changed, 1u)
        << "coherent: up by 3 dB";
    EXPECT_TRUE(ui.warnings.empty()) << "0.71 is still below full scale";
}

TEST_F(StructureEdits, OthersAreMadeToFit) {
    // A tone at another rate, in stereo, 6 dB louder by its gain: keeps its pitch and its playing level.
    test::addWaveform(collection, "own", std::vector<float>(2400, 0.0f), 1, 24000);
    Waveform& other = *test::addWaveform(collection, "other", test::sine(4800, 100, 0.25, 2), 2, 48000);
    other.gain = 6.0206f;
    const std::vector<float> untouched = samplesOf(other);
    EXPECT_EQ(runFirst("insert-another-waveform", {"wave=#2", "position=end"}).changed, 1u);
    ASSERT_EQ(wave().frames, 4800u);
    EXPECT_EQ(wave().channels, 1);
    EXPECT_EQ(wave().sampleRate, 24000u);
    for (std::size_t i = 100; i < 2300; ++i)
        ASSERT_NEAR(wave().samples()[2400 + i],
                    0.5 * std::sin(2 * std::numbers::pi * static_cast<double>(i) / 50), 1e-3);
    EXPECT_EQ(samplesOf(other), untouched);
    // Mixed over: adds, and is longer by what reaches beyond.
    EXPECT_EQ(runFirst("insert-another-waveform",
                       {"wave=other", "position=time", "time=150", "mix=1", "level=6.0206"})
                  .changed,
              1u);
    EXPECT_EQ(wave().frames, 6000u);
    EXPECT_NEAR(wave().samples()[4000], 1.5 * std::sin(2 * std::numbers::pi * 1600 / 50), 2e-3);
    EXPECT_EQ(ui.warnings.size(), 1u);
    // Widened only where that is wanted.
    EXPECT_EQ(runFirst("append-combine-waveforms", {"wave=other", "channels=keep"}).changed, 1u);
    EXPECT_EQ(wave().channels, 1);
    const float last = wave().samples()[3000];
    EXPECT_EQ(runFirst("append-combine-waveforms", {"wave=other", "how=before"}).changed, 1u);
    ASSERT_EQ(wave().channels, 2);
    EXPECT_EQ(wave().samples()[2 * (2400 + 3000)], last);
    EXPECT_EQ(wave().samples()[2 * (2400 + 3000) + 1], last);
}

TEST_F(StructureEdits, SoxCutsAlike) {
    const std::filesystem::path file = "/usr/share/sounds/alsa/Front_Center.wav";
    if (!test::haveProgram("sox") || !std::filesystem::exists(file))
        GTEST_SKIP() << "needs sox and " << file;
    const test::TemporaryFolder folder;
    struct Case {
        const char* process;
        std::vector<std::string> pairs;
        std::optional<FrameSelection> selection;
        const char* effect;
    };
    for (const Case& c :
         {Case{"trim-waveform-to-selection", {}, FrameSelection{10000, 50000}, "trim 10000s 40000s"},
          {"insert-silence", {"position=time", "time=500", "frames=4800"}, {}, "pad 4800s@24000s"},
          {"insert-silence", {"position=start", "frames=100"}, {}, "pad 100s"},
          {"insert-silence", {"position=end", "length=250"}, {}, "pad 0 0.25"}}) {
        const std::filesystem::path out = folder / "out.wav";
        ASSERT_TRUE(test::run("sox -D " + test::quoted(file) + " " + test::quoted(out) + " " + c.effect));
        Collection expected;
        const Waveform* theirs = test::openWaveform(expected, out);
        collection.clear();
        ASSERT_TRUE(theirs && test::openWaveform(collection, file)) << LastErrorText;
        EXPECT_EQ(run(c.process, c.pairs, c.selection).changed, 1u);
        EXPECT_EQ(wave().sampleRate, theirs->sampleRate);
        EXPECT_EQ(samplesOf(wave()), samplesOf(*theirs)) << c.effect;
    }
}

}  // namespace
}  // namespace velor
