#include "formats/core/wave_reader.h"

#include <array>
#include <optional>

#include "formats/core/wave_fixture.h"

namespace velor {
namespace {

using namespace test;

constexpr int kWaveRow = 478;

struct WaveReader : WaveFixture {
    // The waveform of a file with these bytes; nullptr when reading fails.
    Waveform* open(const Bytes& bytes) { return WaveFixture::open(bytes, kWaveRow, "take.wav"); }
    Waveform* openDecoded(const Bytes& bytes) {
        Waveform* waveform = open(bytes);
        return waveform && waveform->loadSamples() ? waveform : nullptr;
    }
    std::vector<float> samplesOf(const Bytes& bytes) { return WaveFixture::samplesOf(open(bytes)); }
};

Bytes data(std::size_t size) {
    return chunk("data", Bytes().zeros(size));
}

TEST_F(WaveReader, EveryFormatTagIsReadOrRefusedByName) {
    const auto codec = [](unsigned tag, unsigned channels, unsigned bits, unsigned blockAlign = 64,
                          unsigned bytesPerSecond = 4000, const Bytes& extra = {}) {
        return chunk("fmt ", fmtPayload(tag, channels, 8000, bits, blockAlign, bytesPerSecond)
                                 .u16(static_cast<unsigned>(extra.size()))
                                 .add(extra));
    };
    const auto mpeg = [](std::uint32_t rate, unsigned mode) {
        return Bytes().u16(2).u32(rate).u16(mode).zeros(14);
    };
    const auto mp3 = [](unsigned blockSize) { return Bytes().u16(1).u32(0).u16(blockSize).u16(1).u16(1393); };
    struct Case {
        Bytes fmt;
        int bits;
        int format;
        std::uint32_t frames;  // of 1000 data bytes
        const char* decoding;  // what decoding says; nullptr: it works
    };
    const char* const stream = "Decoding compressed streams is not supported in this build";
    const Case cases[] = {
        {codec(0x0001, 1, 8), 8, 0, 1000, nullptr},
        {codec(0x0001, 2, 12), 12, 1, 250, nullptr},
        {codec(0x0001, 1, 24), 24, 2, 333, nullptr},
        {codec(0x0001, 1, 64), 64, 3, 125, nullptr},
        {codec(0x0003, 1, 32), 32, 4, 250, nullptr},
        {codec(0x0003, 2, 64), 64, 4, 62, nullptr},
        {codec(0x0007, 1, 8), 8, 5, 1000, nullptr},
        {codec(0x0171, 2, 16), 8, 5, 500, nullptr},
        {codec(0x0172, 1, 8), 8, 6, 1000, nullptr},
        {codec(0x0002, 2, 4), 4, 7, 1000, nullptr},
        {codec(0x0011, 1, 3), 3, 7, 2667, nullptr},
        {codec(0x0017, 1, 4), 4, 7, 2000, nullptr},
        {codec(0x0020, 2, 4), 4, 7, 1000, nullptr},
        {codec(0x0014, 1, 3), 3, 7, 2667, nullptr},
        {codec(0x0040, 1, 4), 4, 7, 2000, nullptr},
        {codec(0xA107, 1, 5), 5, 7, 1600, nullptr},
        {codec(0x0065, 1, 8), 4, 7, 2000, nullptr},
        {codec(0x0031, 1, 0, 65), 2, 7, 4923, nullptr},
        {codec(0x0303, 1, 0), 2, 7, 26 * 160, nullptr},
        {codec(0x0300, 1, 2), 2, 7, 4000, nullptr},
        // 1000 bytes at 8000 Hz are 64,000,000 / rate frames.
        {codec(0x0050, 2, 0, 1, 0, mpeg(192000, 1)), 1, 17, 333,
         "Decoding MPEG audio is not supported in this build"},
        {codec(0x0050, 1, 0, 1, 0, mpeg(0, 8)), 1, 14, 500,
         "Decoding MPEG audio is not supported in this build"},
        {codec(0x0055, 2, 0, 1, 0, mp3(576)), 1, 10, 1000,
         "Decoding MPEG layer 3 is not supported in this build"},
        {codec(0x00FF, 2, 16, 1, 16000), 1, 14, 500, stream},
        {codec(0x4143, 2, 16, 1, 4999), 1, 8, 2000, stream},
        {codec(0x674F, 2, 16, 1, 5000), 1, 9, 1333, "Decoding Ogg Vorbis is not supported in this build"},
    };
    for (const Case& each : cases) {
        const unsigned tag = each.fmt.data[8] | each.fmt.data[9] << 8;
        SCOPED_TRACE(formatText("tag 0x%04x", tag));
        Waveform* waveform = open(riff({each.fmt, data(1000)}));
        ASSERT_TRUE(waveform) << LastErrorText;
        EXPECT_EQ(waveform->bits, each.bits);
        EXPECT_EQ(static_cast<int>(waveform->format), each.format);
        EXPECT_EQ(waveform->frames, each.frames);
        EXPECT_EQ(waveform->sampleRate, 8000u);
        EXPECT_EQ(waveform->loadSamples(), each.decoding == nullptr);
        if (each.decoding) {
            EXPECT_EQ(LastErrorText, each.decoding);
        }
    }

    const struct {
        Bytes fmt;
        const char* message;
    } refused[] = {
        {codec(0x0001, 0, 16), "No channels"},
        {codec(0x1234, 1, 16), "Unsupported compression type"},
        {codec(0x0003, 1, 16), "Unsupported bits/sample for IEEE floating point samples"},
        {codec(0x0002, 1, 3), "Unsupported or invalid MS ADPCM file"},
        {codec(0x0011, 1, 5), "Unsupported or invalid IMA ADPCM file"},
        {codec(0x0017, 2, 4), "Can only handle mono Dialogic ADPCM format"},
        {codec(0x0017, 1, 3), "Unsupported or invalid Dialogic ADPCM file"},
        {codec(0x0020, 3, 4), "> 2ch Yamaha ADPCM not supported"},
        {codec(0x0020, 1, 8), "Unsupported bits/sample for Yamaha ADPCM format"},
        {codec(0x0045, 1, 6), "Invalid no bits/sample for CCITT G.721/.723/.726 ADPCM encoding"},
        {codec(0x0031, 2, 0), "Can only handle (the standard!) mono GSM"},
        {codec(0x003B, 1, 5), "Unsupported or invalid Rockwell ADPCM file"},
        {codec(0x003B, 2, 4), "Can only handle mono Rockwell ADPCM format"},
        {codec(0x0050, 1, 0, 1, 0, mpeg(128000, 9)), "Can't handle mixed channel mode MPEG streams"},
        {chunk("fmt ", Bytes().u16(1).u16(1)), "The WAVE format chunk is too short"},
        {chunk("fmt ", fmtPayload(0xFFFE, 1, 8000, 16).u16(22).u16(16).u32(0).u32(1).zeros(12)),
         "Unsupported 'Extensible' subformat GUID"},
    };
    for (const auto& each : refused) {
        EXPECT_FALSE(open(riff({each.fmt, data(100)})));
        EXPECT_EQ(LastErrorText, each.message);
        EXPECT_TRUE(collection.empty());
    }
}

// Widths that no peer writes, low byte first; wider containers count from the top.
TEST_F(WaveReader, DecodesOddWidths) {
    const auto one = [](unsigned bits, const std::vector<Byte>& bytes) {
        return riff({fmt(1, 1, 44100, bits), chunk("data", Bytes().add(bytes))});
    };
    const struct {
        Bytes file;
        float value;
    } cases[] = {
        {one(4, {0xC0}), 0.5f},
        {one(12, {0x10, 0x40}), 16400.0f / 32768},
        {one(20, {0x10, 0x00, 0xC0}), -4194288.0f / 8388608},
        {one(40, {0xFF, 0x00, 0x01, 0x00, 0xE0}), -536870656.0f / 2147483648.0f},
        {one(64, {1, 2, 3, 4, 0x00, 0x01, 0x00, 0x20}), 536871168.0f / 2147483648.0f},
        {riff({extensibleFmt(1, 1, 44100, 32, 20, 4), chunk("data", Bytes().u32(0x40001000))}),
         1073745920.0f / 2147483648.0f},
        {riff({extensibleFmt(3, 1, 44100, 32, 32, 4), chunk("data", Bytes().u32(0x3F000000))}), 0.5f},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        const auto samples = samplesOf(cases[i].file);
        ASSERT_EQ(samples.size(), 1u) << i << " " << LastErrorText;
        EXPECT_EQ(samples[0], cases[i].value) << i;
    }
}

TEST_F(WaveReader, KeepsTheFirstTwoOfManyChannels) {
    for (const unsigned bits : {8u, 16u, 24u, 64u}) {
        Bytes payload;
        const unsigned width = bits / 8;
        for (unsigned sample = 0; sample < 3 * 6; ++sample)
            payload.zeros(width - 1).u8(bits == 8 ? 128 + sample : sample);
        payload.fill(width, 0);  // the start of a frame that never came
        const auto samples = samplesOf(riff({fmt(1, 6, 48000, bits), chunk("data", payload)}));
        const std::vector<float> expected{0, 1 / 128.0f, 6 / 128.0f, 7 / 128.0f, 12 / 128.0f, 13 / 128.0f};
        EXPECT_EQ(samples, expected) << bits;
        EXPECT_EQ(collection.all<Waveform>().front()->channels, 2);
    }
}

TEST_F(WaveReader, FrameCountComesFromFactOrTheData) {
    const Bytes mono16 = fmt(1, 1, 44100, 16), law = fmt(7, 1, 8000, 8);
    const auto fact = [](std::uint32_t frames) { return chunk("fact", Bytes().u32(frames)); };
    const struct {
        const char* what;
        Bytes file;
        std::uint32_t frames;
    } cases[] = {
        {"no fact", riff({mono16, data(200)}), 100},
        {"fact before data", riff({law, fact(150), data(200)}), 150},
        {"fact after data", riff({law, data(200), fact(150)}), 150},
        {"zero fact", riff({law, fact(0), data(200)}), 200},
        {"fact of 1 before data counts as none", riff({law, fact(1), data(200)}), 200},
        {"fact beyond plain data", riff({law, fact(1u << 31), data(200)}), 200},
        {"fact beyond codec data is believed", riff({fmt(0x11, 1, 8000, 4), fact(5000), data(200)}), 5000},
        {"extensible goes by its data", riff({extensibleFmt(1, 2, 8000, 24, 20, 3), fact(7), data(61)}), 10},
        {"a split frame is dropped", riff({fmt(1, 2, 44100, 16), data(7)}), 1},
        {"empty data", riff({mono16, data(0)}), 0},
        {"empty chunks on the way", riff({mono16, chunk("JUNK", {}), data(200)}), 100},
        {"later fmt and data", riff({mono16, data(200), fmt(1, 1, 8000, 8), data(10)}), 100},
        {"data before fmt", riff({data(200), mono16}), 100},
        {"odd chunk and its pad", riff({chunk("junk", Bytes().zeros(3)), mono16, data(200)}), 100},
        {"chunks after the RIFF", Bytes().add(riff({mono16, data(200)})).add(fact(9)), 100},
        {"the rest of the file after meta",
         Bytes().add(riff({mono16, data(200), chunk("meta", {})})).add(fact(9)), 9},
        {"SDSS", form("SDSS", "WAVE", {mono16, data(200)}), 100},
    };
    for (const auto& each : cases) {
        const Waveform* waveform = open(each.file);
        ASSERT_TRUE(waveform) << each.what << ": " << LastErrorText;
        EXPECT_EQ(waveform->frames, each.frames) << each.what;
        EXPECT_TRUE(ui.warnings.empty()) << each.what;
    }
    const struct {
        Bytes file;
        const char* message;
    } refused[] = {
        {riff({data(200)}), "No wave data found!"},
        {riff({mono16}), "No wave data found!"},
        {form("RIFF", "AVI ", {mono16, data(200)}), "Not a RIFF WAVE file"},
        {Bytes().text("The quick brown fox"), "Not a RIFF WAVE file"},
        {riff({mono16, data(10), list("adtl", {form("RIFF", "AVI ", {})})}), "Not a RIFF WAVE file"},
    };
    for (const auto& each : refused) {
        EXPECT_FALSE(open(each.file));
        EXPECT_EQ(LastErrorText, each.message);
    }
}

TEST_F(WaveReader, TruncatedDataWarnOnceAndReadWhatThereIs) {
    Bytes file = riff({fmt(1, 1, 44100, 16), data(200)});
    file.data.resize(file.size() - 101);
    const Waveform* waveform = openDecoded(file);
    ASSERT_TRUE(waveform);
    EXPECT_EQ(waveform->frames, 49u);
    EXPECT_EQ(ui.warnings,
              std::vector<std::string>{"Warning: data chunk truncated - will read what data there is"});
    // Sizes that a writer into a pipe never filled in.
    for (const std::uint32_t unknown : {0u, 0xFFFFFFFFu}) {
        Bytes streamed = riff({fmt(1, 1, 44100, 16), data(200)});
        storeLe(streamed.data.data() + 4, unknown);
        storeLe(streamed.data.data() + 40, unknown);
        waveform = open(streamed);
        ASSERT_TRUE(waveform) << unknown << LastErrorText;
        EXPECT_EQ(waveform->frames, 100u) << unknown;
    }
}

TEST_F(WaveReader, SamplerChunkGivesKeyTuneAndLoop) {
    constexpr std::uint32_t kHalf = 1u << 31;
    Bytes tuned = smplPayload(60, 0, {{0, 100, 200, kHalf}}, 0, 28);
    tuned.text("CWDT").u32(static_cast<std::uint32_t>(-37)).zeros(20);
    // Manufacturer 0x01000047, product 0x5E: note 64, transposed by 4, fine -12, mode 3, frames 50..250.
    Bytes drum = Bytes().u32(0x01000047).u32(0x5E).zeros(4).u32(60).zeros(12).u32(1).u32(18);
    drum.zeros(8).u32(10).u32(99).zeros(8);
    drum.u8(2).u8(0).u8(64).u8(4).u8(0xF4).u8(3).u32(50).u32(250).zeros(4);
    const struct {
        const char* what;
        Bytes payload;
        const char* told;
    } cases[] = {
        {"no loop", smplPayload(72, 0, {}), "; key 72+0"},
        {"forward", smplPayload(48, 0, {{0, 100, 199, kHalf}}), "; key 48+0; forward 100 to 200.5"},
        {"alternating", smplPayload(60, kHalf, {{1, 5, 9, 0}}), "; key 60-50; alternating 5 to 10"},
        {"backward", smplPayload(60, 0, {{2, 5, 9, 0}, {1, 7, 8, 0}}), "; backward 5 to 10"},
        {"own kinds play forward", smplPayload(60, 0, {{77, 5, 9, 0}}), "; forward 5 to 10"},
        {"kind for none", smplPayload(60, 0, {{255, 5, 9, 0}}), ""},
        {"nearly a semitone", smplPayload(60, 0xFFFFFFFF, {}), "; key 60-100"},
        {"key beyond MIDI", smplPayload(200, 0, {}), ""},
        {"key 0", smplPayload(0, 0, {}), "; key 0+0"},
        {"big-endian 60", smplPayload(0x3C000000, 0, {}), ""},
        {"big-endian 64", smplPayload(0x40000000, 0, {}), "; key 64+0"},
        {"tuning block", tuned, "; forward 100 to 200.5"},
        {"drum machine", drum, "; key 60-12; forward 10 to 100 until release"},
    };
    for (const auto& each : cases) {
        const Bytes file = riff({fmt(1, 2, 44100, 16), data(4000), chunk("smpl", each.payload)});
        EXPECT_EQ(told(open(file)), "take; 44100 Hz x 2" + std::string(each.told)) << each.what;
    }
    const Waveform* waveform = open(riff({fmt(1, 1, 44100, 16), data(4000), chunk("smpl", tuned)}));
    EXPECT_FLOAT_EQ(waveform->tuning, -0.37f);

    Bytes ramp;
    for (unsigned i = 0; i < 1000; ++i)
        ramp.u16(i);
    waveform = openDecoded(riff({fmt(1, 1, 44100, 16), chunk("data", ramp), chunk("smpl", drum)}));
    ASSERT_EQ(waveform->frames, 200u);
    EXPECT_EQ(waveform->samples()[0], 50 / 32768.0f);
    EXPECT_EQ(waveform->samples()[199], 249 / 32768.0f);

    ASSERT_TRUE(open(riff({fmt(1, 1, 44100, 16), data(4000), chunk("smpl", Bytes().zeros(20))})));
    EXPECT_EQ(ui.warnings.size(), 1u);
}

TEST_F(WaveReader, OtherChunksGiveKeyGainAndLoop) {
    const Bytes inst = chunk("inst", Bytes().u8(50).u8(0xFB).u8(0xFA).u8(0).u8(127).u8(0).u8(127));
    const auto wsmp = [](int type) { return waveSampleChunk(65, -16, -6, type, 10, 90); };
    const auto adtl = [](std::initializer_list<Bytes> chunks) { return list("adtl", chunks); };
    const Bytes points = cue({{7, 100}, {9, 400}, {9, 1}});
    const Bytes smpl = chunk("smpl", smplPayload(60, 0, {{0, 3, 6, 0}}));
    const struct {
        const char* what;
        std::vector<Bytes> chunks;
        const char* told;
    } cases[] = {
        {"inst", {inst}, "; key 50-5; gain -6"},
        {"inst after smpl", {chunk("smpl", smplPayload(40, 0, {})), inst}, "; key 40+0; gain -6"},
        {"wsmp", {wsmp(0)}, "; key 65-16; gain -6; forward 10 to 100"},
        {"wsmp until release", {wsmp(1)}, "; key 65-16; gain -6; forward 10 to 100 until release"},
        {"labels", {points, adtl({label(7, "Loop Start"), label(9, "Loop End")})}, "; forward 100 to 400"},
        {"other labels", {points, adtl({label(7, "Intro"), label(9, "Outro")})}, ""},
        {"labels of no cue", {points, adtl({label(1, "Loop Start"), label(2, "Loop End")})}, ""},
        {"region", {points, adtl({regionText(7, 250, "rgn ")})}, "; forward 100 to 350"},
        {"mark", {points, adtl({regionText(9, 50, "mark")})}, "; forward 400 to 450"},
        {"other purpose", {points, adtl({regionText(9, 50, "capt")})}, ""},
        {"smpl stays", {smpl, points, adtl({regionText(9, 50, "mark")})}, "; forward 3 to 7"},
    };
    for (const auto& each : cases) {
        Bytes content = Bytes().text("WAVE").add(fmt(1, 1, 44100, 16)).add(data(2000));
        for (const Bytes& extra : each.chunks)
            content.add(extra);
        EXPECT_EQ(told(open(chunk("RIFF", content))), "take; 44100 Hz x 1" + std::string(each.told))
            << each.what;
    }
}

TEST_F(WaveReader, TextsAndNames) {
    const Bytes file = riff(
        {list("INFO", {chunk("IART", Bytes().text("Ann")), chunk("ISFT", {}),
                       chunk("ICMT", Bytes().text("one").u8(0).text("two")), chunk("IXYZ", Bytes().text("?")),
                       list("INFO", {chunk("IENG", Bytes().text("Eve").zeros(1))}),
                       chunk("INAM", Bytes().text("Bell").zeros(2))}),
         fmt(1, 1, 44100, 16), data(20)});
    EXPECT_EQ(told(open(file)), "Bell; artist Ann; comment one; engineer Eve; 44100 Hz x 1");
    const Bytes unnamed = riff({fmt(1, 1, 44100, 16), data(20), list("INFO", {chunk("INAM", Bytes(2))})});
    EXPECT_EQ(open(unnamed)->name(), "take") << "an empty name leaves the file's";
}

// Banks keep WAVE images, or bare chunk lists, anywhere inside their file.
TEST_F(WaveReader, ReadsImagesInsideOtherFiles) {
    const Bytes content = Bytes().add(fmt(1, 1, 22050, 16)).add(chunk("data", Bytes().u16(1).u16(2).u16(3)));
    const Bytes image = chunk("RIFF", Bytes().text("WAVE").add(content));
    Bytes cut = image;
    storeLe<std::uint32_t>(cut.data.data() + 40, 5000);
    for (const Bytes& embedded : {image, content, cut}) {
        Bytes bank = Bytes().text("BANK").zeros(33).add(embedded).fill(500, 0x7F);
        writeFile(folder / "bank.bin", bank.data);
        OpenFile file;
        file.path = folder / "bank.bin";
        file.input = File::open(file.path);
        file.ui = &ui;
        Waveform* waveform = nullptr;
        ASSERT_TRUE(readWaveImage(collection, file, 37, 37 + embedded.size(), "inner", waveform))
            << LastErrorText;
        EXPECT_EQ(waveform->name(), "inner");
        ASSERT_TRUE(waveform->loadSamples());
        ASSERT_EQ(waveform->frames, 3u) << "data end where the image ends";
        EXPECT_EQ(waveform->samples()[2], 3 / 32768.0f);
        EXPECT_FALSE(readWaveImage(collection, file, 40, bank.size(), "inner", waveform));
        EXPECT_EQ(waveform, nullptr);
        EXPECT_EQ(collection.count(ItemKind::Waveform), 1u);
        collection.clear();
    }
}

#ifndef _WIN32  // where this would really write 2 GiB
TEST_F(WaveReader, OpensHugeFilesWithoutReadingTheirData) {
    constexpr std::uint32_t kData = 0x7FFFFF00;
    Bytes head = Bytes().text("RIFF").u32(kData + 36).text("WAVE").add(fmt(1, 2, 96000, 24));
    head.text("data").u32(kData);
    writeFile(folder / "huge.wav", head.data);
    std::filesystem::resize_file(folder / "huge.wav", head.size() + kData);
    ASSERT_TRUE(openFileAs(collection, folder / "huge.wav", kWaveRow, services)) << LastErrorText;
    const Waveform* waveform = collection.all<Waveform>().front();
    EXPECT_EQ(waveform->frames, kData / 6);
    EXPECT_FALSE(waveform->samplesLoaded());
    constexpr std::uint32_t kFrameBytes = 6;
    std::array<Byte, kFrameBytes> last;
    last.fill(1);
    EXPECT_TRUE(waveform->source()->readStored(kData / kFrameBytes * kFrameBytes - kFrameBytes, last));
    EXPECT_EQ(last, (std::array<Byte, kFrameBytes>{}));
}
#endif

// --- Hostile files ---

Bytes everyChunk() {
    Bytes sampler = smplPayload(60, 0, {{0, 10, 20, 0}}, 0, 28);
    sampler.text("CWDT").zeros(24);
    return riff({chunk("fmt ", fmtPayload(1, 2, 44100, 16).u16(0)), chunk("fact", Bytes().u32(50)),
                 chunk("inst", Bytes().zeros(7)), chunk("smpl", sampler), cue({{1, 5}, {2, 9}}),
                 chunk("data", Bytes().fill(200, 0x55)),
                 list("adtl", {regionText(1, 4, "rgn "), label(1, "Loop Start"), label(2, "Loop End")}),
                 list("INFO", {chunk("INAM", Bytes().text("name")), chunk("ICMT", Bytes().text("comment"))}),
                 waveSampleChunk(60, 0, 0, 0, 1, 8), chunk("ID3 ", Bytes().zeros(10)),
                 chunk("mesa", Bytes().zeros(141)), chunk("meta", {}), chunk("tail", Bytes().zeros(4))});
}

struct HostileWave : WaveReader {
    // Whatever the bytes are, reading ends well or with a message, and no more frames come out than went in.
    void survive(const Bytes& file) {
        Waveform* waveform = open(file);
        if (!waveform) {
            EXPECT_FALSE(LastErrorText.empty());
            EXPECT_TRUE(collection.empty());
        } else if (waveform->loadSamples()) {
            // No codec packs more than eight samples into a byte.
            EXPECT_LE(waveform->samples().size(), file.size() * 8);
        } else {
            EXPECT_FALSE(LastErrorText.empty());
        }
    }
};

TEST_F(HostileWave, MayBeCutAnywhereAndLieInAnyField) {
    damage(everyChunk(), ByteOrder::Little, [this](const Bytes& file) { survive(file); });
}

TEST_F(HostileWave, BombsEndSoon) {
    // Lists in lists, each claiming the rest of the file; RIFFs in lists; texts in texts.
    for (const char* type : {"adtl", "INFO", "WAVE"}) {
        Bytes bomb = Bytes().text("RIFF").u32(0xFFFFFFFF).text("WAVE");
        for (int depth = 0; depth < 20000; ++depth)
            bomb.text(type == std::string("WAVE") ? "RIFF" : "LIST").u32(0xFFFFFFF0).text(type);
        survive(bomb);
        EXPECT_EQ(LastErrorText, "The chunks of the WAVE file are nested too deeply");
    }
    // Every list would walk the rest of the file again.
    Bytes again = Bytes().text("RIFF").u32(0xFFFFFFFF).text("WAVE");
    for (int i = 0; i < 3000; ++i)
        again.add(list("adtl", {chunk("meta", {})}));
    survive(again);
    // A count of cues that is not there, and labels that all miss.
    Bytes cues = Bytes().text("WAVE").add(fmt(1, 1, 8000, 8)).add(data(10));
    Bytes points = Bytes().u32(0xFFFFFFFF).zeros(24 * 5000);
    cues.add(chunk("cue ", points));
    for (int i = 0; i < 5000; ++i)
        cues.add(label(static_cast<std::uint32_t>(i + 1), "x"));
    survive(chunk("RIFF", cues));
    EXPECT_FALSE(collection.empty());
    // A rate of 0 is said, not divided by.
    EXPECT_EQ(open(riff({fmt(1, 1, 0, 16), data(10)}))->sampleRate, 44100u);
    EXPECT_EQ(ui.warnings.size(), 1u);
    for (const unsigned tag : {1u, 2u, 3u, 0x11u, 0x31u, 0x50u, 0x55u, 0xFFu, 0x303u, 0xFFFEu})
        survive(riff({chunk("fmt ", Bytes().u16(tag).u16(1).zeros(30)), data(100)}));
}

}  // namespace
}  // namespace velor
