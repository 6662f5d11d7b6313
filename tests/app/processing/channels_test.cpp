// The processes that make channels of others, mix waveforms, and count.
#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "base/error.h"
#include "dsp/level.h"
#include "process_tools.h"

namespace velor {
namespace {

using test::samplesOf;

TEST(Channels, MonoStereoAndSwap) {
    const struct {
        std::vector<std::string> settings;
        std::vector<float> wanted;
    } kCases[] = {{{}, {0.375f, -0.125f}},
                  {{"channel=left"}, {0.5f, -0.5f}},
                  {{"channel=right"}, {0.25f, 0.25f}},
                  {{"channel=side"}, {0.125f, -0.375f}},
                  {{"channel=mix", "left=100", "right=-200"}, {0, -1}}};
    for (const auto& test : kCases) {
        Collection collection;
        Waveform& waveform = *test::addWaveform(collection, "a", {0.5f, 0.25f, -0.5f, 0.25f}, 2, 2147483647);
        waveform.setLoop(LoopMode::Forward, 0, 2);
        EXPECT_EQ(test::runNamed("Convert to mono", collection, test.settings).changed, 1u);
        EXPECT_EQ(samplesOf(waveform), test.wanted);
        EXPECT_EQ(waveform.channels, 1);
        EXPECT_EQ(waveform.sampleRate, 2147483647u);
        EXPECT_TRUE(waveform.looped);
        EXPECT_EQ(test::runNamed("Convert to mono", collection).changed, 0u);
        EXPECT_EQ(test::runNamed("Swap left and right channels", collection).changed, 0u);
        // There and back.
        EXPECT_EQ(test::runNamed("Convert to stereo", collection).changed, 1u);
        EXPECT_EQ(waveform.channels, 2);
        EXPECT_EQ(test::runNamed("Convert to stereo", collection).changed, 0u);
        test::runNamed("Convert to mono", collection);
        EXPECT_EQ(samplesOf(waveform), test.wanted);
    }
    Collection collection;
    Waveform& waveform = *test::addWaveform(collection, "a", {1, 2, 3, 4}, 2);
    Waveform& mono = *test::addWaveform(collection, "b", {1});
    test::addWaveform(collection, "empty", {}, 2);
    test::runNamed("Swap left and right channels", collection);
    EXPECT_EQ(samplesOf(waveform), (std::vector<float>{2, 1, 4, 3}));
    test::runNamed("Convert to stereo", collection, {"level=same-power"});
    EXPECT_FLOAT_EQ(mono.samples()[0] * mono.samples()[0] + mono.samples()[1] * mono.samples()[1], 1);
}

struct Mixing : testing::Test {
    ProcessRun mix(const std::vector<std::string>& pairs, const Waveform* into = nullptr) {
        return test::runItems("Mix out = a*wave1 + b*wave2 + c", collection, {(into ? into : &one)->id()},
                              pairs, {}, &ui);
    }
    Collection collection;
    Waveform& one = *test::addWaveform(collection, "one", {0.1f, 0.2f, 0.3f, 0.4f});
    Waveform& two = *test::addWaveform(collection, "two", {0.5f, 0.1f, 0.25f, 0.75f}, 2);
    test::RecordingInterface ui;
};

TEST_F(Mixing, AddsLengthsOffsetsAndChannels) {
    const struct {
        std::vector<std::string> settings;
        std::vector<float> wanted;
        double loopEnd;
    } kCases[] = {
        {{"wave=two"}, {0.6f, 0.2f, 0.45f, 0.95f, 0.3f, 0.3f, 0.4f, 0.4f}, 4},
        {{"wave=#2", "channels=first"}, {0.4f, 0.7f, 0.3f, 0.4f}, 4},
        {{"wave=two", "channels=first", "a=2", "b=-1", "c=0.5"}, {0.4f, 0.4f, 1.1f, 1.3f}, 4},
        {{"wave=two", "channels=first", "offset=3"}, {0.1f, 0.2f, 0.3f, 0.7f}, 4},
        {{"wave=two", "channels=first", "offset=3", "length=longest"}, {0.1f, 0.2f, 0.3f, 0.7f, 0.5f}, 4},
        {{"wave=two", "channels=first", "offset=-1", "length=shortest"}, {0.6f}, 0},
        {{"wave=two", "channels=first", "length=shortest"}, {0.4f, 0.7f}, 2},
        {{"wave=one", "b=-1"}, {0, 0, 0, 0}, 4},
    };
    one.setLoop(LoopMode::Forward, 1, 4);
    const auto original = samplesOf(one);
    for (const auto& test : kCases) {
        Collection keeper;
        Waveform* before = keeper.create<Waveform>("");
        before->copyContentFrom(one);
        ASSERT_EQ(mix(test.settings).changed, 1u) << LastErrorText;
        ASSERT_EQ(one.samples().size(), test.wanted.size()) << test.settings.back();
        for (std::size_t i = 0; i < test.wanted.size(); ++i)
            EXPECT_NEAR(one.samples()[i], test.wanted[i], 1e-6) << test.settings.back() << " " << i;
        EXPECT_EQ(one.loopEnd, test.loopEnd) << test.settings.back();
        one.copyContentFrom(*before);
        EXPECT_EQ(samplesOf(two), (std::vector<float>{0.5f, 0.1f, 0.25f, 0.75f}));
    }
    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{}, {"wave=three"}, {"wave=two", "offset=4294967295", "length=longest"}}) {
        EXPECT_EQ(mix(bad).failed, 1u);
        EXPECT_EQ(samplesOf(one), original);
    }
}

