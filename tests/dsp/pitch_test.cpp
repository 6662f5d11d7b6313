// The pitch of synthetic tones, whose frequency is exact, and of real notes, whose banks say it.
#include "dsp/pitch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>

#include "base/error.h"
#include "real_notes.h"
#include "test_tools.h"

namespace velor {
namespace {

constexpr std::uint32_t kRate = 44100;

struct Tone {
    double frequency = 440;
    double seconds = 1.1;
    int firstHarmonic = 1;
    double rolloff = 1;  // amplitudes of 1/h^rolloff
    double noise = 0;
    double inharmonicity = 0;  // B of h f sqrt(1 + B h^2)
    double vibratoCents = 0;
    double decay = 0;  // per second
    unsigned seed = 1;
};

std::vector<float> make(const Tone& tone) {
    std::mt19937 random(tone.seed);
    std::uniform_real_distribution<double> uniform(0, 1);
    std::normal_distribution<double> normal;
    const auto frames = static_cast<std::size_t>(tone.seconds * kRate);
    std::vector<double> turns(frames);  // of the fundamental, in radians
    double turned = 0;
    for (std::size_t i = 0; i < frames; ++i) {
        turns[i] = turned;
        const double t = static_cast<double>(i) / kRate;
        const double cents = tone.vibratoCents * std::sin(2 * std::numbers::pi * 5.5 * t);
        turned += 2 * std::numbers::pi * tone.frequency * std::exp2(cents / 1200) / kRate;
    }
    std::vector<double> sum(frames);
    for (int h = tone.firstHarmonic; h <= tone.firstHarmonic + 11; ++h) {
        const double ratio = h * std::sqrt(1 + tone.inharmonicity * h * h);
        if (ratio * tone.frequency > 0.45 * kRate && h > tone.firstHarmonic)
            break;
        double amplitude = std::pow(h, -tone.rolloff) * (0.5 + uniform(random));
        const double phase = 2 * std::numbers::pi * uniform(random);
        const double fade = std::exp(-tone.decay * h / kRate);
        for (std::size_t i = 0; i < frames; ++i, amplitude *= fade)
            sum[i] += amplitude * std::sin(ratio * turns[i] + phase);
    }
    std::vector<float> samples(frames);
    for (std::size_t i = 0; i < frames; ++i)
        samples[i] = static_cast<float>(0.2 * (sum[i] + tone.noise * normal(random)));
    return samples;
}

double centsOff(const std::vector<float>& samples, double frequency) {
    DetectedPitch pitch;
    if (!detectPitch(samples, kRate, pitch))
        return 1e6;
    return 1200 * std::log2(static_cast<double>(pitch.frequency) / frequency);
}

double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values.empty() ? 1e6 : values[values.size() / 2];
}

TEST(Pitch, TwoHundredSyntheticNotes) {
    // Forty keys over the range of a piano, five kinds of tone each.
    std::vector<double> steady;
    int rightOctave = 0, notes = 0;
    std::string wrong;
    for (int i = 0; i < 40; ++i) {
        const double key = 24 + i * 2.1;
        const double f = keyFrequency(key);
        const auto seed = static_cast<unsigned>(i + 1);
        const bool low = key < 72;
        const Tone tones[] = {
            {.frequency = f, .seed = seed},
            {.frequency = f,
             .firstHarmonic = low ? 2 : 1,
             .rolloff = 0.5,
             .seed = seed},  // missing fundamental
            {.frequency = f, .noise = 0.1, .seed = seed},
            {.frequency = f, .inharmonicity = low ? 3e-4 : 0, .decay = 0.5, .seed = seed},
            {.frequency = f, .vibratoCents = 20, .seed = seed},
        };
        for (const Tone& tone : tones) {
            const double off = centsOff(make(tone), f);
            ++notes;
            if (std::abs(off) < 100)
                ++rightOctave;
            else
                wrong +=
                    formatText(" key %.1f kind %d: %+.0f cents;", key, static_cast<int>(&tone - tones), off);
            if (&tone - tones < 2)
                steady.push_back(std::abs(off));
        }
    }
    EXPECT_EQ(notes, 200);
    EXPECT_GE(rightOctave, notes * 0.98) << rightOctave << " of " << notes << wrong;
    EXPECT_LT(median(steady), 1) << "cents; worst " << std::ranges::max(steady);
    RecordProperty("rightOctave", rightOctave);
    RecordProperty("medianMillicents", static_cast<int>(1000 * median(steady)));
}

TEST(Pitch, RealNotes) {
    int notes = 0, rightOctave = 0;
    std::vector<double> errors;
    std::string wrong;
    const auto check = [&](Waveform& waveform, double cents) {
        DetectedPitch pitch;
        ++notes;
        const double found = detectPitch(waveform, pitch)
                                 ? 1200 * std::log2(static_cast<double>(pitch.frequency) / kKeyZeroFrequency)
                                 : 1e6;
        errors.push_back(std::abs(found - cents));
        if (errors.back() < 200)
            ++rightOctave;
        else
            wrong += formatText(" %s: %+.0f cents;", waveform.name().c_str(), found - cents);
    };
    for (const char* bank : {"TimGM6mb.sf2", "FluidR3_GM.sf2"})
        test::visitRealNotes(bank, check);
    if (notes == 0)
        GTEST_SKIP() << "needs TimGM6mb.sf2 or FluidR3_GM.sf2";
    EXPECT_GE(notes, 100);
    EXPECT_GE(rightOctave, notes * 0.98) << rightOctave << " of " << notes << ";" << wrong;
    EXPECT_LT(median(errors), 10) << "cents";  // as well as the banks themselves are tuned
    RecordProperty("notes", notes);
    RecordProperty("rightOctave", rightOctave);
    RecordProperty("medianCents", static_cast<int>(100 * median(errors)));
}

TEST(Pitch, OfSinesIsExact) {
    for (const double f : {30.0, 55.0, 261.6256, 440.0, 1234.5, 4186.0, 9000.0})
        EXPECT_LT(std::abs(centsOff(make({.frequency = f, .rolloff = 60}), f)), 0.5) << f;
    DetectedPitch pitch;
    ASSERT_TRUE(detectPitch(make({.rolloff = 60}), kRate, pitch));
    EXPECT_EQ(pitch.key, 69);
    EXPECT_EQ(pitch.cents, 0);
}

TEST(Pitch, WeakFundamentalCounts) {
    // A second harmonic much stronger than the fundamental.
    std::vector<float> samples(kRate);
    for (const double weak : {0.5, 0.1, 0.02}) {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            const double x = 2 * std::numbers::pi * 220 * static_cast<double>(i) / kRate;
            samples[i] =
                static_cast<float>(weak * std::sin(x) + 0.4 * std::sin(2 * x) + weak * std::sin(3 * x));
        }
        EXPECT_NEAR(centsOff(samples, 220), weak > 0.05 ? 0 : 1200, 5) << weak;
    }
}

