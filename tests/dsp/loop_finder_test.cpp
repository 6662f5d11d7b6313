// Loops found in real and in made waveforms.
#include "dsp/loop_finder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "base/error.h"
#include "dsp/loop_search.h"
#include "dsp/pitch.h"
#include "loop_player.h"
#include "real_notes.h"

namespace velor {
namespace {

struct LoopFinder : testing::Test {
    // A second and a half of a tone with some harmonics and a fading start.
    Waveform& tone(double frequency, unsigned channels = 1, double seconds = 1.5) {
        const auto frames = static_cast<std::size_t>(seconds * 44100);
        std::vector<float> samples(frames * channels);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const double t = static_cast<double>(i / channels) / 44100;
            double sum = 0;
            for (int h = 1; h <= 5; ++h)
                sum += std::sin(2 * std::numbers::pi * h * frequency * t + h) / h;
            samples[i] = static_cast<float>(0.3 * sum * std::min(1.0, 10 * t));
        }
        return *test::addWaveform(collection, "tone", samples, static_cast<int>(channels));
    }
    // The jump from a loop's last frame to its first, as a share of the largest step within it.
    static double stepAtJoin(const Waveform& waveform) {
        const auto start = static_cast<std::size_t>(waveform.loopStart);
        const auto end = static_cast<std::size_t>(std::ceil(waveform.loopEnd));
        const auto x = [&](std::size_t i) { return waveform.samples()[i * waveform.channels]; };
        float largest = 0;
        for (std::size_t i = start; i + 1 < end; ++i)
            largest = std::max(largest, std::abs(x(i + 1) - x(i)));
        return largest > 0 ? static_cast<double>(std::abs(x(start) - x(end - 1)) / largest) : 0;
    }
    Collection collection;
    test::RecordingInterface ui;
};

TEST_F(LoopFinder, RealSustainedNotes) {
    std::vector<double> similarities, steps;
    const auto check = [&](Waveform& waveform, double) {
        if (!waveform.looped || waveform.durationSeconds() < 0.8)  // sounds that last
            return;
        FoundLoop found;
        if (!findLoop(waveform, {}, ui, &found)) {
            similarities.push_back(0);
            steps.push_back(10);
            return;
        }
        similarities.push_back(static_cast<double>(found.similarity));
        steps.push_back(stepAtJoin(waveform));
    };
    for (const char* bank : {"TimGM6mb.sf2", "FluidR3_GM.sf2"})
        test::visitRealNotes(bank, check);
    if (similarities.empty())
        GTEST_SKIP() << "needs TimGM6mb.sf2 or FluidR3_GM.sf2";
    std::ranges::sort(similarities);
    std::ranges::sort(steps);
    const std::size_t count = similarities.size();
    EXPECT_GE(similarities[count / 2], 0.98) << "of " << count;
    EXPECT_GE(similarities[count / 20], 0.8) << "one in twenty";
    // The jump is a step like those that the sound takes anyway.
    EXPECT_LE(steps[count / 2], 0.75);
    EXPECT_LE(steps[count * 19 / 20], 1.5);
}

TEST_F(LoopFinder, TonesLoopByWholePeriods) {
    for (const double f : {41.2, 110.0, 441.0, 1000.5, 3000.0}) {
        Waveform& waveform = tone(f);
        FoundLoop found;
        ASSERT_TRUE(findLoop(waveform, {.minimumLength = 0.1f}, ui, &found)) << f;
        const double periods = (found.end - found.start) * f / 44100;
        EXPECT_NEAR(periods, std::round(periods), 0.6 * f / 44100) << f;  // half a frame
        EXPECT_GT(found.similarity, 0.995f) << f;
        EXPECT_TRUE(waveform.looped);
        EXPECT_EQ(waveform.loopMode, LoopMode::Forward);
        EXPECT_GE(waveform.loopStart, std::floor(0.25 * waveform.frames));
        EXPECT_LE(waveform.loopEnd, std::ceil(0.95 * waveform.frames));
        EXPECT_GE(waveform.loopEnd - waveform.loopStart, std::floor(0.1 * waveform.frames));
    }
}

// The search against one that tries every pair of frames and knows no short cut.
TEST_F(LoopFinder, SearchMissesNothing) {
    std::mt19937 random(7);
    std::normal_distribution<float> noise;
    for (int round = 0; round < 6; ++round) {
        std::vector<float> x(900);
        for (float& sample : x)
            sample = random() % 9 == 0 ? 0.0f : noise(random);
        const LoopRange range{round * 60, round % 2 ? 900 : 800, 50, round < 3 ? 200 : 700};
        const auto direction = [&x](std::int64_t i) {  // +1 or -1 at a crossing, else 0
            const auto sign = [&x](std::int64_t at) { return (x[at] > 0) - (x[at] < 0); };
            std::int64_t before = i - 1;
            while (before >= 0 && x[before] == 0)
                --before;
            return before >= 0 && i < 900 && sign(i) == -sign(before) ? sign(i) : 0;
        };
        LoopCandidate wanted;
        for (std::int64_t end = range.end; end > range.start; --end) {
            for (std::int64_t start = end - range.shortest; start >= std::max<std::int64_t>(range.start, 1);
                 --start) {
                if (end - start > range.longest || direction(end) == 0 || direction(start) != direction(end))
                    continue;
                const std::int64_t before = std::min<std::int64_t>(256, start);
                const std::int64_t after = std::min<std::int64_t>(256 - before, 900 - end);
                const float likeness = loopSimilarity(&x[start - before], &x[end - before],
                                                      static_cast<std::size_t>(before + after));
                if (likeness > wanted.similarity)
                    wanted = {start, end, likeness};
            }
        }
        LoopCandidate found;
        ASSERT_TRUE(searchLoop(x, range, ui, found));
        EXPECT_EQ(found.start, wanted.start) << round;
        EXPECT_EQ(found.end, wanted.end) << round;
        EXPECT_FLOAT_EQ(found.similarity, wanted.similarity);
    }
}

TEST_F(LoopFinder, OptionsDoWhatTheySay) {
    {
        Waveform& waveform = tone(440, 2);
        ASSERT_TRUE(findLoop(waveform, {.crossfade = true, .cutAfterEnd = true}, ui));
        EXPECT_EQ(waveform.frames, static_cast<std::uint32_t>(waveform.loopEnd) + 32);
        const auto start = static_cast<std::size_t>(waveform.loopStart) * 2;
        const auto end = static_cast<std::size_t>(waveform.loopEnd) * 2;
        for (std::size_t i = 0; i < 64; ++i)  // the loop goes on behind its end
            ASSERT_EQ(waveform.samples()[end + i], waveform.samples()[start + i]);
        EXPECT_EQ(waveform.samples()[end - 1], waveform.samples()[start - 1]);  // faded
        EXPECT_FALSE(waveform.loopUntilRelease);
    }
    {
        Waveform& waveform = tone(440);
        ASSERT_TRUE(findLoop(waveform, {.breakOnRelease = true, .cutAfterEnd = true}, ui));
        EXPECT_TRUE(waveform.loopUntilRelease);
        EXPECT_EQ(waveform.frames, 66150u);  // the release needs what follows
    }
    {
        // Rumble below the tone goes, the tone stays.
        Waveform& waveform = tone(440);
        for (std::size_t i = 0; i < waveform.frames; ++i)
            waveform.samples()[i] +=
                static_cast<float>(0.05 * std::sin(static_cast<double>(i) * 30 * 2 * M_PI / 44100));
        ASSERT_TRUE(findLoop(waveform, {.highPass = true}, ui));
        double rumble[2] = {};
        for (std::size_t i = 22050; i < 66150; ++i) {
            const double turn = static_cast<double>(i) * 30 * 2 * M_PI / 44100;
            rumble[0] += static_cast<double>(waveform.samples()[i]) * std::sin(turn) / 22050;
            rumble[1] += static_cast<double>(waveform.samples()[i]) * std::cos(turn) / 22050;
        }
        EXPECT_LT(std::hypot(rumble[0], rumble[1]), 1e-4);
        DetectedPitch pitch;
        ASSERT_TRUE(detectPitch(waveform, pitch));
        EXPECT_NEAR(pitch.frequency, 440, 0.1);
    }
}

TEST_F(LoopFinder, FractionAndTuningMakeShortLoopsExact) {
    // A loop of a few periods of 1003 Hz is out of tune by whole cents when it ends on whole frames.
    const LoopFinderOptions plain{
        .loopTuning = true, .rangeStart = 0.9f, .rangeEnd = 0.905f, .minimumLength = 0};
    const auto soundsAt = [](const Waveform& waveform) {  // cents from 1003 Hz, as its loop plays
        const double length = waveform.loopEnd - waveform.loopStart;
        const double periods = std::round(length * 1003 / 44100);
        return 1200 * std::log2(periods * 44100 / length / 1003);
    };
    Waveform& tuned = tone(1003);
    ASSERT_TRUE(findLoop(tuned, plain, ui));
    EXPECT_NE(tuned.tuning, 0);
    EXPECT_NEAR(soundsAt(tuned) + 100 * static_cast<double>(tuned.tuning), 0, 0.6);
    EXPECT_NEAR(tuned.tuning * 100, std::round(tuned.tuning * 100), 1e-4f);

    LoopFinderOptions fractional = plain;
    fractional.loopTuning = false;
    fractional.fractionalStart = true;
    Waveform& exact = tone(1003);
    ASSERT_TRUE(findLoop(exact, fractional, ui));
    EXPECT_EQ(exact.loopEnd, tuned.loopEnd);
    EXPECT_LE(std::abs(exact.loopStart - tuned.loopStart), 0.5);
    EXPECT_LT(std::abs(soundsAt(exact)), 0.3 * std::abs(soundsAt(tuned)));
    EXPECT_EQ(exact.tuning, 0);
}

TEST_F(LoopFinder, NothingToLoop) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const std::vector<float> cases[] = {{},
                                        {1},
                                        {1, -1},
                                        std::vector<float>(20, 0.5f),
                                        std::vector<float>(50000),
                                        std::vector<float>(50000, nan)};
    for (const auto& samples : cases) {
        Waveform& waveform = *test::addWaveform(collection, "nothing", samples);
        waveform.setLoop(LoopMode::Forward, 40, 1e9);  // outside of the data, and kept
        for (const float share : {0.0f, 0.5f, 1.0f, nan, -1e30f, 1e30f}) {
            LastErrorText.clear();
            const LoopFinderOptions options{.highPass = true,
                                            .crossfade = true,
                                            .cutAfterEnd = true,
                                            .fractionalStart = true,
                                            .loopTuning = true,
                                            .rangeStart = share,
                                            .rangeEnd = 1 - share,
                                            .minimumLength = share};
            EXPECT_FALSE(findLoop(waveform, options, ui)) << samples.size();
            EXPECT_EQ(LastErrorText, "No loop was found");
        }
        EXPECT_EQ(waveform.frames, samples.size());
        EXPECT_EQ(waveform.loopEnd, 1e9);
    }
}

