// What tuning changes, and what it says.
#include "dsp/pitch_tuning.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "base/error.h"
#include "test_tools.h"

namespace velor {
namespace {

struct Tuning : testing::Test {
    // A second of a sine.
    Waveform& sine(double frequency, std::uint8_t rootKey, std::int8_t fineTune) {
        std::vector<float> samples(44100);
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<float>(
                0.5 * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / 44100));
        Waveform& waveform = *test::addWaveform(collection, "sine", samples);
        waveform.rootKey = rootKey;
        waveform.fineTune = fineTune;
        return waveform;
    }
    // Cents by which the waveform, played on its root key, misses that key.
    static double playedOff(Waveform& waveform) {
        DetectedPitch pitch;
        EXPECT_TRUE(detectPitch(waveform, pitch));
        return 1200 * std::log2(static_cast<double>(pitch.frequency) / keyFrequency(waveform.rootKey)) +
               static_cast<double>(waveform.tuningCents());
    }

    Collection collection;
    test::RecordingInterface ui;
};

TEST_F(Tuning, EachWayPutsTheWaveformInTune) {
    for (const double frequency : {101.0, 440.0, 1000.0}) {
        for (const std::size_t answer : {0u, 1u, 2u}) {
            Waveform& waveform = sine(frequency, 62, 7);
            waveform.tuning = 0.25f;
            ui.answer = answer;
            EXPECT_EQ(autoTune(waveform, {}, ui), AutoTuneResult::Tuned);
            const double off = playedOff(waveform);
            if (answer == 1)  // whole semitones remain
                EXPECT_NEAR(std::remainder(off, 100), 0, 0.6) << frequency;
            else
                EXPECT_NEAR(off, 0, answer == 2 ? 0.7 : 0.6) << frequency << " by " << answer;
            EXPECT_EQ(waveform.rootKey == 62, answer != 0);
            EXPECT_EQ(waveform.sampleRate == 44100, answer != 2);
        }
    }
}

TEST_F(Tuning, SaysWhatItFound) {
    Waveform& waveform = sine(440 * std::exp2(-30.0 / 1200), 60, -5);
    ui.answer = 3;
    EXPECT_EQ(autoTune(waveform, {}, ui), AutoTuneResult::Cancelled);
    ASSERT_EQ(ui.questions.size(), 1u);
    EXPECT_EQ(ui.questions[0],
              "Detected fundamental pitch:\tA4 +30 cents (432.4 Hz)\n\n"
              "Current waveform tuning is:\tC4 -5 cents (262.4 Hz)\n\n"
              "Tuning needs to be adjusted by:\t8 semitones, 65 cents\n\n"
              "Adjust the tuning by changing the...");
    EXPECT_EQ(waveform.fineTune, -5);

    Waveform& tuned = sine(440, 69, 0);
    EXPECT_EQ(autoTune(tuned, {}, ui), AutoTuneResult::Unchanged);
    EXPECT_EQ(ui.reports.back(), "Already perfectly tuned!");

    Waveform& octave = sine(440, 81, 0);
    ui.answer = 1;
    EXPECT_EQ(autoTune(octave, {}, ui), AutoTuneResult::Unchanged);
    EXPECT_NE(ui.questions.back().find("A4 \u00b10 cents (440.0 Hz)"), std::string::npos);
    EXPECT_NE(ui.questions.back().find("-12 semitones, 0 cents"), std::string::npos);

    Waveform& silent = *test::addWaveform(collection, "silent", std::vector<float>(5000));
    EXPECT_EQ(autoTune(silent, {}, ui), AutoTuneResult::Failed);
    EXPECT_EQ(ui.reports.back(), "Auto-Tuning failed!");
}

TEST_F(Tuning, DominantFrequencyIsThatOfTheStrongestPartial) {
    Waveform& waveform = sine(220, 57, 10);
    for (int i = 0; i < 44100; ++i)  // a stronger octave
        waveform.samples()[static_cast<std::size_t>(i)] +=
            static_cast<float>(0.6 * std::sin(2 * std::numbers::pi * 444 * i / 44100.0));
    std::string text;
    ASSERT_TRUE(dominantFrequencyText(waveform, {}, text));
    EXPECT_EQ(text,
              "Fourier analysis shows the dominant frequency is:\n\n\t444.0 HZ\n\nWhich corresponds to the "
              "tone:\n\n\tA4 plus 16 cents\n\nThe currently set root key is for the tone:\n\n\tA3 minus 10 "
              "cents\n\nNB: Root key 'fine-tune' is the negative of this.");
    EXPECT_FALSE(dominantFrequencyText(*test::addWaveform(collection, "", {}), {}, text));
    EXPECT_EQ(LastErrorText, "Auto-Tuning failed!");
}

}  // namespace
}  // namespace velor
