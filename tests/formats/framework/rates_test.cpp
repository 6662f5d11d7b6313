// Saving at other sample rates: those that the user asks for, and those that a file type insists on.
#include <complex>

#include "formats/framework/collection_fixture.h"

namespace velor {
namespace {

constexpr int kWaveRow = 478;

struct Rates : test::CollectionFixture {
    // A tone and its loop of whole periods.
    Waveform* tone(std::uint32_t rate, int channels = 1, double frequency = 500, double seconds = 0.5) {
        const auto frames = static_cast<std::size_t>(rate * seconds);
        std::vector<float> signal;
        for (std::size_t i = 0; i < frames; ++i)
            signal.insert(
                signal.end(), static_cast<std::size_t>(channels),
                static_cast<float>(0.5 * std::sin(2 * M_PI * frequency * static_cast<double>(i) / rate)));
        Waveform* waveform = test::addWaveform(collection, "tone", signal, channels, rate);
        waveform->setLoop(LoopMode::Forward, rate / 10, rate / 5);
        return waveform;
    }

    // Signal to everything else, in dB, around one frequency in the middle of the first channel.
    static double purity(const Waveform& waveform, double frequency) {
        const auto samples = waveform.samples();
        const std::size_t first = waveform.frames / 4;
        const auto period =
            static_cast<std::size_t>(std::lround(waveform.sampleRate / 50.0));  // whole ones, 20 ms
        const std::size_t count = waveform.frames / 2 / period * period;
        std::complex<double> sum = 0;
        double power = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const double x = samples[(first + i) * waveform.channels];
            sum += x * std::polar(1.0, -2 * M_PI * frequency * static_cast<double>(i) / waveform.sampleRate);
            power += x * x;
        }
        const double signal = 2 * std::norm(sum) / static_cast<double>(count);
        return 10 * std::log10(signal / std::max(power - signal, 1e-12 * power));
    }
};

TEST_F(Rates, FixedOnesAreMetByAResampledCopy) {
    const struct {
        int row;
        std::uint32_t rate;
        double purity;
    } rows[] = {{167, 8000, 10},    // GSM 06.10
                {171, 8000, 10},    // the same for modems
                {345, 8000, 12},    // Rockwell ADPCM
                {463, 8000, 15},    // OKI ADPCM
                {276, 8000, 15},    // Nomad
                {134, 16000, 20}};  // G.722
    const auto path = folder / "out.bin";
    for (const auto& each : rows) {
        for (const std::uint32_t rate : {8000u, 16000u, 44100u}) {
            SCOPED_TRACE(formatText("row %d from %u Hz", each.row, rate));
            ui.warnings.clear();
            Waveform* waveform = tone(rate);
            const SampleBuffer* before = waveform->buffer().get();
            ASSERT_TRUE(saveItem(waveform, each.row, path, services)) << LastErrorText;
            if (rate == each.rate) {
                EXPECT_TRUE(ui.warnings.empty());
            } else {
                ASSERT_EQ(ui.warnings.size(), 1u);
                EXPECT_EQ(ui.warnings[0],
                          formatText("Resampled from %u Hz to %u Hz, the only rate that this file "
                                     "type holds",
                                     rate, each.rate));
            }
            EXPECT_EQ(waveform->buffer().get(), before);
            EXPECT_EQ(waveform->sampleRate, rate);
            EXPECT_EQ(waveform->loopEnd, rate / 5);
            Collection back;
            ASSERT_TRUE(openFileAs(back, path, each.row, services)) << LastErrorText;
            Waveform& read = *back.all<Waveform>().front();
            EXPECT_EQ(read.sampleRate, each.rate);
            ASSERT_TRUE(read.loadSamples());
            EXPECT_NEAR(read.frames, each.rate * 0.5, 400);  // whole blocks of codecs
            EXPECT_GT(purity(read, 500), each.purity);
        }
    }
}

TEST_F(Rates, AskedForRatesKeepPitchLengthAndLoop) {
    const auto path = folder / "out.wav";
    for (const std::uint32_t rate : {48000u, 44100u, 22050u, 192000u}) {
        SaveOptions save;
        save.rate = rate;
        save.encoding = SampleEncoding::Float32;
        Waveform* waveform = tone(44100, 2, 1000);
        const SampleBuffer* before = waveform->buffer().get();
        ASSERT_TRUE(saveItem(waveform, kWaveRow, path, services, save)) << LastErrorText;
        EXPECT_EQ(waveform->buffer().get(), before);
        EXPECT_TRUE(ui.warnings.empty());
        Collection back;
        ASSERT_TRUE(openFile(back, path, false, services)) << LastErrorText;
        Waveform& read = *back.all<Waveform>().front();
        ASSERT_TRUE(read.loadSamples());
        EXPECT_EQ(read.sampleRate, rate);
        EXPECT_EQ(read.channels, 2);
        EXPECT_NEAR(read.frames, rate / 2.0, 0.5);
        EXPECT_EQ(read.loopMode, LoopMode::Forward);
        EXPECT_EQ(read.loopStart, rate / 10);
        EXPECT_EQ(read.loopEnd, rate / 5);
        EXPECT_GT(purity(read, 1000), 85);
    }
}

TEST_F(Rates, LoopsUpToTheLastFrameStayInside) {
    Waveform* waveform = test::addWaveform(collection, "n", test::testSignal(999, 16));
    waveform->setLoop(LoopMode::Forward, 3, 999);
    SaveOptions save;
    save.rate = 40000;  // 906.12 frames
    ASSERT_TRUE(saveItem(waveform, kWaveRow, folder / "out.wav", services, save)) << LastErrorText;
    Collection back;
    ASSERT_TRUE(openFile(back, folder / "out.wav", false, services));
    const Waveform& read = *back.all<Waveform>().front();
    EXPECT_EQ(read.frames, 906u);
    EXPECT_LE(read.loopEnd, 906);
    EXPECT_GT(read.loopEnd, 904);
}

TEST_F(Rates, StoppedSavesLeaveNothing) {
    Waveform* waveform = tone(44100, 2, 1000, 20);
    ui.abortAfter = 0;
    SaveOptions save;
    save.rate = 48000;
    EXPECT_FALSE(saveItem(waveform, kWaveRow, folder / "out.wav", services, save));
    EXPECT_EQ(LastErrorText, "Save aborted!");
    EXPECT_EQ(test::filesIn(folder.path()), 0u);
}

TEST_F(Rates, InstrumentsKeepTheirs) {
    Waveform* waveform = tone(44100);
    SaveOptions save;
    save.rate = 22050;
    auto* instrument = collection.create<Instrument>("i");
    auto* layer = collection.create<Layer>("l");
    auto* region = collection.create<Region>("r");
    region->links.add(waveform->id());
    layer->links.add(region->id());
    instrument->links.add(layer->id());
    EXPECT_FALSE(saveItem(instrument, kWaveRow, folder / "out.wav", services, save));
    EXPECT_EQ(LastErrorText,
              "Changing the sample rate of instruments and collections is not supported in this build");
    // Without a change there is nothing to refuse but what the type can not hold anyway.
    save.rate = 44100;
    EXPECT_FALSE(saveItem(instrument, kWaveRow, folder / "out.wav", services, save));
    EXPECT_EQ(LastErrorText, "The file format can not save this item");
}

// The same conversion by SoX: equal in the middle of the pass band, to the rounding of 24 bits and both
// filters' ripple.
TEST_F(Rates, AgreesWithSox) {
    if (!test::haveProgram("sox"))
        GTEST_SKIP() << "SoX is not installed";
    Waveform* waveform = tone(44100, 1, 3000, 0.5);
    SaveOptions save;
    save.encoding = SampleEncoding::Pcm24;
    ASSERT_TRUE(saveItem(waveform, kWaveRow, folder / "in.wav", services, save));
    save.rate = 48000;
    waveform->bits = 24;
    ASSERT_TRUE(saveItem(waveform, kWaveRow, folder / "ours.wav", services, save));
    ASSERT_TRUE(test::run("sox -D \"" + (folder / "in.wav").string() + "\" -b 24 \"" +
                          (folder / "theirs.wav").string() + "\" rate -v 48000"));
    Collection ours, theirs;
    ASSERT_TRUE(openFile(ours, folder / "ours.wav", false, services));
    ASSERT_TRUE(openFile(theirs, folder / "theirs.wav", false, services));
    Waveform& a = *ours.all<Waveform>().front();
    Waveform& b = *theirs.all<Waveform>().front();
    ASSERT_TRUE(a.loadSamples() && b.loadSamples());
    ASSERT_NEAR(a.frames, b.frames, 1);
    for (std::size_t i = 2000; i < 22000; ++i)
        ASSERT_NEAR(a.samples()[i], b.samples()[i], 1e-5) << i;
}

}  // namespace
}  // namespace velor
