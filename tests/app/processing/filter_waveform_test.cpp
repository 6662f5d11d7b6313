// The filter process, beside SoX and at its edges.
#include <gtest/gtest.h>

#include <cmath>

#include "process_tools.h"

namespace velor {
namespace {

double powerOf(std::span<const float> samples) {
    double power = 0;
    for (const float sample : samples)
        power += static_cast<double>(sample) * static_cast<double>(sample);
    return power / static_cast<double>(samples.size());
}

TEST(FilterWaveform, ChangesTonesByWhatIsSet) {
    const struct {
        std::vector<std::string> settings;
        double frequency, decibels;
    } kCases[] = {
        {{"frequency=1000"}, 2000, -24.2},
        {{"frequency=1000", "order=1"}, 1000, -3.01},
        {{"type=high-pass", "frequency=1000 Hz", "order=8"}, 500, -48.2},
        {{"type=high-pass", "frequency=1000", "order=2", "zero-phase"}, 1000, -3.01},
        {{"type=low-pass", "frequency=1000", "design=resonant", "q=2"}, 1000, 6.02},
        {{"type=band-pass", "frequency=1000", "bandwidth=1"}, 1000, 0},
        {{"type=peak", "frequency=1000", "gain=6", "zero-phase"}, 1000, 6},
    };
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.settings.back());
        Collection collection;
        Waveform& waveform =
            *test::addWaveform(collection, "tone", test::sine(44100, 44100 / test.frequency, 0.2));
        EXPECT_EQ(test::runNamed("Filter waveform", collection, test.settings).changed, 1u);
        EXPECT_NEAR(10 * std::log10(powerOf(waveform.samples().subspan(11025, 22050)) / 0.02), test.decibels,
                    0.15);
    }
}

TEST(FilterWaveform, SaysWhenAFrequencyDoesNotFit) {
    Collection collection;
    Waveform& waveform = *test::addWaveform(collection, "a", std::vector<float>(50, 0.5f), 1, 8000);
    test::addWaveform(collection, "empty", {}, 1, 8000);
    const SampleBuffer* before = waveform.buffer().get();
    for (const char* harmless : {"type=low-pass", "type=notch", "type=high-shelf"})
        EXPECT_EQ(
            test::runNamed("Filter waveform", collection, {harmless, "frequency=4000", "gain=6"}).message,
            "No items were modified")
            << harmless;
    const ProcessRun run =
        test::runNamed("Filter waveform", collection, {"type=high-pass", "frequency=4000"});
    EXPECT_EQ(run.failed, 1u);
    EXPECT_EQ(run.items.at(0).error, "A filter at 4000 Hz is too high for a sample rate of 8000 Hz");
    for (const std::uint32_t rate : {0u, 2147483648u}) {
        waveform.sampleRate = rate;
        EXPECT_EQ(test::runNamed("Filter waveform", collection, {"frequency=100"}).failed, 1u) << rate;
    }
    EXPECT_EQ(test::runNamed("Filter waveform", collection, {"type=peak"}).changed, 0u) << "without a gain";
    EXPECT_EQ(waveform.buffer().get(), before);
    waveform.sampleRate = 2147483647;  // more than a float can tell
    EXPECT_EQ(test::runNamed("Filter waveform", collection, {"frequency=1000000"}).changed, 1u);
    EXPECT_EQ(waveform.sampleRate, 2147483647u);
}

TEST(FilterWaveform, WarnsWhenItRaisesAboveFullScale) {
    Collection collection;
    std::vector<float> square(2000);
    for (std::size_t i = 0; i < square.size(); ++i)
        square[i] = i / 50 % 2 ? 0.9f : -0.9f;
    test::addWaveform(collection, "square", square);
    test::RecordingInterface ui;
    test::runNamed("Filter waveform", collection, {"type=low-shelf", "gain=6", "frequency=500"}, {}, &ui);
    EXPECT_EQ(ui.warnings.size(), 1u);
}

#ifndef _WIN32
TEST(FilterWaveform, AgreesWithAnotherProgram) {
    const std::filesystem::path noise = "/usr/share/sounds/alsa/Noise.wav";
    if (!test::haveProgram("sox") || !std::filesystem::exists(noise))
        GTEST_SKIP() << "no sox or sound file";
    const struct {
        const char* effect;
        std::vector<std::string> settings;
    } kCases[] = {
        {"highpass -2 700 0.7071q", {"type=high-pass", "frequency=700", "order=2"}},
        {"lowpass -2 1500 0.7071q", {"frequency=1500", "order=2"}},
        {"bandpass 900 3q", {"type=band-pass", "design=resonant", "frequency=900", "q=3"}},
        {"bandreject 900 3q", {"type=notch", "design=resonant", "frequency=900", "q=3"}},
        {"equalizer 2000 1.5q -9", {"type=peak", "frequency=2000", "q=1.5", "gain=-9"}},
        {"bass -6 300 0.7071q", {"type=low-shelf", "frequency=300", "gain=-6"}},
        {"treble -6 5000 0.7071q", {"type=high-shelf", "frequency=5000", "gain=-6"}},
        {"allpass 1000 2q", {"type=all-pass", "frequency=1000", "q=2"}},
    };
    test::TemporaryFolder folder;
    const std::filesystem::path source = folder / "source.wav", made = folder / "made.wav";
    ASSERT_TRUE(
        test::run("sox -D -v 0.5 " + test::quoted(noise) + " -b 32 -e float " + test::quoted(source)));
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.effect);
        ASSERT_TRUE(
            test::run("sox -D " + test::quoted(source) + " " + test::quoted(made) + " " + test.effect));
        Collection ours, theirs;
        const Waveform *waveform = test::openWaveform(ours, source),
                       *other = test::openWaveform(theirs, made);
        ASSERT_TRUE(waveform && other);
        ASSERT_EQ(test::runNamed("Filter waveform", ours, test.settings).changed, 1u);
        ASSERT_EQ(other->frames, waveform->frames);
        for (std::size_t i = 0; i < waveform->samples().size(); ++i)
            ASSERT_NEAR(waveform->samples()[i], other->samples()[i], 2e-5) << i;
    }
}
#endif

}  // namespace
}  // namespace velor
