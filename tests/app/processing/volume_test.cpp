// The processes that find and set levels.
#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "app/processing/audio/sample_edit.h"
#include "dsp/level.h"
#include "dsp/loudness.h"
#include "dsp/true_peak.h"
#include "process_tools.h"

namespace velor {
namespace {

// A sine by its peak in dB.
std::vector<float> tone(double frequency, double level, std::size_t frames, int channels = 1,
                        double rate = 44100) {
    return test::sine(frames, rate / frequency, std::pow(10, level / 20), channels);
}

std::map<std::string, double> measuresOf(const ProcessRun& run, std::size_t item = 0) {
    std::map<std::string, double> measures;
    for (const ProcessMeasure& measure : run.items.at(item).measures) {
        if (measure.text.empty())
            measures[measure.what] = measure.value;
    }
    return measures;
}

double loudnessOf(const Waveform& waveform) {
    UserInterface ui;
    Loudness loudness;
    EXPECT_TRUE(measureLoudness(waveform, ui, loudness));
    return loudness.integrated;
}

double truePeakOf(const Waveform& waveform) {
    UserInterface ui;
    float peak = 0;
    EXPECT_TRUE(measureTruePeak(waveform.samples(), waveform.channels, ui, peak));
    return decibelsOfFactor(static_cast<double>(peak));
}

TEST(AdjustVolume, MultipliesTheSelectionAndRampsEvenlyInDecibels) {
    Collection collection;
    Waveform& waveform = *test::addWaveform(collection, "a", std::vector<float>(2 * 1001, 0.25f), 2);
    const SampleBufferRef shared = waveform.buffer();
    test::runNamed("Adjust volume", collection, {"gain=-6.0206", "factor=4"}, FrameSelection{100, 200});
    for (std::size_t frame = 0; frame < 1001; ++frame) {
        ASSERT_NEAR(waveform.samples()[2 * frame + 1], frame >= 100 && frame < 200 ? 0.5 : 0.25, 1e-5);
        ASSERT_EQ(shared->data()[2 * frame], 0.25f) << "what others share is not written to";
    }
    test::addWaveform(collection, "b", std::vector<float>(1001, 0.5f), 1);
    test::runNamed("Adjust volume", collection, {"gain=-40", "end-gain=0", "ramp"}, FrameSelection{5, 5});
    const std::span<const float> ramp = collection.all<Waveform>()[1]->samples();
    for (const std::size_t frame : {0, 1, 500, 999, 1000})
        EXPECT_NEAR(decibelsOfFactor(ramp[frame] / 0.5), -40 + 0.04 * static_cast<double>(frame), 1e-4)
            << frame;
}

TEST(AdjustVolume, WarnsClipsOrLimits) {
    const auto run = [](const char* above, test::RecordingInterface& ui) {
        Collection collection;
        Waveform& waveform = *test::addWaveform(collection, "a", tone(100, -1, 5000));
        test::runNamed("Adjust volume", collection, {"gain=12", std::string("above-full-scale=") + above}, {},
                       &ui);
        return test::samplesOf(waveform);
    };
    test::RecordingInterface keeping, others;
    EXPECT_NEAR(decibelsOfFactor(static_cast<double>(peakOf(run("keep", keeping)))), 11, 0.01);
    ASSERT_EQ(keeping.warnings.size(), 1u);
    EXPECT_EQ(keeping.warnings[0],
              "\"a\" now peaks 11.00 dB above full scale; files of integer samples will clip it");
    EXPECT_EQ(peakOf(run("clip", others)), 1);
    const std::vector<float> limited = run("limit", others), kept = run("keep", keeping);
    EXPECT_LT(peakOf(limited), 1.00001f);
    EXPECT_TRUE(others.warnings.empty());
    for (std::size_t i = 0; i < limited.size(); ++i) {  // soft: in order, and untouched where it is quiet
        EXPECT_LE(std::fabs(limited[i]), std::fabs(kept[i]) + 1e-6f);
        if (std::fabs(kept[i]) < 0.69f) {
            EXPECT_NEAR(limited[i], kept[i], 1e-6f);
        }
    }
}

TEST(AdjustVolume, ChangesTheGainSettingInstead) {
    Collection collection;
    Waveform& waveform = *test::addWaveform(collection, "a", tone(100, -1, 500));
    const SampleBuffer* before = waveform.buffer().get();
    waveform.gain = -2;
    test::runNamed("Adjust volume", collection, {"gain=3", "apply-to=gain"});
    EXPECT_NEAR(waveform.gain, 1, 1e-5);
    for (const auto& bad : {std::vector<std::string>{"apply-to=gain", "ramp"}, {"apply-to=gain", "factor=0"}})
        EXPECT_EQ(test::runNamed("Adjust volume", collection, bad).failed, 1u);
    for (const char* above : {"keep", "clip"}) {
        const std::string setting = std::string("above-full-scale=") + above;
        EXPECT_EQ(test::runNamed("Adjust volume", collection, {setting}).changed, 0u) << "nothing to do";
    }
    EXPECT_EQ(waveform.buffer().get(), before);
}

TEST(FindVolume, ReportsAllLevels) {
    Collection collection;
    Waveform& waveform =
        *test::addWaveform(collection, "sine", tone(997, -20, 48000 * 4, 2, 48000), 2, 48000);
    waveform.gain = 2;
    const ProcessRun run = test::runNamed("Find volume", collection);
    EXPECT_EQ(run.changed, 0u);
    auto found = measuresOf(run);
    EXPECT_NEAR(found.at("peak"), -20, 0.01);
    EXPECT_NEAR(found.at("true peak"), -20, 0.05);
    EXPECT_NEAR(found.at("RMS level"), -23.01, 0.01);
    for (const char* what : {"loudness", "highest momentary loudness", "highest short-term loudness"})
        EXPECT_NEAR(found.at(what), -20, 0.1) << what;
    EXPECT_NEAR(found.at("loudness range"), 0, 0.1);
    EXPECT_NEAR(measuresOf(test::runNamed("Find volume", collection, {"with-gain"})).at("loudness"), -18,
                0.1);

    // Nothing at all, silence, and a rate that is none.
    Collection odd;
    test::addWaveform(odd, "empty", {});
    test::addWaveform(odd, "silent", std::vector<float>(50000));
    test::addWaveform(odd, "rate 0", tone(100, 0, 5000))->sampleRate = 0;
    test::addWaveform(odd, "fast", tone(100, 0, 5000))->sampleRate = 2147483648u;
    const ProcessRun odds = test::runNamed("Find volume", odd);
    EXPECT_EQ(odds.failed, 0u);
    EXPECT_EQ(odds.items.at(0).measures.at(0).text, "silence");
    EXPECT_EQ(odds.items.at(1).measures.at(3).text, "silence");
    EXPECT_NEAR(measuresOf(odds, 2).at("peak"), 0, 0.01);
}

TEST(NormalizeVolume, ReachesEveryTarget) {
    const struct {
        std::vector<std::string> settings;
        double loudness, peak, rms;  // 99: not asked for
    } kCases[] = {
        {{}, -18, 99, 99},
        {{"loudness=-23"}, -23, 99, 99},
        {{"measure=rms", "rms=-20"}, 99, 99, -20},
        {{"measure=peak"}, 99, 0, 99},
        {{"measure=peak", "peak=-6"}, 99, -6, 99},
        {{"measure=true-peak", "true-peak=-3"}, 99, -3, 99},
        // The sine may not go beyond -1, whatever is asked for.
        {{"loudness=0"}, -1, -1, 99},
        {{"loudness=0", "limit=0"}, 0, 99, 99},
        {{"measure=rms", "rms=0", "ceiling=-2"}, 99, -2, -5.01},
    };
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.settings.empty() ? "" : test.settings.back());
        Collection collection;
        Waveform& waveform = *test::addWaveform(collection, "a", tone(997, -31, 96000, 2, 48000), 2, 48000);
        waveform.setLoop(LoopMode::Forward, 10, 90000);
        const ProcessRun run = test::runNamed("Normalize volume", collection, test.settings);
        ASSERT_EQ(run.changed, 1u);
        if (test.loudness != 99) {
            EXPECT_NEAR(loudnessOf(waveform), test.loudness, 0.1);
        }
        if (test.peak != 99) {
            EXPECT_NEAR(truePeakOf(waveform), test.peak, 0.05);
        }
        if (test.rms != 99) {
            EXPECT_NEAR(decibelsOfFactor(peakOf(waveform.samples())) - 3.01, test.rms, 0.02);
        }
        EXPECT_EQ(waveform.loopEnd, 90000);
        EXPECT_EQ(test::runNamed("Normalize volume", collection, test.settings).changed, 0u)
            << "once is enough";
    }
}

