#include <algorithm>

#include "base/ieee_extended.h"
#include "formats/core/aiff_reader.h"
#include "formats/core/aiff_writer.h"
#include "formats/core/wave_fixture.h"

namespace velor {
namespace {

using namespace test;

constexpr int kAiffRow = 15;

// 44100 Hz as an 80-bit number: 1.3458251953125 × 2^15.
const Bytes kRate44100 = Bytes().be16(0x400E).be32(0xAC440000).be32(0);

struct Marker {
    unsigned id;
    std::uint32_t position;
    const char* name;
};
Bytes markers(std::initializer_list<Marker> list) {
    Bytes bytes = Bytes().be16(static_cast<unsigned>(list.size()));
    for (const Marker& each : list) {
        const std::string name = each.name;
        bytes.be16(each.id).be32(each.position).u8(static_cast<unsigned>(name.size())).text(name);
        bytes.zeros((name.size() + 1) % 2);
    }
    return iffChunk("MARK", bytes);
}
struct PlayedLoop {
    unsigned mode, begin, end;
};
Bytes instrument(unsigned note, unsigned detune, int gain, PlayedLoop sustain, PlayedLoop release) {
    Bytes bytes = Bytes().u8(note).u8(detune).u8(0).u8(127).u8(0).u8(127).be16(static_cast<unsigned>(gain));
    for (const PlayedLoop& loop : {sustain, release})
        bytes.be16(loop.mode).be16(loop.begin).be16(loop.end);
    return iffChunk("INST", bytes);
}

struct Aiff : WaveFixture {
    Waveform* open(const Bytes& bytes) { return WaveFixture::open(bytes, kAiffRow, "take.aif"); }
    std::vector<Byte> save(Item& item, SampleEncoding encoding = SampleEncoding::None) {
        if (!WaveFixture::save(item, kAiffRow, "out.aif", encoding))
            return {};
        return readFile(folder / "out.aif");
    }
};

TEST(IeeeExtended, RatesThereAndBack) {
    for (const std::uint32_t rate :
         {0u, 1u, 8000u, 22050u, 44100u, 48000u, 192000u, 0x80000000u, 0xFFFFFFFFu}) {
        Byte bytes[kExtendedBytes];
        storeExtended(bytes, rate);
        EXPECT_EQ(integerFromExtended(bytes), rate);
    }
    const struct {
        Bytes bytes;
        std::int64_t value;
    } cases[] = {
        {kRate44100, 44100},
        {Bytes().be16(0xC00E).be32(0xAC440000).be32(0), -44100},
        {Bytes().be16(0x400D).be32(0xADDD1746).be32(0), 22254},  // 22254.5454…, an old Macintosh
        {Bytes().be16(0x3FFE).be32(0xFFFFFFFF).be32(0), 0},      // below 1
        {Bytes().be16(0x7FFF).zeros(8), 0x7FFFFFFF},             // infinity
        {Bytes().be16(0x4100).be32(0x80000000).be32(0), 0x7FFFFFFF},
        {Bytes().be16(0).be32(0x80000000).be32(0), 0},
    };
    for (const auto& each : cases)
        EXPECT_EQ(integerFromExtended(std::span<const Byte, kExtendedBytes>(each.bytes.data)), each.value);
}

TEST_F(Aiff, EveryCompressionTypeIsReadOrRefusedByName) {
    struct Case {
        const char* type;
        unsigned bits;
        Bytes data;  // one frame
        float value;
        int shownBits, format;
    };
    const Bytes half32 = Bytes().be32(0x40000100), half24 = Bytes().u8(0x40).u8(0).u8(1);
    const Case plain[] = {
        {"none", 12, Bytes().be16(0x4010), 16400 / 32768.0f, 12, 1},
        {"lpcm", 20, Bytes().u8(0x40).u8(0).u8(0x10), 4194320 / 8388608.0f, 20, 2},
        {"sowt", 16, Bytes().u16(0x8001), -32767 / 32768.0f, 16, 1},
        {"sowt", 24, Bytes().u8(1).u8(0).u8(0x40), 4194305 / 8388608.0f, 24, 2},
        {"in24", 16, half24, 4194305 / 8388608.0f, 24, 2},
        {"in32", 16, half32, 1073742080 / 2147483648.0f, 32, 3},
        {"FL32", 16, Bytes().be32(0xC0200000), -2.5f, 32, 4},
        {"fl64", 16, Bytes().be32(0x3FD00000).be32(0), 0.25f, 64, 4},
        {"ALAW", 16, Bytes().u8(0x2A), -32256 / 32768.0f, 8, 6},
        {"ULAW", 16, Bytes().u8(0x00), -32124 / 32768.0f, 8, 5},
    };
    for (const Case& each : plain) {
        SCOPED_TRACE(each.type);
        Waveform* waveform = open(aiff({comm(1, 1, each.bits, each.type, "x"), ssnd(each.data, 3)}, "AIFC"));
        ASSERT_TRUE(waveform && waveform->loadSamples()) << LastErrorText;
        ASSERT_EQ(waveform->frames, 1u);
        EXPECT_EQ(waveform->samples()[0], each.value);
        EXPECT_EQ(waveform->bits, each.shownBits);
        EXPECT_EQ(static_cast<int>(waveform->format), each.format);
        EXPECT_EQ(waveform->sampleRate, 44100u);
    }
    const struct {
        const char* type;
        int commonBits, bits, format;
        std::uint32_t frames;  // of 100 in COMM
    } codecs[] = {
        {"ima4", 3, 4, 7, 6400}, {"IMA4", 3, 4, 7, 6400},  {"MAC3", 3, 3, 7, 600}, {"MAC6", 3, 1, 7, 600},
        {"G721", 3, 4, 7, 100},  {"G722", 3, 4, 7, 100},   {"G723", 3, 3, 7, 100}, {"G726", 16, 16, 7, 100},
        {"GSM ", 3, 2, 7, 160},  {"DWVW", 12, 12, 1, 100},
    };
    for (const auto& each : codecs) {
        SCOPED_TRACE(each.type);
        Bytes noise;
        for (unsigned i = 0; i < 50; ++i)
            noise.u8(i * 167 + 13);
        Waveform* waveform = open(aiff({comm(1, 100, each.commonBits, each.type, "x"), ssnd(noise)}, "AIFC"));
        ASSERT_TRUE(waveform) << LastErrorText;
        EXPECT_EQ(waveform->bits, each.bits);
        EXPECT_EQ(static_cast<int>(waveform->format), each.format);
        EXPECT_EQ(waveform->frames, each.frames);
        ASSERT_TRUE(waveform->loadSamples()) << LastErrorText;
        EXPECT_EQ(waveform->frames, each.frames);
        EXPECT_TRUE(std::ranges::any_of(waveform->samples(), [](float sample) { return sample != 0; }));
        EXPECT_TRUE(
            std::ranges::all_of(waveform->samples(), [](float sample) { return std::abs(sample) <= 1; }));
    }
    Waveform* odd = open(aiff({comm(1, 100, 3, "DWVW", "x"), ssnd(Bytes().zeros(50))}, "AIFC"));
    ASSERT_TRUE(odd) << LastErrorText;
    EXPECT_FALSE(odd->loadSamples());
    EXPECT_EQ(LastErrorText, "Decoding DWVW is not supported in this build");
    const Bytes data = ssnd(Bytes().zeros(8));
    const struct {
        Bytes file;
        const char* message;
    } refused[] = {
        {Bytes().text("RIFF").zeros(20), "No FORM starting IFF file"},
        {aiff({comm(1, 4, 16), data}, "8SVX"), "Not an AIFF, AIFC, MAUD type IFF-FORM"},
        {aiff({comm(3, 4, 16), data}), "Can't handle > 2 channel files"},
        {aiff({comm(0, 4, 16), data}), "No channels"},
        {aiff({comm(1, 4, 16, "QDMC", "Music"), data}, "AIFC"), "Unsupported compression type: Music"},
        {aiff({comm(1, 4, 16, "QDMC"), data}, "AIFC"), "Unsupported compression type: QDMC"},
        {aiff({comm(1, 4, 0), data}), "Unknown sample format or compression"},
        {aiff({comm(1, 4, 33), data}), "Unknown sample format or compression"},
        {aiff({data}), "Unknown sample format or compression"},
        {aiff({comm(1, 4, 16)}), "No SSND data"},
    };
    for (const auto& each : refused) {
        EXPECT_FALSE(open(each.file));
        EXPECT_EQ(LastErrorText, each.message);
        EXPECT_TRUE(collection.empty());
    }
}

TEST_F(Aiff, InstrumentAndMarkersGiveKeyGainAndLoop) {
    const Bytes marks = markers({{3, 10, "a"}, {1, 20, "bc"}, {7, 30, ""}, {9, 40, "end"}});
    const Bytes body = ssnd(Bytes().zeros(200));
    const struct {
        const char* what;
        Bytes marks, inst;
        const char* told;
    } cases[] = {
        {"sustain", marks, instrument(72, 0xF6, -6, {1, 3, 1}, {1, 7, 9}), "; gain -6; forward 10 to 20"},
        {"until release", marks, instrument(72, 0xF6, 47, {2, 3, 9}, {0, 0, 0}),
         "; gain 47; alternating 10 to 40 until release"},
        {"release only", marks, instrument(72, 0xF6, 60, {0, 3, 1}, {1, 7, 9}), "; forward 30 to 40"},
        {"none", marks, instrument(72, 0xF6, -97, {0, 3, 1}, {0, 7, 9}), ""},
        {"no such marker", marks, instrument(72, 0xF6, -96, {1, 3, 2}, {0, 0, 0}), "; gain -96"},
        {"empty MARK", markers({}), instrument(72, 0xF6, 0, {1, 3, 1}, {1, 3, 1}), ""},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        // Markers may stand on either side of the instrument.
        for (const bool before : {true, false})
            EXPECT_EQ(told(open(before ? aiff({comm(1, 100, 16), each.marks, each.inst, body})
                                       : aiff({comm(1, 100, 16), body, each.inst, each.marks}))),
                      "take; 44100 Hz x 1; key 72-10" + std::string(each.told));
    }
    EXPECT_EQ(told(open(aiff({iffChunk("NAME", Bytes().text("Bell")), iffChunk("ANNO", Bytes().text("odd")),
                              iffChunk("(c) ", Bytes(300, 'c')), comm(1, 100, 16), body}))),
              "Bell; copyright " + std::string(256, 'c') + "; comment odd; 44100 Hz x 1");
}

TEST_F(Aiff, MaudFromTheAmiga) {
    const auto maud = [](std::uint32_t samples, unsigned bits, unsigned layout, unsigned coding,
                         const Bytes& data) {
        return form("FORM", "MAUD",
                    {iffChunk("MHDR", Bytes()
                                          .be32(samples)
                                          .be16(bits)
                                          .be16(bits)
                                          .be32(88200)
                                          .be16(4)
                                          .be16(layout)
                                          .be16(layout + 1)
                                          .be16(coding)
                                          .zeros(12)),
                     iffChunk("MDAT", data)},
                    true);
    };
    const struct {
        Bytes file;
        int channels;
        std::vector<float> samples;
    } cases[] = {
        {maud(4, 16, 1, 0, Bytes().be16(0x4000).be16(0).be16(0x8000).be16(0)), 2, {0.5f, 0, -1, 0}},
        {maud(1, 8, 0, 2, Bytes().u8(0xAA)), 1, {32256 / 32768.0f}},
        {maud(1, 8, 0, 3, Bytes().u8(0x80)), 1, {32124 / 32768.0f}},
    };
    for (const auto& each : cases) {
        Waveform* waveform = open(each.file);
        ASSERT_TRUE(waveform && waveform->loadSamples()) << LastErrorText;
        EXPECT_EQ(waveform->channels, each.channels);
        EXPECT_EQ(waveform->sampleRate, 22050u);
        EXPECT_EQ(std::vector<float>(waveform->samples().begin(), waveform->samples().end()), each.samples);
    }
    EXPECT_FALSE(open(maud(1, 8, 0, 9, Bytes().u8(0))));
    EXPECT_EQ(LastErrorText, "Unknown sample format or compression");
}

TEST_F(Aiff, FilesAreWrittenByteForByte) {
    Waveform* waveform = addWaveform(collection, "Bell", {0, 0.5f, -1});
    EXPECT_EQ(save(*waveform, SampleEncoding::Pcm8),
              aiff({comm(1, 3, 8), instrument(60, 0, 0, {}, {}), ssnd(Bytes().u8(0).u8(0x40).u8(0x80)),
                    iffChunk("NAME", Bytes().text("Bell").zeros(2))})
                  .data);
    waveform->setLoop(LoopMode::Alternating, 0.6, 2.4);
    waveform->gain = 200;
    waveform->text(WaveText::Comment) = "odd";
    waveform->text(WaveText::Copyright) = "me";
    EXPECT_EQ(
        save(*waveform, SampleEncoding::Pcm24),
        aiff({comm(1, 3, 24), markers({{1, 1, "beg loop"}, {2, 2, "end loop"}}),
              instrument(60, 0, 144, {2, 1, 2}, {2, 1, 2}),
              ssnd(Bytes().zeros(3).u8(0x40).zeros(2).u8(0x80).zeros(2)),
              iffChunk("NAME", Bytes().text("Bell").zeros(2)), iffChunk("(c) ", Bytes().text("me").zeros(2)),
              iffChunk("ANNO", Bytes().text("odd").zeros(1))})
            .data);
    const struct {
        int rootKey, fineTune, baseNote;
    } notes[] = {{60, 0, 60}, {60, 30, 30}, {60, -30, 90}, {10, 30, 0}, {100, -50, 127}};
    for (const auto& each : notes) {
        waveform->rootKey = static_cast<std::uint8_t>(each.rootKey);
        waveform->fineTune = static_cast<std::int8_t>(each.fineTune);
        waveform->loopUntilRelease = true;
        const auto bytes = save(*waveform, SampleEncoding::Pcm16);
        const Bytes inst = instrument(static_cast<unsigned>(each.baseNote), 0, 144, {2, 1, 2}, {0, 0, 0});
        EXPECT_TRUE(std::equal(inst.data.begin(), inst.data.end(), bytes.begin() + 12 + 26 + 42))
            << each.fineTune;
    }
    EXPECT_TRUE(save(*waveform, SampleEncoding::Float32).empty());
    OpenFile file;
    file.ui = &ui;
    EXPECT_FALSE(writeAiff(*collection.create<Instrument>("i"), file, 0));
    EXPECT_EQ(LastErrorText, "The file format can not save this item");
}

TEST_F(Aiff, HostileFilesEndWellOrWithAMessage) {
    const Bytes whole = aiff({iffChunk("FVER", Bytes().be32(0xA2805140)), comm(2, 40, 16, "sowt", "little"),
                              markers({{1, 5, "beg"}, {2, 30, "end"}}),
                              instrument(60, 0, 0, {1, 1, 2}, {1, 1, 2}), ssnd(Bytes().fill(160, 0x33), 2),
                              iffChunk("NAME", Bytes().text("name")), iffChunk("ANNO", Bytes().text("x"))},
                             "AIFC");
    ASSERT_TRUE(open(whole)) << LastErrorText;
    damage(whole, ByteOrder::Big, [this](const Bytes& file) {
        Waveform* waveform = open(file);
        if (waveform && waveform->loadSamples()) {
            EXPECT_LE(waveform->samples().size(), file.size());
        } else {
            EXPECT_FALSE(LastErrorText.empty());
        }
    });
    Bytes truncated = whole;
    truncated.data.resize(12 + 12 + 8 + 30 + 8 + 22 + 28 + 8 + 10 + 40);
    Waveform* waveform = open(truncated);
    ASSERT_TRUE(waveform && waveform->loadSamples()) << LastErrorText;
    EXPECT_EQ(ui.warnings.size(), 1u);
    EXPECT_LT(waveform->frames, 40u);
    EXPECT_GT(waveform->frames, 0u);
}

}  // namespace
}  // namespace velor
