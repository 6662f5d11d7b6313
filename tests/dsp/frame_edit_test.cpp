// Edits made of pieces: what they leave of samples and loops.
#include "dsp/frame_edit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "base/error.h"
#include "dsp/editable_samples.h"
#include "loop_player.h"
#include "wave_tools.h"

namespace velor {
namespace {

struct FrameEdits : testing::Test {
    Collection collection;
    test::RecordingInterface ui;
};

// Random cuts and insertions, judged by a player that knows nothing of them: the loop must play exactly those
// of its frames that are left and what was put between them.
TEST_F(FrameEdits, LoopsPlayWhatIsLeftOfThem) {
    std::mt19937 engine(7);
    const auto random = [&engine] { return static_cast<std::uint32_t>(engine()); };
    for (int round = 0; round < 400; ++round) {
        const std::uint32_t frames = 20 + random() % 60;
        Waveform& waveform = *test::addWaveform(collection, "x", test::numberedFrames(frames));
        Region& region = *test::addRegion(collection, waveform);
        const auto someLoop = [&] {
            const std::uint32_t start = random() % frames;
            return std::pair(start, start + 1 + random() % (frames - start));
        };
        const auto [start, end] = someLoop();
        waveform.setLoop(static_cast<LoopMode>(1 + random() % 3), start, end);
        const auto [ownStart, ownEnd] = someLoop();
        test::setRegionLoop(region, ownStart, ownEnd);
        const std::uint32_t first = random() % (frames + 1);
        const std::uint32_t last = first + random() % (frames - first + 1);
        const bool cut = random() % 2 == 0;
        if (cut && first == 0 && last == frames)
            continue;
        const std::vector<float> before = test::samplesOf(waveform);
        const std::vector<float> inserted(1 + random() % 9, -0.5f);

        FrameEdit edit(waveform);
        edit.keep(0, first);
        if (!cut)
            edit.insert(inserted);
        edit.keep(cut ? last : first, frames);
        ASSERT_TRUE(applyFrameEdit(collection, waveform, edit, ui));

        // The old loop's frames, edited by hand.
        const auto expected = [&](std::uint32_t from, std::uint32_t to) {
            std::vector<float> loop;
            for (std::uint32_t i = from; i < to; ++i) {
                if (!cut && i == first && i > from)
                    loop.insert(loop.end(), inserted.begin(), inserted.end());
                if (!cut || i < first || i >= last)
                    loop.push_back(before[i]);
            }
            return loop;
        };
        const auto played = [&](double from, double to) {
            return std::vector<float>(waveform.samples().begin() + static_cast<std::ptrdiff_t>(from),
                                      waveform.samples().begin() + static_cast<std::ptrdiff_t>(to));
        };
        SCOPED_TRACE(formatText("%s %u-%u loop %u-%u own %u-%u", cut ? "cut" : "insert", first, last, start,
                                end, ownStart, ownEnd));
        const auto middle = before.begin() + static_cast<std::ptrdiff_t>(first);
        std::vector<float> whole(before.begin(), middle);
        if (!cut)
            whole.insert(whole.end(), inserted.begin(), inserted.end());
        whole.insert(whole.end(), cut ? middle + static_cast<std::ptrdiff_t>(last - first) : middle,
                     before.end());
        EXPECT_EQ(test::samplesOf(waveform), whole);
        const std::vector<float> loop = expected(start, end);
        EXPECT_EQ(waveform.looped, !loop.empty());
        EXPECT_EQ(played(waveform.loopStart, waveform.loopEnd), loop);
        const std::vector<float> own = expected(ownStart, ownEnd);
        EXPECT_EQ(region.overrides.has(RegionOverrides::LoopStart), !own.empty());
        if (!own.empty()) {
            EXPECT_TRUE(waveform.looped ||
                        (region.overrides.has(RegionOverrides::Looped) && region.overrides.looped))
                << "goes on when the waveform's own loop is gone";
            EXPECT_EQ(played(region.overrides.loopStart, region.overrides.loopEnd), own);
        }
    }
}

TEST_F(FrameEdits, RegionsWithoutALoopLeftFallBack) {
    Waveform& waveform = *test::addWaveform(collection, "x", test::numberedFrames(100));
    waveform.setLoop(LoopMode::Forward, 60.25, 70.75);
    Region& own = *test::addRegion(collection, waveform);
    test::setRegionLoop(own, 10, 20);
    Region& half = *test::addRegion(collection, waveform);
    half.overrides.flags = RegionOverrides::LoopEnd;
    half.overrides.loopEnd = 90;
    Region& oneShot = *test::addRegion(collection, waveform);
    oneShot.overrides.flags = RegionOverrides::Looped;
    Region& switched = *test::addRegion(collection, waveform);
    switched.overrides.flags = RegionOverrides::Looped | RegionOverrides::LoopModeFlag;
    switched.overrides.looped = true;

    FrameEdit first(waveform);
    first.keep(20, 100);
    ASSERT_TRUE(applyFrameEdit(collection, waveform, first, ui));
    EXPECT_EQ(own.overrides.flags, 0) << "plays the waveform's loop from now on";
    EXPECT_EQ(waveform.loopStart, 40.25) << "fractions stay";
    EXPECT_EQ(waveform.loopEnd, 50.75);
    EXPECT_EQ(half.overrides.flags, RegionOverrides::LoopEnd);
    EXPECT_EQ(half.overrides.loopEnd, 70u);
    // The waveform's loop goes; of the half-own one 51 to 69 is left and needs a start.
    FrameEdit second(waveform);
    second.keep(0, 40);
    second.keep(51, 80);
    ASSERT_TRUE(applyFrameEdit(collection, waveform, second, ui));
    EXPECT_FALSE(waveform.looped);
    EXPECT_EQ(half.overrides.flags, RegionOverrides::LoopStart | RegionOverrides::LoopEnd |
                                        RegionOverrides::Looped | RegionOverrides::LoopModeFlag);
    EXPECT_EQ(half.overrides.loopMode, LoopMode::Forward);
    EXPECT_EQ(half.overrides.loopStart, 40u);
    EXPECT_EQ(half.overrides.loopEnd, 59u);
    EXPECT_EQ(oneShot.overrides.flags, RegionOverrides::Looped) << "one-shots stay one-shots";
    EXPECT_EQ(switched.overrides.flags, 0) << "there is nothing to switch on";
}

// A jump in a tone is heard as a click: energy far above the tone. Cross-fades take it away and change
// nothing else.
TEST_F(FrameEdits, FadesTakeClicksAwayAndStayNearThem) {
    const auto steepest = [](std::span<const float> samples) {
        float steep = 0;
        for (std::size_t i = 2; i < samples.size(); ++i)
            steep = std::max(steep, std::abs(samples[i] - 2 * samples[i - 1] + samples[i - 2]));
        return steep;
    };
    Waveform& waveform = *test::addWaveform(collection, "tone", test::sine(4000, 100, 1));
    const auto build = [&](bool silence, std::uint64_t fade) {
        FrameEdit edit(waveform);
        edit.keep(0, 1025);
        if (silence)
            edit.silence(1000);
        edit.keep(silence ? 1025 : 2075, 4000);
        edit.fadeJoins(fade);
        return edit.build(ui);
    };
    for (const bool silence : {false, true}) {
        const SampleBufferRef hard = build(silence, 0), faded = build(silence, 200);
        ASSERT_TRUE(hard && faded);
        ASSERT_EQ(hard->frames(), faded->frames());
        EXPECT_GT(steepest(hard->samples()), 0.5f);
        EXPECT_LT(steepest(faded->samples()), 0.02f) << silence;
        for (std::size_t i = 0; i < hard->frames(); ++i) {
            const bool near =
                silence ? (i >= 1025 && i < 1225) || (i >= 1825 && i < 2025) : i >= 925 && i < 1125;
            if (!near) {
                EXPECT_EQ(hard->data()[i], faded->data()[i]) << i;
            }
        }
    }
}

TEST_F(FrameEdits, FailuresChangeNothing) {
    std::vector<float> samples = test::numberedFrames(1000);
    samples[500] = std::numeric_limits<float>::quiet_NaN();
    Waveform& waveform = *test::addWaveform(collection, "x", samples);
    waveform.sampleRate = 4294967295u;
    waveform.setLoop(LoopMode::Forward, std::numeric_limits<double>::quiet_NaN(), 1e300);
    const SampleBuffer* buffer = waveform.buffer().get();
    FrameEdit nothing(waveform);
    EXPECT_FALSE(applyFrameEdit(collection, waveform, nothing, ui));
    EXPECT_EQ(LastErrorText, kNothingLeft);
    FrameEdit tooLong(waveform);
    tooLong.keep(0, 1000);
    tooLong.silence(4294967295u - 999u);
    EXPECT_FALSE(applyFrameEdit(collection, waveform, tooLong, ui));
    EXPECT_EQ(LastErrorText, kTooManyFrames);
    EXPECT_EQ(waveform.buffer().get(), buffer);
    EXPECT_TRUE(waveform.looped);
    // Fades over samples that are not finite count them as 0; a loop without numbers goes.
    FrameEdit cut(waveform);
    cut.keep(0, 490);
    cut.keep(510, 1000);
    cut.fadeJoins(60);
    ASSERT_TRUE(applyFrameEdit(collection, waveform, cut, ui));
    EXPECT_TRUE(std::ranges::all_of(waveform.samples(), [](float sample) { return std::isfinite(sample); }));
    EXPECT_FALSE(waveform.looped);
    EXPECT_EQ(waveform.sampleRate, 4294967295u);
    EXPECT_EQ(framesOfTime(1e12, 4294967295u), std::uint64_t{1} << 32);
    EXPECT_EQ(framesOfTime(-5, 44100), 0u);
}

}  // namespace
}  // namespace velor
