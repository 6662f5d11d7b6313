// Filters against the laws that define them.
#include "dsp/filter_design.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "dsp/waveform_filter.h"
#include "wave_tools.h"

namespace velor {
namespace {

constexpr double kPi = std::numbers::pi;
constexpr double kRate = 48000;

double decibelsAt(const std::vector<BiquadSection>& sections, double frequency, double rate = kRate) {
    return 20 * std::log10(std::abs(responseOf(sections, 2 * kPi * frequency / rate)));
}

// The law of a bilinear Butterworth filter: 1 / sqrt(1 + x^(2 n)), x the prewarped frequency as the prototype
// sees it.
double butterworthLaw(FilterKind kind, unsigned order, double frequency, double low, double high) {
    const auto warp = [](double f) { return std::tan(kPi * f / kRate); };
    double x = 0;
    switch (kind) {
        case FilterKind::LowPass:
            x = warp(frequency) / warp(low);
            break;
        case FilterKind::HighPass:
            x = warp(low) / warp(frequency);
            break;
        default: {
            const double w = warp(frequency), square = warp(low) * warp(high);
            x = (w * w - square) / (w * (warp(high) - warp(low)));
            x = kind == FilterKind::Notch ? 1 / x : x;
        }
    }
    return -10 * std::log10(1 + std::pow(x * x, order));
}

TEST(FilterDesign, ButterworthFollowsItsLaw) {
    for (const FilterKind kind :
         {FilterKind::LowPass, FilterKind::HighPass, FilterKind::BandPass, FilterKind::Notch}) {
        for (unsigned order = 1; order <= kHighestFilterOrder; ++order) {
            for (const double cutoff : {30.0, 1000.0, 15000.0}) {
                const bool band = kind == FilterKind::BandPass || kind == FilterKind::Notch;
                const double low = band ? cutoff * std::exp2(-0.5) : cutoff, high = cutoff * std::exp2(0.5);
                const auto sections = designFilter(
                    {.kind = kind, .rate = kRate, .frequency = cutoff, .bandwidth = 1, .order = order});
                EXPECT_EQ(sections.size(), band ? order : (order + 1) / 2);
                for (const double frequency : {20.0, 29.0, 300.0, 999.0, 1500.0, 14000.0, 20000.0}) {
                    const double wanted = butterworthLaw(kind, order, frequency, low, high);
                    if (wanted < -200)  // where rounding is all there is
                        continue;
                    EXPECT_NEAR(decibelsAt(sections, frequency), wanted, 0.001)
                        << static_cast<int>(kind) << " order " << order << " " << cutoff << " at "
                        << frequency;
                }
                // Two passes of a design for two passes lose 3 dB at the same edges.
                const auto twice = designFilter({.kind = kind,
                                                 .rate = kRate,
                                                 .frequency = cutoff,
                                                 .bandwidth = 1,
                                                 .order = order,
                                                 .twice = true});
                EXPECT_NEAR(2 * decibelsAt(twice, band ? high : cutoff), -3.0103, 0.001) << order;
            }
        }
    }
}

TEST(FilterDesign, CookbookFiltersHaveTheirGains) {
    const struct {
        FilterDesign design;
        double frequency, decibels, tolerance;
    } kCases[] = {
        {{.kind = FilterKind::LowPass, .frequency = 2000, .q = 4}, 2000, 12.0412, 0.001},
        {{.kind = FilterKind::HighPass, .frequency = 2000, .q = 0.5}, 2000, -6.0206, 0.001},
        {{.kind = FilterKind::BandPass, .frequency = 500, .q = 10}, 500, 0, 0.001},
        {{.kind = FilterKind::BandPass, .frequency = 500, .q = 1, .bandwidth = 2}, 250, -3.0103, 0.02},
        {{.kind = FilterKind::Peak, .frequency = 3000, .q = 2, .gain = 9}, 3000, 9, 0.001},
        {{.kind = FilterKind::Peak, .frequency = 300, .bandwidth = 1, .gain = 12},
         300 * std::numbers::sqrt2,
         6,
         0.05},
        {{.kind = FilterKind::LowShelf, .frequency = 400, .gain = 6}, 400, 3, 0.001},
        {{.kind = FilterKind::LowShelf, .frequency = 400, .gain = 6}, 20000, 0, 0.001},
        {{.kind = FilterKind::HighShelf, .frequency = 400, .gain = -6}, 1, 0, 0.001},
        {{.kind = FilterKind::HighShelf, .frequency = 400, .gain = -6}, 400, -3, 0.001},
        {{.kind = FilterKind::AllPass, .frequency = 400, .q = 3}, 380, 0, 1e-9},
    };
    for (const auto& test : kCases) {
        FilterDesign design = test.design;
        design.rate = kRate;
        EXPECT_NEAR(decibelsAt(designFilter(design), test.frequency), test.decibels, test.tolerance)
            << static_cast<int>(design.kind) << " at " << test.frequency;
        if (design.gain != 0) {  // halved for two passes
            design.twice = true;
            EXPECT_NEAR(2 * decibelsAt(designFilter(design), test.design.frequency),
                        design.kind == FilterKind::Peak ? design.gain : design.gain / 2, 0.001);
        }
    }
    EXPECT_LT(decibelsAt(designFilter({.kind = FilterKind::Notch, .rate = kRate, .frequency = 500}), 500),
              -200);
    for (const double bad : {0.0, -1.0, 24000.0, 1e9, 1e-9, std::nan("")})
        EXPECT_TRUE(designFilter({.rate = kRate, .frequency = bad}).empty()) << bad;
    EXPECT_TRUE(designFilter({.rate = 0, .frequency = 100}).empty());
}

// Poles within the unit circle, for everything that can be asked for.
TEST(FilterDesign, IsStable) {
    for (int kind = 0; kind < 8; ++kind) {
        for (const double frequency : {1e-6, 1e-4, 0.1, 0.499, 0.4999, 0.4999999}) {
            for (const double q : {0.05, 0.7, 100.0}) {
                for (const double gain : {-60.0, 60.0}) {
                    for (const unsigned order : {0u, 1u, 2u, 7u, 16u}) {
                        for (const bool twice : {false, true}) {
                            const auto sections = designFilter({.kind = static_cast<FilterKind>(kind),
                                                                .rate = 1,
                                                                .frequency = frequency,
                                                                .q = q,
                                                                .gain = gain,
                                                                .order = order,
                                                                .twice = twice});
                            ASSERT_FALSE(sections.empty());
                            for (const BiquadSection& s : sections)
                                ASSERT_TRUE(std::fabs(s.a2) < 1 && std::fabs(s.a1) < 1 + s.a2 &&
                                            std::isfinite(s.b0 + s.b1 + s.b2))
                                    << kind << " at " << frequency << " q " << q << " order " << order << ": "
                                    << s.a1 << " " << s.a2;
                        }
                    }
                }
            }
        }
    }
}

TEST(BiquadCascade, FiltersWhatItsResponseSays) {
    for (const unsigned order : {1u, 4u, 9u}) {
        for (const double frequency : {250.0, 500.0, 700.0, 4000.0}) {
            BiquadCascade cascade(designButterworth(FilterKind::HighPass, order, 500, kRate));
            std::vector<float> samples = test::sine(20000, kRate / frequency, 1, 2);
            for (std::size_t i = 1; i < samples.size(); i += 2)
                samples[i] = 0;
            // Pieces of odd sizes, one of two channels.
            for (std::size_t at = 0; at < samples.size(); at += 2 * 777)
                cascade.process(
                    std::span(samples).subspan(at, std::min<std::size_t>(2 * 777, samples.size() - at)), 2);
            double power = 0;
            for (std::size_t i = 10400; i < 20000; ++i)
                power += static_cast<double>(samples[2 * i]) * static_cast<double>(samples[2 * i]) / 4800;
            EXPECT_NEAR(10 * std::log10(power), decibelsAt(cascade.sections(), frequency), 0.05)
                << order << " " << frequency;
            EXPECT_EQ(samples[1], 0);
        }
    }
}

// A waveform played through its loop `rounds` times and then on to its end.
std::vector<float> played(const std::vector<float>& frames, const WholeLoop& loop, int rounds) {
    const auto at = [&](std::size_t frame) { return frames.begin() + static_cast<std::ptrdiff_t>(frame); };
    std::vector<float> heard(frames.begin(), at(loop.end));
    for (int i = 1; i < rounds; ++i)
        heard.insert(heard.end(), at(loop.start), at(loop.end));
    heard.insert(heard.end(), at(loop.end), frames.end());
    return heard;
}

// What is heard of the filtered waveform is what a filter makes of what is heard, once the filter has
// forgotten the attack.
TEST(WaveformFilter, LoopsLikeTheSoundThatIsHeard) {
    for (const bool zeroPhase : {false, true}) {
        for (const FilterKind kind : {FilterKind::LowPass, FilterKind::HighPass}) {
            SCOPED_TRACE(testing::Message() << zeroPhase << " " << static_cast<int>(kind));
            const WholeLoop loop{3000, 3777};
            std::vector<float> frames = test::noise(6000, 3, 0.5f);
            const std::vector<float> source = frames;
            const std::vector<BiquadSection> sections = designButterworth(kind, 5, 400, 44100);
            test::RecordingInterface ui;
            ASSERT_TRUE(filterFrames(
                frames, 1, {.sections = sections, .zeroPhase = zeroPhase, .loop = loop, .blend = 200}, ui));

            constexpr int kRounds = 21;
            std::vector<float> wanted = played(source, loop, kRounds);
            ASSERT_TRUE(filterFrames(wanted, 1, {.sections = sections, .zeroPhase = zeroPhase}, ui));
            const std::vector<float> heard = played(frames, loop, kRounds);
            // From the middle of the rounds on there is no trace of the attack; with zero phase that of what
            // follows reaches back as well.
            const std::size_t middle = 3000 + 777 * 10, rounds = 777;
            for (std::size_t i = middle; i < middle + rounds; ++i)
                ASSERT_NEAR(heard[i], wanted[i], 2e-6) << i;
            // What follows the loop continues it.
            for (std::size_t i = 3000 + 777 * kRounds; !zeroPhase && i < heard.size(); ++i)
                ASSERT_NEAR(heard[i], wanted[i], 2e-6) << i;
            // Far before the loop it is the filtered attack.
            for (std::size_t i = 0; i < 2000; ++i)
                ASSERT_NEAR(heard[i], wanted[i], 1e-5) << i;
        }
    }
}

// The largest step between neighbours of a low-passed sound, near the loop's joins and elsewhere.
TEST(WaveformFilter, LeavesNoStepAtTheLoop) {
    constexpr std::size_t kFrames = 20000, kStart = 8000, kEnd = 12345;
    // A bass note whose loop does not fit its period.
    std::vector<float> frames = test::sine(kFrames, 785.4);
    const auto largestStep = [](const std::vector<float>& samples, std::size_t from, std::size_t to) {
        float largest = 0;
        for (std::size_t i = from; i < to; ++i)
            largest = std::max(largest, std::fabs(samples[i + 1] - samples[i]));
        return largest;
    };
    const WholeLoop loop{kStart, kEnd};
    const float click = std::fabs(frames[kEnd - 1] - frames[kStart]);
    ASSERT_GT(click, 0.3f);
    test::RecordingInterface ui;
    WaveformFilter filter{
        .sections = designButterworth(FilterKind::LowPass, 4, 200, 44100), .loop = loop, .blend = 220};
    ASSERT_TRUE(filterFrames(frames, 1, filter, ui));
    const std::vector<float> heard = played(frames, loop, 3);
    // The click has become part of the sound that is filtered; without a step left at either join.
    EXPECT_LT(largestStep(heard, 100, heard.size() - 1), 0.03f);
    EXPECT_LT(std::fabs(frames[kEnd - 1] - frames[kStart]), 0.03f);
    EXPECT_LT(std::fabs(frames[kStart - 1] - frames[kStart]), 0.03f);
}

TEST(WaveformFilter, ZeroPhaseIsTheSameBothWays) {
    std::vector<float> forwards = test::noise(5000, 9, 0.5f), backwards(forwards.rbegin(), forwards.rend());
    const WaveformFilter filter{.sections = designButterworth(FilterKind::HighPass, 3, 300, 44100),
                                .zeroPhase = true};
    test::RecordingInterface ui;
    ASSERT_TRUE(filterFrames(forwards, 1, filter, ui));
    ASSERT_TRUE(filterFrames(backwards, 1, filter, ui));
    // Only from silence to silence: what would ring before the data is cut off on either side.
    for (std::size_t i = 0; i < forwards.size(); ++i)
        ASSERT_NEAR(forwards[i], backwards[forwards.size() - 1 - i], 2e-5) << i;
}

TEST(WaveformFilter, StandsTheShortestAndStrangestLoops) {
    const float inf = std::numeric_limits<float>::infinity();
    for (const std::size_t length : {std::size_t{1}, std::size_t{2}, std::size_t{7}}) {
        for (const bool zeroPhase : {false, true}) {
            for (const double frequency : {0.06, 100.0, 22049.0}) {
                std::vector<float> frames(2 * 7, 0.5f);
                frames[3] = inf;
                frames[5] = std::nanf("");
                test::RecordingInterface ui;
                ASSERT_TRUE(
                    filterFrames(frames, 2,
                                 {.sections = designButterworth(FilterKind::HighPass, 8, frequency, 44100),
                                  .zeroPhase = zeroPhase,
                                  .loop = WholeLoop{7 - length, 7},
                                  .blend = 100},
                                 ui));
                for (const float sample : frames)
                    EXPECT_TRUE(std::isfinite(sample) && std::fabs(sample) < 100)
                        << sample << " " << length << " " << frequency;
            }
        }
    }
}

}  // namespace
}  // namespace velor