TEST(NormalizeVolume, KeepsTheBalanceWhenAsked) {
    for (const bool together : {false, true}) {
        Collection collection;
        Waveform& loud = *test::addWaveform(collection, "loud", tone(1000, -30, 44100));
        Waveform& quiet = *test::addWaveform(collection, "quiet", tone(1000, -42, 44100));
        Waveform& silent = *test::addWaveform(collection, "silent", std::vector<float>(44100));
        const SampleBuffer* before = silent.buffer().get();
        const ProcessRun run =
            test::runNamed("Normalize volume", collection, {together ? "balance=together" : "balance=each"});
        EXPECT_NEAR(loudnessOf(loud), -18, 0.05);
        EXPECT_NEAR(loudnessOf(quiet), together ? -30 : -18, 0.05);
        EXPECT_EQ(peakOf(silent.samples()), 0);
        if (!together) {
            EXPECT_EQ(silent.buffer().get(), before);
        }
    }
}

TEST(MaximizeAmplitude, ReachesFullScaleAndLeavesWhatIsThere) {
    Collection collection;
    Waveform& quiet = *test::addWaveform(collection, "quiet", {0.1f, -0.2f, 0});
    Waveform& beyond = *test::addWaveform(collection, "beyond", {4, -2, 1});
    Waveform& full = *test::addWaveform(collection, "full", {32767 / 32768.0f, 0.3f});
    test::addWaveform(collection, "silent", {0, 0});
    test::addWaveform(collection, "nearly silent", {1e-44f, 0});
    test::addWaveform(collection, "empty", {});
    const float before = full.samples()[1];
    EXPECT_EQ(test::runNamed("Maximize amplitude", collection).changed, 2u);
    constexpr float kFull = 32767 / 32768.0f;  // of 16 bits
    EXPECT_FLOAT_EQ(quiet.samples()[1], -kFull);
    EXPECT_FLOAT_EQ(quiet.samples()[0], kFull / 2);
    EXPECT_FLOAT_EQ(beyond.samples()[0], kFull);
    EXPECT_EQ(full.samples()[1], before);

    Collection list;
    const Waveform& first = *test::addWaveform(list, "first", {0.1f});
    const Waveform& second = *test::addWaveform(list, "second", {-0.25f});
    test::runNamed("Maximize amplitude", list, {"together"});
    EXPECT_NEAR(first.samples()[0], 0.4, 1e-4);
    EXPECT_NEAR(second.samples()[0], -1, 1e-4);
}

