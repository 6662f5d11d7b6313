// 8SVX and 16SV: loops, octaves, packed samples, texts and keys.
#include "formats/core/wave_fixture.h"

namespace velor {
namespace {

using namespace test;

constexpr int kAmigaRow = 175;

struct AmigaSample : WaveFixture {};

struct Voice {
    std::uint32_t oneShot = 0, repeat = 0, cycle = 0;
    unsigned rate = 8000, octaves = 1, compression = 0;
    std::uint32_t volume = 0x10000;
};
Bytes header(const Voice& voice) {
    return iffChunk("VHDR", Bytes()
                                .be32(voice.oneShot)
                                .be32(voice.repeat)
                                .be32(voice.cycle)
                                .be16(voice.rate)
                                .u8(voice.octaves)
                                .u8(voice.compression)
                                .be32(voice.volume));
}
Bytes svx(std::initializer_list<Bytes> chunks, const char* type = "8SVX") {
    return form("FORM", type, chunks, true);
}
Bytes signed8(std::initializer_list<int> values) {
    Bytes bytes;
    for (const int value : values)
        bytes.u8(static_cast<unsigned>(value) & 255);
    return bytes;
}
std::vector<float> levels(std::initializer_list<int> values) {
    std::vector<float> samples;
    for (const int value : values)
        samples.push_back(static_cast<float>(value) / 128);
    return samples;
}

TEST_F(AmigaSample, HeaderAndTexts) {
    Waveform* waveform =
        open(svx({header({3, 2, 0, 11025, 1, 0, 0x8000}), iffChunk("NAME", Bytes().text("Snare")),
                  iffChunk("AUTH", Bytes().text("Somebody")), iffChunk("(c) ", Bytes().text("2001")),
                  iffChunk("ANNO", Bytes().text("first")), iffChunk("ANNO", Bytes().text("second")),
                  iffChunk("BODY", signed8({1, -2, 3, -4, 5}))}),
             kAmigaRow);
    EXPECT_EQ(told(waveform),
              "Snare; artist Somebody; copyright 2001; comment first\nsecond; 11025 Hz x 1; gain -6.0206; "
              "forward 3 to 5");
    EXPECT_EQ(samplesOf(waveform), levels({1, -2, 3, -4, 5}));
}

// The lower octaves are longer recordings, played at the same rate an octave lower.
TEST_F(AmigaSample, OctavesBecomeWaveforms) {
    ASSERT_TRUE(
        open(svx({header({1, 1, 32, 8372, 3}), iffChunk("BODY", Bytes().fill(2, 1).fill(4, 2).fill(8, 3))}),
             kAmigaRow));
    const auto all = collection.all<Waveform>();
    ASSERT_EQ(all.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(all[i]->frames, 2u << i);
        EXPECT_EQ(all[i]->rootKey, 60 - 12 * static_cast<int>(i));  // 8372 / 32 = 261.6 Hz
        EXPECT_EQ(all[i]->loopStart, 1u << i);
        EXPECT_EQ(all[i]->loopEnd, 2u << i);
        EXPECT_EQ(samplesOf(all[i]), std::vector<float>(2u << i, static_cast<float>(i + 1) / 128));
    }
}

TEST_F(AmigaSample, PackedSamples) {
    // Differences worked out by hand from the two tables; the sum wraps as the Amiga's did.
    const struct {
        unsigned compression;
        Bytes body;
        std::vector<float> samples;
    } cases[] = {
        {1, signed8({0, 10, 0x90, 0x8F}), levels({11, -23, -23, -2})},
        {1, signed8({0, 120, 0xFF}), levels({-115, -94})},
        {2, signed8({0, 0, 0x0F, 0x79}), levels({-128, -64, -65, -64})},
    };
    for (const auto& each : cases) {
        Waveform* waveform =
            open(svx({header({0, 0, 0, 8000, 1, each.compression}), iffChunk("BODY", each.body)}), kAmigaRow);
        ASSERT_TRUE(waveform) << LastErrorText;
        EXPECT_EQ(samplesOf(waveform), each.samples);
    }
    // Stereo: both halves have their own first value.
    Waveform* waveform = open(svx({header({0, 0, 0, 8000, 1, 1}), iffChunk("CHAN", Bytes().be32(6)),
                                   iffChunk("BODY", signed8({0, 10, 0x90, 0, -10, 0x97}))}),
                              kAmigaRow);
    ASSERT_TRUE(waveform);
    EXPECT_EQ(samplesOf(waveform), levels({11, -9, -23, -10}));
}

// Sixteen-bit forms in either byte order; counts in bytes where frames are meant.
TEST_F(AmigaSample, SixteenBit) {
    const auto signal = testSignal(3000, 16);
    for (const bool big : {true, false}) {
        Bytes body;
        for (std::size_t i = 0; i < signal.size(); ++i) {
            const auto value =
                static_cast<unsigned>(static_cast<int>(20000 * std::sin(0.01 * static_cast<double>(i))));
            if (big)
                body.be16(value & 0xFFFF);
            else
                body.u16(value & 0xFFFF);
        }
        Waveform* waveform =
            open(svx({header({2000, 4000, 0, 8000}), iffChunk("BODY", body)}, "16SV"), kAmigaRow);
        ASSERT_TRUE(waveform);
        EXPECT_EQ(waveform->frames, 3000u);
        EXPECT_EQ(waveform->loopStart, 1000);
        EXPECT_EQ(waveform->loopEnd, 3000);
        EXPECT_NEAR(samplesOf(waveform)[157], 20000 / 32768.0 * std::sin(1.57), 0.001);
    }
}

}  // namespace
}  // namespace velor
