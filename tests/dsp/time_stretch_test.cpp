// Stretched sounds: sines, chords and noise keep their pitch, level and stereo image, attacks their place and
// sharpness, loops their seam. Real drums are compared with what SoX makes of them.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstring>
#include <numbers>
#include <optional>

#include "base/error.h"
#include "dsp/fft.h"
#include "dsp/level.h"
#include "dsp/loop_similarity.h"
#include "dsp/onsets.h"
#include "dsp/time_stretch.h"
#include "wave_tools.h"

namespace velor {
namespace {

using namespace test;
constexpr double kPi = std::numbers::pi;
constexpr double kRate = 44100;

struct TimeStretch : testing::Test {
    // The samples stretched; the map they went by is left in `map`.
    std::vector<float> stretch(const std::vector<float>& samples, StretchOptions options, int channels = 1,
                               std::optional<std::pair<double, double>> loop = {}) {
        Collection collection;
        Waveform* waveform = addWaveform(collection, "sound", samples, channels);
        if (loop)
            waveform->setLoop(LoopMode::Forward, loop->first, loop->second);
        StretchedSound sound = stretched(collection, *waveform, options, ui);
        EXPECT_TRUE(sound.buffer) << LastErrorText;
        if (!sound.buffer)
            return {};
        map = sound.map;
        waveform->installBuffer(sound.buffer);
        moveLoops(collection, *waveform, map);
        loopStart = waveform->loopStart;
        loopEnd = waveform->loopEnd;
        const auto out = sound.buffer->samples();
        return {out.begin(), out.end()};
    }
    UserInterface ui;
    StretchMap map{0, 1, {}, {}};
    double loopStart = 0, loopEnd = 0;
};

template <typename Signal>
std::vector<float> made(std::size_t frames, Signal signal) {
    std::vector<float> samples(frames);
    for (std::size_t i = 0; i < frames; ++i)
        samples[i] = static_cast<float>(signal(static_cast<double>(i) / kRate));
    return samples;
}

double rms(std::span<const float> samples) {
    double sum = 0;
    for (const float sample : samples)
        sum += double{sample} * double{sample};
    return std::sqrt(sum / static_cast<double>(samples.size()));
}
double decibels(double ratio) {
    return 20 * std::log10(ratio);
}

// Without the ends: three quarters of the middle.
std::span<const float> middle(const std::vector<float>& samples) {
    return std::span(samples).subspan(samples.size() / 8, samples.size() * 3 / 4);
}

// Amplitude and phase of a sine of known frequency, seen through a Hann window.
std::complex<double> tone(std::span<const float> samples, double frequency, std::size_t step = 1,
                          std::size_t channel = 0) {
    std::complex<double> sum = 0;
    double weights = 0;
    const std::size_t count = samples.size() / step;
    for (std::size_t i = 0; i < count; ++i) {
        const double window = 1 - std::cos(2 * kPi * static_cast<double>(i) / static_cast<double>(count));
        sum += window * double{samples[i * step + channel]} *
               std::polar(1.0, -2 * kPi * frequency * static_cast<double>(i) / kRate);
        weights += window;
    }
    return 2.0 * sum / weights;
}
// From the phases of two halves.
double measuredFrequency(std::span<const float> samples, double near) {
    const std::size_t half = samples.size() / 2;
    const auto a = tone(samples.first(half), near), b = tone(samples.subspan(half, half), near);
    const double expected = 2 * kPi * near * static_cast<double>(half) / kRate;
    const double turn = std::remainder(std::arg(b) - std::arg(a) - expected, 2 * kPi);
    return near + turn * kRate / (2 * kPi * static_cast<double>(half));
}

constexpr double kRatios[] = {0.25, 0.5, 0.8, 0.97, 1.25, 2, 4};

TEST_F(TimeStretch, SinesKeepFrequencyAndLevel) {
    for (const StretchMode mode : {StretchMode::Music, StretchMode::Solo}) {
        for (const double ratio : kRatios) {
            for (const double frequency : {110.3, 997.0, 5003.7}) {
                const auto sine =
                    made(88200, [&](double t) { return 0.5 * std::sin(2 * kPi * frequency * t); });
                const auto out = stretch(sine, {.ratio = ratio, .mode = mode});
                SCOPED_TRACE(testing::Message()
                             << static_cast<int>(mode) << " " << ratio << " " << frequency);
                ASSERT_EQ(out.size(), static_cast<std::size_t>(std::round(88200 * ratio)));
                const double cents = 1200 * std::log2(measuredFrequency(middle(out), frequency) / frequency);
                EXPECT_NEAR(cents, 0, mode == StretchMode::Music ? 0.05 : 2);
                EXPECT_NEAR(decibels(rms(middle(out)) / rms(middle(sine))), 0, 0.1);
                // Nothing but the sine: what is left without it.
                const double whole = rms(middle(out));
                const double sineOnly =
                    std::abs(tone(middle(out), measuredFrequency(middle(out), frequency)));
                if (mode == StretchMode::Music) {
                    EXPECT_NEAR(sineOnly / std::sqrt(2.0) / whole, 1, 0.002);
                }
            }
        }
    }
}

TEST_F(TimeStretch, ChordsStayPureAndStereoStaysWhereItIs) {
    const double partials[] = {220, 277.5, 330, 441.25};
    std::vector<float> chord(2 * 176400);
    for (std::size_t i = 0; i < chord.size() / 2; ++i) {
        const double t = static_cast<double>(i) / kRate;
        for (std::size_t p = 0; p < 4; ++p) {
            const double pan = 0.2 + 0.2 * static_cast<double>(p);
            chord[2 * i] += static_cast<float>(0.2 * pan * std::sin(2 * kPi * partials[p] * t));
            chord[2 * i + 1] += static_cast<float>(
                0.2 * (1 - pan) * std::sin(2 * kPi * partials[p] * t + 0.5 * static_cast<double>(p)));
        }
    }
    for (const double ratio : {0.5, 1.5, 3.0}) {
        SCOPED_TRACE(ratio);
        const auto out = stretch(chord, {.ratio = ratio, .mode = StretchMode::Music}, 2);
        const std::size_t from = out.size() / 16 * 2;
        const auto inside = std::span(out).subspan(from, out.size() * 3 / 4 / 2 * 2);
        double power = 0;
        for (std::size_t p = 0; p < 4; ++p) {
            const double pan = 0.2 + 0.2 * static_cast<double>(p);
            const auto left = tone(inside, partials[p], 2, 0), right = tone(inside, partials[p], 2, 1);
            EXPECT_NEAR(decibels(std::abs(left) / (0.2 * pan)), 0, 0.2);
            EXPECT_NEAR(
                std::remainder(std::arg(right) - std::arg(left) - 0.5 * static_cast<double>(p), 2 * kPi), 0,
                0.01);
            power += (std::norm(left) + std::norm(right)) / 4;
        }
        // Anything else would be heard as beating or roughness.
        EXPECT_NEAR(power / std::pow(rms(inside), 2), 1, 0.01);
    }
}

// Power in five bands of equal width.
std::array<double, 5> bandPowers(std::span<const float> samples) {
    std::array<double, 5> bands{};
    RealFft fft(2048);
    std::vector<RealFft::Complex> spectrum(fft.bins());
    double count = 0;
    for (std::size_t at = 0; at + 2048 <= samples.size(); at += 2048, ++count) {
        fft.forward(samples.subspan(at, 2048), spectrum);
        for (std::size_t bin = 4; bin < 1024; ++bin)
            bands[bin * 5 / 1024] += static_cast<double>(std::norm(spectrum[bin]));
    }
    for (double& band : bands)
        band /= count;
    return bands;
}

TEST_F(TimeStretch, NoiseKeepsSpectrumAndLevel) {
    std::mt19937 random(1);
    std::normal_distribution<float> normal(0, 0.1f);
    std::vector<float> noise(132300);
    float last = 0;
    for (float& sample : noise)  // a slope towards low frequencies
        sample = last = 0.5f * last + normal(random);
    for (const StretchMode mode : {StretchMode::Music, StretchMode::Solo}) {
        for (const double ratio : kRatios) {
            const auto out = stretch(noise, {.ratio = ratio, .mode = mode});
            const auto before = bandPowers(noise), after = bandPowers(middle(out));
            for (std::size_t band = 0; band < before.size(); ++band)
                EXPECT_NEAR(decibels(std::sqrt(after[band] / before[band])), 0,
                            mode == StretchMode::Music ? 0.6 : 1.5)
                    << static_cast<int>(mode) << " " << ratio << " band " << band;
        }
    }
}

TEST_F(TimeStretch, ClicksKeepTheirNumberPlaceAndSharpness) {
    std::mt19937 random(2);
    for (const StretchMode mode : {StretchMode::Music, StretchMode::Solo}) {
        for (const double ratio : {0.5, 0.8, 1.25, 2.0, 4.0}) {
            SCOPED_TRACE(testing::Message() << static_cast<int>(mode) << " " << ratio);
            std::vector<float> clicks(132300);
            for (float& sample : clicks)
                sample = 1e-4f * (static_cast<float>(random() % 2000) / 1000 - 1);
            std::vector<std::size_t> places;
            for (std::size_t at = 5000; at < 130000; at += 9000 + random() % 4000) {
                clicks[at] = 0.9f;
                places.push_back(at);
            }
            const auto out = stretch(clicks, {.ratio = ratio, .mode = mode});
            EXPECT_EQ(std::ranges::count_if(out, [](float sample) { return std::abs(sample) > 0.4f; }),
                      static_cast<std::ptrdiff_t>(places.size()));
            for (const std::size_t place : places) {
                const auto wanted = static_cast<std::ptrdiff_t>(static_cast<double>(place) * ratio);
                const auto near = std::span(out).subspan(static_cast<std::size_t>(wanted - 1500), 3000);
                const auto peak = std::ranges::max_element(
                    near, [](float a, float b) { return std::abs(a) < std::abs(b); });
                EXPECT_NEAR(static_cast<double>(peak - near.begin()), 1500, 0.003 * kRate);
                // All within 5 ms.
                double all = 0, within = 0;
                for (auto sample = near.begin(); sample != near.end(); ++sample) {
                    const double power = double{*sample} * double{*sample};
                    all += power;
                    within += std::abs(sample - peak) < 220 ? power : 0;
                }
                EXPECT_GT(within / all, 0.98);
            }
        }
    }
}

TEST_F(TimeStretch, LongLoopsStaySeamlessAndShortOnesKeepTheirLength) {
    // A chord of whole periods of 1.6 s: any loop of that length is seamless.
    const auto chord = made(150000, [](double t) {
        double sum = 0;
        for (const double partial : {220.0, 277.5, 330.0, 441.25})
            sum += 0.15 * std::sin(2 * kPi * partial * t + partial);
        return sum;
    });
    for (const double ratio : {0.7, 1.5, 3.0}) {
        for (const std::size_t tail : {std::size_t{300}, std::size_t{30000}}) {
            SCOPED_TRACE(testing::Message() << ratio << " " << tail);
            const std::size_t end = 44100 + 70560;
            const std::vector<float> sound(chord.begin(),
                                           chord.begin() + static_cast<std::ptrdiff_t>(end + tail));
            const auto out =
                stretch(sound, {.ratio = ratio}, 1, std::pair(44100.0, static_cast<double>(end)));
            ASSERT_EQ(out.size(),
                      static_cast<std::size_t>(std::round(static_cast<double>(sound.size()) * ratio)));
            EXPECT_NEAR(loopStart, 44100 * ratio, 1);
            EXPECT_NEAR(loopEnd - loopStart, 70560 * ratio, 1);
            const auto a = static_cast<std::size_t>(loopStart), b = static_cast<std::size_t>(loopEnd);
            // What is played at the wrap is what the source has there.
            for (std::size_t i = 1; i <= 400; ++i) {
                ASSERT_NEAR(out[b - i], sound[end - i], 1e-4f) << i;
                ASSERT_NEAR(out[a + i - 1], sound[44100 + i - 1], 1e-4f) << i;
            }
            // The way there has no gap: no tenth of a second is much quieter than a chord gets by beating.
            for (std::size_t at = 0; at + 4410 <= b; at += 2205)
                EXPECT_GT(rms(std::span(out).subspan(at, 4410)), 0.13) << at;
        }
    }
    // A short loop, from a place between two frames: sample by sample the same.
    const auto out = stretch(chord, {.ratio = 2}, 1, std::pair(50000.25, 50400.75));
    EXPECT_DOUBLE_EQ(loopStart, 100000.25);
    EXPECT_DOUBLE_EQ(loopEnd, 100400.75);
    EXPECT_EQ(out.size(), 2 * chord.size() - 401);
    for (std::size_t i = 0; i < 402; ++i)
        ASSERT_NEAR(out[100000 + i], chord[50000 + i], 1e-4f);
}

TEST_F(TimeStretch, TheSameSpeedGivesTheSameSamples) {
    const std::vector<float> sound = testSignal(2 * 60000, 16);
    Collection collection;
    Waveform* waveform = addWaveform(collection, "sound", sound, 2);
    const StretchSource source{std::as_const(*waveform).samples(), 2, 44100};
    const StretchAnchor attacks[] = {{20000, 20000, true}, {40000, 40000, true}};
    const StretchMap same(60000, 1, attacks, vocoderWidths(source));
    std::vector<float> out(sound.size(), 99.0f);
    ASSERT_TRUE(stretchByVocoder(source, same, {}, out, ui));
    for (std::size_t i = 0; i < out.size(); ++i)
        ASSERT_NEAR(out[i], sound[i], 2e-6f) << i;
}

TEST_F(TimeStretch, OnsetsAreAttacksAndNothingElse) {
    const auto count = [&](const std::vector<float>& samples) {
        std::vector<Onset> onsets;
        EXPECT_TRUE(findOnsets(samples, 1, 44100, ui, onsets));
        return onsets.size();
    };
    const auto harmonics = [](double frequency, double t) {
        double sum = 0;
        for (int k = 1; k < 30; ++k)
            sum += std::sin(2 * kPi * frequency * k * t + k * k) / k;
        return 0.1 * sum;
    };
    std::mt19937 random(5);
    std::normal_distribution<double> normal(0, 0.1);
    // Each begins with one at most.
    EXPECT_LE(count(made(132300, [&](double t) { return harmonics(55, t); })), 1u) << "pulses";
    EXPECT_LE(count(made(132300, [&](double t) { return harmonics(110, t) + harmonics(138.6, t); })), 1u)
        << "beats";
    EXPECT_LE(count(made(132300, [&](double) { return normal(random); })), 1u) << "noise";
    EXPECT_LE(count(made(132300,
                         [&](double t) {
                             return harmonics(220 + 0.5 * std::sin(2 * kPi * 6 * t) / std::max(t, 0.1), t);
                         })),
              1u)
        << "vibrato";
    // Plucked notes, each over the rest of the one before.
    const auto plucked = made(132300, [&](double t) {
        const double since = std::fmod(t, 0.25);
        return harmonics(110 * (1 + std::floor(t / 0.25) / 7), t) * std::exp(-since * 9);
    });
    std::vector<Onset> found;
    ASSERT_TRUE(findOnsets(plucked, 1, 44100, ui, found));
    ASSERT_EQ(found.size(), 12u);
    for (std::size_t i = 0; i < found.size(); ++i)
        EXPECT_NEAR(static_cast<double>(found[i].frame), static_cast<double>(i) * 11025, 0.004 * kRate);
    EXPECT_EQ(count({}), 0u);
    EXPECT_EQ(count(std::vector<float>(100000)), 0u);
}

// A bar of drums of a General MIDI bank, and how much of each hit's first 12 ms is found in another sound.
struct DrumLoop {
    std::vector<float> samples;
    std::vector<std::size_t> hits;