TEST(RemoveDc, TakesTheOffsetOfEachChannel) {
    for (const char* method : {"method=mean", "method=high-pass"}) {
        Collection collection;
        std::vector<float> samples = tone(441, -12, 44100, 2);
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] += i % 2 ? -0.05f : 0.125f;
        Waveform& waveform = *test::addWaveform(collection, "a", samples, 2);
        waveform.setLoop(LoopMode::Forward, 22100, 44100);
        const ProcessRun run = test::runNamed("Remove DC offset", collection, {method});
        EXPECT_NEAR(measuresOf(run).at("offset left"), 12.5, 0.001);
        EXPECT_NEAR(measuresOf(run).at("offset right"), -5, 0.001);
        // Within the loop of whole periods, which the high-pass has taken to its end state.
        double sums[2] = {}, power = 0;
        for (std::size_t i = 44200; i < samples.size(); ++i) {
            sums[i % 2] += static_cast<double>(waveform.samples()[i]);
            power += static_cast<double>(waveform.samples()[i] * waveform.samples()[i]);
        }
        EXPECT_NEAR(sums[0] / 22000, 0, 1e-6) << method;
        EXPECT_NEAR(sums[1] / 22000, 0, 1e-6) << method;
        EXPECT_NEAR(10 * std::log10(power / 44000), -15.01, 0.02) << method;
        EXPECT_LT(std::fabs(waveform.samples()[0]), 0.001f) << "no step at the start: " << method;
        if (std::string(method) == "method=mean") {
            EXPECT_EQ(test::runNamed("Remove DC offset", collection).changed, 0u);
        }
    }
}

}  // namespace
}  // namespace velor
