// Headerless GSM and Rockwell files, from saving to identifying and reading.
#include "formats/core/codecs/gsm610.h"
#include "formats/core/codecs/rockwell.h"
#include "formats/core/raw_rockwell.h"
#include "formats/core/wave_fixture.h"
#include "formats/framework/sample_conversion.h"

namespace velor {
namespace {

using namespace test;

constexpr int kRawGsm = 167, kByteAligned = 168, kModem = 169, kModemAlternative = 170, kModemWave = 171;
constexpr int kRockwell = 345;

struct RawSpeech : WaveFixture {
    ~RawSpeech() override { resetRockwellAnswers(); }

    // Not a whole number of frames.
    Waveform* source() { return addWaveform(mine, "source", testSignal(10007, 16), 1, 8000); }
    // What the encoder and the decoder of the codec make of the source.
    std::vector<float> throughGsm(const Waveform& waveform) {
        std::vector<std::int16_t> samples(waveform.frames);
        samplesTo16(waveform.samples(), samples);
        samples.resize((samples.size() + 159) / 160 * 160);
        gsm610::Encoder encoder;
        gsm610::Decoder decoder;
        for (std::size_t at = 0; at < samples.size(); at += 160) {
            const auto frame = std::span(samples).subspan(at).first<160>();
            decoder.decode(encoder.encode(frame), frame);
        }
        std::vector<float> floats(samples.size());
        samplesFrom16(samples, floats);
        return floats;
    }
    std::vector<float> loaded() { return samplesOf(opened()); }