    bool make() {
        Collection collection;
        if (!openBank(collection, "TimGM6mb.sf2"))
            return false;
        std::vector<Waveform*> drums;
        for (Waveform* waveform : collection.all<Waveform>()) {
            const std::string& name = waveform->name();
            if ((name.find("nare") != std::string::npos || name.find("ick") != std::string::npos ||
                 name.find("Hat") != std::string::npos) &&
                waveform->frames > 3000 && waveform->loadSamples())
                drums.push_back(waveform);
        }
        if (drums.empty())
            return false;
        samples.assign(44100 * 6, 0.0f);
        std::mt19937 random(3);
        for (std::size_t at = 2000; at + 30000 < samples.size(); at += 7000 + random() % 300) {
            const auto drum = std::as_const(*drums[random() % drums.size()]).samples();
            hits.push_back(at);
            for (std::size_t i = 0; i < std::min<std::size_t>(drum.size(), 20000); ++i)
                samples[at + i] += drum[i];
        }
        normalisePeak(samples, 0.7f);
        return true;
    }
    // Mean of the best correlations, and of how far from its place each is found (ms).
    std::pair<double, double> likeness(const std::vector<float>& other, double ratio) const {
        double sum = 0, away = 0;
        for (const std::size_t hit : hits) {
            const float* attack = samples.data() + hit;
            double best = 0, offset = 0;
            const auto wanted = static_cast<std::ptrdiff_t>(static_cast<double>(hit) * ratio);
            for (std::ptrdiff_t step = -900; step <= 900; ++step) {
                if (wanted + step < 0 || wanted + step + 530 > static_cast<std::ptrdiff_t>(other.size()))
                    continue;
                const double now =
                    static_cast<double>(loopSimilarity(attack, other.data() + wanted + step, 530));
                if (now > best) {
                    best = now;
                    offset = static_cast<double>(std::abs(step)) / kRate * 1000;
                }
            }
            sum += best;
            away += offset;
        }
        const auto count = static_cast<double>(hits.size());
        return {sum / count, away / count};
    }
};

TEST_F(TimeStretch, RealDrumsAreSharperThanThoseOfSox) {
    DrumLoop loop;
    if (!haveProgram("sox") || !loop.make())
        GTEST_SKIP() << "needs sox and TimGM6mb.sf2";
    ASSERT_GT(loop.hits.size(), 20u);
    TemporaryFolder folder;
    {
        std::ofstream raw(folder / "in.f32", std::ios::binary);
        raw.write(reinterpret_cast<const char*>(loop.samples.data()),
                  static_cast<std::streamsize>(loop.samples.size() * sizeof(float)));
    }
    for (const double ratio : {0.75, 1.5, 2.0}) {
        SCOPED_TRACE(ratio);
        const std::string raw = " -t raw -e float -b 32 -r 44100 -c 1 ";
        ASSERT_TRUE(run("sox" + raw + quoted(folder / "in.f32") + raw + quoted(folder / "out.f32") +
                        " tempo -m " + std::to_string(1 / ratio)));
        const std::vector<Byte> bytes = readFile(folder / "out.f32");
        std::vector<float> peer(bytes.size() / sizeof(float));
        std::memcpy(peer.data(), bytes.data(), peer.size() * sizeof(float));
        const auto out = stretch(loop.samples, {.ratio = ratio});
        EXPECT_NEAR(static_cast<double>(out.size()), static_cast<double>(peer.size()), 0.01 * kRate);
        const auto [ours, oursAway] = loop.likeness(out, ratio);
        const auto [theirs, theirsAway] = loop.likeness(peer, ratio);
        EXPECT_GT(ours, 0.97);
        EXPECT_GE(ours, theirs - 0.005);
        EXPECT_LT(oursAway, 4);
        EXPECT_LT(oursAway, theirsAway);
    }
}

TEST_F(TimeStretch, TakesAnythingForASound) {
    const float inf = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();
    std::vector<float> wild = testSignal(9000, 16);
    wild[100] = nan;
    wild[200] = inf;
    wild[300] = -inf;
    wild[400] = 3e38f;
    for (const std::vector<float>& sound :
         {std::vector<float>{}, {0.5f}, {0.5f, -0.5f}, std::vector<float>(5000), wild}) {
        for (const std::uint32_t rate : {0u, 1u, 8000u, 44100u, 2147483647u}) {
            for (const double ratio : {0.1, 0.5, 1.7, 10.0}) {
                for (const StretchMode mode : {StretchMode::Music, StretchMode::Solo}) {
                    Collection collection;
                    Waveform* waveform = addWaveform(collection, "sound", sound, 1, rate);
                    waveform->setLoop(LoopMode::Forward, -5, 1e300);  // nowhere
                    const StretchedSound result =
                        stretched(collection, *waveform, {.ratio = ratio, .mode = mode}, ui);
                    ASSERT_TRUE(result.buffer);
                    ASSERT_EQ(result.buffer->frames(), std::round(static_cast<double>(sound.size()) * ratio));
                    for (const float sample : std::as_const(*result.buffer.get()).samples())
                        ASSERT_TRUE(std::isfinite(sample));
                    moveLoops(collection, *waveform, result.map);
                }
            }
        }
    }
}

}  // namespace
}  // namespace velor
