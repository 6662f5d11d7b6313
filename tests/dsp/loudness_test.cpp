// Loudness and true peak with the signals of EBU Tech 3341 and 3342, and beside FFmpeg.
#include "dsp/loudness.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "dsp/true_peak.h"
#include "wave_tools.h"

namespace velor {
namespace {

constexpr double kPi = std::numbers::pi;

TEST(KWeighting, HasTheCoefficientsOfTheRecommendation) {
    // BS.1770-4, tables 1 and 2, for 48 kHz.
    const std::vector<BiquadSection> made = kWeighting(48000);
    ASSERT_EQ(made.size(), 2u);
    const BiquadSection wanted[] = {
        {1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241, 0.73248077421585},
        {1, -2, 1, -1.99004745483398, 0.99007225036621}};
    for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_NEAR(made[i].b0, wanted[i].b0, 1e-7);
        EXPECT_NEAR(made[i].b1, wanted[i].b1, 1e-7);
        EXPECT_NEAR(made[i].b2, wanted[i].b2, 1e-7);
        EXPECT_NEAR(made[i].a1, wanted[i].a1, 1e-7);
        EXPECT_NEAR(made[i].a2, wanted[i].a2, 1e-7);
    }
}

struct Tone {
    double level;  // dBFS of the sine's peak
    double seconds;
};

// A 1 kHz sine on both channels, level after level.
Loudness loudnessOf(const std::vector<Tone>& tones, double rate = 48000, unsigned channels = 2) {
    LoudnessMeter meter(channels, rate);
    std::size_t frame = 0;
    double end = 0;
    for (const Tone& tone : tones) {
        end += tone.seconds * rate;
        std::vector<float> samples;
        for (; static_cast<double>(frame) < end; ++frame) {
            const double value =
                std::pow(10, tone.level / 20) * std::sin(2 * kPi * 1000 * static_cast<double>(frame) / rate);
            samples.insert(samples.end(), channels, static_cast<float>(value));
        }
        meter.add(samples);
    }
    return meter.result();
}

std::vector<Tone> repeated(std::vector<Tone> tones, int times) {
    std::vector<Tone> all;
    for (int i = 0; i < times; ++i)
        all.insert(all.end(), tones.begin(), tones.end());
    return all;
}

TEST(Loudness, MeetsTech3341) {
    const struct {
        const char* name;
        std::vector<Tone> tones;
        double integrated, momentary, shortTerm;  // 0: not asked for
    } kCases[] = {
        {"1", {{-23, 20}}, -23, -23, -23},
        {"2", {{-33, 20}}, -33, -33, -33},
        {"3", {{-36, 10}, {-23, 60}, {-36, 10}}, -23, 0, 0},
        {"4", {{-72, 10}, {-36, 10}, {-23, 60}, {-36, 10}, {-72, 10}}, -23, 0, 0},
        {"5", {{-26, 20}, {-20, 20.1}, {-26, 20}}, -23, 0, 0},
        {"9", repeated({{-20, 1.34}, {-30, 1.66}}, 5), 0, 0, -23},
        {"12", repeated({{-20, 0.18}, {-30, 0.22}}, 25), 0, -23, 0},
    };
    for (const auto& test : kCases) {
        const Loudness found = loudnessOf(test.tones);
        if (test.integrated != 0) {
            EXPECT_NEAR(found.integrated, test.integrated, 0.1) << test.name;
        }
        if (test.momentary != 0) {
            EXPECT_NEAR(found.momentary, test.momentary, 0.1) << test.name;
        }
        if (test.shortTerm != 0) {
            EXPECT_NEAR(found.shortTerm, test.shortTerm, 0.1) << test.name;
        }
    }
    // Cases 10 and 13: a tone of one window's length at many places of the steps reads fully each time.
    for (int i = 0; i < 20; ++i) {
        EXPECT_NEAR(loudnessOf({{-200, 0.15 * i}, {-23, 3}, {-200, 1}}).shortTerm, -23, 0.1) << i;
        EXPECT_NEAR(loudnessOf({{-200, 0.02 * i}, {-23, 0.4}, {-200, 1}}).momentary, -23, 0.7) << i;
    }
}

TEST(Loudness, MeetsTech3342) {
    const struct {
        std::vector<Tone> tones;
        double range;
    } kCases[] = {{{{-20, 20}, {-30, 20}}, 10},
                  {{{-20, 20}, {-15, 20}}, 5},
                  {{{-40, 20}, {-20, 20}}, 20},
                  {{{-50, 20}, {-35, 20}, {-20, 20}, {-35, 20}, {-50, 20}}, 15}};
    for (const auto& test : kCases) {
        const Loudness found = loudnessOf(test.tones);
        ASSERT_TRUE(found.range);
        EXPECT_NEAR(*found.range, test.range, 1);
    }
}

TEST(Loudness, DoesNotDependOnRateAndCountsOneChannelOnce) {
    for (const double rate : {8000.0, 11025.0, 44100.0, 96000.0, 192000.0}) {
        EXPECT_NEAR(loudnessOf({{-23, 5}}, rate).integrated, -23, 0.1) << rate;
        EXPECT_NEAR(loudnessOf({{-23, 5}}, rate, 1).integrated, -26, 0.1) << rate;
    }
}

TEST(Loudness, OfShortSoundsIsWhatAMeterShows) {
    const double full = loudnessOf({{-20, 10}}).momentary;
    for (const double seconds : {0.001, 0.05, 0.25, 0.39}) {
        const Loudness alone = loudnessOf({{-20, seconds}});
        const Loudness followed = loudnessOf({{-20, seconds}, {-300, 5}});
        EXPECT_NEAR(alone.momentary, followed.momentary, 0.2) << seconds;
        EXPECT_NEAR(alone.shortTerm, followed.shortTerm, 0.2) << seconds;
        EXPECT_EQ(alone.integrated, alone.momentary);
        EXPECT_FALSE(alone.range);
        if (seconds >= 0.05) {
            EXPECT_NEAR(alone.momentary, full + 10 * std::log10(seconds / 0.4), 0.2) << seconds;
        }
    }
    for (const std::vector<Tone>& silent : {std::vector<Tone>{}, {{-300, 0.1}}, {{-300, 5}}, {{-80, 5}}})
        EXPECT_EQ(loudnessOf(silent).integrated, Loudness::kSilence);

    // One period that is looped is as loud as the sound it stands for.
    Collection collection;
    Waveform& waveform = *test::addWaveform(collection, "period", test::sine(48, 48, 0.1), 1, 48000);
    test::RecordingInterface ui;
    Loudness once, looped;
    ASSERT_TRUE(measureLoudness(waveform, ui, once));
    waveform.setLoop(LoopMode::Forward, 0, 48);
    ASSERT_TRUE(measureLoudness(waveform, ui, looped));
    EXPECT_NEAR(looped.integrated, loudnessOf({{-20, 10}}, 48000, 1).integrated, 0.1);
    EXPECT_LT(once.integrated, looped.integrated - 20);
    waveform.sampleRate = 0;
    EXPECT_FALSE(measureLoudness(waveform, ui, once));
}

float truePeakOf(const std::vector<float>& samples, unsigned channels = 1) {
    test::RecordingInterface ui;
    float peak = -1;
    EXPECT_TRUE(measureTruePeak(samples, channels, ui, peak));
    return peak;
}

TEST(TruePeak, MeetsTech3341) {
    // Cases 15 to 19: sines whose samples miss their peaks.
    const struct {
        double divisor, phase, amplitude, wanted;
    } kCases[] = {{4, 0, 0.5, -6}, {4, 45, 0.5, -6}, {6, 60, 0.5, -6}, {8, 67.5, 0.5, -6}, {4, 45, 1.41, 3}};
    for (const auto& test : kCases) {
        std::vector<float> samples(2 * 48000);
        for (std::size_t i = 0; i < 48000; ++i) {
            // Faded, as the beginning of a sine has peaks of its own.
            const double fade =
                std::min({1.0, static_cast<double>(i) / 4800, static_cast<double>(48000 - i) / 4800});
            samples[2 * i + 1] = static_cast<float>(
                fade * test.amplitude *
                std::sin(2 * kPi * static_cast<double>(i) / test.divisor + test.phase * kPi / 180));
        }
        const double found = 20 * std::log10(truePeakOf(samples, 2));
        EXPECT_GE(found, test.wanted - 0.4) << test.divisor << " " << test.phase;
        EXPECT_LE(found, test.wanted + 0.2) << test.divisor << " " << test.phase;
    }
    // Like cases 20 to 23: a band-limited pulse of full scale, whose peak lies on or between the samples.
    for (int quarter = 0; quarter < 4; ++quarter) {
        std::vector<float> samples(400);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const double x = static_cast<double>(i) - 200 - quarter / 4.0, y = 0.6 * kPi * x;
            samples[i] = static_cast<float>(x == 0 ? 1 : std::sin(y) / y * std::exp(-x * x / 2000));
        }
        EXPECT_NEAR(20 * std::log10(truePeakOf(samples)), 0, 0.1) << quarter;
    }
}