TEST(Pitch, ShortLoopsArePlayedOn) {
    // One and a half periods, of which one is the loop.
    Collection collection;
    std::vector<float> saw(600);
    for (std::size_t i = 0; i < saw.size(); ++i)
        saw[i] = static_cast<float>(i % 400) / 400 - 0.5f;
    Waveform& waveform = *test::addWaveform(collection, "saw", saw, 1, 44000);
    waveform.setLoop(LoopMode::Forward, 200, 600);
    DetectedPitch pitch;
    ASSERT_TRUE(detectPitch(waveform, pitch));
    EXPECT_NEAR(pitch.frequency, 110, 0.1);
    waveform.setLoop(LoopMode::Forward, std::numeric_limits<double>::quiet_NaN(), 1e300);
    detectPitch(waveform, pitch);  // a loop outside of the data is not played
}

TEST(Pitch, KeysAreFoldedIntoTheKeyboard) {
    EXPECT_EQ(pitchOfFrequency(keyFrequency(108)).key, 108);
    EXPECT_EQ(pitchOfFrequency(keyFrequency(109)).key, 97);
    EXPECT_EQ(pitchOfFrequency(keyFrequency(135, 20)).key, 99);
    EXPECT_EQ(pitchOfFrequency(keyFrequency(135, 20)).cents, 20);
    for (const double key : {-0.2, -4.7, -13.5, 3.4, 127.9, 140.5}) {  // the same tone, octaves apart
        const DetectedPitch pitch = pitchOfFrequency(keyFrequency(key));
        const double octaves = (pitch.key - pitch.cents * 0.01 - key) / 12;
        EXPECT_NEAR(octaves, std::round(octaves), 0.01 / 12) << key;
        EXPECT_LE(pitch.key, 108);
    }
    EXPECT_NEAR(keyFrequency(69, -50), 440 * std::exp2(1.0 / 24), 1e-6);
}

TEST(Pitch, NothingToHearFails) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> fadesToSilence = make({});
    std::fill(fadesToSilence.end() - 20000, fadesToSilence.end(), 0.0f);
    const std::vector<float> cases[] = {{},
                                        {1},
                                        {1, -1, 1, -1, 1, -1, 1},
                                        std::vector<float>(50000),

                                        std::vector<float>(50000, nan),
                                        fadesToSilence};
    for (const auto& samples : cases) {
        for (const std::uint32_t rate : {0u, 1u, 44100u}) {
            LastErrorText.clear();
            DetectedPitch pitch;
            EXPECT_FALSE(detectPitch(monoCopy(samples, 1), rate, pitch)) << samples.size() << " at " << rate;
            EXPECT_EQ(LastErrorText, "Auto-Tuning failed!");
        }
    }
}

TEST(Pitch, SurvivesWhatIsNotANumber) {
    std::vector<float> samples = make({});
    const double before = centsOff(samples, 440);
    samples[20000] = std::numeric_limits<float>::quiet_NaN();
    samples[21000] = std::numeric_limits<float>::infinity();
    EXPECT_NEAR(centsOff(monoCopy(samples, 1), 440), before, 1);
    for (const float extreme : {1e30f, 3e38f, 1e-30f}) {  // no crash, no endless loop
        std::vector<float> scaled = make({.seconds = 0.3});
        for (float& sample : scaled)
            sample *= extreme;
        centsOff(monoCopy(scaled, 1), 440);
    }
}

}  // namespace
}  // namespace velor
