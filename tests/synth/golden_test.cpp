// The sound of everything at once, against levels written down earlier. A change that is meant is taken over
// by running the test with VELOR_PRINT_GOLDEN=1 and copying the lines it prints.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "base/error.h"
#include "synth_fixture.h"

namespace velor {
namespace {

namespace p = parameter;

// Left and right in dB of full scale, a tenth of a second each.
constexpr double kGolden[][2] = {
    {-38.65, -29.20},
    {-28.54, -30.34},
    {-30.28, -24.76},
    {-26.52, -30.00},
    {-30.48, -26.89},
    {-25.74, -29.83},
    {-28.77, -29.26},
    {-27.24, -32.78},
    {-29.34, -29.05},
    {-31.12, -31.22},
    {-32.37, -29.13},
    {-30.80, -29.47},
    {-31.27, -31.65},
    {-31.48, -31.69},
    {-30.89, -32.18},
    {-31.72, -31.28},
    {-30.28, -31.56},
    {-35.35, -36.01},
    {-36.41, -38.72},
    {-37.48, -41.50},
    {-38.45, -42.25},
    {-40.36, -45.30},
    {-42.41, -48.24},
    {-47.70, -50.15},
};

TEST(SynthGolden, LevelsAreWhatTheyWere) {
    SynthFixture items;
    Instrument& instrument = items.instrument();
    Waveform& wave = items.sine(64);
    float* samples = wave.allocateSamples();
    for (int i = 0; i < 4800; ++i)  // a saw: something for the filter
        samples[i] = static_cast<float>(i % 100) / 100 - 0.5f;
    Region& region = items.region(instrument, wave);
    for (const auto& [number, value] :
         std::initializer_list<std::pair<int, float>>{{p::FilterTypeCode, 3},
                                                      {p::Cutoff, 900},
                                                      {p::Resonance, 9},
                                                      {p::FEnvToCutoff, 30},
                                                      {p::FEnvelope + p::envelope::Attack2Time, 0.4f},
                                                      {p::FEnvelope + p::envelope::SustainLevel, 0.2f},
                                                      {p::FEnvelope + p::envelope::Decay2Time, 0.5f},
                                                      {p::PLfoToPitch, 0.5f},
                                                      {p::VLfoToVolume, 3},
                                                      {p::XLfoToPan, 0.5f},
                                                      {p::Eq1Mode + p::eq::Gain, 4},
                                                      {p::Eq1Mode + 4 + p::eq::Gain, -3},
                                                      {p::VEnvelope + p::envelope::Attack2Time, 0.1f},
                                                      {p::VEnvelope + p::envelope::Decay2Time, 0.6f},
                                                      {p::VEnvelope + p::envelope::SustainLevel, 0.4f},
                                                      {p::VEnvelope + p::envelope::Release1Rate, 1.5f},
                                                      {p::KeyToPan, -0.3f},
                                                      {p::VelocityToCutoff, 12}})
        region.articulation.set(static_cast<std::uint16_t>(number), value);
    SynthEngine engine(16, 8, kTestRate, 0.5f, {2, true, true});
    ASSERT_TRUE(engine.loadInstrument(instrument, false)) << LastErrorText;
    send(engine, 0xB0, 91, 100);
    send(engine, 0xB0, 93, 60);
    std::vector<float> sound;
    const auto next = [&](unsigned status, unsigned data1, unsigned data2) {
        send(engine, status, data1, data2);
        const auto part = play(engine, 0.4);
        sound.insert(sound.end(), part.begin(), part.end());
    };
    next(0x90, 48, 110);
    next(0x90, 67, 70);
    next(0xE0, 0, 96);
    next(0xB0, 1, 100);
    next(0x80, 48, 0);
    next(0x80, 67, 0);
    const bool print = std::getenv("VELOR_PRINT_GOLDEN") != nullptr;
    const std::size_t tenth = kTestRate / 10 * 2;
    const std::size_t count = sound.size() / tenth;
    ASSERT_TRUE(print || std::size(kGolden) == count) << count;
    for (std::size_t i = 0; i < count; ++i) {
        const std::vector<float> part(sound.begin() + static_cast<long>(i * tenth),
                                      sound.begin() + static_cast<long>((i + 1) * tenth));
        const double left = decibels(rms(part, 0));
        const double right = decibels(rms(part, 1));
        if (print) {
            std::printf("    {%.2f, %.2f},\n", left, right);
            continue;
        }
        EXPECT_NEAR(left, kGolden[i][0], 0.02) << i;
        EXPECT_NEAR(right, kGolden[i][1], 0.02) << i;
    }
}

}  // namespace
}  // namespace velor
