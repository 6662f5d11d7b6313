// Cross-fades against their formulas, and their edges.
#include "dsp/loop_crossfade.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/error.h"
#include "dsp/loop_similarity.h"
#include "wave_tools.h"

namespace velor {
namespace {

struct Crossfade : testing::Test {
    Waveform& ramp(std::uint32_t frames, unsigned channels, double start, double end) {
        std::vector<float> samples(frames * channels);
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<float>(std::sin(static_cast<double>(i * i)) * 0.9);
        Waveform& waveform = *test::addWaveform(collection, "ramp", samples, static_cast<int>(channels));
        waveform.setLoop(LoopMode::Forward, start, end);
        return waveform;
    }
    Collection collection;
    test::RecordingInterface ui;
};

TEST_F(Crossfade, FollowsItsCurve) {
    for (const bool exponential : {false, true}) {
        for (const unsigned channels : {1u, 2u}) {
            Waveform& waveform = ramp(300, channels, 100, 250);
            const std::vector<float> old = test::samplesOf(waveform);
            ASSERT_TRUE(crossfadeLoop(
                waveform,
                {.start = 100, .end = 250, .length = 40, .reverse = true, .exponential = exponential}, ui));
            const auto curve = [=](double w) { return exponential ? std::log10(9 * w + 1) : w; };
            for (std::size_t frame = 0; frame < 300; ++frame) {
                for (std::size_t c = 0; c < channels; ++c) {
                    const auto was = [&](std::size_t at) {
                        return static_cast<double>(old[at * channels + c]);
                    };
                    double wanted = was(frame);
                    if (frame >= 210 && frame < 250) {
                        const double g = curve((249.0 - static_cast<double>(frame)) / 40);
                        wanted = was(frame - 150) * (1 - g) + was(frame) * g;
                    } else if (frame >= 250 && frame < 290) {
                        const double g = curve((289.0 - static_cast<double>(frame)) / 40);
                        wanted = was(frame - 150) * g + was(frame) * (1 - g);
                    }
                    ASSERT_NEAR(static_cast<double>(waveform.samples()[frame * channels + c]), wanted, 1e-6)
                        << frame;
                }
            }
            EXPECT_EQ(waveform.samples()[249 * channels], old[99 * channels]);  // seamless
        }
    }
}

TEST_F(Crossfade, IsAsLongAsLoopAndLeadAllow) {
    Waveform& waveform = ramp(2000, 1, 100, 1100);
    EXPECT_EQ(longestCrossfade(waveform), 100u);
    const std::vector<float> old = test::samplesOf(waveform);
    const SampleBufferRef shared = waveform.buffer();
    ASSERT_TRUE(crossfadeLoop(waveform, {.start = 100, .end = 1100, .length = 5000}, ui));
    for (std::size_t i = 0; i < 2000; ++i)
        ASSERT_EQ(waveform.samples()[i] != old[i], i >= 1000 && i < 1100) << i;
    EXPECT_TRUE(std::equal(old.begin(), old.end(), shared->data()));  // copies of the waveform keep theirs
    EXPECT_EQ(crossfadeTooLongText(100),
              "The maximum crossfade length is 100 wavesamples (minimum of the loop length and the number of "
              "wavesamples before the loop start point");
    waveform.setLoop(LoopMode::Forward, 600.5, 700.499);
    EXPECT_EQ(longestCrossfade(waveform), 100u);
    waveform.clearLoop();
    EXPECT_EQ(longestCrossfade(waveform), 0u);
}

TEST_F(Crossfade, BadLoopsAreLeftAlone) {
    Waveform& waveform = ramp(300, 1, 100, 200);
    const std::vector<float> old = test::samplesOf(waveform);
    const LoopCrossfade cases[] = {{.start = 0, .end = 200},   {.start = 200, .end = 200},
                                   {.start = 250, .end = 200}, {.start = 100, .end = 301},
                                   {.start = 400, .end = 500}, {.start = 1, .end = 0xFFFFFFFFu}};
    for (const LoopCrossfade& fade : cases)
        EXPECT_FALSE(crossfadeLoop(waveform, fade, ui)) << fade.start << " to " << fade.end;
    ui.abortAfter = 0;
    EXPECT_FALSE(crossfadeLoop(waveform, {.start = 100, .end = 200}, ui));
    EXPECT_EQ(LastErrorText, "Processing was cancelled");
    ui.abortAfter = 2;
    EXPECT_FALSE(crossfadeLoop(waveform, {.start = 100, .end = 200, .reverse = true}, ui));
    ui.abortAfter = -1;
    waveform.clearLoop();
    EXPECT_FALSE(crossfadeLoop(waveform, {.start = 100, .end = 200}, ui));
    EXPECT_TRUE(std::ranges::equal(waveform.samples(), old));
    EXPECT_EQ(waveform.loopStart, 0);
}

TEST_F(Crossfade, ResultsStayWithinFullScale) {
    Waveform& waveform = ramp(300, 1, 100, 200);
    std::ranges::fill(waveform.samples(), 3.0f);
    waveform.samples()[150] = std::numeric_limits<float>::quiet_NaN();
    ASSERT_TRUE(crossfadeLoop(waveform, {.start = 100, .end = 200}, ui));
    for (std::size_t i = 100; i < 200; ++i)
        ASSERT_LE(std::abs(waveform.samples()[i]), 1.0f) << i;
    EXPECT_EQ(waveform.samples()[99], 3.0f);
}

TEST(LoopSimilarity, IsTheNormalisedCorrelation) {
    std::vector<float> a(77), b(77), twice(77);
    for (std::size_t i = 0; i < a.size(); ++i) {
        a[i] = static_cast<float>(std::sin(static_cast<double>(i)));
        b[i] = static_cast<float>(std::sin(static_cast<double>(i) + 1));
        twice[i] = -2 * a[i];
    }
    EXPECT_FLOAT_EQ(loopSimilarity(a.data(), a.data(), 77), 1);
    EXPECT_FLOAT_EQ(loopSimilarity(a.data(), twice.data(), 77), -1);
    EXPECT_NEAR(loopSimilarity(a.data(), b.data(), 77), std::cos(1), 0.02);
    EXPECT_EQ(loopSimilarity(a.data(), std::vector<float>(77).data(), 77), 0);
    EXPECT_EQ(loopSimilarity(nullptr, nullptr, 0), 0);
}

}  // namespace
}  // namespace velor
