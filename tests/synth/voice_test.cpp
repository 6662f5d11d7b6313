// What a voice does to its sample: envelopes, oscillators, filters, loops, interpolation.
#include <gtest/gtest.h>

#include <complex>

#include "base/error.h"
#include "synth/envelope.h"
#include "synth/interpolation.h"
#include "synth/lfo.h"
#include "synth/voice_filter.h"
#include "synth_fixture.h"

namespace velor {
namespace {

namespace p = parameter;
namespace env = parameter::envelope;

TEST(Envelope, SegmentsTakeTheirTimes) {
    ArticulationValues v = defaultArticulation();
    const int V = p::VEnvelope;
    v[V + env::Attack1Time] = 0.1f;  // a delay
    v[V + env::Attack2Time] = 0.2f;
    v[V + env::Decay1Time] = 0.3f;  // a hold
    v[V + env::Decay2Time] = 0.4f;
    v[V + env::SustainLevel] = 0.1f;  // -20 dB
    v[V + env::Release1Rate] = 1.0f;
    Envelope envelope;
    envelope.begin(v, p::VEnvelope, Envelope::Scale::Decibel, 60, 64);
    struct Point {
        double time, level;
    };
    const Point before[] = {{0.05, 0},  {0.1, 0}, {0.2, 0.5}, {0.3, 1}, {0.55, 1}, {0.8, std::pow(10, -0.5)},
                            {1.0, 0.1}, {5, 0.1}};
    double now = 0;
    for (const Point& point : before) {
        envelope.advance(static_cast<float>(point.time - now));
        now = point.time;
        EXPECT_NEAR(envelope.level(), point.level, 1e-3) << point.time;
    }
    // 80 dB from here to nothing at a second per 100 dB; 20 of them in 0.2 s.
    envelope.release();
    envelope.advance(0.2f);
    EXPECT_NEAR(envelope.level(), 0.01, 1e-4);
    envelope.advance(0.59f);
    EXPECT_FALSE(envelope.done());
    envelope.advance(0.02f);
    EXPECT_TRUE(envelope.done());
    EXPECT_EQ(envelope.level(), 0);
}

TEST(Envelope, VelocityKeyAndModesCount) {
    ArticulationValues v = defaultArticulation();
    const int P = p::PEnvelope;
    v[P + env::Attack2Time] = 0.4f;
    v[P + env::Attack2Time + 1] = 4;     // four times as long at full velocity as at the softest
    v[P + env::Attack2Time + 2] = 0.5f;  // half as long an octave up
    v[P + env::Release1Rate] = 1.0f;
    const auto levelAt = [&](int key, int velocity, float seconds) {
        Envelope envelope;
        envelope.begin(v, p::PEnvelope, Envelope::Scale::Linear, key, velocity);
        return envelope.advance(seconds);
    };
    EXPECT_NEAR(levelAt(60, 64, 0.2f), 0.5, 1e-4);
    EXPECT_NEAR(levelAt(72, 64, 0.1f), 0.5, 1e-4);
    EXPECT_NEAR(levelAt(60, 127, 0.4f), 0.5, 1e-4);
    EXPECT_NEAR(levelAt(60, 1, 0.1f), 0.5, 1e-4);
    // Release takes the rate times the distance, here from a half.
    v[P + env::Attack2Time] = 0;
    v[P + env::SustainLevel] = 0.5f;
    for (const int mode : {0, int{kIgnoreNoteOff}, int{kOneShot}}) {
        v[P + env::ReleaseMode] = static_cast<float>(mode);
        Envelope envelope;
        envelope.begin(v, p::PEnvelope, Envelope::Scale::Linear, 60, 64);
        envelope.advance(0.001f);
        envelope.release();
        envelope.advance(0.25f);
        EXPECT_NEAR(envelope.level(), mode == kIgnoreNoteOff ? 0.5 : 0.25, 2e-3) << mode;
    }
}

TEST(Lfo, ShapesDelayAndFade) {
    ArticulationValues v = defaultArticulation();
    v[p::PLfo + p::lfo::Frequency] = 1;
    struct Case {
        LfoShape shape;
        std::array<double, 4> quarters;  // at an eighth, three, five and seven eighths
    };
    const double s = std::sqrt(0.5);
    for (const Case& c :
         {Case{LfoShape::Sine, {s, s, -s, -s}}, Case{LfoShape::Triangle, {0.5, 0.5, -0.5, -0.5}},
          Case{LfoShape::Square, {1, 1, -1, -1}}, Case{LfoShape::SawUp, {0.25, 0.75, -0.75, -0.25}},
          Case{LfoShape::SawDown, {-0.25, -0.75, 0.75, 0.25}}}) {
        v[p::PLfo + p::lfo::Shape] = static_cast<float>(c.shape);
        Lfo lfo;
        lfo.begin(v, p::PLfo, 1);
        lfo.advance(0.125f);
        EXPECT_NEAR(lfo.advance(0), c.quarters[0], 1e-5);
        for (int i = 1; i < 4; ++i)
            EXPECT_NEAR(lfo.advance(0.25f), c.quarters[static_cast<std::size_t>(i)], 1e-5)
                << static_cast<int>(c.shape) << ' ' << i;
    }
    v[p::PLfo + p::lfo::Shape] = static_cast<float>(LfoShape::Square);
    v[p::PLfo + p::lfo::Delay] = 0.1f;
    v[p::PLfo + p::lfo::FadeIn] = 0.2f;
    Lfo lfo;
    lfo.begin(v, p::PLfo, 1);
    EXPECT_EQ(lfo.advance(0.05f), 0);
    EXPECT_NEAR(lfo.advance(0.15f), 0.5, 1e-4);
    EXPECT_NEAR(lfo.advance(0.15f), 1, 1e-4);
}

// Gain in dB of a filter at a frequency, by a sine through blocks.
double gainAt(FilterType type, float cutoff, float resonance, double hertz) {
    VoiceFilter filter;
    filter.begin(type);
    filter.set(cutoff, resonance, 48000);
    double in = 0;
    double out = 0;
    alignas(32) float block[kBlockFrames];
    for (int n = 0; n < 150; ++n) {
        for (std::uint32_t i = 0; i < kBlockFrames; ++i)
            block[i] = static_cast<float>(
                std::sin(2 * std::numbers::pi * hertz * (n * static_cast<double>(kBlockFrames) + i) / 48000));
        const double before = [&] {
            double sum = 0;
            for (const float x : block)
                sum += double{x} * x;
            return sum;
        }();
        filter.process(voiceKernels(), block);
        if (n < 50)
            continue;
        in += before;
        for (const float x : block)
            out += double{x} * x;
    }
    return 10 * std::log10(std::max(out, 1e-20) / in);
}

TEST(VoiceFilter, TypesHaveTheirCurves) {
    struct Case {
        FilterType type;
        float resonance;
        double hertz, gain, tolerance;
    };
    // Cutoff 1000 Hz. A Butterworth curve is 3 dB down at the cutoff; an octave is worth 6 dB per pole.
    const Case cases[] = {
        {FilterType::LowPass6, 0, 1000, -3.01, 0.1},  {FilterType::LowPass6, 0, 8000, -18.5, 1.5},
        {FilterType::LowPass12, 0, 100, 0, 0.05},     {FilterType::LowPass12, 0, 1000, -3.01, 0.05},
        {FilterType::LowPass12, 0, 4000, -24.1, 1},   {FilterType::LowPass12, 12, 100, -6, 0.2},
        {FilterType::LowPass12, 12, 1000, 3, 0.1},    {FilterType::LowPass24, 0, 1000, -3.01, 0.1},
        {FilterType::LowPass24, 0, 4000, -48.2, 2},   {FilterType::HighPass12, 0, 1000, -3.01, 0.05},
        {FilterType::HighPass12, 0, 250, -24.1, 0.3}, {FilterType::HighPass24, 0, 250, -48.2, 0.5},
        {FilterType::HighPass6, 0, 125, -18.1, 0.3},  {FilterType::BandPass6, 0, 1000, 0, 0.05},
        {FilterType::BandPass12, 0, 1000, 0, 0.05},   {FilterType::Notch, 0, 100, 0, 0.2},
        {FilterType::Peak, 9, 1000, 9, 0.05},         {FilterType::Peak, 9, 50, 0, 0.1},
        {FilterType::DoubleNotch, 0, 50, 0, 0.2},     {FilterType::Phaser, 0, 20, 0, 0.1},
    };
    for (const Case& c : cases)
        EXPECT_NEAR(gainAt(c.type, 1000, c.resonance, c.hertz), c.gain, c.tolerance)
            << static_cast<int>(c.type) << ' ' << c.hertz;
    EXPECT_LT(gainAt(FilterType::Notch, 1000, 0, 1000), -40);
    EXPECT_LT(gainAt(FilterType::DoubleNotch, 1000, 0, 1000 / std::sqrt(2.0)), -40);
    // Each of its two all-passes turns by 90 degrees where w² + w√2 = 1.
    EXPECT_LT(gainAt(FilterType::Phaser, 1000, 0, 518), -20);
    EXPECT_NEAR(gainAt(FilterType::Phaser, 1000, 0, 1000), 0, 0.1);
}

TEST(VoiceKernels, BothSetsAgree) {
    std::vector<std::int16_t> data(1000);
    for (std::size_t i = 0; i < data.size(); ++i)
        data[i] = static_cast<std::int16_t>(static_cast<int>(i * 7919 % 65536) - 32768);
    for (const float ratio : {0.3f, 1.0f, 1.7f, 4.0f, 7.9f}) {
        const InterpolationFilter& filter = InterpolationFilters::instance().forRatio(ratio);
        const auto step = static_cast<std::uint64_t>(ratio * 4294967296.0);
        float fast[61];
        float portable[61];
        voiceKernels().interpolate16(data.data() + 200, 12345678901ull, step, filter, fast, 61);
        portableVoiceKernels().interpolate16(data.data() + 200, 12345678901ull, step, filter, portable, 61);
        for (int i = 0; i < 61; ++i)
            ASSERT_NEAR(fast[i], portable[i], 2e-6) << ratio;
    }
}

struct VoiceSound : OneSine {};

// What a sound has beside a sine, in dB below it.
double restBeside(const std::vector<float>& stereo, double hertz) {
    const std::size_t from = 9600, count = 19200;
    double total = 0;
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double sample = stereo[2 * (from + i)];
        total += sample * sample;
        sum += sample * std::polar(1.0, -2 * std::numbers::pi * hertz * static_cast<double>(i) / kTestRate);
    }
    const double power = 2 * std::norm(sum) / static_cast<double>(count);
    return 10 * std::log10(std::max(total - power, 1e-20) / power);
}

TEST_F(VoiceSound, TranspositionIsClean) {
    // Sines at 48000 Hz whose transposition falls on whole periods of the measuring window.
    for (const auto& [key, cycles, least] :
         {std::tuple{60, 100, -90.0}, {48, 100, -70.0}, {67, 100, -55.0}, {72, 40, -80.0}, {84, 40, -75.0}}) {
        const double step = 2 * std::numbers::pi * cycles / 4800;
        items.fill(wave, 19200, [=](int i) { return std::sin(step * i); });
        wave.setLoop(LoopMode::Forward, 4800, 14400);
        const auto synth = engine(4);
        send(*synth, 0x90, static_cast<unsigned>(key), 127);
        const double hertz = 10.0 * cycles * std::exp2((key - 60) / 12.0);
        EXPECT_LT(restBeside(play(*synth, 0.7), hertz), least) << key;
    }
}

TEST_F(VoiceSound, NothingFoldsBackTwoOctavesUp) {
    // 9000 Hz played two octaves up would be 36000 Hz, which 48000 Hz can not hold: it must be gone.
    items.fill(wave, 4800, [](int i) { return std::sin(2 * std::numbers::pi * i * 9000 / 48000); });
    for (const auto& [key, most] : {std::pair{60, 0.0}, {84, -60.0}, {80, -60.0}}) {
        const auto synth = engine(4);
        send(*synth, 0x90, static_cast<unsigned>(key), 127);
        EXPECT_LT(decibels(rms(play(*synth, 0.5), 0, 4800)), most) << key;
    }
}

TEST_F(VoiceSound, LoopsOfEveryKindRunWithoutAStep) {
    struct Case {
        LoopMode mode;
        double start, end;
        double hertz;
    };
    // 480 Hz; a loop there and back over half periods keeps its pitch when it turns at the peaks.
    for (const Case& c :
         {Case{LoopMode::Forward, 100, 300, 480}, Case{LoopMode::Forward, 1000, 1100.5, 0},
          Case{LoopMode::Alternating, 1025, 2076, 480}, Case{LoopMode::Backward, 1000, 3000, 480}}) {
        wave.setLoop(c.mode, c.start, c.end);
        const auto synth = engine(4);
        send(*synth, 0x90, 60, 127);
        const auto sound = play(*synth, 1);
        EXPECT_EQ(synth->soundingNotes(), 1u);
        if (c.hertz > 0) {
            EXPECT_NEAR(frequency(sound, 9600), c.hertz, 0.5) << static_cast<int>(c.mode);
        }
        const double amplitude = rms(sound, 0, 4800) * std::sqrt(2.0);
        double step = 0;
        for (std::size_t i = 4800; i + 1 < sound.size() / 2; ++i)
            step = std::max(step, std::fabs(double{sound[2 * i + 2]} - sound[2 * i]));
        // A sine of 480 Hz moves by at most 2 pi / 100 of its amplitude in a frame.
        if (c.mode != LoopMode::Backward) {
            EXPECT_LT(step, amplitude * 0.075) << static_cast<int>(c.mode) << ' ' << c.end;
        }
    }
}

TEST_F(VoiceSound, ALoopUntilReleaseGoesOnBehindItsEnd) {
    // Behind the loop the waveform is silent for its last half.
    items.fill(wave, 4800,
               [](int i) { return i < 2400 ? 0.5 * std::sin(2 * std::numbers::pi * i / 100) : 0; });
    wave.setLoop(LoopMode::Forward, 1000, 2000);
    wave.loopUntilRelease = true;
    region.articulation.set(p::VEnvelope + env::Release1Rate, 50);
    const auto synth = engine(4);
    send(*synth, 0x90, 60, 127);
    EXPECT_GT(rms(play(*synth, 0.5), 0, 20000), 0.1);
    send(*synth, 0x80, 60, 0);
    play(*synth, 0.04);
    EXPECT_LT(rms(play(*synth, 0.01), 0), 1e-4);
    play(*synth, 0.2);
    EXPECT_EQ(synth->soundingNotes(), 0u) << "the waveform ends";
}

TEST_F(VoiceSound, NothingClicks) {
    // The largest step of starts, ends, chokes and sudden controllers, against the sine's own.
    // A cosine: every start and end is in the middle of things.
    items.fill(wave, 4800, [](int i) { return 0.5 * std::cos(2 * std::numbers::pi * i / 100); });
    const auto synth = engine(8);
    std::vector<float> all;
    const auto step = [&](unsigned status, unsigned data1, unsigned data2) {
        send(*synth, status, data1, data2);
        const auto part = play(*synth, 0.0533);
        all.insert(all.end(), part.begin(), part.end());
    };
    step(0x90, 60, 127);
    step(0xB0, 7, 20);
    step(0xB0, 7, 100);
    step(0xB0, 10, 0);
    step(0x80, 60, 0);
    step(0x90, 60, 127);
    step(0x90, 60, 127);
    step(0xB0, 120, 0);
    double largest = 0;
    for (std::size_t i = 2; i < all.size(); ++i)
        largest = std::max(largest, std::fabs(double{all[i]} - all[i - 2]));
    // 0.5 x 0.62 x 0.71 (or 1 on one side) x 2 pi / 100, and the fades of one block on top.
    EXPECT_LT(largest, 0.031);
}

}  // namespace
}  // namespace velor