TEST_F(LoopFinder, TinyAndBrokenWaveforms) {
    std::mt19937 random(3);
    for (std::size_t frames = 2; frames < 400; frames += frames < 70 ? 1 : 37) {
        std::vector<float> samples(frames);
        for (float& sample : samples)
            sample = random() % 50 == 0 ? std::numeric_limits<float>::quiet_NaN()
                                        : static_cast<float>(random() % 2001) / 1000 - 1;
        Waveform& waveform = *test::addWaveform(collection, "tiny", samples, 1,
                                                1 + static_cast<std::uint32_t>(random() % 100000));
        const LoopFinderOptions options{.highPass = frames % 2 == 0,
                                        .crossfade = frames % 3 == 0,
                                        .cutAfterEnd = frames % 5 == 0,
                                        .fractionalStart = true,
                                        .loopTuning = true,
                                        .rangeStart = 0,
                                        .rangeEnd = 1,
                                        .minimumLength = 0};
        if (findLoop(waveform, options, ui)) {
            EXPECT_GE(waveform.loopStart, 0);
            EXPECT_GE(waveform.loopEnd - waveform.loopStart, 31.5);
            EXPECT_LE(waveform.loopEnd, waveform.frames);
        }
    }
}

TEST_F(LoopFinder, CuttingLimitsTheLoopsOfRegions) {
    Waveform& waveform = tone(440);
    const auto region = [&](std::uint32_t start, std::uint32_t end) {
        Region& made = *test::addRegion(collection, waveform);
        test::setRegionLoop(made, start, end);
        return &made;
    };
    const Region* inside = region(100, 200);
    const Region* across = region(100, 66150);
    const Region* beyond = region(66000, 66150);
    ASSERT_TRUE(findLoop(waveform, {.cutAfterEnd = true}, ui));
    EXPECT_EQ(inside->overrides.loopEnd, 200u);
    EXPECT_EQ(across->overrides.loopEnd, waveform.frames);
    EXPECT_FALSE(beyond->overrides.has(RegionOverrides::LoopStart));
}

}  // namespace
}  // namespace velor
