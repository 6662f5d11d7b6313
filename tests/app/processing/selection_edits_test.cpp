// The processes that change the selected frames: fade, invert, reverse, smooth.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "dsp/fade.h"
#include "dsp/smoothing.h"
#include "loop_player.h"
#include "process_tools.h"

namespace velor {
namespace {

using test::noise;
using test::samplesOf;

TEST(FadeCurves, RiseFromNothingToAll) {
    for (int curve = 0; curve < 5; ++curve) {
        const auto share = [=](double t) { return fadeShare(static_cast<FadeCurve>(curve), t); };
        EXPECT_EQ(share(0), 0);
        EXPECT_EQ(share(1), 1);
        for (double t = 0; t < 0.999; t += 0.001)
            ASSERT_LT(share(t), share(t + 0.001)) << curve << " " << t;
        EXPECT_LT(share(1e-9), 1e-6) << "no step where it begins";
        EXPECT_GT(share(1 - 1e-9), 1 - 1e-6);
    }
    for (double t = 0; t <= 1; t += 0.05) {
        const double up = fadeShare(FadeCurve::EqualPower, t), down = fadeShare(FadeCurve::EqualPower, 1 - t);
        EXPECT_NEAR(up * up + down * down, 1, 1e-12);
        EXPECT_NEAR(fadeShare(FadeCurve::SCurve, t) + fadeShare(FadeCurve::SCurve, 1 - t), 1, 1e-12);
        EXPECT_NEAR(fadeShare(FadeCurve::Logarithmic, fadeShare(FadeCurve::Exponential, t)), t, 1e-12);
    }
    EXPECT_NEAR(fadeShare(FadeCurve::Exponential, 0.5), 1 / 11.0, 1e-12);
}

TEST(Fade, GivesBothEndsTheirLevels) {
    for (const char* curve : {"linear", "exponential", "logarithmic", "s-curve", "equal-power"}) {
        for (const bool out : {false, true}) {
            Collection collection;
            Waveform& waveform = *test::addWaveform(collection, "a", std::vector<float>(2 * 60000, 0.5f), 2);
            test::runNamed("Fade in/out selection", collection,
                           {std::string("curve=") + curve, out ? "direction=out" : "direction=in", "quiet=10",
                            "full=150"},
                           FrameSelection{100, 50100});
            const std::span<const float> samples = waveform.samples();
            EXPECT_EQ(samples[2 * 99 + 1], 0.5f);
            EXPECT_EQ(samples[2 * 50100], 0.5f);
            EXPECT_FLOAT_EQ(samples[2 * 100 + 1], out ? 0.75f : 0.05f) << curve;
            EXPECT_FLOAT_EQ(samples[2 * 50099], out ? 0.05f : 0.75f) << curve;
            for (std::size_t i = 101; i < 50100; ++i)
                ASSERT_TRUE(out ? samples[2 * i] <= samples[2 * i - 2]
                                : samples[2 * i] >= samples[2 * i - 2]);
        }
    }
    Collection collection;
    Waveform& one = *test::addWaveform(collection, "one", {1});
    test::addWaveform(collection, "none", {});
    EXPECT_EQ(test::runNamed("Fade in/out selection", collection).changed, 1u);
    EXPECT_EQ(one.samples()[0], 0);
}

TEST(SelectionEdits, TwiceIsAsBefore) {
    for (const char* name : {"Invert sign throughout selection", "Reverse audio within selection"}) {
        for (const std::optional<FrameSelection> selection :
             {std::optional<FrameSelection>(), {{10, 70001}}, {{70000, 4000000000u}}}) {
            Collection collection;
            Waveform& waveform = *test::addWaveform(collection, "a", noise(2 * 80000, 5), 2);
            waveform.setLoop(LoopMode::Forward, 20.25, 60000.5);
            const std::vector<float> before = samplesOf(waveform);
            const SampleBufferRef shared = waveform.buffer();
            EXPECT_EQ(test::runNamed(name, collection, {}, selection).changed, 1u);
            EXPECT_NE(samplesOf(waveform), before);
            EXPECT_TRUE(std::equal(before.begin(), before.end(), shared->data()));
            const std::size_t first = selection ? selection->first : 0;
            for (std::size_t i = 0; i < 2 * first; ++i)
                ASSERT_EQ(waveform.samples()[i], before[i]);
            test::runNamed(name, collection, {}, selection);
            EXPECT_EQ(samplesOf(waveform), before);
            EXPECT_EQ(waveform.loopStart, 20.25);
            EXPECT_EQ(waveform.loopEnd, 60000.5);
        }
    }
}

TEST(Reverse, LoopsKeepTheirSound) {
    Collection collection;
    Waveform& waveform = *test::addWaveform(collection, "a", {0, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    waveform.setLoop(LoopMode::Forward, 2, 5);
    std::vector<Region*> regions;
    using O = RegionOverrides;
    for (const int flags : {O::LoopStart | O::LoopEnd, +O::LoopStart, +O::LoopEnd, +O::LoopEnd}) {
        Region* region = test::addRegion(collection, waveform);
        region->overrides.flags = static_cast<std::uint8_t>(flags);
        region->overrides.loopStart = 1;
        region->overrides.loopEnd = 4;
        regions.push_back(region);
    }
    regions[3]->overrides.loopEnd = 10;
    const auto loopOf = [&](const Region& region) {
        const O& own = region.overrides;
        return std::pair(own.has(O::LoopStart) ? own.loopStart : waveform.loopStart,
                         own.has(O::LoopEnd) ? own.loopEnd : waveform.loopEnd);
    };
    using Loop = std::pair<double, double>;
    test::runNamed("Reverse audio within selection", collection);
    EXPECT_EQ(Loop(waveform.loopStart, waveform.loopEnd), Loop(5, 8));
    EXPECT_EQ(loopOf(*regions[0]), Loop(6, 9));
    EXPECT_EQ(loopOf(*regions[1]), Loop(5, 9)) << "1..5 before";
    EXPECT_EQ(loopOf(*regions[2]), Loop(6, 8)) << "2..4 before";
    EXPECT_EQ(loopOf(*regions[3]), Loop(0, 8)) << "2..10 before";
    EXPECT_EQ(regions[1]->overrides.flags, O::LoopEnd);

    // Only what lies within the selection moves: frames 5..9 here.
    test::runNamed("Reverse audio within selection", collection, {}, FrameSelection{5, 9});
    EXPECT_EQ(Loop(waveform.loopStart, waveform.loopEnd), Loop(6, 9));
    EXPECT_EQ(loopOf(*regions[0]), Loop(5, 8));
    EXPECT_EQ(loopOf(*regions[1]), Loop(5, 9));
    EXPECT_EQ(loopOf(*regions[3]), Loop(0, 8)) << "stays, though the waveform's own end moved";
}

TEST(Smoothing, IsTheWeightedMean) {
    const std::vector<float> from = noise(2 * 70000, 5);
    for (const SmoothingShape shape : {SmoothingShape::Average, SmoothingShape::Hann}) {
        for (const std::size_t reach : {1, 10, 200}) {
            std::vector<float> to(69990);
            smooth(from, 2, 1, 5, to, reach, shape);
            for (const std::size_t i : {0, 3, 33000, 32763, 65530, 69980, 69989}) {
                double sum = 0, weights = 0;
                for (int k = -static_cast<int>(reach); k <= static_cast<int>(reach); ++k) {
                    const double weight =
                        shape == SmoothingShape::Average
                            ? 1
                            : 0.5 + 0.5 * std::cos(std::numbers::pi * k / (static_cast<double>(reach) + 1));
                    const int frame = std::clamp(static_cast<int>(i) + 5 + k, 0, 69999);
                    sum += weight * static_cast<double>(from[2 * static_cast<std::size_t>(frame) + 1]);
                    weights += weight;
                }
                ASSERT_NEAR(to[i], sum / weights, 1e-6) << reach << " " << i;
            }
        }
    }
}

float largestStep(std::span<const float> samples) {
    float step = 0;
    for (std::size_t i = 1; i < samples.size(); ++i)
        step = std::max(step, std::fabs(samples[i] - samples[i - 1]));
    return step;
}

TEST(SmoothSelection, TakesStepsAwayAndMakesNone) {
    const auto stepAt = [](std::size_t at) {
        std::vector<float> samples(3000, -0.5f);
        std::fill(samples.begin() + static_cast<std::ptrdiff_t>(at), samples.end(), 0.5f);
        return samples;
    };
    for (const char* shape : {"shape=average", "shape=hann"}) {
        Collection collection;
        Waveform& inside = *test::addWaveform(collection, "inside", stepAt(1500));
        Waveform& atEdge = *test::addWaveform(collection, "edge", stepAt(1000));
        const FrameSelection selection{1000, 2000};
        test::runNamed("Smooth within the selection", collection, {shape, "width=101", "where=edges"},
                       selection);
        EXPECT_EQ(largestStep(inside.samples()), 1) << "far from the edges";
        EXPECT_LT(largestStep(atEdge.samples()), 0.05f);
        EXPECT_EQ(atEdge.samples()[898], -0.5f);
        test::runNamed("Smooth within the selection", collection, {shape, "width=101"}, selection);
        EXPECT_LT(largestStep(inside.samples()), 0.05f);
        EXPECT_EQ(inside.samples()[999], -0.5f);
    }
    Collection collection;
    test::addWaveform(collection, "none", {});
    Waveform& odd = *test::addWaveform(collection, "odd", {std::nanf(""), 1});
    EXPECT_EQ(test::runNamed("Smooth within the selection", collection, {"width=20001"}).changed, 1u);
    EXPECT_TRUE(std::isfinite(odd.samples()[0]) && std::isfinite(odd.samples()[1]));
}

}  // namespace
}  // namespace velor
