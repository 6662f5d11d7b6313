// The rows of headerless G.72x files: what they ask, remember, read and write.
#include "formats/core/raw_g72x.h"

#include "formats/core/codecs/g722.h"
#include "formats/core/codecs/g72x.h"
#include "formats/core/wave_fixture.h"
#include "items/instrument.h"

namespace velor {
namespace {

using namespace test;

struct RawG72x : WaveFixture {
    RawG72x() {
        services.ui = &ui;
        resetG72xAnswers();
    }
    ~RawG72x() override { resetG72xAnswers(); }

    // Opens bytes as a file of this row, with these answers.
    Waveform* opened(const std::vector<Byte>& bytes, int row, std::vector<std::size_t> answers = {}) {
        ui.script = std::move(answers);
        ui.questions.clear();
        ui.keys.clear();
        collection.clear();
        return open(Bytes().add(bytes), row);
    }

    ScriptedInterface ui;
};

std::vector<float> g726Samples(const std::vector<Byte>& bytes, int width, CodePacking packing) {
    std::vector<std::int16_t> samples(codesIn(bytes.size(), width));
    G72xDecoder(width, packing).decode(bytes, samples);
    std::vector<float> floats;
    for (const std::int16_t sample : samples)
        floats.push_back(static_cast<float>(sample) / 32768);
    return floats;
}

constexpr int kG721 = 119, kG722 = 125, kG722Six = 128, kG723 = 135, kG726 = 144, kG726Three = 150,
              kVm1 = 458;
using Keys = std::vector<std::string>;

TEST_F(RawG72x, AsksOnceMoreUntilToldNotTo) {
    const auto bytes = randomBytes(3000, 3);
    // Big endian, 5-bit, ask again.
    Waveform* waveform = opened(bytes, kG726, {0, 3, 0});
    ASSERT_TRUE(waveform) << LastErrorText;
    EXPECT_EQ(ui.keys, (Keys{"raw.g726.packing", "raw.g726.width", "raw.g726.again"}));
    EXPECT_EQ(ui.questions[0].text, "Is the data stored with 'Big Endian' or 'Little Endian' bit packing?");
    EXPECT_EQ(ui.questions[0].buttons, (Keys{"Big endian", "Little endian"}));
    EXPECT_EQ(ui.questions[1].text, "Is it 2, 3, 4, or 5-bit (16, 24, 32, 40 or 64 kbps) ADPCM data?");
    EXPECT_EQ(ui.questions[1].buttons, (Keys{"2-bit", "3-bit", "4-bit", "5-bit"}));
    EXPECT_EQ(ui.questions[1].defaultButton, 2u);
    EXPECT_EQ(ui.questions[2].text, "Ask the same again the next time you open a G.726 file?");
    EXPECT_EQ(ui.questions[2].buttons, (Keys{"Yes", "No"}));
    EXPECT_EQ(waveform->sampleRate, 8000u);
    EXPECT_EQ(waveform->channels, 1);
    EXPECT_EQ(waveform->bits, 5);
    EXPECT_EQ(waveform->format, SampleFormat::Adpcm);
    EXPECT_EQ(waveform->frames, 3000u * 8 / 5);
    EXPECT_EQ(samplesOf(waveform), g726Samples(bytes, 5, CodePacking::HighBitsFirst));

    // The row knows its width: only the packing is asked, and now settled.
    ASSERT_TRUE(opened(bytes, kG726Three, {0, 1}));
    EXPECT_EQ(ui.keys, (Keys{"raw.g726.packing", "raw.g726.again"}));
    // So the next file is only asked for its width, and settles that.
    waveform = opened(bytes, kG726, {1, 1});
    EXPECT_EQ(ui.keys, (Keys{"raw.g726.width", "raw.g726.again"}));
    EXPECT_EQ(samplesOf(waveform), g726Samples(bytes, 3, CodePacking::HighBitsFirst));
    waveform = opened(bytes, kG726);
    EXPECT_EQ(ui.keys, Keys{});
    EXPECT_EQ(samplesOf(waveform), g726Samples(bytes, 3, CodePacking::HighBitsFirst));
    // Other families still ask.
    ASSERT_TRUE(opened(bytes, kG723));
    EXPECT_EQ(ui.keys, (Keys{"raw.g723.packing", "raw.g723.width", "raw.g723.again"}));
    resetG72xAnswers();
    ASSERT_TRUE(opened(bytes, kG726));
    EXPECT_EQ(ui.keys.size(), 3u);
}

TEST_F(RawG72x, FamiliesAskTheirOwnQuestions) {
    const auto bytes = randomBytes(2100, 3);
    Waveform* waveform = opened(bytes, kG721);
    EXPECT_EQ(ui.keys, (Keys{"raw.g721.packing", "raw.g721.again"}));
    EXPECT_EQ(ui.questions[1].text, "Ask the same again the next time you open a G.721 file?");
    EXPECT_EQ(samplesOf(waveform), g726Samples(bytes, 4, CodePacking::LowBitsFirst));

    waveform = opened(bytes, kG723, {1, 1, 0});
    EXPECT_EQ(ui.questions[1].text, "Is it 3-bit (24 kpbs) or 5-bit (40 kpbs) ADPCM data?");
    EXPECT_EQ(ui.questions[1].buttons, (Keys{"3-bit", "5-bit"}));
    EXPECT_EQ(ui.questions[2].text, "Ask the same again the next time you open a G.723 file?");
    EXPECT_EQ(samplesOf(waveform), g726Samples(bytes, 5, CodePacking::LowBitsFirst));

    waveform = opened(bytes, kG722, {0, 1, 0});
    EXPECT_EQ(ui.questions[1].text, "Is it 6, 7 or 8-bit codeword (48, 56 or 64 kbps) ADPCM data?");
    EXPECT_EQ(ui.questions[1].buttons, (Keys{"6-bit", "7-bit", "8-bit"}));
    EXPECT_EQ(ui.questions[1].defaultButton, 2u);
    EXPECT_EQ(ui.questions[2].text, "Ask the same again the next time you open a G.722 file?");
    ASSERT_TRUE(waveform);
    EXPECT_EQ(waveform->sampleRate, 16000u);
    EXPECT_EQ(waveform->bits, 7);
    EXPECT_EQ(waveform->frames, 2u * 2400);
    EXPECT_EQ(samplesOf(waveform).size(), 2u * 2400);

    waveform = opened(bytes, kVm1);
    EXPECT_EQ(ui.keys, Keys{});
    EXPECT_EQ(samplesOf(waveform), g726Samples(bytes, 4, CodePacking::HighBitsFirst));
}

// Every writing row, read back by its row with the packing that its name tells.
TEST_F(RawG72x, WhatIsWrittenIsReadBack) {
    std::vector<float> signal = testSignal(5001, 14);
    for (float& sample : signal)
        sample *= 0.5f;
    int written = 0;
    int reader = -1;
    for (int row = kG721; row <= 158; ++row) {
        const FormatEntry& entry = *formatRow(row);
        if (entry.read)
            reader = row;
        if (!entry.write)
            continue;
        ++written;
        const std::string extension = entry.extension;
        const bool wide = extension.starts_with("g722");
        const std::size_t dash = extension.find('-');
        const int named = dash != std::string::npos ? extension[dash + 1] - '0' : wide ? 8 : 0;
        const bool little = std::string(entry.description).ends_with("Little Endian");
        for (const SampleEncoding encoding : {SampleEncoding::Adpcm2, SampleEncoding::Adpcm3,
                                              SampleEncoding::Adpcm4, SampleEncoding::Adpcm5}) {
            if (!(entry.flags & encodingBit(encoding)))
                continue;
            const int width = named ? named : adpcmBits(encoding);
            SCOPED_TRACE(formatText("row %d, %d bits", row, width));
            resetG72xAnswers();
            collection.clear();
            Waveform* waveform = addWaveform(collection, "n", signal, 1, wide ? 16000 : 8000);
            ASSERT_TRUE(save(*waveform, row, "out", encoding)) << LastErrorText;
            const std::uint64_t codes = wide ? (signal.size() + 1) / 2 : signal.size();
            EXPECT_EQ(readFile(folder / "out").size(), (codes * static_cast<unsigned>(width) + 7) / 8);
            const int firstWidth = wide ? 6 : extension == "g723" ? 3 : 2;
            const int step = extension == "g723" ? 2 : 1;
            const auto back =
                samplesOf(opened(readFile(folder / "out"), reader,
                                 {little, static_cast<std::size_t>((width - firstWidth) / step), 0}));
            ASSERT_GE(back.size(), signal.size()) << LastErrorText;
            // G.722's filters delay by 22 samples.
            const std::size_t delay = wide ? 22 : 0;
            double power = 0, error = 0;
            for (std::size_t i = 200; i + delay < signal.size(); ++i) {
                power += std::pow(signal[i], 2);
                error += std::pow(signal[i] - back[i + delay], 2);
            }
            EXPECT_GT(10 * std::log10(power / error), width == 2 ? 8 : 14);
        }
    }
    EXPECT_EQ(written, 27);
}

TEST_F(RawG72x, RefusesWithOneSentence) {
    auto* instrument = collection.create<Instrument>("n");
    OpenFile file;
    file.ui = &ui;
    EXPECT_FALSE(writeRawG72x(*instrument, file, 4));
    EXPECT_EQ(LastErrorText, "The file format can not save this item");

    EXPECT_FALSE(opened(std::vector<Byte>{}, kG722Six));
    ui.script = {};
    Waveform* shortest = opened(std::vector<Byte>{0x12}, kG726);
    ASSERT_TRUE(shortest);
    EXPECT_EQ(shortest->frames, 2u);
}

}  // namespace
}  // namespace velor
