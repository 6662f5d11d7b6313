// Blocks of Creative Voice files: joined data, silence, repeats, packed samples.
#include "formats/core/wave_fixture.h"

namespace velor {
namespace {

using namespace test;

constexpr int kVoiceRow = 459, kOldVoiceRow = 460;

struct CreativeVoice : WaveFixture {};

Bytes block(unsigned type, const Bytes& payload) {
    return Bytes().u32(type | payload.size() << 8).add(payload);
}
Bytes voice(std::initializer_list<Bytes> blocks) {
    Bytes bytes = Bytes().text("Creative Voice File\x1A").u16(26).u16(0x10A).u16(0x1129);
    for (const Bytes& each : blocks)
        bytes.add(each);
    return bytes.u8(0);
}
// 1000000 / (256 - 156) = 10000 Hz.
Bytes sound(const Bytes& data, unsigned codec = 0, unsigned constant = 156) {
    return block(1, Bytes().u8(constant).u8(codec).add(data));
}
std::vector<float> unsigned8(std::initializer_list<int> values) {
    std::vector<float> samples;
    for (const int value : values)
        samples.push_back(static_cast<float>(value - 128) / 128);
    return samples;
}
const Bytes kThree = Bytes().u8(10).u8(20).u8(30);
const Bytes kTwo = Bytes().u8(40).u8(50);

TEST_F(CreativeVoice, BlocksJoin) {
    const auto expectBlocks = [this](const char* what, const Bytes& file, const std::vector<float>& samples,
                                     const char* loop = "") {
        Waveform* waveform = open(file, kVoiceRow, "take");
        EXPECT_EQ(told(waveform), std::string("take; 10000 Hz x 1") + loop) << what;
        EXPECT_EQ(samplesOf(waveform), samples) << what;
    };
    expectBlocks("continued", voice({sound(kThree), block(2, kTwo)}), unsigned8({10, 20, 30, 40, 50}));
    expectBlocks("no end mark and a marker", voice({block(4, Bytes().u16(7)), sound(kTwo)}),
                 unsigned8({40, 50}));
    // Three frames of silence at twice the rate are two frames (1.5, rounded).
    expectBlocks("silence", voice({sound(kTwo), block(3, Bytes().u16(2).u8(206)), block(2, kTwo)}),
                 unsigned8({40, 50, 128, 128, 40, 50}));
    expectBlocks("silence first", voice({block(3, Bytes().u16(1).u8(156)), sound(kTwo)}),
                 unsigned8({128, 128, 40, 50}));
    expectBlocks(
        "finite repeat",
        voice({sound(kThree), block(6, Bytes().u16(2)), block(2, kTwo), block(7, {}), block(2, kThree)}),
        unsigned8({10, 20, 30, 40, 50, 40, 50, 40, 50, 10, 20, 30}));
    expectBlocks(
        "endless repeat",
        voice({sound(kThree), block(6, Bytes().u16(0xFFFF)), block(2, kTwo), block(7, {}), block(2, kThree)}),
        unsigned8({10, 20, 30, 40, 50, 10, 20, 30}), "; forward 3 to 5");
    expectBlocks("repeat end without start", voice({sound(kTwo), block(7, {})}), unsigned8({40, 50}));
    expectBlocks("two forms of sound",
                 voice({sound(kTwo), block(9, Bytes().u32(10000).u8(16).u8(1).u16(4).u32(0).u16(0x4000))}),
                 {unsigned8({40, 50})[0], unsigned8({40, 50})[1], 0.5f});
}

// The extension block says channels and rate better than the sound block after it, and only of that one.
TEST_F(CreativeVoice, ExtensionBlockOverridesOneSound) {
    const Bytes extension = block(8, Bytes().u16(65536 - 256000000 / (2 * 16000)).u8(0).u8(1));
    Waveform* waveform = open(voice({extension, sound(kTwo)}), kVoiceRow);
    ASSERT_TRUE(waveform);
    EXPECT_EQ(waveform->channels, 2);
    EXPECT_EQ(waveform->sampleRate, 16000u);
    EXPECT_FALSE(open(voice({extension, sound(kTwo), sound(kTwo)}), kVoiceRow));
    EXPECT_EQ(LastErrorText, "The file changes its number of channels");
}

// A few bytes must not ask for hours of silence or repeats.
TEST_F(CreativeVoice, ExpansionIsLimited) {
    Bytes silence = voice({sound(kTwo)});
    silence.data.pop_back();
    for (int i = 0; i < 1000; ++i)
        silence.add(block(3, Bytes().u16(0xFFFF).u8(156)));
    Waveform* waveform = open(silence, kVoiceRow);
    ASSERT_TRUE(waveform);
    EXPECT_LE(waveform->frames, 1u << 24 | 2);
    ASSERT_EQ(ui.warnings.size(), 1u);
    EXPECT_NE(ui.warnings[0].find("are left out"), std::string::npos);

    const Bytes repeats =
        voice({block(6, Bytes().u16(0xFFFE)), sound(Bytes().fill(100000, 3)), block(7, {})});
    waveform = open(repeats, kVoiceRow);
    ASSERT_TRUE(waveform);
    EXPECT_LE(waveform->frames, (1u << 24) + 100000u);
    EXPECT_EQ(ui.warnings.size(), 1u);
}

TEST_F(CreativeVoice, PackedSamplesAreWhatSoxDecodes) {
    if (!haveProgram("sox"))
        GTEST_SKIP() << "SoX is not installed";
    for (unsigned codec = 1; codec <= 3; ++codec) {
        SCOPED_TRACE(codec);
        const Bytes codes = Bytes().add(randomBytes(999, codec)),
                    more = Bytes().add(randomBytes(999, codec + 3));
        // In one block, and going on in a second one with the decoder's state.
        open(voice({sound(codes, codec), block(2, more)}), kVoiceRow, "packed.voc");
        const auto ours = samplesOf(collection.all<Waveform>().front());
        EXPECT_EQ(ours.size(), 1 + (998 + 999) * (codec + 1));
        EXPECT_EQ(ours, decodedBy("sox", "packed.voc"));
    }
}

TEST_F(CreativeVoice, LoopsAndLongDataRoundTrip) {
    // More than one block can hold, with the loop across the border.
    const std::size_t frames = (1 << 24) / 2 + 5000;
    const auto signal = testSignal(frames, 16);
    const struct {
        double start, end;
    } loops[] = {{0, 0}, {0, 500}, {400, static_cast<double>(frames) - 3}, {1, static_cast<double>(frames)}};
    for (const auto& loop : loops) {
        SCOPED_TRACE(loop.end);
        collection.clear();
        Waveform* waveform = addWaveform(collection, "n", signal, 1, 22050);
        waveform->text(WaveText::Comment) = "a text";
        if (loop.end > 0)
            waveform->setLoop(LoopMode::Forward, loop.start, loop.end);
        ASSERT_TRUE(save(*waveform, kVoiceRow, "out.voc", SampleEncoding::Pcm16)) << LastErrorText;
        waveform = open("out.voc", kVoiceRow);
        ASSERT_TRUE(waveform) << LastErrorText;
        EXPECT_TRUE(samplesOf(waveform) == signal);
        EXPECT_EQ(waveform->looped, loop.end > 0);
        EXPECT_EQ(waveform->loopStart, loop.start);
        EXPECT_EQ(waveform->loopEnd, loop.end);
        EXPECT_EQ(waveform->text(WaveText::Comment), "a text");
        EXPECT_TRUE(ui.warnings.empty());
    }
}

// Old files store the length of a frame; whatever the rate, it comes back within that unit's precision.
TEST_F(CreativeVoice, OldStyleRates) {
    for (const std::uint32_t rate : {4000u, 8000u, 11025u, 22050u, 44100u}) {
        for (int channels = 1; channels <= 2; ++channels) {
            collection.clear();
            Waveform* waveform = addWaveform(collection, "n", testSignal(300, 8), channels, rate);
            ASSERT_TRUE(save(*waveform, kOldVoiceRow, "old.voc")) << LastErrorText;
            waveform = open("old.voc", kVoiceRow);
            ASSERT_TRUE(waveform);
            EXPECT_NEAR(waveform->sampleRate, rate, rate * 0.0005);
            EXPECT_EQ(waveform->channels, channels);
        }
    }
    EXPECT_FALSE(save(*addWaveform(collection, "n", {0, 0}, 1, 1000), kOldVoiceRow, "slow.voc"));
}

}  // namespace
}  // namespace velor
