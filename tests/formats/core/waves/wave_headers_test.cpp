// What the headers of plain waveform files say beside the samples, in files made by hand and through our own
// writers; and what is made of damaged files.
#include <zlib.h>

#include <algorithm>

#include "formats/core/wave_fixture.h"

namespace velor {
namespace {

using namespace test;

struct WaveHeaders : WaveFixture {
    // A file's texts, rate, key and loop in words, and its samples.
    void expectFile(const Bytes& file, int row, const std::string& wanted,
                    const std::vector<float>& samples) {
        Waveform* waveform = open(file, row, "take");
        EXPECT_EQ(told(waveform), wanted);
        EXPECT_EQ(samplesOf(waveform), samples);
    }
};

Bytes padded(const std::string& text, std::size_t width, unsigned fill = 0) {
    return Bytes().text(text).fill(width - text.size(), fill);
}
Bytes be16s(std::initializer_list<int> values) {
    Bytes bytes;
    for (const int value : values)
        bytes.be16(static_cast<unsigned>(value) & 0xFFFF);
    return bytes;
}
std::vector<float> over(float scale, std::initializer_list<int> values) {
    std::vector<float> samples;
    for (const int value : values)
        samples.push_back(static_cast<float>(value) / scale);
    return samples;
}

TEST_F(WaveHeaders, SunAudio) {
    // The DEC and the byte-swapped forms, text in key lines, sizes unknown.
    for (const bool little : {false, true}) {
        Bytes file = little ? Bytes().u8(0).text("ds.") : Bytes().text(".sd").u8(0);
        for (const unsigned value : {40u, 0xFFFFFFFFu, 3u, 8012u, 2u})
            little ? file.u32(value) : file.be32(value);
        file.add(padded("AFsplong name", 16));
        for (const unsigned value : {0x1234u, 0xF000u, 1u, 2u})
            little ? file.u16(value) : file.be16(value);
        expectFile(file.u8(9), 32, "take; comment long name; 8012 Hz x 2",
                   over(32768, {0x1234, 0xF000 - 0x10000, 1, 2}));
    }
    EXPECT_FALSE(open(Bytes().text(".snd").be32(24).be32(4).be32(8).be32(8000).be32(1).zeros(4), 32));
    EXPECT_EQ(LastErrorText, "Unknown sample format or compression");
}

TEST_F(WaveHeaders, Ircam) {
    const Bytes comment = Bytes().u16(1).u16(4).u32(7).u16(2).u16(8).text("a text").zeros(2);
    const Bytes rate16000 = Bytes().u32(std::bit_cast<std::uint32_t>(16000.0f));
    const auto header = [&](std::uint32_t magic, const Bytes& rate) {
        return Bytes().u32(magic).add(rate).u32(1).u32(2).add(comment).resize(1024).u16(0x4000);
    };
    expectFile(header(0x0003A364, rate16000), 378, "take; comment a text; 16000 Hz x 1", {0.5f});  // MIPS
    expectFile(header(0x0002A364, rate16000), 378, "take; comment a text; 16000 Hz x 1", {0.5f});  // not so
    // 8000 as a number of a VAX.
    expectFile(header(0x0001A364, Bytes().u8(0xFA).u8(0x46).u16(0)), 378, "take; comment a text; 8000 Hz x 1",
               {0.5f});
    // Behind an .au header.
    Bytes bicsf = Bytes().text(".snd").be32(1024).be32(2).be32(3).be32(8000).be32(1).zeros(4);
    bicsf.be32(0x64A30200).be32(std::bit_cast<std::uint32_t>(8000.0f)).be32(1).be32(2);
    expectFile(bicsf.resize(1024).be16(0x2000), 378, "take; 8000 Hz x 1", {0.25f});
}

TEST_F(WaveHeaders, AudioVisualResearch) {
    const auto file = [](unsigned looped, unsigned keys) {
        Bytes head = Bytes().text("2BITLONGNAME").be16(0).be16(8).be16(0).be16(looped).be16(keys);
        head.be32(0xFF002EE0).be32(4).be32(1).be32(3).zeros(6);
        return head.add(padded("REST", 20)).add(padded("user text", 64)).u8(0).u8(128).u8(255).u8(64);
    };
    const auto samples = over(128, {-128, 0, 127, -64});
    expectFile(file(0xFFFF, 0xFF45), 34,
               "LONGNAMEREST; comment user text; 12000 Hz x 1; key 69+0; forward 1 to 3", samples);
    expectFile(file(0, 0xFFFF), 34, "LONGNAMEREST; comment user text; 12000 Hz x 1", samples);
}

TEST_F(WaveHeaders, SampleVision) {
    Bytes file = Bytes()
                     .text("SOUND SAMPLE DATA 2.1 ")
                     .add(padded("a comment", 60, ' '))
                     .add(padded("Piano", 30, ' '));
    file.u32(4).u16(0x4000).u16(0).u16(0xC000).u16(1).u16(0);
    file.u32(0xFFFFFFFF).u32(0).u8(0).u16(0).u32(1).u32(3).u8(2).u16(0);
    for (int i = 0; i < 6; ++i)
        file.u32(0xFFFFFFFF).u32(0).u8(0).u16(0);
    for (int i = 0; i < 8; ++i)
        file.add(padded("", 10, ' ')).u32(0xFFFFFFFF);
    file.u8(48).u32(31250).u32(0).u32(0xFFFFFFFF);
    expectFile(file, 394, "Piano; comment a comment; 31250 Hz x 1; key 48+0; alternating 1 to 3",
               over(32768, {0x4000, 0, -0x4000, 1}));
}

TEST_F(WaveHeaders, PsionSeries3InBothByteOrders) {
    for (const bool little : {false, true}) {
        Bytes file = Bytes().text("ALawSoundFile**").u8(0).be16(3856);
        (little ? file.u32(3) : file.be32(3)).zeros(10).u8(0xD5).u8(0x55).u8(0xAA).u8(0);
        expectFile(file, 331, "take; 8000 Hz x 1", over(32768, {8, -8, 32256}));
    }
}

TEST_F(WaveHeaders, SpeechLaboratories) {
    // ESPS: three shorts a record would be three channels; here one, big-endian.
    Bytes esps =
        Bytes().zeros(4).be32(3000).be32(400).be32(2).be32(0x6A1A).zeros(12).be16(13).zeros(2).be32(0x6A1A);
    esps.resize(124).be32(2).zeros(4).be32(0).be32(0).be32(0).be32(1).be32(0);
    esps.resize(188).be16(8).zeros(333 - 190).text("record_freq").u8(0).be32(1).be16(1);
    esps.be32(0x40CF4000).be32(0);  // 16000.0
    expectFile(esps.resize(400).add(be16s({100, -100})), 98, "take; 16000 Hz x 1", over(32768, {100, -100}));

    Bytes inrs = Bytes().u8(0xFA).u8(0x46).u16(0).zeros(2).add(padded("12-May-1989 10:11:12", 20)).u32(2);
    expectFile(inrs.resize(512).u16(5).u16(6).u16(7), 183, "take; 8000 Hz x 1", over(32768, {5, 6}));

    const Bytes covox = Bytes().u32(0xAAFF55FF).u32(0xAAFF55FF).u8(8).zeros(7).u8(0).u8(192);
    EXPECT_EQ(samplesOf(open(covox, 454)), over(128, {-128, 64}));
}

TEST_F(WaveHeaders, DiamondWareFieldByField) {
    Bytes file =
        Bytes().text("DiamondWare Digitized\n").u8(0).u8(0x1A).u8(1).u8(0).u32(77).u8(0).u8(0).u16(11025);
    file.u8(2).u8(8).u16(127).u32(4).u32(2).u32(70).zeros(6).add(padded("TITLE = dog", 14));
    expectFile(file.u8(1).u8(2).u8(255).u8(0), 77, "take; comment TITLE = dog; 11025 Hz x 2",
               over(128, {1, 2, -1, 0}));
}

// Formats that no peer reads come back from our own writer as they went.
TEST_F(WaveHeaders, RoundTrips) {
    const struct {
        int row;
        const char* name;
        std::initializer_list<SampleEncoding> encodings;
        bool keepsComment;
    } cases[] = {
        {32, "a.au", {SampleEncoding::Pcm16}, true},
        {378, "a.sf", {SampleEncoding::Pcm24}, true},
        {77, "a.dwd", {SampleEncoding::Pcm8, SampleEncoding::Pcm16}, true},
        {407, "a.sppack", {SampleEncoding::Pcm8, SampleEncoding::Pcm16}, false},
        {367, "a.sd", {SampleEncoding::Pcm8, SampleEncoding::Pcm16}, true},
        {369, "a.sd2", {SampleEncoding::Pcm8, SampleEncoding::Pcm16, SampleEncoding::Pcm24}, false},
        {370, "b.sd2", {SampleEncoding::Pcm8, SampleEncoding::Pcm16, SampleEncoding::Pcm24}, false},
        {436, "a.txt", {SampleEncoding::AsciiText}, false},
    };
    for (const auto& each : cases) {
        for (const SampleEncoding encoding : each.encodings) {
            for (int channels = 1; channels <= 2; ++channels) {
                if (outputChannels(rowFlags(each.row).flags, channels) != channels)
                    continue;
                SCOPED_TRACE(std::string(each.name) + " " + std::string(encodingName(encoding)));
                collection.clear();
                const int grid = encoding == SampleEncoding::AsciiText ? 24 : encodingBits(encoding);
                const auto signal = testSignal(501 * static_cast<std::size_t>(channels), grid);
                Waveform* waveform = addWaveform(collection, "n", signal, channels, 32000);
                waveform->text(WaveText::Comment) = "words";
                ASSERT_TRUE(save(*waveform, each.row, each.name, encoding)) << LastErrorText;
                waveform = open(each.name, each.row);
                ASSERT_TRUE(waveform) << LastErrorText;
                EXPECT_EQ(waveform->sampleRate, 32000u);
                EXPECT_EQ(waveform->channels, channels);
                EXPECT_EQ(samplesOf(waveform), signal);
                EXPECT_EQ(waveform->text(WaveText::Comment), each.keepsComment ? "words" : "");
                EXPECT_TRUE(ui.warnings.empty());
            }
        }
    }
}

// Names, texts, keys, gains and loops come back as far as a format holds them.
TEST_F(WaveHeaders, SettingsRoundTrip) {
    const auto expectKept = [this](Waveform* waveform, int row, const std::string& name) {
        const std::string before = told(waveform);
        const auto samples = samplesOf(waveform);
        ASSERT_TRUE(save(*waveform, row, name)) << LastErrorText;
        waveform = open(name, row);
        EXPECT_EQ(told(waveform), before) << name;
        EXPECT_EQ(samplesOf(waveform), samples) << name;
    };
    using enum LoopMode;
    for (const LoopMode mode : {None, Forward, Backward, Alternating}) {
        for (const bool untilRelease : {false, true}) {
            Waveform* waveform = addWaveform(collection, "Oboe", testSignal(100, 16));
            waveform->rootKey = 71;
            waveform->fineTune = -23;
            waveform->gain = -4.5f;
            waveform->texts = {"a", "p", "c", "co", "e"};
            waveform->setLoop(mode, 10.5, 90);
            waveform->loopUntilRelease = mode != None && untilRelease;
            expectKept(waveform, 42, "a.caf");
        }
    }
    for (const int key : {24, 45, 60, 69, 80}) {
        for (int channels = 1; channels <= 2; ++channels) {
            Waveform* waveform = addWaveform(collection, "Bass", testSignal(1000, 8), channels, 22050);
            waveform->rootKey = static_cast<std::uint8_t>(key);
            waveform->setLoop(Forward, 17, 401);
            waveform->text(WaveText::Copyright) = "mine";
            expectKept(waveform, 175, "a.iff");
        }
    }
    // From one container into the next.
    for (const LoopMode mode : {None, Forward, Alternating}) {
        Waveform* waveform = addWaveform(collection, "Flute A#3", testSignal(999 * 2, 24), 2, 32000);
        waveform->bits = 24;
        waveform->format = SampleFormat::Pcm24;
        waveform->rootKey = 58;
        waveform->gain = -6;
        waveform->text(WaveText::Comment) =
            "Gr\xC3\xBC\xC3\x9F"
            "e";
        waveform->text(WaveText::Copyright) = "me";
        if (mode != None)
            waveform->setLoop(mode, 100, 900);
        const std::pair<const char*, int> chain[] = {{"1.aiff", 15}, {"2.caf", 42}, {"3.aiff", 15}};
        for (const auto& [name, row] : chain) {
            expectKept(waveform, row, name);
            waveform = opened();
            EXPECT_EQ(waveform->bits, 24);
        }
        waveform->gain = 0;  // which files of this kind have no place for
        for (const auto& [name, row] : {std::pair("4.wav", 478), {"5.w64", 477}, {"6.wav", 478}}) {
            expectKept(waveform, row, name);
            waveform = opened();
            EXPECT_EQ(waveform->bits, 24);
        }
    }
}

TEST_F(WaveHeaders, CoreAudioTextsOfFfmpeg) {
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "FFmpeg is not installed";
    writeSource(testSignal(100, 16), 1, 8000);
    ASSERT_TRUE(run("ffmpeg -v error -y -i " + file("in.wav") +
                    " -metadata title=Name -metadata artist=Who -metadata copyright=2001 " + file("a.caf")));
    EXPECT_EQ(told(open("a.caf", 42)), "Name; artist Who; copyright 2001; 8000 Hz x 1");
}

// ---- MATLAB ----

Bytes element(unsigned type, const Bytes& data) {
    Bytes bytes = Bytes().u32(type).u32(data.size()).add(data);
    return bytes.zeros((8 - data.size() % 8) % 8);
}
Bytes matrix(const std::string& name, unsigned rows, unsigned columns, unsigned type, const Bytes& data) {
    return element(14, Bytes()
                           .add(element(6, Bytes().u32(6).u32(0)))
                           .add(element(5, Bytes().u32(rows).u32(columns)))
                           .add(element(1, Bytes().text(name)))
                           .add(element(type, data)));
}
Bytes matFile(std::initializer_list<Bytes> elements) {
    Bytes bytes = padded("MATLAB 5.0 MAT-file", 124, ' ').u16(0x100).text("IM");
    for (const Bytes& each : elements)
        bytes.add(each);
    return bytes;
}
Bytes deflated(const Bytes& from) {
    uLongf size = compressBound(static_cast<uLong>(from.size()));
    Bytes to;
    to.data.resize(size);
    compress(to.data.data(), &size, from.data.data(), static_cast<uLong>(from.size()));
    to.data.resize(size);
    return Bytes().u32(15).u32(to.size()).add(to);
}

TEST_F(WaveHeaders, MatlabMatrices) {
    const Bytes six = Bytes().u16(1).u16(2).u16(3).u16(4).u16(5).u16(6);
    const Bytes rate = matrix("fs", 1, 1, 4, Bytes().u16(11025));
    const struct {
        const char* what;
        Bytes file;
        unsigned channels;
        std::vector<float> samples;
    } cases[] = {
        {"a column a frame", matFile({rate, matrix("x", 2, 3, 3, six)}), 2, over(32768, {1, 2, 3, 4, 5, 6})},
        {"a column a channel", matFile({rate, matrix("x", 3, 2, 3, six)}), 2,
         over(32768, {1, 4, 2, 5, 3, 6})},
        {"one column", matFile({matrix("x", 6, 1, 3, six), rate}), 1, over(32768, {1, 2, 3, 4, 5, 6})},
        {"packed", matFile({deflated(rate), deflated(matrix("x", 6, 1, 3, six))}), 1,
         over(32768, {1, 2, 3, 4, 5, 6})},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.what);
        expectFile(each.file, 227, formatText("x; 11025 Hz x %u", each.channels), each.samples);
    }
}

TEST_F(WaveHeaders, MatlabKeepsACollection) {
    const auto first = testSignal(64, 16), second = testSignal(40, 16);
    addWaveform(collection, "drum 1", first, 1, 8000);
    addWaveform(collection, "drum-1", second, 2, 44100);
    ASSERT_TRUE(save(collection, 227, "all.mat")) << LastErrorText;
    ASSERT_TRUE(open("all.mat", 227)) << LastErrorText;
    const auto all = collection.all<Waveform>();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0]->name(), "drum_1");
    EXPECT_EQ(all[0]->sampleRate, 8000u);
    EXPECT_EQ(samplesOf(all[0]), first);
    EXPECT_EQ(all[1]->name(), "drum_1_2");
    EXPECT_EQ(all[1]->sampleRate, 44100u);
    EXPECT_EQ(samplesOf(all[1]), second);
}