TEST_F(Mixing, ResamplesAndDoesNotClip) {
    const auto tone = [](int rate) { return test::sine(rate, rate / 440.0, 2); };
    Waveform& fast = *test::addWaveform(collection, "fast", tone(48000), 1, 48000);
    Waveform& slow = *test::addWaveform(collection, "slow", tone(32000), 1, 32000);
    ASSERT_EQ(mix({"wave=fast", "b=-1"}, &slow).changed, 1u);
    EXPECT_LT(peakOf(slow.samples().subspan(1000, 30000)), 1e-3f) << "the same tone of twice full scale";
    EXPECT_EQ(fast.frames, 48000u);
    ASSERT_EQ(mix({"wave=fast"}, &slow).changed, 1u);
    EXPECT_EQ(ui.warnings.size(), 0u) << "no louder than the other was";
}

std::map<std::string, std::string> statisticsOf(Collection& collection,
                                                const std::vector<std::string>& pairs = {}) {
    std::map<std::string, std::string> texts;
    const ProcessRun run = test::runNamed("Statistics", collection, pairs);
    EXPECT_EQ(run.changed, 0u);
    for (const ProcessMeasure& measure : run.items.at(0).measures) {
        EXPECT_FALSE(texts.contains(measure.what)) << measure.what;
        char number[64];
        std::snprintf(number, sizeof number, "%.4g", measure.value);
        texts[measure.what] = measure.text.empty() ? number : measure.text;
    }
    return texts;
}

TEST(Statistics, CountsWhatIsThere) {
    Collection collection;
    const float full = 32767 / 32768.0f;
    // left: silence, then a clipped wave; right: its mirror image, less by half
    std::vector<float> samples;
    for (const float left :
         {0.0f, 0.0f, 0.5f, full, full, full, 0.25f, -0.5f, -1.0f, -1.0f, 0.0f, 0.5f, 0.0f}) {
        samples.push_back(left);
        samples.push_back(-left / 2);
    }
    test::addWaveform(collection, "a", samples, 2, 1000);
    auto found = statisticsOf(collection);
    const std::pair<const char*, const char*> kWanted[] = {
        {"frames", "13"},
        {"duration", "0.013"},
        {"highest sample left", "1"},
        {"frame of the highest left", "3"},
        {"lowest sample left", "-1"},
        {"frame of the lowest left", "8"},
        {"samples at full scale left", "5"},
        {"longest run at full scale left", "3"},
        {"zero crossings left", "2"},
        {"samples at full scale right", "0"},
        {"correlation of the channels", "-1"},
        {"silence at the start", "0.002"},
        {"silence at the end", "0.001"},
        {"bits used", "17"},
    };
    for (const auto& [what, value] : kWanted)
        EXPECT_EQ(found[what], value) << what;
    EXPECT_EQ(statisticsOf(collection, {"silence=-5"})["silence at the start"], "0.003");

    Collection odd;
    test::addWaveform(odd, "odd", {std::nanf(""), std::numeric_limits<float>::infinity(), 0.1f});
    found = statisticsOf(odd);
    EXPECT_EQ(found["samples that are no numbers"], "1");
    EXPECT_EQ(found["infinite samples"], "1");
    EXPECT_EQ(found["highest sample"], "0.1");
    EXPECT_EQ(found["bits used"], "28") << "0.1 as a float is a number of 27 binary places";
    Collection eight;
    test::addWaveform(eight, "eight", {3 / 128.0f, -1.0f, 1.0f - 1 / 128.0f});
    EXPECT_EQ(statisticsOf(eight)["bits used"], "8");
}

}  // namespace
}  // namespace velor
