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

constexpr int kStereo = 2, kBoth = 3;  // bits: mono, stereo
constexpr int kWaveRow = 478, kAiffRow = 15, kAifcRow = 17;

// Blocks and padding that a peer takes for samples want even counts; where there are none an odd one shows
// the pad byte.
std::size_t framesFor(int row, std::size_t even) {
    return row == kWaveRow || row == kAiffRow || row == kAifcRow ? even + 1 : even;
}

struct PeerFile {
    const char* peer;
    const char* arguments;
    const char* name;
    int row;
    int grid;  // bits that survive; 0: lossy, what we read has to be what the peer itself reads
    int channels = kBoth;
    std::uint32_t rate = 0;  // 0: any
};

const PeerFile kPeerFiles[] = {
    // Of signed bytes in an odd number libsndfile takes the pad byte for one more.
    {"sox", "-b 8", "a.wav", kWaveRow, 8},
    {"sox", "-b 16", "a.wav", kWaveRow, 16},
    {"sox", "-b 24", "a.wav", kWaveRow, 24, kBoth, 192000},
    {"sox", "-e signed -b 32", "a.wav", kWaveRow, 24},
    {"sox", "-e floating-point -b 32", "a.wav", kWaveRow, 24},
    {"sox", "-e floating-point -b 64", "a.wav", kWaveRow, 24},
    {"ffmpeg", "-c:a pcm_u8", "a.wav", kWaveRow, 8},
    {"ffmpeg", "-c:a pcm_s16le", "a.wav", kWaveRow, 16},
    {"ffmpeg", "-c:a pcm_s24le", "a.wav", kWaveRow, 24},
    {"ffmpeg", "-c:a pcm_s32le", "a.wav", kWaveRow, 24},
    {"ffmpeg", "-c:a pcm_f32le", "a.wav", kWaveRow, 24},
    {"ffmpeg", "-c:a pcm_f64le", "a.wav", kWaveRow, 24},
    {"sndfile-convert", "-pcmu8", "a.wav", kWaveRow, 8},
    {"sndfile-convert", "-pcm16", "a.wav", kWaveRow, 16},
    {"sndfile-convert", "-pcm24", "a.wav", kWaveRow, 24},
    {"sndfile-convert", "-pcm32", "a.wav", kWaveRow, 24},
    {"sndfile-convert", "-float32", "a.wav", kWaveRow, 24},
    {"sndfile-convert", "-float64", "a.wav", kWaveRow, 24},
    {"sox", "-e mu-law", "a.wav", kWaveRow, 0},
    {"sox", "-e a-law", "a.wav", kWaveRow, 0},

    {"sox", "-b 8", "a.aiff", kAiffRow, 8},
    {"sox", "-b 16", "a.aiff", kAiffRow, 16},
    {"sox", "-b 24", "a.aiff", kAiffRow, 24, kBoth, 192000},
    {"sox", "-e signed -b 32", "a.aiff", kAiffRow, 24},
    {"ffmpeg", "-c:a pcm_s8 -f aiff", "a.aiff", kAiffRow, 8},
    {"ffmpeg", "-c:a pcm_s16be -f aiff", "a.aiff", kAiffRow, 16},
    {"ffmpeg", "-c:a pcm_s24be -f aiff", "a.aiff", kAiffRow, 24},
    {"ffmpeg", "-c:a pcm_s32be -f aiff", "a.aiff", kAiffRow, 24},
    {"sndfile-convert", "-pcms8", "a.aiff", kAiffRow, 8, kStereo},
    {"sndfile-convert", "-pcm16", "a.aiff", kAiffRow, 16},
    {"sndfile-convert", "-pcm24", "a.aiff", kAiffRow, 24},
    {"sndfile-convert", "-pcm32", "a.aiff", kAiffRow, 24},

    {"sox", "-b 8", "a.aifc", kAifcRow, 8},
    {"sox", "-b 16", "a.aifc", kAifcRow, 16},
    {"sox", "-b 24", "a.aifc", kAifcRow, 24, kBoth, 192000},
    {"sox", "-e signed -b 32", "a.aifc", kAifcRow, 24},
    {"sox", "-e floating-point -b 32", "a.aifc", kAifcRow, 24},
    {"sox", "-e floating-point -b 64", "a.aifc", kAifcRow, 24},
    {"ffmpeg", "-c:a pcm_f32be -f aiff", "a.aifc", kAifcRow, 24},
    {"ffmpeg", "-c:a pcm_f64be -f aiff", "a.aifc", kAifcRow, 24},
    {"sndfile-convert", "-float32", "a.aifc", kAifcRow, 24},
    {"sndfile-convert", "-float64", "a.aifc", kAifcRow, 24},
    {"ffmpeg", "-c:a pcm_mulaw -f aiff", "a.aifc", kAifcRow, 0},
    {"ffmpeg", "-c:a pcm_alaw -f aiff", "a.aifc", kAifcRow, 0},

    {"sox", "-e unsigned -b 8", "a.maud", 228, 8, kBoth, 8000},
    {"sox", "-e signed -b 16", "a.maud", 228, 16, kBoth, 8000},

    {"sox", "-e signed -b 8", "a.au", 32, 8},
    {"sox", "-e signed -b 16", "a.au", 32, 16},
    {"sox", "-e signed -b 16 -L", "a.au", 32, 16},
    {"sox", "-e signed -b 24", "a.au", 32, 24},
    {"sox", "-e signed -b 32 -L", "a.au", 32, 24},
    {"sox", "-e floating-point -b 32", "a.au", 32, 24},
    {"sox", "-e floating-point -b 64 -L", "a.au", 32, 24},
    {"sox", "-e mu-law", "a.au", 32, 0},
    {"sox", "-e a-law", "a.au", 32, 0},
    {"sndfile-convert", "-endian=little -pcm24", "a.au", 32, 24},
    {"sndfile-convert", "-float64", "a.au", 32, 24},
    {"ffmpeg", "-c:a pcm_s24be", "a.au", 32, 24},

    {"sox", "-e signed -b 16", "a.sf", 378, 16},
    {"sox", "-e signed -b 32 -B", "a.sf", 378, 24},
    {"sox", "-e floating-point -b 32", "a.sf", 378, 24},
    {"sox", "-e mu-law", "a.sf", 378, 0},
    {"sox", "-e a-law", "a.sf", 378, 0},
    {"sndfile-convert", "-endian=big -pcm16", "a.ircam", 378, 16},
    {"sndfile-convert", "-endian=little -pcm32", "a.ircam", 378, 24},
    {"ffmpeg", "-c:a pcm_s16le -f ircam", "a.sf", 378, 16},

    {"sox", "-e signed -b 16", "a.avr", 34, 16},
    {"sox", "-e unsigned -b 16", "a.avr", 34, 16},
    {"sox", "-e signed -b 8", "a.avr", 34, 8},
    {"sox", "-e unsigned -b 8", "a.avr", 34, 8},
    {"sndfile-convert", "-pcms8", "a.avr", 34, 8},
    {"sndfile-convert", "-pcmu8", "a.avr", 34, 8},
    {"sndfile-convert", "-pcm16", "a.avr", 34, 16},

    {"sox", "-e signed -b 8", "a.sph", 259, 8},
    {"sox", "-e signed -b 16 -B", "a.sph", 259, 16},
    {"sox", "-e signed -b 16 -L", "a.sph", 259, 16},
    {"sox", "-e signed -b 24", "a.sph", 259, 24},
    {"sox", "-e signed -b 32", "a.sph", 259, 24},
    {"sox", "-e mu-law", "a.sph", 259, 0},
    {"sndfile-convert", "-pcms8", "a.nist", 259, 8},
    {"sndfile-convert", "-pcm16 -endian=big", "a.nist", 259, 16},
    {"sndfile-convert", "-pcm24", "a.nist", 259, 24},
    {"sndfile-convert", "-ulaw", "a.nist", 259, 0},
    {"sndfile-convert", "-alaw", "a.nist", 259, 0},

    {"sox", "", "a.smp", 394, 16, 1},
    {"sox", "", "a.sndt", 403, 8, 1},
    {"sox", "", "a.sndr", 402, 8, 1, 8000},
    {"sox", "", "a.wve", 331, 0, 1, 8000},
    {"sox", "", "a.prc", 331, 0, 1, 8000},
    {"sndfile-convert", "-alaw", "a.wve", 331, 0, 1, 8000},

    {"sox", "-e unsigned -b 8", "a.voc", 459, 8, 2, 40000},
    {"sox", "-e unsigned -b 8", "a.voc", 459, 8, 1, 8000},
    {"sox", "-e signed -b 16", "a.voc", 459, 16},
    {"ffmpeg", "-c:a pcm_mulaw", "a.voc", 459, 0},
    {"ffmpeg", "-c:a pcm_alaw", "a.voc", 459, 0},
    {"sndfile-convert", "-pcm16", "a.voc", 459, 16},
    {"sndfile-convert", "-ulaw", "a.voc", 459, 0},
    {"ffmpeg", "-c:a pcm_s16le", "a.voc", 459, 16},

    {"sox", "", "a.8svx", 175, 8},
    {"sndfile-convert", "-pcms8", "a.svx", 419, 8, 1},
    {"sndfile-convert", "-pcm16", "a.svx", 419, 16, 1},

    {"sndfile-convert", "-pcm16", "a.paf", 296, 16},
    {"sndfile-convert", "-endian=little -pcm16", "a.paf", 296, 16},
    {"sndfile-convert", "-pcms8", "a.paf", 296, 8},
    {"sndfile-convert", "-pcm24", "a.paf", 296, 24},
    {"sndfile-convert", "-endian=little -pcm24", "a.paf", 296, 24},

    {"sox", "", "a.hcom", 172, 0, 1, 11025},

    {"sox", "-e signed -b 16", "a.caf", 42, 16},
    {"sndfile-convert", "-pcms8", "a.caf", 42, 8},
    {"sndfile-convert", "-endian=little -pcm24", "a.caf", 42, 24},
    {"sndfile-convert", "-pcm32", "a.caf", 43, 24},
    {"sndfile-convert", "-float32", "a.caf", 42, 24},
    {"sndfile-convert", "-endian=little -float64", "a.caf", 42, 24},
    {"sndfile-convert", "-ulaw", "a.caf", 42, 0},
    {"sndfile-convert", "-alaw", "a.caf", 42, 0},
    {"ffmpeg", "-c:a pcm_s24le", "a.caf", 42, 24},

    {"sndfile-convert", "-pcm16", "a.mat4", 227, 16},
    {"sndfile-convert", "-endian=big -pcm32", "a.mat4", 227, 24},
    {"sndfile-convert", "-float32", "a.mat4", 227, 24},
    {"sndfile-convert", "-endian=big -float64", "a.mat4", 227, 24},
    {"sndfile-convert", "-pcmu8", "a.mat5", 227, 8},
    {"sndfile-convert", "-endian=big -pcm16", "a.mat5", 227, 16},
    {"sndfile-convert", "-pcm32", "a.mat5", 227, 24},
    {"sndfile-convert", "-float32", "a.mat5", 227, 24},
    {"sndfile-convert", "-endian=big -float64", "a.mat5", 227, 24},

    {"sox", "", "a.dat", 436, 0},

    {"sndfile-convert", "-pcms8", "a.sd2", 369, 8},
    {"sndfile-convert", "-pcm16", "a.sd2", 369, 16},
    {"sndfile-convert", "-pcm24", "a.sd2", 369, 24},
};