TEST_F(WaveHeaders, TextForms) {
    const Bytes framed = Bytes().text(
        "%//\n%File name: x\n%sample_rate: 8000\n%channels: 2\n%full_scale: 32768\n%//\n"
        " 16384 -16384\n8192\t0\n");
    expectFile(framed, 436, "take; 8000 Hz x 2", {0.5f, -0.5f, 0.25f, 0});
    const Bytes timed =
        Bytes().text("; Sample Rate 16000\r\n; Channels 1\r\n0 +0.5\r\n; mark\r\n6.25e-05 -1e-1\r\n");
    EXPECT_EQ(samplesOf(open(timed, 436)), (std::vector<float>{0.5f, -0.1f}));
}

// ---- Damage ----

// Every prefix of a file and every file with wrong bytes either fails with a message or decodes in full. (The
// sanitizers watch this test in their build.)
TEST_F(WaveHeaders, DamagedFilesAreReadOrRefused) {
    const int rows[] = {32, 378, 77, 407, 367, 370, 436, 227, 42, 175, 459, 460, 296};
    std::vector<std::pair<int, std::vector<Byte>>> files;
    for (const int row : rows) {
        collection.clear();
        Waveform* waveform = addWaveform(collection, "n", testSignal(40, 8), 1, 8000);
        waveform->setLoop(LoopMode::Forward, 5, 20);
        waveform->text(WaveText::Comment) = "words";
        ASSERT_TRUE(save(*waveform, row, "whole.bin")) << row << LastErrorText;
        files.emplace_back(readerBuilt(row) ? row : row - 1, readFile(folder / "whole.bin"));
    }
    collection.clear();
    if (haveProgram("sox")) {
        writeSource(testSignal(60, 8), 1, 11025);
        const std::pair<int, const char*> made[] = {{34, "avr"},  {259, "sph"},  {172, "hcom"}, {394, "smp"},
                                                    {331, "prc"}, {403, "sndt"}, {402, "sndr"}};
        for (const auto& [row, extension] : made) {
            const std::string name = std::string("theirs.") + extension;
            ASSERT_TRUE(run("sox -D " + file("in.wav") + " " + file(name)));
            files.emplace_back(row, readFile(folder / name));
        }
    }
    std::mt19937 random(5);
    UserInterface quiet;
    const auto attempt = [&](int row, std::vector<Byte> bytes) {
        Collection read;
        OpenFile from;
        from.row = row;
        from.path = "damaged.bin";
        from.input = File::fromBytes(std::move(bytes), from.path);
        from.ui = &quiet;
        LastErrorText.clear();
        if (!formatRow(row)->read(read, from, formatRow(row)->variant)) {
            EXPECT_FALSE(LastErrorText.empty());
            EXPECT_TRUE(read.all<Waveform>().empty()) << "a failed reader leaves nothing behind";
            return;
        }
        for (Waveform* waveform : read.all<Waveform>()) {
            if (waveform->frames > 1u << 22)
                continue;  // silence that a header may honestly ask for
            EXPECT_TRUE(waveform->loadSamples()) << row << " " << LastErrorText;
        }
    };
    for (const auto& [row, whole] : files) {
        for (std::size_t size = 0; size < whole.size(); size += size < 160 ? 1 : 97)
            attempt(row, {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)});
        for (int i = 0; i < 200; ++i) {
            std::vector<Byte> wrong = whole;
            for (int k = 0; k < 2; ++k)
                wrong[random() % std::min<std::size_t>(whole.size(), 200)] = static_cast<Byte>(random());
            attempt(row, std::move(wrong));
        }
    }
}

