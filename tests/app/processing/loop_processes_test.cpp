// Processes that change loops: what is heard before and after, played by a reference player.
#include <cmath>
#include <limits>
#include <numbers>

#include "base/error.h"
#include "dsp/resampler.h"
#include "loop_player.h"
#include "process_tools.h"

namespace velor {
namespace {

struct LoopProcesses : testing::Test {
    Collection collection;
    test::RecordingInterface ui;

    Waveform& add(std::size_t frames, std::size_t channels = 1) {
        return *test::addWaveform(collection, "x", test::numberedFrames(frames, channels),
                                  static_cast<int>(channels));
    }
    ProcessRun run(const std::string& name, const std::vector<std::string>& pairs = {},
                   std::optional<FrameSelection> selection = {}) {
        return test::runNamed(name, collection, pairs, selection, &ui);
    }
};

TEST_F(LoopProcesses, SelectionsBecomeLoops) {
    Waveform& waveform = add(100);
    waveform.setLoop(LoopMode::Alternating, 1, 2);
    Region& region = *test::addRegion(collection, waveform);
    test::setRegionLoop(region, 3, 4);
    region.overrides.flags |= RegionOverrides::RootKey;
    const auto buffer = waveform.buffer();
    EXPECT_EQ(run("set-loop-points-to-selection", {}, FrameSelection{20, 400}).changed, 1u);
    EXPECT_EQ(run("set-loop-points-to-selection", {}, FrameSelection{20, 100}).changed, 0u);
    EXPECT_EQ(waveform.loopMode, LoopMode::Alternating);
    EXPECT_EQ(waveform.loopStart, 20);
    EXPECT_EQ(waveform.loopEnd, 100);
    EXPECT_TRUE(region.overrides.has(RegionOverrides::LoopStart));
    EXPECT_EQ(run("set-loop-points-to-selection", {"mode=forward", "until-release=on", "clear-regions"},
                  FrameSelection{20, 400})
                  .changed,
              1u);
    EXPECT_EQ(waveform.loopMode, LoopMode::Forward);
    EXPECT_TRUE(waveform.loopUntilRelease);
    EXPECT_EQ(region.overrides.flags, RegionOverrides::RootKey);
    EXPECT_EQ(run("set-loop-points-to-selection", {}, FrameSelection{100, 400}).failed, 1u);
    EXPECT_EQ(waveform.buffer().get(), buffer.get());
}

TEST_F(LoopProcesses, SwitchedOffLoopsComeBack) {
    Waveform& waveform = add(100);
    Region& region = *test::addRegion(collection, waveform);
    region.overrides.flags = RegionOverrides::Looped;
    EXPECT_EQ(run("enable-disable-loops").changed, 1u);
    EXPECT_EQ(waveform.loopMode, LoopMode::Forward);
    EXPECT_EQ(waveform.loopStart, 0);
    EXPECT_EQ(waveform.loopEnd, 100);
    EXPECT_FALSE(region.overrides.looped);
    EXPECT_EQ(run("enable-disable-loops").changed, 0u);
    waveform.setLoop(LoopMode::Alternating, 10.5, 20);
    EXPECT_EQ(run("enable-disable-loops", {"loops=toggle"}).changed, 1u);
    EXPECT_FALSE(waveform.looped);
    EXPECT_EQ(run("enable-disable-loops", {"loops=toggle", "regions=same", "until-release=on"}).changed, 1u);
    EXPECT_TRUE(waveform.looped && waveform.loopUntilRelease && region.overrides.looped);
    EXPECT_EQ(waveform.loopMode, LoopMode::Alternating);
    EXPECT_EQ(waveform.loopStart, 10.5);
    EXPECT_EQ(run("enable-disable-loops", {"mode=backward"}).changed, 1u);
    EXPECT_EQ(waveform.loopMode, LoopMode::Backward);
    EXPECT_EQ(run("enable-disable-loops", {"mode=none", "regions=clear"}).changed, 1u);
    EXPECT_FALSE(waveform.looped);
    EXPECT_EQ(region.overrides.flags, 0);
    // Points that no longer lie in the data, and no data at all.
    waveform.loopStart = 200, waveform.loopEnd = 300;
    Waveform& empty = add(0);
    EXPECT_EQ(run("enable-disable-loops").changed, 1u);
    EXPECT_EQ(waveform.loopEnd, 100);
    EXPECT_FALSE(empty.looped);
}

// Every loop of any kind, sanitized with all it takes, plays the same for ever.
TEST_F(LoopProcesses, SanitizedLoopsSoundAlike) {
    for (const LoopMode mode : {LoopMode::Forward, LoopMode::Backward, LoopMode::Alternating}) {
        for (const auto& [start, end] :
             {std::pair(0u, 1u), {10u, 17u}, {20u, 60u}, {0u, 100u}, {63u, 100u}}) {
            for (const char* multiple : {"multiple=0", "multiple=16"}) {
                for (const char* convert : {"alternating=1", "alternating=0"}) {
                    SCOPED_TRACE(std::string(loopModeName(mode)) + " " + std::to_string(start) + " " +
                                 multiple + convert);
                    collection.clear();
                    Waveform& waveform = add(100, 2);
                    waveform.setLoop(mode, start, end);
                    const std::vector<float> before = test::playHeld(waveform, 3000);
                    Region& own = *test::addRegion(collection, waveform);
                    if (end < 63)
                        test::setRegionLoop(own, start, start + 1);
                    Region& same = *test::addRegion(collection, waveform);
                    same.overrides.flags = RegionOverrides::LoopModeFlag;
                    same.overrides.loopMode = mode;
                    Region& half = *test::addRegion(collection, waveform);
                    half.overrides.flags = RegionOverrides::LoopStart;
                    half.overrides.loopStart = (start + end) / 2;
                    const std::vector<float> halfBefore = test::playHeld(waveform, 3000, half.overrides);
                    const std::vector<float> ownBefore = test::playHeld(waveform, 3000, own.overrides);
                    ASSERT_EQ(
                        run("loop-sanitizer-converter", {multiple, "multiple-by=repeat", convert}).failed,
                        0u);
                    EXPECT_EQ(test::playHeld(waveform, 3000), before);
                    EXPECT_EQ(test::playHeld(waveform, 3000, own.overrides), ownBefore);
                    EXPECT_EQ(test::playHeld(waveform, 3000, same.overrides), before);
                    EXPECT_EQ(test::playHeld(waveform, 3000, half.overrides), halfBefore);
                    const double length = waveform.loopEnd - waveform.loopStart;
                    EXPECT_GE(length, 32);
                    EXPECT_GE(waveform.frames, waveform.loopEnd + 32);
                    if (std::string(multiple) == "multiple=16") {
                        EXPECT_EQ(std::fmod(length, 16), 0);
                    }
                    if (mode != LoopMode::Alternating || std::string(convert) == "alternating=1") {
                        EXPECT_EQ(waveform.loopMode, LoopMode::Forward);
                    }
                    EXPECT_EQ(
                        run("loop-sanitizer-converter", {multiple, "multiple-by=repeat", convert}).changed,
                        0u)
                        << "once is enough";
                }
            }
        }
    }
}

TEST_F(LoopProcesses, BrokenLoopsAreRepaired) {
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        double start, end;
        double newStart, newEnd;
    };
    for (const Case& c :
         {Case{10, 40, 10, 40},
          {-5, 40, 0, 40},
          {50, 1e300, 50, 100},
          {60, 20, 20, 60},
          {10.4, 50.8, 10, 50},
          {59.6, 100, 60, 100},
          {30, 30, 0, 0},
          {200, 300, 0, 0},
          {kNaN, 40, 0, 40},
          {kNaN, kNaN, 0, 0},
          {-std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity(), 0, 100}}) {
        collection.clear();
        Waveform& waveform = add(100);
        waveform.setLoop(LoopMode::Forward, c.start, c.end);
        Region& region = *test::addRegion(collection, waveform);
        test::setRegionLoop(region, 4000000000u, 50);
        ASSERT_EQ(run("loop-sanitizer-converter", {"minimum=0", "append=0"}).failed, 0u);
        EXPECT_EQ(waveform.looped, c.newEnd > c.newStart);
        EXPECT_EQ(waveform.loopStart, c.newStart) << c.start;
        EXPECT_EQ(waveform.loopEnd, c.newEnd) << c.end;
        EXPECT_EQ(region.overrides.loopStart, 50u);
        EXPECT_EQ(region.overrides.loopEnd, 100u);
        EXPECT_EQ(waveform.frames, 100u);
        // Without repair they are left alone, whatever else is asked for.
        waveform.setLoop(LoopMode::Alternating, 60, 20);
        EXPECT_EQ(run("loop-sanitizer-converter", {"fix=0", "multiple=16"}).changed, 0u);
    }
}

// A tuned loop of an odd length is resampled to a multiple of 16: the pitch must not move, and the wrap must
// stay as smooth as the tone.
TEST_F(LoopProcesses, ResampledMultiplesStayInTune) {
    constexpr double kPeriod = 84.5;
    Waveform& waveform = *test::addWaveform(collection, "tone", test::sine(4000, kPeriod));
    waveform.setLoop(LoopMode::Forward, 1000, 1000 + 10 * kPeriod);
    Region& region = *test::addRegion(collection, waveform);
    test::setRegionLoop(region, 500, 1345);
    ASSERT_EQ(run("loop-sanitizer-converter", {"multiple=64"}).changed, 1u);
    const double length = waveform.loopEnd - waveform.loopStart;
    EXPECT_EQ(length, 832);
    EXPECT_EQ(region.overrides.loopEnd - region.overrides.loopStart, 832u);
    const double before = 44100 / kPeriod, after = 10 * waveform.sampleRate / length;
    EXPECT_NEAR(1200 * std::log2(after / before), 0, 0.03) << "cents";
    const std::vector<float> played = test::playHeld(waveform, 5000);
    const double period = length / 10;
    for (std::size_t i = 100; i + 100 < played.size(); ++i)
        ASSERT_NEAR(played[i], 0.5 * std::sin(2 * std::numbers::pi * static_cast<double>(i) / period), 2e-3)
            << i;
    // Choosing points instead leaves samples and rate alone.
    const auto buffer = waveform.buffer();
    waveform.setLoop(LoopMode::Forward, 1000, 1837);
    ASSERT_EQ(run("loop-sanitizer-converter", {"multiple=16", "multiple-by=move"}).changed, 1u);
    EXPECT_EQ(std::fmod(waveform.loopEnd - waveform.loopStart, 16), 0);
    EXPECT_NEAR(waveform.loopEnd - waveform.loopStart, 832, 1e-9) << "ten periods, the best near";
    EXPECT_EQ(waveform.buffer().get(), buffer.get());
}

TEST_F(LoopProcesses, ZeroCrossings) {
    // Rising crossings at 100 k + 1, falling ones at 100 k + 51, in the sum of both channels alone.
    std::vector<float> tone(2 * 2000);
    for (std::size_t i = 0; i < 2000; ++i) {
        const double sine = std::sin(2 * std::numbers::pi * (static_cast<double>(i) - 0.5) / 100);
        tone[2 * i] = static_cast<float>(0.4 * sine + 0.5);
        tone[2 * i + 1] = static_cast<float>(0.4 * sine - 0.5);
    }
    struct Case {
        double start, end, newStart, newEnd;
        std::vector<std::string> pairs = {};
    };
    for (const Case& c : {Case{110, 1490, 101, 1501},
                          {160.4, 1455, 151, 1451},
                          {101, 1501, 101, 1501},
                          {125, 1495, 101, 1501},
                          {110, 1490, 101, 1481, {"keep-length=1"}},
                          {20, 1999, 51, 1951},
                          {30, 2000, 51, 1951, {"range=3"}},
                          {110, 1490, 110, 1490, {"range=0"}},
                          {126, 130, 101, 201, {"range=3"}}}) {
        collection.clear();
        ui.warnings.clear();
        Waveform& waveform = *test::addWaveform(collection, "tone", tone, 2, 44100);
        waveform.setLoop(LoopMode::Forward, c.start, c.end);
        Region& region = *test::addRegion(collection, waveform);
        test::setRegionLoop(region, 309, 708);
        const auto buffer = waveform.buffer();
        const ProcessRun result = run("move-loop-points-to-zero-crossing", c.pairs);
        EXPECT_EQ(result.failed, 0u);
        EXPECT_EQ(waveform.loopStart, c.newStart) << c.start;
        EXPECT_EQ(waveform.loopEnd, c.newEnd) << c.end;
        EXPECT_EQ(waveform.buffer().get(), buffer.get());
        if (c.pairs.empty()) {
            EXPECT_EQ(region.overrides.loopStart, 301u);
            EXPECT_EQ(region.overrides.loopEnd, 701u);
        }
        EXPECT_EQ(ui.warnings.size(), c.pairs == std::vector<std::string>{"range=0"} ? 1u : 0u);
    }
    collection.clear();
    add(100).setLoop(LoopMode::Forward, 10, 90);
    EXPECT_EQ(run("move-loop-points-to-zero-crossing").changed, 0u) << "a ramp never crosses";
}

TEST_F(LoopProcesses, TrimmedTailsContinueTheLoop) {
    for (const LoopMode mode : {LoopMode::Forward, LoopMode::Backward, LoopMode::Alternating}) {
        for (const auto& [frames, end] : {std::pair(1000u, 500u), {510u, 500u}, {500u, 500u}}) {
            SCOPED_TRACE(std::string(loopModeName(mode)) + std::to_string(frames));
            collection.clear();
            Waveform& waveform = add(frames, 2);
            waveform.setLoop(mode, 490, end);
            const std::vector<float> held = test::playHeld(waveform, 2000);
            EXPECT_EQ(run("trim-waveform-after-loop").changed, 1u);
            ASSERT_EQ(waveform.frames, 532u);
            EXPECT_EQ(test::playHeld(waveform, 2000), held);
            // Read straight on, behind the loop comes what would have been played.
            for (std::size_t i = 0; i < 532; ++i)
                ASSERT_EQ(waveform.samples()[2 * i], held[i]) << i;
            EXPECT_EQ(run("trim-waveform-after-loop").changed, 0u);
        }
    }
    // What is there may also stay.
    collection.clear();
    Waveform& plain = add(1000);
    plain.setLoop(LoopMode::Forward, 400, 500);
    EXPECT_EQ(run("trim-waveform-after-loop", {"keep=10", "continue=0"}).changed, 1u);
    EXPECT_EQ(plain.frames, 510u);
    EXPECT_EQ(plain.samples()[509], test::numberedFrames(510)[509]);
}

TEST_F(LoopProcesses, TailsThatAreHeardStay) {
    Waveform& waveform = add(1000);
    waveform.setLoop(LoopMode::Forward, 400, 500);
    Region& later = *test::addRegion(collection, waveform);
    test::setRegionLoop(later, 300, 600);
    waveform.loopUntilRelease = true;
    EXPECT_EQ(run("trim-waveform-after-loop").changed, 0u);
    waveform.loopUntilRelease = false;
    Region& oneShot = *test::addRegion(collection, waveform);
    oneShot.overrides.flags = RegionOverrides::Looped;
    EXPECT_EQ(run("trim-waveform-after-loop").changed, 0u);
    EXPECT_EQ(ui.warnings.size(), 2u);
    const std::vector<float> held = test::playHeld(waveform, 3000, later.overrides);
    EXPECT_EQ(run("trim-waveform-after-loop", {"force=1"}).changed, 1u);
    EXPECT_EQ(waveform.frames, 632u) << "the region's loop ends last";
    EXPECT_EQ(test::playHeld(waveform, 3000, later.overrides), held);
    waveform.loopStart = 5000, waveform.loopEnd = 6000;
    EXPECT_EQ(run("trim-waveform-after-loop", {"force=1"}).failed, 1u);
}

}  // namespace
}  // namespace velor
