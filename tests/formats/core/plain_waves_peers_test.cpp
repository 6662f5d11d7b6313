// Plain waveform files against independent programs: what they write we read, what we write they read, sample
// by sample.
#include "formats/core/wave_fixture.h"
#include "formats/core/wave_writer.h"

namespace velor {
namespace {

using namespace test;

struct PlainWavesPeers : WaveFixture {
    PlainWavesPeers() { resetWaveHeaderTemplate(); }
};

constexpr int kMono = 1, kStereo = 2, kBoth = 3;  // bits
constexpr int kWaveRow = 478, kAiffRow = 15, kAifcRow = 17, kW64Row = 477;

// Blocks and padding that a peer takes for samples want even counts; where there are none an odd one shows
// the pad byte.
std::size_t framesFor(int row, std::size_t even) {
    return row == kWaveRow || row == kAiffRow || row == kAifcRow || row == kW64Row ? even + 1 : even;
}

// Files of one name that a peer makes with each of these arguments.
struct PeerFiles {
    const char* peer;
    const char* name;
    int row;
    std::vector<std::string> arguments;
    int channels = kBoth;
    std::uint32_t rate = 0;  // 0: any
};

// The bits that survive what a peer is told; 0: lossy, what we read has to be what the peer itself reads.
int gridOf(const std::string& arguments) {
    const auto says = [&](const char* word) { return arguments.find(word) != std::string::npos; };
    return arguments.empty() || says("law") ? 0 : says("16") ? 16 : says("8") ? 8 : 24;
}

const std::string kF32 = "-e floating-point -b 32", kF64 = "-e floating-point -b 64", kS8 = "-e signed -b 8",
                  kU8 = "-e unsigned -b 8", kS16 = "-e signed -b 16", kS32 = "-e signed -b 32",
                  kMu = "-e mu-law", kA = "-e a-law", kLittle = "-endian=little ", kBig = "-endian=big ";

const PeerFiles kPeerFiles[] = {
    {"sox", "a.wav", kWaveRow, {"-b 8", "-b 16", kS32, kF32, kF64, kMu, kA}},
    {"sox", "a.wav", kWaveRow, {"-b 24"}, kBoth, 192000},
    {"ffmpeg", "a.wav", kWaveRow, {"-c:a pcm_u8", "-c:a pcm_s16le", "-c:a pcm_s24le", "-c:a pcm_s32le"}},
    {"ffmpeg", "a.wav", kWaveRow, {"-c:a pcm_f32le", "-c:a pcm_f64le"}},
    {"sndfile-convert", "a.wav", kWaveRow, {"-pcmu8", "-pcm16", "-pcm24", "-pcm32"}},
    {"sndfile-convert", "a.wav", kWaveRow, {"-float32", "-float64"}},

    {"sndfile-convert", "a.w64", kW64Row, {"-alaw"}},

    {"sox", "a.aiff", kAiffRow, {"-b 8", "-b 16", kS32}},
    {"sox", "a.aiff", kAiffRow, {"-b 24"}, kBoth, 192000},
    {"ffmpeg", "a.aiff", kAiffRow, {"-c:a pcm_s8 -f aiff", "-c:a pcm_s16be -f aiff"}},
    {"ffmpeg", "a.aiff", kAiffRow, {"-c:a pcm_s24be -f aiff", "-c:a pcm_s32be -f aiff"}},
    // Of signed bytes in an odd number libsndfile takes the pad byte for one more.
    {"sndfile-convert", "a.aiff", kAiffRow, {"-pcms8"}, kStereo},
    {"sndfile-convert", "a.aiff", kAiffRow, {"-pcm16", "-pcm24", "-pcm32"}},

    {"sox", "a.aifc", kAifcRow, {"-b 8", "-b 16", kS32, kF32, kF64}},
    {"sox", "a.aifc", kAifcRow, {"-b 24"}, kBoth, 192000},
    {"ffmpeg", "a.aifc", kAifcRow, {"-c:a pcm_f32be -f aiff", "-c:a pcm_f64be -f aiff"}},
    {"ffmpeg", "a.aifc", kAifcRow, {"-c:a pcm_mulaw -f aiff", "-c:a pcm_alaw -f aiff"}},
    {"sndfile-convert", "a.aifc", kAifcRow, {"-float32", "-float64"}},

    {"sox", "a.maud", 228, {kU8, kS16}, kBoth, 8000},

    {"sox", "a.au", 32, {kS8, kS16, kS16 + " -L", "-e signed -b 24", kS32 + " -L"}},
    {"sox", "a.au", 32, {kF32, kF64 + " -L", kMu, kA}},
    {"sndfile-convert", "a.au", 32, {kLittle + "-pcm24", "-float64"}},
    {"ffmpeg", "a.au", 32, {"-c:a pcm_s24be"}},

    {"sox", "a.sf", 378, {kS16, kS32 + " -B", kF32, kMu, kA}},
    {"sndfile-convert", "a.ircam", 378, {kBig + "-pcm16", kLittle + "-pcm32"}},
    {"ffmpeg", "a.sf", 378, {"-c:a pcm_s16le -f ircam"}},

    {"sox", "a.avr", 34, {kS16, "-e unsigned -b 16", kS8, kU8}},
    {"sndfile-convert", "a.avr", 34, {"-pcms8", "-pcmu8", "-pcm16"}},

    {"sox", "a.sph", 259, {kS8, kS16 + " -B", kS16 + " -L", "-e signed -b 24", kS32, kMu}},
    {"sndfile-convert", "a.nist", 259, {"-pcms8", kBig + "-pcm16", "-pcm24", "-ulaw", "-alaw"}},

    {"sox", "a.smp", 394, {"-b 16"}, kMono},
    {"sox", "a.sndt", 403, {"-b 8"}, kMono},
    {"sox", "a.sndr", 402, {"-b 8"}, kMono, 8000},
    {"sox", "a.wve", 331, {""}, kMono, 8000},
    {"sox", "a.prc", 331, {""}, kMono, 8000},
    {"sndfile-convert", "a.wve", 331, {"-alaw"}, kMono, 8000},

    {"sox", "a.voc", 459, {kU8}, kStereo, 40000},
    {"sox", "a.voc", 459, {kU8}, kMono, 8000},
    {"sox", "a.voc", 459, {kS16}},
    {"ffmpeg", "a.voc", 459, {"-c:a pcm_mulaw", "-c:a pcm_alaw", "-c:a pcm_s16le"}},
    {"sndfile-convert", "a.voc", 459, {"-pcm16", "-ulaw"}},

    {"sox", "a.8svx", 175, {"-b 8"}},
    {"sndfile-convert", "a.svx", 419, {"-pcms8", "-pcm16"}, kMono},

    {"sndfile-convert", "a.paf", 296, {"-pcm16", kLittle + "-pcm16", "-pcms8", "-pcm24", kLittle + "-pcm24"}},

    {"sox", "a.hcom", 172, {""}, kMono, 11025},

    {"sox", "a.caf", 42, {kS16}},
    {"sndfile-convert", "a.caf", 42, {"-pcms8", kLittle + "-pcm24", "-float32", kLittle + "-float64"}},
    {"sndfile-convert", "a.caf", 42, {"-ulaw", "-alaw"}},
    {"sndfile-convert", "a.caf", 43, {"-pcm32"}},
    {"ffmpeg", "a.caf", 42, {"-c:a pcm_s24le"}},

    {"sndfile-convert", "a.mat4", 227, {"-pcm16", kBig + "-pcm32", "-float32", kBig + "-float64"}},
    {"sndfile-convert", "a.mat5", 227, {"-pcmu8", kBig + "-pcm16", "-pcm32", "-float32", kBig + "-float64"}},

    {"sox", "a.dat", 436, {""}},

    {"sndfile-convert", "a.sd2", 369, {"-pcms8", "-pcm16", "-pcm24"}},
};

struct PeerMadeWaves : PlainWavesPeers {
    void expectRead(const PeerFiles& files, const std::string& arguments, unsigned channels) {
        const std::string peer = files.peer, name = files.name;
        SCOPED_TRACE(peer + " " + arguments + " " + name + " " + std::to_string(channels));
        const std::uint32_t rate = files.rate ? files.rate : channels == 1 ? 11025 : 44100;
        const int grid = gridOf(arguments);
        const auto signal = testSignal(framesFor(files.row, 1240) * channels, grid ? grid : 16);
        writeSource(signal, channels, rate);
        std::filesystem::remove(folder / name);
        const bool isFloat = arguments.find("float") != std::string::npos;
        std::string command = "sox -D " + file("in.wav") + " " + arguments + " " + file(name);
        if (peer == "ffmpeg")
            command = "ffmpeg -v error -y -i " + file("in.wav") + " " + arguments + " " + file(name);
        else if (peer == "sndfile-convert")
            command =
                "sndfile-convert " + arguments + " " + file(isFloat ? "in.au" : "in.wav") + " " + file(name);
        ASSERT_TRUE(run(command)) << command;
        const auto ours = openSamples(name, files.row);
        ASSERT_FALSE(ours.empty()) << LastErrorText;
        EXPECT_EQ(ours, grid ? signal : decodedBy(peer, name, isFloat));
        EXPECT_EQ(opened()->channels, channels);
        EXPECT_EQ(opened()->sampleRate, rate);
        EXPECT_TRUE(ui.warnings.empty()) << ui.warnings.front();
        // Identification agrees with the reader.
        if (usesGenericProbe(files.row))
            return;
        const auto bytes = readFile(folder / name);
        EXPECT_EQ(identifyBytes("a." + std::string(rowExtension(files.row)), bytes, bytes.size()).row,
                  files.row);
    }
};

TEST_F(PeerMadeWaves, WeReadWhatPeersWrite) {
    bool any = false;
    for (const PeerFiles& files : kPeerFiles) {
        if (!haveProgram(files.peer) || !haveProgram("sox"))
            continue;
        any = true;
        for (const std::string& arguments : files.arguments) {
            for (const int channels : {kMono, kStereo}) {
                if (files.channels & channels)
                    expectRead(files, arguments, static_cast<unsigned>(channels));
            }
        }
    }
    if (!any)
        GTEST_SKIP() << "no peer program is installed";
}

struct OurFile {
    int row;
    const char* name;
    const char* peer;
    std::initializer_list<SampleEncoding> encodings;
};
using enum SampleEncoding;
const OurFile kOurFiles[] = {
    {kWaveRow, "a.wav", "sox", {Pcm8, Pcm16, Pcm24, Pcm32, Float32, MuLaw, ALaw}},
    {kWaveRow, "a.wav", "ffmpeg", {Pcm8, Pcm16, Pcm24, Pcm32, Float32, MuLaw, ALaw}},
    {kWaveRow, "a.wav", "sndfile-convert", {Pcm8, Pcm16, Pcm24, Pcm32, Float32, MuLaw, ALaw}},
    {kAiffRow, "a.aiff", "sox", {Pcm8, Pcm16, Pcm24, Pcm32}},
    {kAiffRow, "a.aiff", "ffmpeg", {Pcm8, Pcm16, Pcm24, Pcm32}},
    {kAiffRow, "a.aiff", "sndfile-convert", {Pcm8, Pcm16, Pcm24, Pcm32}},
    {kW64Row, "a.w64", "ffmpeg", {Pcm8, Pcm16, Pcm24, Pcm32, Float32, MuLaw, ALaw}},
    {32, "a.au", "sox", {Pcm8, Pcm16, Pcm24, Pcm32, Float32, Float64, MuLaw, ALaw}},
    {32, "a.au", "sndfile-convert", {Pcm8, Pcm16, Pcm24, Pcm32, Float32, Float64, MuLaw, ALaw}},
    {32, "a.au", "ffmpeg", {Pcm8, Pcm16, Pcm24, Pcm32, Float32, Float64, MuLaw, ALaw}},
    {378, "a.sf", "sndfile-convert", {Pcm16, Pcm32, Float32, MuLaw, ALaw}},
    {378, "a.sf", "ffmpeg", {Pcm8, Pcm16, Pcm24, Pcm32, Float32, Float64, MuLaw, ALaw}},
    {459, "a.voc", "sox", {Pcm8, Pcm16, MuLaw, ALaw}},
    {459, "a.voc", "ffmpeg", {Pcm8, Pcm16, MuLaw, ALaw}},
    {460, "a.voc", "sox", {Pcm8}},
    {460, "a.voc", "ffmpeg", {Pcm8}},
    {175, "a.8svx", "sox", {Pcm8}},
    {175, "a.8svx", "ffmpeg", {Pcm8}},
    {296, "a.paf", "sndfile-convert", {Pcm8, Pcm16, Pcm24}},
    {42, "a.caf", "sndfile-convert", {Pcm8, Pcm16, Pcm24, Pcm32, Float32, Float64, MuLaw, ALaw}},
    {42, "a.caf", "ffmpeg", {Pcm8, Pcm16, Pcm24, Pcm32, Float32, Float64, MuLaw, ALaw}},
    {369, "a.sd2", "sndfile-convert", {Pcm8, Pcm16, Pcm24}},
    {227, "a.mat5", "sndfile-convert", {Pcm8, Pcm16, Pcm32, Float32, Float64}},
    {436, "a.dat", "sox", {AsciiText}},
};

// Rows that only write have the reader of an earlier row with their extension.
int readerOf(int row) {
    while (!readerBuilt(row))
        --row;
    return row;
}

int gridOf(SampleEncoding encoding) {
    return encoding == AsciiText ? 16 : std::min(encodingBits(encoding), 24);
}

TEST_F(PlainWavesPeers, PeersReadWhatWeWrite) {
    bool any = false;
    for (const OurFile& each : kOurFiles) {
        if (!haveProgram(each.peer))
            continue;
        any = true;
        for (const SampleEncoding encoding : each.encodings) {
            for (int channels = 1; channels <= 2; ++channels) {
                const std::uint32_t flags = rowFlags(each.row).flags;
                if (!(flags & encodingBit(encoding)) || outputChannels(flags, channels) != channels)
                    continue;
                SCOPED_TRACE(std::string(each.peer) + " " + each.name + " " +
                             std::string(encodingName(encoding)) + " " + std::to_string(channels));
                collection.clear();
                const bool isLaw = encoding == MuLaw || encoding == ALaw;
                // 1120 frames fill the blocks of PARIS and the padding of MATLAB.
                const std::size_t frames = framesFor(each.row, 1120);
                const auto signal =
                    testSignal(frames * static_cast<std::size_t>(channels), isLaw ? 16 : gridOf(encoding));
                Waveform* waveform = addWaveform(collection, "n", signal, channels, 22050);
                waveform->text(WaveText::Comment) = "spoken words";
                if (each.row == kWaveRow || each.row == kAiffRow)
                    waveform->setLoop(LoopMode::Forward, 0, static_cast<double>(frames));
                ASSERT_TRUE(save(*waveform, each.row, each.name, encoding)) << LastErrorText;
                const auto theirs =
                    decodedBy(each.peer, each.name, encoding == Float32 || encoding == Float64);
                const auto ours = openSamples(each.name, readerOf(each.row));
                ASSERT_EQ(ours.size(), signal.size()) << LastErrorText;
                EXPECT_EQ(theirs, ours);
                if (!isLaw) {
                    EXPECT_EQ(ours, signal);
                } else {
                    // Half of G.711's largest step; its mu-law ends 644 steps of 16 bits below full scale.
                    for (std::size_t i = 0; i < signal.size(); ++i)
                        ASSERT_NEAR(ours[i], signal[i], (encoding == MuLaw ? 644.5f : 512.5f) / 32768) << i;
                }
                EXPECT_EQ(collection.all<Waveform>().front()->sampleRate, 22050u);
            }
        }
    }
    if (!any)
        GTEST_SKIP() << "no peer program is installed";
}

TEST_F(PlainWavesPeers, PeersReadOurExtensibleFiles) {
    for (const char* peer : {"sox", "ffmpeg", "sndfile-convert"}) {
        if (!haveProgram(peer))
            GTEST_SKIP() << peer << " is not installed";
        for (const SampleEncoding encoding : {Pcm8, Pcm16, Pcm24, Pcm32, Float32}) {
            const auto signal = testSignal(999 * 2, gridOf(encoding));
            Waveform* waveform = addWaveform(collection, "n", signal, 2, 48000);
            SaveOptions options;
            options.encoding = encoding;
            options.variant = wave_variant::kExtensible;
            WaveImage image;
            ASSERT_TRUE(buildWaveImage(*waveform, options, ui, image));
            writeFile(folder / "ext.wav", {image.bytes().begin(), image.bytes().end()});
            EXPECT_EQ(decodedBy(peer, "ext.wav", encoding == Float32), signal)
                << peer << " " << encodingName(encoding);
        }
    }
}

TEST_F(PlainWavesPeers, PeersSeeOurLoopsAndKeys) {
    if (!haveProgram("sndfile-info"))
        GTEST_SKIP() << "sndfile-info is not installed";
    Waveform* waveform = addWaveform(collection, "n", testSignal(2000, 16), 1, 44100);
    waveform->rootKey = 57;
    for (const auto& [mode, shown] :
         {std::pair(LoopMode::Forward, "fwd"), std::pair(LoopMode::Alternating, "alt")}) {
        waveform->setLoop(mode, 100, 900);
        for (const auto& [row, name] : {std::pair(kWaveRow, "ours.wav"), std::pair(kAiffRow, "ours.aiff")}) {
            ASSERT_TRUE(saveItem(waveform, row, folder / name, services)) << LastErrorText;
            // "0  Mode : fwd  Start : 100  End : 900  Count : 0"
            const std::string info = "sndfile-info --instrument " + file(name);
            EXPECT_TRUE(run(info + " | grep -E 'Base note +: 57'")) << name;
            // In AIFF it calls every mode forward.
            const std::string kind = row == kWaveRow ? shown : "fwd";
            EXPECT_TRUE(run(info + " | grep -E 'Mode : " + kind + " +Start : +100 +End : +900 '")) << name;
        }
    }
}

}  // namespace
}  // namespace velor
