// Files of the ADPCM and speech codecs, and Wave-64, against independent programs: what they write decodes to
// the samples that they decode themselves, and what we write they read.
#include <algorithm>
#include <cmath>

#include "formats/core/wave_fixture.h"
#include "formats/core/wave_writer.h"
#include "plugins/mp3_encoder.h"

namespace velor {
namespace {

using namespace test;

constexpr int kWaveRow = 478, kAiffRow = 15, kW64Row = 477, kVoxRow = 463, kYamahaRow = 526, kRawGsmRow = 167,
              kG722Row = 134;

struct CodecFiles : WaveFixture {
    CodecFiles() { resetWaveHeaderTemplate(); }
    ~CodecFiles() override { setMp3EncoderFactory(nullptr); }

    // Loud, but never at full scale, where codecs may clip in ways of their own.
    static std::vector<float> signalOf(std::size_t samples) {
        auto signal = testSignal(samples, 16);
        for (float& sample : signal)
            sample = std::floor(sample * 0.7f * 32768) / 32768;
        return signal;
    }
    // Peers differ in whether they give out the padding of the last block.
    static void expectSameStart(std::vector<float> ours, std::vector<float> theirs, std::size_t atLeast) {
        ASSERT_GE(theirs.size(), atLeast);
        ASSERT_GE(ours.size(), atLeast);
        const std::size_t count = std::min(ours.size(), theirs.size());
        ours.resize(count);
        theirs.resize(count);
        EXPECT_EQ(ours, theirs);
    }
    static double signalToNoise(const std::vector<float>& wanted, const std::vector<float>& got) {
        double signal = 0, noise = 1e-20;
        for (std::size_t i = 0; i < std::min(wanted.size(), got.size()); ++i) {
            signal += wanted[i] * static_cast<double>(wanted[i]);
            noise += std::pow(wanted[i] - static_cast<double>(got[i]), 2);
        }
        return 10 * std::log10(signal / noise);
    }
};

// Every program that encodes a codec against every program whose decoder follows its publication.
TEST_F(CodecFiles, WeDecodeWhatPeersEncode) {
    using Judges = std::vector<std::string>;
    const Judges sndfile{"sndfile-convert"}, two{"sox", "sndfile-convert"},
        three{"sox", "sndfile-convert", "ffmpeg"};
    const struct {
        std::string encode;  // IN and OUT are replaced
        std::string out;
        int row;
        unsigned channels;
        Judges judges;
    } cases[] = {
        {"sox -D IN -e ms-adpcm OUT", "o.wav", kWaveRow, 2, two},
        {"sndfile-convert -ms-adpcm IN OUT", "o.wav", kWaveRow, 2, two},
        {"ffmpeg -y -i IN -c:a adpcm_ms OUT", "o.wav", kWaveRow, 2, two},
        {"sox -D IN -e ima-adpcm OUT", "o.wav", kWaveRow, 2, two},
        {"sndfile-convert -ima-adpcm IN OUT", "o.wav", kWaveRow, 2, two},
        {"ffmpeg -y -i IN -c:a adpcm_ima_wav OUT", "o.wav", kWaveRow, 2, two},
        {"ffmpeg -y -i IN -c:a adpcm_yamaha OUT", "o.wav", kWaveRow, 2, {"ffmpeg"}},
        {"sndfile-convert -ima-adpcm IN OUT", "o.aifc", kAiffRow, 2, sndfile},
        {"ffmpeg -y -i IN -c:a adpcm_ima_qt -f aiff OUT", "o.aifc", kAiffRow, 2, sndfile},
        {"sox -D IN -e gsm-full-rate OUT", "o.wav", kWaveRow, 1, three},
        {"sndfile-convert -gsm610 IN OUT", "o.wav", kWaveRow, 1, three},
        {"sndfile-convert -gsm610 IN OUT", "o.aifc", kAiffRow, 1, {"sndfile-convert", "ffmpeg"}},
        {"sndfile-convert -dwvw16 IN OUT", "o.aifc", kAiffRow, 1, sndfile},
        {"sndfile-convert -dwvw24 IN OUT", "o.aifc", kAiffRow, 1, sndfile},
        {"sox -D IN OUT", "o.vox", kVoxRow, 1, {"sox"}},
        {"ffmpeg -y -i IN -c:a adpcm_ima_wav OUT", "o.w64", kW64Row, 2, sndfile},
        {"ffmpeg -y -i IN OUT", "o.w64", kW64Row, 2, {"sndfile-convert", "ffmpeg"}},
    };
    if (!haveProgram("sox") || !haveProgram("ffmpeg") || !haveProgram("sndfile-convert"))
        GTEST_SKIP() << "SoX, FFmpeg or libsndfile's programs are not installed";
    for (const auto& each : cases) {
        for (unsigned channels = 1; channels <= each.channels; ++channels) {
            for (const std::size_t frames : {std::size_t{507}, std::size_t{12345}}) {
                SCOPED_TRACE(each.encode + formatText(", %u channels, %zu frames", channels, frames));
                writeSource(signalOf(frames * channels), channels, 8000);
                std::string command = each.encode;
                command.replace(command.find("IN"), 2, file("in.wav"));
                command.replace(command.find("OUT"), 3, file(each.out));
                std::filesystem::remove(folder / each.out);
                ASSERT_TRUE(run(command)) << command;
                const auto ours = openSamples(each.out, each.row);
                ASSERT_FALSE(collection.empty()) << LastErrorText;
                EXPECT_EQ(opened()->channels, channels);
                EXPECT_EQ(opened()->sampleRate, 8000u);
                EXPECT_GE(opened()->frames, frames);
                EXPECT_LE(opened()->frames, frames + 2100);
                for (const std::string& judge : each.judges)
                    expectSameStart(ours,
                                    decodedBy(judge, each.out, false, each.out == "o.vox" ? "-r 8000" : ""),
                                    frames * channels);
            }
        }
    }
}

// 2- and 3-bit IMA codes are in no standard; the one peer that knows them decodes random blocks to our
// samples.
TEST_F(CodecFiles, ImaOfFewerBitsAgreesWithFfmpeg) {
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "FFmpeg is not installed";
    std::mt19937 random(3);
    for (const unsigned bits : {2u, 3u}) {
        for (const unsigned channels : {1u, 2u}) {
            SCOPED_TRACE(formatText("%u bits, %u channels", bits, channels));
            const unsigned blockBytes = channels * (4 + 12 * 5);
            const unsigned framesPerBlock = bits == 3 ? 5 * 32 + 1 : 15 * 16 + 1;
            Bytes data;
            for (int block = 0; block < 9; ++block) {
                for (unsigned c = 0; c < channels; ++c)
                    data.u16(static_cast<unsigned>(random()) & 0xFFFF)
                        .u8(static_cast<unsigned>(random()) % 60)
                        .u8(0);
                for (unsigned i = 0; i < blockBytes - 4 * channels; ++i)
                    data.u8(static_cast<unsigned>(random()) & 0xFF);
            }
            const Bytes format = chunk(
                "fmt ", fmtPayload(0x11, channels, 8000, bits, blockBytes, 8000).u16(2).u16(framesPerBlock));
            writeFile(
                folder / "i.wav",
                riff({format, chunk("fact", Bytes().u32(9 * framesPerBlock)), chunk("data", data)}).data);
            expectSameStart(openSamples("i.wav", kWaveRow), decodedBy("ffmpeg", "i.wav"),
                            std::size_t{9} * framesPerBlock * channels);
        }
    }
}

// The other way round: what the WAVE, Wave-64 and raw writers make of a waveform, peers read.
TEST_F(CodecFiles, PeersDecodeWhatWeEncode) {
    if (!haveProgram("sox") || !haveProgram("ffmpeg") || !haveProgram("sndfile-convert"))
        GTEST_SKIP() << "SoX, FFmpeg or libsndfile's programs are not installed";
    struct Case {
        SampleEncoding encoding;
        int row;
        std::string name, judge, options;
        double leastSignalToNoise;  // dB
        std::uint32_t rate = 8000;
    };
    const Case cases[] = {
        {SampleEncoding::Gsm, kWaveRow, "o.wav", "sox", "", 5},
        {SampleEncoding::Gsm, kWaveRow, "o.wav", "sndfile-convert", "", 5},
        {SampleEncoding::Gsm, kRawGsmRow, "o.gsm", "sox", "", 5},
        {SampleEncoding::Adpcm4, kVoxRow, "o.vox", "sox", "-r 8000", 20},
        // The filters delay by 22 samples, so there is no likeness sample by sample.
        {SampleEncoding::Adpcm4, kG722Row, "o.g722", "ffmpeg", "", -20, 16000},
    };
    for (const Case& each : cases) {
        for (const std::size_t frames : {std::size_t{1}, std::size_t{641}, std::size_t{9001}}) {
            SCOPED_TRACE(each.name + " " + std::string(encodingName(each.encoding)) + " " + each.judge +
                         formatText(" %zu", frames));
            collection.clear();
            const auto signal = signalOf(frames);
            SaveOptions options;
            options.encoding = each.encoding;
            ASSERT_TRUE(saveItem(addWaveform(collection, "n", signal, 1, each.rate), each.row,
                                 folder / each.name, services, options))
                << LastErrorText;
            const auto theirs = decodedBy(each.judge, each.name, false, each.options);
            ASSERT_GE(theirs.size(), frames);
            EXPECT_LE(theirs.size(), frames + 640);
            if (frames > 1) {
                EXPECT_GE(signalToNoise(signal, theirs), each.leastSignalToNoise);
            }
            // What the peer hears is what we read back.
            expectSameStart(openSamples(each.name, each.row), theirs, frames);
        }
    }
}

// The chunks around packed data: sizes, counts and the carried-over fact.
TEST_F(CodecFiles, PackedWaveHeaders) {
    const struct {
        SampleEncoding encoding;
        unsigned tag;
        int more;  // in the format chunk's extension; -1: it has none
        unsigned blockAlign, bits, bytesPerSecond, fact, dataSize;
    } cases[] = {
        {SampleEncoding::Gsm, 0x31, 320, 65, 0, 1625, 1280, 260},
        {SampleEncoding::Adpcm2, 0x64, -1, 32, 2, 2000, 1001, 251},
        {SampleEncoding::Adpcm3, 0x14, 0, 48, 3, 3000, 1001, 376},
        {SampleEncoding::Adpcm4, 0x40, 0, 64, 4, 4000, 1001, 501},
        {SampleEncoding::Adpcm5, 0x14, 0, 80, 5, 5000, 1001, 626},
    };
    const auto signal = signalOf(1001);
    for (const auto& each : cases) {
        SCOPED_TRACE(encodingName(each.encoding));
        collection.clear();
        Waveform* waveform = addWaveform(collection, "n", signal, 1, 8000);
        SaveOptions options;
        options.encoding = each.encoding;
        WaveImage image;
        ASSERT_TRUE(buildWaveImage(*waveform, options, ui, image)) << LastErrorText;
        Bytes format = fmtPayload(each.tag, 1, 8000, each.bits, each.blockAlign, each.bytesPerSecond);
        if (each.more >= 0)
            format.u16(2).u16(static_cast<unsigned>(each.more));
        Bytes head = riff({chunk("fmt ", format), chunk("fact", Bytes().u32(each.fact))});
        head.text("data").u32(each.dataSize).u32(4, image.size() - 8);
        EXPECT_TRUE(std::ranges::equal(head.data, image.bytes().first(head.size())));
        writeFile(folder / "o.wav", {image.bytes().begin(), image.bytes().end()});
        const auto back = openSamples("o.wav", kWaveRow);
        ASSERT_EQ(back.size(), each.fact) << LastErrorText;
        EXPECT_GE(signalToNoise(signal, back), 4) << "2-bit codes are that coarse";
        EXPECT_TRUE(ui.warnings.empty());
        // A stereo waveform is mixed, and that is said.
        collection.clear();
        ASSERT_TRUE(buildWaveImage(*addWaveform(collection, "s", signal, 2, 8000), options, ui, image));
        EXPECT_EQ(ui.warnings.size(), 1u);
        ui.warnings.clear();
    }
}

// MPEG layer III goes through the port: here an encoder that writes down what it is given.
TEST_F(CodecFiles, Mp3DataComeFromTheEncoderPort) {
    struct Fake final : Mp3Encoder {
        bool start(std::uint32_t& rate, int kilobits, int channels) override {
            if (rate == 12345)
                rate = 12000;
            note = formatText("%u %d %d", rate, kilobits, channels);
            return true;
        }
        bool encode(std::span<const float> samples, std::vector<Byte>& out) override {
            out.insert(out.end(), samples.size() / 100, Byte{7});
            return true;
        }
        bool finish(std::vector<Byte>& out) override {
            out.insert(out.end(), note.begin(), note.end());
            return true;
        }
        std::string note;
    };
    setMp3EncoderFactory([]() -> std::unique_ptr<Mp3Encoder> { return std::make_unique<Fake>(); });
    Waveform* waveform = addWaveform(collection, "n", signalOf(3000), 2, 22050);
    SaveOptions options;
    options.encoding = SampleEncoding::Compressed;
    options.quality = 64;
    WaveImage image;
    ASSERT_TRUE(buildWaveImage(*waveform, options, ui, image)) << LastErrorText;
    const std::string text(image.bytes().begin(), image.bytes().end());
    EXPECT_NE(text.find(std::string(30, 7) + "22050 64 2"), std::string::npos);
    const Byte* head = image.bytes().data();
    EXPECT_EQ(loadLe<std::uint32_t>(head + 16), 30u);
    EXPECT_EQ(loadLe<std::uint16_t>(head + 20), 0x55);
    EXPECT_EQ(loadLe<std::uint32_t>(head + 28), 8000u);  // bytes per second
    EXPECT_EQ(loadLe<std::uint16_t>(head + 36), 12);
    const Bytes blocks = Bytes().u16((72000 * 64 + 11025) / 22050).u16(1).u16(1104).text("fact");
    EXPECT_TRUE(std::equal(blocks.data.begin(), blocks.data.end(), head + 44));
    EXPECT_EQ(loadLe<std::uint32_t>(head + 58), 1500u + 1104);
    // A rate that the encoder does not take: what it gets, and the file tells, is resampled; the waveform is
    // not.
    waveform->sampleRate = 12345;
    ui.warnings.clear();
    ASSERT_TRUE(buildWaveImage(*waveform, options, ui, image)) << LastErrorText;
    ASSERT_EQ(ui.warnings.size(), 1u);
    EXPECT_NE(ui.warnings[0].find("from 12345 Hz to 12000 Hz"), std::string::npos) << ui.warnings[0];
    const std::string other(image.bytes().begin(), image.bytes().end());
    EXPECT_NE(other.find(std::string(1458 * 2 / 100, 7) + "12000 64 2"), std::string::npos);
    EXPECT_EQ(loadLe<std::uint32_t>(image.bytes().data() + 24), 12000u);
    EXPECT_EQ(waveform->sampleRate, 12345u);
    EXPECT_EQ(waveform->frames, 1500u);
}

// A waveform without loop, key and texts has the plain chunks only.
TEST_F(CodecFiles, PlainWave64) {
    ASSERT_TRUE(save(*addWaveform(collection, "ab", std::vector<float>(3), 1, 8000), kW64Row, "plain.w64"));
    EXPECT_EQ(readFile(folder / "plain.w64").size(), 40u + 40 + (24 + 8) + (24 + 24));
}

TEST_F(CodecFiles, Id3TagsGiveTexts) {
    const auto syncSafe = [](std::size_t size) {
        return Bytes().u8(size >> 21 & 127).u8(size >> 14 & 127).u8(size >> 7 & 127).u8(size & 127);
    };
    const Bytes utf16 = Bytes().u8(1).u8(0xFF).u8(0xFE).u8('T').u8(0).u8(0xFC).u8(0).u8(0).u8(0);
    const auto tag = [&](unsigned version, const Bytes& frames, unsigned flags = 0) {
        return Bytes().text("ID3").u8(version).u8(0).u8(flags).add(syncSafe(frames.size())).add(frames);
    };
    const auto frame3 = [](const char* id, const Bytes& payload) {
        return Bytes().text(id).be32(static_cast<std::uint32_t>(payload.size())).u16(0).add(payload);
    };
    const Bytes version23 = tag(3, Bytes()
                                       .add(frame3("TIT2", utf16))
                                       .add(frame3("COMM", Bytes().u8(0).text("engiTunNORM").u8(0).text("x")))
                                       .add(frame3("COMM", Bytes().u8(0).text("eng").u8(0).text("hello")))
                                       .zeros(20));
    const Bytes version22 = tag(
        2, Bytes().text("TP1").u8(0).u8(0).u8(4).u8(0).text("Bob").text("TT2").u8(0).u8(0).u8(2).u8(0).text(
               "N"));
    Bytes version1 =
        Bytes().text("TAG").text("Old Title").zeros(21).text("Artist").zeros(24).zeros(30).zeros(4);
    version1.text("comment").zeros(23).u8(1);
    const struct {
        Bytes tag;
        const char* told;
    } cases[] = {{version23, "T\xC3\xBC; comment hello"},
                 {version22, "N; artist Bob"},
                 {version1, "Old Title; artist Artist; comment comment"},
                 {tag(4, Bytes().text("TIT2").add(syncSafe(300)).u16(0).text("short")), "w"},
                 {Bytes().text("ID3"), "w"}};
    for (const auto& each : cases) {
        for (const bool aiffFile : {false, true}) {
            const Bytes file =
                aiffFile ? aiff({comm(1, 2, 16), ssnd(Bytes(4)), iffChunk("ID3 ", each.tag)})
                         : riff({fmt(1, 1, 44100, 16), chunk("data", Bytes(4)), chunk("id3 ", each.tag)});
            writeFile(folder / "w.wav", file.data);
            openSamples("w.wav", aiffFile ? kAiffRow : kWaveRow);
            ASSERT_FALSE(collection.empty()) << LastErrorText;
            EXPECT_EQ(told(opened()), each.told + std::string("; 44100 Hz x 1"));
        }
    }
}

// Cut anywhere, a codec file still opens with its length, and ends in silence; a forged count asks for no
// memory.
TEST_F(CodecFiles, TruncatedAndForgedFiles) {
    std::mt19937 random(11);
    for (const unsigned tag : {0x02u, 0x11u, 0x17u, 0x20u, 0x31u, 0x40u, 0x65u, 0x300u, 0x303u}) {
        SCOPED_TRACE(formatText("tag 0x%x", tag));
        const unsigned bits = tag == 0x31 || tag == 0x303 ? 0 : 4;
        const unsigned block = tag == 0x31 ? 65 : 256;
        Bytes data;
        for (int i = 0; i < 2600; ++i)
            data.u8(static_cast<unsigned>(random()) & 0xFF);
        const Bytes format = chunk("fmt ", fmtPayload(tag, 1, 8000, bits, block, 4000).u16(0));
        const Bytes whole = riff({format, chunk("fact", Bytes().u32(3000)), chunk("data", data)});
        for (const std::size_t keep : {whole.size(), whole.size() - 2000, whole.size() - 2599}) {
            auto bytes = whole.data;
            bytes.resize(keep);
            writeFile(folder / "t.wav", bytes);
            const auto samples = openSamples("t.wav", kWaveRow);
            ASSERT_EQ(samples.size(), 3000u) << LastErrorText;
            EXPECT_EQ(samples.back() == 0 || keep == whole.size(), true);
            for (const float sample : samples)
                ASSERT_LE(std::abs(sample), 1.0f);
        }
        writeFile(folder / "f.wav",
                  riff({format, chunk("fact", Bytes().u32(0xFFFFFFFF)), chunk("data", data)}).data);
        EXPECT_LT(openSamples("f.wav", kWaveRow).size(), 1u << 20) << "a count of four billion";
    }
    writeFile(folder / "no.w64", Bytes().text("riff").zeros(100).data);
    EXPECT_TRUE(openSamples("no.w64", kW64Row).empty());
    EXPECT_EQ(LastErrorText, "Not a Sonic Foundry/Sony Wave64 file");
}

// Raw Yamaha data of any rate are read back.
TEST_F(CodecFiles, RawYamahaRow) {
    Waveform* waveform = addWaveform(collection, "n", signalOf(4001), 1, 44100);
    ASSERT_TRUE(saveItem(waveform, kYamahaRow, folder / "o.yadpcm", services)) << LastErrorText;
    EXPECT_EQ(readFile(folder / "o.yadpcm").size(), 2001u);
    EXPECT_GE(signalToNoise(signalOf(4001), openSamples("o.yadpcm", kYamahaRow)), 20);
}

}  // namespace
}  // namespace velor
