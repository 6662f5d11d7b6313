// What the pages of resampling and tuning make of their fields; the processing itself is tested with its
// algorithms.
#include <cmath>

#include "process_tools.h"

namespace velor {
namespace {

Waveform* addTone(Collection& collection, std::size_t frames, std::uint32_t rate, double frequency = 440) {
    return test::addWaveform(collection, "tone", test::sine(frames, rate / frequency), 1, rate);
}

TEST(ResampleProcess, OneWaveformRoundsItsLengthSeveralCutIt) {
    const struct {
        std::vector<std::string> settings;
        std::uint32_t frames, rate;  // of the result
    } single[] = {
        {{"rate=22050"}, 50000, 22050},
        {{"rate=48000"}, 108844, 48000},  // 108843.54
        {{"rate=44100"}, 100000, 44100},
        {{"length=50000"}, 50000, 22050},
        {{"length=33333"}, 33333, 14700},  // 14699.85
        {{"rate=48000", "only-downsample"}, 100000, 44100},
        {{"rate=8000", "only-downsample", "method=cubic"}, 18141, 8000},
    };
    for (const auto& each : single) {
        SCOPED_TRACE(each.settings[0]);
        Collection collection;
        const Waveform& waveform = *addTone(collection, 100000, 44100);
        const ProcessRun run = test::runNamed("resample", collection, each.settings);
        EXPECT_EQ(run.changed, each.frames == 100000 ? 0u : 1u);
        EXPECT_EQ(waveform.frames, each.frames);
        EXPECT_EQ(waveform.sampleRate, each.rate);
    }
    Collection collection;
    const Waveform& slow = *addTone(collection, 1000, 22050);
    const Waveform& fast = *addTone(collection, 100000, 48000);
    EXPECT_EQ(test::runNamed("resample", collection, {"only-downsample"}).changed, 1u);
    EXPECT_EQ(slow.frames, 1000u);
    EXPECT_EQ(fast.frames, 91875u);
    EXPECT_EQ(test::runNamed("resample", collection, {"rate=22050"}).changed, 2u) << "every one counts";
    EXPECT_EQ(fast.frames, 45937u);  // 45937.5
    EXPECT_EQ(test::runNamed("resample", collection, {"rate=0"}).items.at(0).error,
              "Invalid length or frequency specified");
}

TEST(TuneProcess, TunesByEachOfItsWays) {
    // A4 of 440 Hz is told to be a C4; 30 cents too low otherwise.
    const double frequency = 440 * std::exp2(-30 / 1200.0);
    const struct {
        const char* by;
        int key, fine;
        std::uint32_t rate;
    } cases[] = {
        {"by=key", 69, 30, 44100},
        {"by=fine", 60, 30, 44100},
        {"by=rate", 60, 0, static_cast<std::uint32_t>(44100 * std::exp2(-870 / 1200.0) + 0.5)},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.by);
        Collection collection;
        const Waveform& waveform = *addTone(collection, 44100, 44100, frequency);
        EXPECT_EQ(test::runNamed("auto-tune", collection, {each.by}).changed, 1u);
        EXPECT_EQ(waveform.rootKey, each.key);
        EXPECT_EQ(waveform.fineTune, each.fine);
        EXPECT_NEAR(waveform.sampleRate, each.rate, 1);
    }
}

}  // namespace
}  // namespace velor