TEST(TruePeak, OfHighTonesAndEdges) {
    for (const double share : {0.1, 0.3, 0.4, 0.45}) {
        std::vector<float> samples(40000);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const double fade =
                std::min({1.0, static_cast<double>(i) / 5000, static_cast<double>(40000 - i) / 5000});
            samples[i] = static_cast<float>(fade * std::sin(2 * kPi * share * static_cast<double>(i) + 0.3));
        }
        EXPECT_NEAR(20 * std::log10(truePeakOf(samples)), 0, 0.15) << share;
    }
    EXPECT_EQ(truePeakOf({}), 0);
    EXPECT_EQ(truePeakOf({-0.75f}), 0.75f);
    EXPECT_EQ(truePeakOf(std::vector<float>(100)), 0);
    // The first and last samples are measured against the silence around them.
    EXPECT_GT(truePeakOf({0.7f, 0.7f}), 0.8f);
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(truePeakOf({inf, std::nanf(""), 0.5f, -inf, 0}), 0.5f) << "only numbers count";
}

#ifndef _WIN32
// The summary of FFmpeg's ebur128 filter for a file.
struct Referee {
    double integrated = 0, range = 0, truePeak = 0;
    bool ran = false;
};
Referee askFfmpeg(const std::filesystem::path& file, const std::filesystem::path& log) {
    Referee found;
    if (std::system(("ffmpeg -nostdin -hide_banner -i " + test::quoted(file) +
                     " -af ebur128=peak=true -f null - 2>" + test::quoted(log))
                        .c_str()) != 0)
        return found;
    const std::vector<Byte> bytes = test::readFile(log);
    const std::string text(bytes.begin(), bytes.end());
    const std::size_t summary = text.rfind("Summary:");
    const auto value = [&](const char* key) {
        const std::size_t at = text.find(key, summary);
        return at == std::string::npos ? std::nan("")
                                       : std::atof(text.c_str() + at + std::string(key).size());
    };
    found = {value("I:"), value("LRA:"), value("Peak:"), summary != std::string::npos};
    return found;
}