    Collection mine;
};

TEST_F(RawSpeech, GsmFilesComeBack) {
    const auto expected = throughGsm(*source());
    const struct {
        int writer, reader;
        std::size_t frameBytes;
    } cases[] = {{kRawGsm, kByteAligned, 33},
                 {kByteAligned, kByteAligned, 33},
                 {kModem, kModem, 38},
                 {kModemAlternative, kByteAligned, 33}};
    for (const auto& each : cases) {
        SCOPED_TRACE(rowDescription(each.writer));
        const auto path = folder / "x.gsm";
        ASSERT_TRUE(saveItem(source(), each.writer, path, services)) << LastErrorText;
        const auto bytes = readFile(path);
        EXPECT_EQ(bytes.size(), 63 * each.frameBytes);
        EXPECT_EQ(identifyBytes("x.gsm", bytes, bytes.size()).row, each.reader);
        ASSERT_TRUE(openFile(collection, path, false, services)) << LastErrorText;
        const Waveform& waveform = *collection.all<Waveform>().front();
        EXPECT_EQ(waveform.frames, 63u * 160);
        EXPECT_EQ(waveform.sampleRate, 8000u);
        EXPECT_EQ(waveform.sourceEncoding(), SampleEncoding::Gsm);
        EXPECT_EQ(loaded(), expected);
        // Rows that are chosen by name read every layout.
        for (const int row : {kRawGsm, kModem}) {
            ASSERT_TRUE(openFileAs(collection, path, row, services)) << LastErrorText;
            EXPECT_EQ(loaded(), expected) << rowDescription(row);
        }
    }
}

TEST_F(RawSpeech, PairsWithoutAWaveHeaderAreSeen) {
    std::vector<Byte> bytes(65 * 20);
    std::vector<std::int16_t> silence(320);
    gsm610::Encoder encoder;
    for (std::size_t i = 0; i < 20; ++i)
        encoder.encodePair(std::span(silence).first<320>(), std::span(bytes).subspan(i * 65).first<65>());
    writeFile(folder / "x.gsm", bytes);
    ASSERT_TRUE(openFileAs(collection, folder / "x.gsm", kRawGsm, services)) << LastErrorText;
    const auto samples = loaded();
    ASSERT_EQ(samples.size(), 20u * 320);
    for (const float sample : samples)
        ASSERT_LT(std::abs(sample), 0.001f);
}

TEST_F(RawSpeech, ModemWaveIsAWaveFile) {
    const auto path = folder / "x.wav";
    ASSERT_TRUE(saveItem(source(), kModemWave, path, services)) << LastErrorText;
    const auto bytes = readFile(path);
    EXPECT_EQ(identifyBytes("x.gsm", bytes, bytes.size()).row, kModemWave);
    ASSERT_EQ(bytes.size(), 60u + 63 * 38);
    EXPECT_EQ(loadLe<std::uint32_t>(bytes.data() + 4), bytes.size() - 8);
    EXPECT_EQ(loadLe<std::uint16_t>(bytes.data() + 20), 0x0303);
    EXPECT_EQ(loadLe<std::uint16_t>(bytes.data() + 32), 38);
    std::vector<std::int16_t> samples(63 * 160);
    ASSERT_EQ(gsm610::ModemDecoder().decode(std::span(bytes).subspan(60), samples), samples.size());
    std::vector<float> floats(samples.size());
    samplesFrom16(samples, floats);
    EXPECT_EQ(floats, throughGsm(*source()));
    floats.resize(10007);
    ASSERT_TRUE(openFile(collection, path, false, services)) << LastErrorText;
    EXPECT_EQ(collection.all<Waveform>().front()->sampleRate, 8000u);
    EXPECT_EQ(loaded(), floats) << "without the silence that fills the last frame up";
}

TEST_F(RawSpeech, TooShortFilesAreRefused) {
    for (const int row : {kRawGsm, kByteAligned, kModem}) {
        writeFile(folder / "x.gsm", std::vector<Byte>(32, 0xD0));
        EXPECT_FALSE(openFileAs(collection, folder / "x.gsm", row, services));
        EXPECT_EQ(LastErrorText, "Zero length");
    }
}

TEST_F(RawSpeech, RockwellFilesComeBack) {
    std::vector<std::int16_t> samples(10007);
    samplesTo16(source()->samples(), samples);
    for (const int bits : {2, 3, 4}) {
        SCOPED_TRACE(bits);
        std::vector<Byte> bytes(static_cast<std::size_t>(RockwellEncoder(bits).encodedSize(10007)));
        RockwellEncoder(bits).encode(samples, bytes);
        std::vector<std::int16_t> decoded(bytes.size() * 8 / static_cast<unsigned>(bits));
        ASSERT_EQ(RockwellDecoder(bits).decode(bytes, decoded), decoded.size());
        std::vector<float> expected(decoded.size());
        samplesFrom16(decoded, expected);

        // By the row of the width, and by the row for all widths with the encoding as the choice.
        SaveOptions options;
        for (const int row : {kRockwell + bits - 1, kRockwell}) {
            if (row == kRockwell)
                options.encoding = adpcmEncoding(bits);
            ASSERT_TRUE(saveItem(source(), row, folder / "x.rockwell", services, options)) << LastErrorText;
            EXPECT_EQ(readFile(folder / "x.rockwell"), bytes);
        }
        ASSERT_TRUE(openFileAs(collection, folder / "x.rockwell", kRockwell + bits - 1, services));
        const Waveform& waveform = *collection.all<Waveform>().front();
        EXPECT_EQ(waveform.frames, expected.size());
        EXPECT_EQ(waveform.bits, bits);
        EXPECT_EQ(waveform.format, SampleFormat::Adpcm);
        EXPECT_EQ(loaded(), expected);
    }
    EXPECT_TRUE(ui.questions.empty());
}

TEST_F(RawSpeech, TheWidthIsAskedForUntilTheUserHasEnough) {
    ScriptedInterface asked;
    services.ui = &asked;
    writeFile(folder / "x.rockwell", std::vector<Byte>(120, 0x5A));
    // The answers are the width, and whether to ask again.
    const auto frames = [&](std::vector<std::size_t> answers) {
        asked.script = std::move(answers);
        EXPECT_TRUE(openFile(collection, folder / "x.rockwell", false, services)) << LastErrorText;
        return opened()->frames;
    };
    EXPECT_EQ(frames({0, 0}), 480u);
    EXPECT_EQ(frames({1, 1}), 320u);
    EXPECT_EQ(frames({2}), 320u) << "remembered";
    EXPECT_EQ(asked.keys.size(), 4u);
    resetRockwellAnswers();
    EXPECT_EQ(frames({}), 240u) << "4 bits unless the user says otherwise";
}

}  // namespace
}  // namespace velor