TEST_F(PlainWavesPeers, WeReadWhatPeersWrite) {
    bool any = false;
    for (const PeerFile& each : kPeerFiles) {
        const std::string peer = each.peer, name = each.name;
        if (!haveProgram(peer) || !haveProgram("sox"))
            continue;
        any = true;
        for (unsigned channels = 1; channels <= 2; ++channels) {
            if (!(each.channels & static_cast<int>(channels)))
                continue;
            SCOPED_TRACE(peer + " " + each.arguments + " " + name + " " + std::to_string(channels));
            const std::uint32_t rate = each.rate ? each.rate : channels == 1 ? 11025 : 44100;
            const auto signal = testSignal(framesFor(each.row, 1240) * channels, each.grid ? each.grid : 16);
            writeSource(signal, channels, rate);
            std::filesystem::remove(folder / name);
            const bool isFloat = std::string(each.arguments).find("float") != std::string::npos;
            std::string command = "sox -D " + file("in.wav") + " " + each.arguments + " " + file(name);
            if (peer == "ffmpeg")
                command = "ffmpeg -v error -y -i " + file("in.wav") + " " + each.arguments + " " + file(name);
            else if (peer == "sndfile-convert")
                command = "sndfile-convert " + std::string(each.arguments) + " " +
                          file(isFloat ? "in.au" : "in.wav") + " " + file(name);
            ASSERT_TRUE(run(command)) << command;
            const auto ours = openSamples(name, each.row);
            ASSERT_FALSE(ours.empty()) << LastErrorText;
            EXPECT_EQ(ours, each.grid ? signal : decodedBy(peer, name, isFloat));
            EXPECT_EQ(collection.all<Waveform>().front()->channels, channels);
            EXPECT_EQ(collection.all<Waveform>().front()->sampleRate, rate);
            EXPECT_TRUE(ui.warnings.empty()) << ui.warnings.front();
            // The probe agrees with the reader.
            if (usesGenericProbe(each.row))
                continue;
            const auto bytes = readFile(folder / name);
            EXPECT_GE(formatRow(each.row)->probe(bytes, formatRow(each.row)->variant, bytes.size()), 4);
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