TEST(Loudness, AgreesWithAnotherMeterOnRealSound) {
    const std::filesystem::path speech = "/usr/share/sounds/alsa/Front_Center.wav";
    if (!test::haveProgram("ffmpeg") || !test::haveProgram("sox") || !std::filesystem::exists(speech))
        GTEST_SKIP() << "no ffmpeg, sox or sound file";
    test::TemporaryFolder folder;
    // Long enough for every window, at three rates, with the levels of a talk.
    const struct {
        const char* made;
        const char* effects;
    } kCases[] = {{"a.wav", "rate 48000 repeat 9"},
                  {"b.wav", "rate 44100 channels 2 repeat 4 gain -6"},
                  {"c.wav", "rate 22050 repeat 6 tremolo 0.05 95"}};
    for (const auto& test : kCases) {
        const std::filesystem::path path = folder / test.made;
        ASSERT_TRUE(test::run("sox -D " + test::quoted(speech) + " -b 24 " + test::quoted(path) + " " +
                              test.effects));
        Collection collection;
        const Waveform* waveform = test::openWaveform(collection, path);
        ASSERT_TRUE(waveform);
        test::RecordingInterface ui;
        Loudness found;
        float peak = 0;
        ASSERT_TRUE(measureLoudness(*waveform, ui, found));
        ASSERT_TRUE(measureTruePeak(waveform->samples(), waveform->channels, ui, peak));
        const Referee referee = askFfmpeg(path, folder / "log");
        ASSERT_TRUE(referee.ran);
        EXPECT_NEAR(found.integrated, referee.integrated, 0.1) << test.made;
        ASSERT_TRUE(found.range);
        EXPECT_NEAR(*found.range, referee.range, 0.3) << test.made;
        EXPECT_NEAR(20 * std::log10(peak), referee.truePeak, 0.2) << test.made;
    }
}
#endif

}  // namespace
}  // namespace velor