TEST_F(WaveHeaders, LoopsThatAFormatDoesNotKnowAreWarnedOf) {
    Waveform* waveform = addWaveform(collection, "n", testSignal(100, 8), 1, 8000);
    waveform->setLoop(LoopMode::Alternating, 10, 90);
    for (const int row : {175, 459, 460}) {
        ui.warnings.clear();
        ASSERT_TRUE(save(*waveform, row, "out.bin"));
        ASSERT_EQ(ui.warnings.size(), 1u);
        EXPECT_EQ(ui.warnings[0],
                  "The format knows forward loops only - the alternating loop is stored as one");
    }
}

// A cut file gives the frames that are there, with a warning.
TEST_F(WaveHeaders, CutFilesGiveWhatIsThere) {
    for (const int row : {32, 77, 367, 42, 175, 459}) {
        SCOPED_TRACE(row);
        collection.clear();
        const auto signal = testSignal(1000, 8);
        ASSERT_TRUE(
            save(*addWaveform(collection, "n", signal, 1, 8000), row, "whole.bin", SampleEncoding::Pcm8));
        auto bytes = readFile(folder / "whole.bin");
        bytes.resize(bytes.size() - 300);
        writeFile(folder / "cut.bin", bytes);
        const auto samples = openSamples("cut.bin", row);
        ASSERT_GE(samples.size(), 690u) << LastErrorText;
        EXPECT_TRUE(std::equal(samples.begin(), samples.end(), signal.begin()));
        ASSERT_EQ(ui.warnings.size(), 1u);
        EXPECT_EQ(ui.warnings[0], "Warning: data chunk truncated - will read what data there is");
    }
}

}  // namespace
}  // namespace velor
