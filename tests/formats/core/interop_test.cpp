// WAVE and AIFF against independent programs: what they write we read, what we write they read, bit for bit.
#include <gtest/gtest.h>

#include "base/error.h"
#include "formats/core/chunk_builder.h"
#include "formats/core/wave_writer.h"
#include "formats/framework/format_table.h"
#include "test_tools.h"

namespace velor {
namespace {

using namespace test;

constexpr int kWaveRow = 478;
constexpr int kAiffRow = 15;
constexpr int kMaudRow = 228;

// Samples on a grid that every encoding of that many bits holds exactly.
struct Encoding {
    SampleEncoding ours;
    int grid;
    const char* sox;
    const char* ffmpegLittle;
    const char* ffmpegBig;
    const char* sndfile;  // for WAVE; AIFF has signed 8-bit samples
};
constexpr Encoding kEncodings[] = {
    {SampleEncoding::Pcm8, 8, "-b 8", "pcm_u8", "pcm_s8", "-pcmu8"},
    {SampleEncoding::Pcm16, 16, "-b 16", "pcm_s16le", "pcm_s16be", "-pcm16"},
    {SampleEncoding::Pcm24, 24, "-b 24", "pcm_s24le", "pcm_s24be", "-pcm24"},
    {SampleEncoding::Pcm32, 24, "-e signed -b 32", "pcm_s32le", "pcm_s32be", "-pcm32"},
    {SampleEncoding::Float32, 24, "-e floating-point -b 32", "pcm_f32le", "pcm_f32be", "-float32"},
    {SampleEncoding::Float64, 24, "-e floating-point -b 64", "pcm_f64le", "pcm_f64be", "-float64"},
};
struct Shape {
    unsigned channels;
    std::size_t frames;
    std::uint32_t rate;
};
constexpr Shape kShapes[] = {{1, 333, 11025}, {2, 2501, 192000}};

struct Interop : testing::Test {
    Interop() {
        services.ui = &ui;
        resetWaveHeaderTemplate();
    }

    std::string file(const std::string& name) { return quoted(folder / name); }

    std::vector<float> openSamples(const std::string& name, int row) {
        LastErrorText.clear();
        if (!openFileAs(collection, folder / name, row, services))
            return {};
        Waveform* waveform = collection.all<Waveform>().front();
        if (!waveform->loadSamples())
            return {};
        return {waveform->samples().begin(), waveform->samples().end()};
    }
    Waveform* opened() { return collection.all<Waveform>().front(); }

    // Raw 32-bit little-endian integers, which every peer takes.
    void writeRaw(const std::string& name, const std::vector<float>& samples) {
        Bytes bytes;
        for (const float sample : samples)
            bytes.u32(static_cast<std::uint32_t>(
                static_cast<std::int32_t>(std::min(sample * 2147483648.0, 2147483647.0))));
        writeFile(folder / name, bytes.data);
    }
    std::vector<float> readRaw(const std::string& name) {
        const auto bytes = readFile(folder / name);
        std::vector<float> samples;
        for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4)
            samples.push_back(static_cast<float>(loadLe<std::int32_t>(bytes.data() + i) / 2147483648.0));
        return samples;
    }

    // What a peer makes of a file; empty when it refuses.
    std::vector<float> decodedBy(const std::string& peer, const std::string& name, bool isFloat = false) {
        std::filesystem::remove(folder / "peer.raw");
        if (peer == "sox") {
            run("sox -D " + file(name) + " -t raw -e signed -b 32 -L " + file("peer.raw"));
        } else if (peer == "ffmpeg") {
            run("ffmpeg -v error -y -i " + file(name) + " -f s32le " + file("peer.raw"));
        } else {
            // Between integers and floats this peer rescales.
            run("sndfile-convert " + std::string(isFloat ? "-float32 " : "-pcm32 ") + file(name) + " " +
                file("peer.au"));
            return readAu(isFloat);
        }
        return readRaw("peer.raw");
    }
    std::vector<float> readAu(bool isFloat) {
        const auto bytes = readFile(folder / "peer.au");
        std::vector<float> samples;
        if (bytes.size() < 24)
            return samples;
        for (std::size_t i = loadBe<std::uint32_t>(bytes.data() + 4); i + 4 <= bytes.size(); i += 4)
            samples.push_back(
                isFloat ? loadBe<float>(bytes.data() + i)
                        : static_cast<float>(loadBe<std::int32_t>(bytes.data() + i) / 2147483648.0));
        return samples;
    }

    TemporaryFolder folder;
    RecordingInterface ui;
    PipelineServices services;
    Collection collection;
};

constexpr const char* kPeers[] = {"sox", "ffmpeg", "sndfile-convert"};

TEST_F(Interop, PeersReadWhatWeWrite) {
    bool any = false;
    for (const char* peer : kPeers) {
        if (!haveProgram(peer))
            continue;
        any = true;
        for (const int row : {kWaveRow, kAiffRow}) {
            for (const Encoding& each : kEncodings) {
                if (!(rowFlags(row).flags & encodingBit(each.ours)))
                    continue;
                for (const Shape& shape : kShapes) {
                    SCOPED_TRACE(formatText("%s row %d %s %u channels %u Hz", peer, row,
                                            std::string(encodingName(each.ours)).c_str(), shape.channels,
                                            shape.rate));
                    collection.clear();
                    const auto signal = testSignal(shape.frames * shape.channels, each.grid);
                    Waveform* waveform =
                        addWaveform(collection, "n", signal, static_cast<int>(shape.channels), shape.rate);
                    waveform->setLoop(LoopMode::Forward, 0, static_cast<double>(shape.frames));
                    SaveOptions options;
                    options.encoding = each.ours;
                    const std::string name = row == kWaveRow ? "ours.wav" : "ours.aiff";
                    ASSERT_TRUE(saveItem(waveform, row, folder / name, services, options)) << LastErrorText;
                    EXPECT_EQ(decodedBy(peer, name, each.ours == SampleEncoding::Float32), signal);
                }
            }
        }
    }
    if (!any)
        GTEST_SKIP() << "no peer program is installed";
}

TEST_F(Interop, PeersReadOurExtensibleFiles) {
    for (const char* peer : kPeers) {
        if (!haveProgram(peer))
            GTEST_SKIP() << peer << " is not installed";
        for (const Encoding& each : kEncodings) {
            if (each.ours == SampleEncoding::Float64)
                continue;
            const auto signal = testSignal(999 * 2, each.grid);
            Waveform* waveform = addWaveform(collection, "n", signal, 2, 48000);
            SaveOptions options;
            options.encoding = each.ours;
            options.variant = wave_variant::kExtensible;
            WaveImage image;
            ASSERT_TRUE(buildWaveImage(*waveform, options, ui, image));
            writeFile(folder / "ext.wav", {image.bytes().begin(), image.bytes().end()});
            EXPECT_EQ(decodedBy(peer, "ext.wav", each.ours == SampleEncoding::Float32), signal)
                << peer << " " << encodingName(each.ours);
        }
    }
}

TEST_F(Interop, WeReadWhatPeersWrite) {
    struct Target {
        const char* extension;
        int row;
        bool big;
    };
    const Target targets[] = {{"wav", kWaveRow, false}, {"aiff", kAiffRow, true}, {"aifc", kAiffRow, true}};
    bool any = false;
    for (const char* peer : kPeers) {
        if (!haveProgram(peer))
            continue;
        any = true;
        const std::string by = peer;
        for (const Target& target : targets) {
            for (const Encoding& each : kEncodings) {
                for (const Shape& shape : kShapes) {
                    const std::string name = std::string("theirs.") + target.extension;
                    SCOPED_TRACE(by + " " + name + " " + std::string(encodingName(each.ours)) + " " +
                                 std::to_string(shape.channels) + " channels");
                    const auto signal = testSignal(shape.frames * shape.channels, each.grid);
                    writeRaw("in.raw", signal);
                    std::filesystem::remove(folder / name);
                    const std::string count = std::to_string(shape.channels),
                                      rate = std::to_string(shape.rate);
                    bool made = false;
                    if (by == "sox") {
                        // SoX has no float AIFF but AIFC.
                        if (target.big && each.ours >= SampleEncoding::Float32 && name != "theirs.aifc")
                            continue;
                        made = run("sox -D -t raw -e signed -b 32 -L -c " + count + " -r " + rate + " " +
                                   file("in.raw") + " " + each.sox + " " + file(name));
                    } else if (by == "ffmpeg") {
                        if (std::string(target.extension) == "aiff" && each.ours >= SampleEncoding::Float32)
                            continue;
                        made = run("ffmpeg -v error -y -f s32le -ac " + count + " -ar " + rate + " -i " +
                                   file("in.raw") + " -c:a " +
                                   (target.big ? each.ffmpegBig : each.ffmpegLittle) + " -f " +
                                   (target.big ? "aiff " : "wav ") + file(name));
                    } else {
                        Bytes floats = Bytes()
                                           .text(".snd")
                                           .be32(24)
                                           .be32(0xFFFFFFFF)
                                           .be32(6)
                                           .be32(shape.rate)
                                           .be32(shape.channels);
                        for (const float sample : signal)
                            floats.be32(std::bit_cast<std::uint32_t>(sample));
                        writeFile(folder / "in.au", floats.data);
                        const bool integer = each.ours < SampleEncoding::Float32;
                        // Going from float the peer scales by 2^n - 1, so integers start from SoX's file.
                        const std::string source =
                            integer && run("sox -D -t raw -e signed -b 32 -L -c " + count + " -r " + rate +
                                           " " + file("in.raw") + " " + file("in.wav"))
                                ? "in.wav"
                                : "in.au";
                        if (integer && source == "in.au")
                            continue;
                        if (std::string(target.extension) == "aiff" && !integer)
                            continue;
                        const bool signed8 = target.big && each.ours == SampleEncoding::Pcm8;
                        if (signed8 && signal.size() % 2)
                            continue;  // it counts the pad byte as a frame
                        made = run(std::string("sndfile-convert ") + (signed8 ? "-pcms8" : each.sndfile) +
                                   " " + file(source) + " " + file(name));
                    }
                    ASSERT_TRUE(made);
                    EXPECT_EQ(openSamples(name, target.row), signal) << LastErrorText;
                    if (collection.empty())
                        continue;
                    EXPECT_EQ(opened()->channels, shape.channels);
                    EXPECT_EQ(opened()->sampleRate, shape.rate);
                }
            }
        }
    }
    if (!any)
        GTEST_SKIP() << "no peer program is installed";
}

// The laws: codes made by a peer decode to what the peer decodes them to, and codes made by us are as near to
// the signal as the peer's own.
TEST_F(Interop, LawCodedFilesAgreeWithPeers) {
    if (!haveProgram("sox") || !haveProgram("ffmpeg"))
        GTEST_SKIP() << "SoX or FFmpeg is not installed";
    const auto signal = testSignal(2 * 5001, 16);
    writeRaw("in.raw", signal);
    const auto farthest = [&signal](const std::vector<float>& decoded) {
        float worst = decoded.size() == signal.size() ? 0 : 1e9f;
        for (std::size_t i = 0; i < std::min(decoded.size(), signal.size()); ++i)
            worst = std::max(worst, std::abs(decoded[i] - signal[i]));
        return worst;
    };
    const struct {
        SampleEncoding encoding;
        const char* sox;
        const char* ffmpeg;
    } laws[] = {{SampleEncoding::MuLaw, "mu-law", "pcm_mulaw"}, {SampleEncoding::ALaw, "a-law", "pcm_alaw"}};
    for (const auto& law : laws) {
        SCOPED_TRACE(law.sox);
        ASSERT_TRUE(run("sox -D -t raw -e signed -b 32 -L -c 2 -r 8000 " + file("in.raw") + " -e " + law.sox +
                        " " + file("law.wav")));
        ASSERT_TRUE(run("ffmpeg -v error -y -f s32le -ac 2 -ar 8000 -i " + file("in.raw") + " -c:a " +
                        law.ffmpeg + " -f aiff " + file("law.aifc")));
        for (const auto& [name, row] : {std::pair("law.wav", kWaveRow), std::pair("law.aifc", kAiffRow)}) {
            const auto ours = openSamples(name, row);
            EXPECT_EQ(ours.size(), signal.size()) << LastErrorText;
            EXPECT_EQ(ours, decodedBy("ffmpeg", name));
        }
        const float peers = farthest(decodedBy("ffmpeg", "law.wav"));
        collection.clear();
        SaveOptions options;
        options.encoding = law.encoding;
        ASSERT_TRUE(saveItem(addWaveform(collection, "n", signal, 2, 8000), kWaveRow, folder / "ours.wav",
                             services, options));
        for (const char* peer : {"sox", "ffmpeg"})
            EXPECT_LE(farthest(decodedBy(peer, "ours.wav")), peers * 1.001f) << peer;
    }
}

TEST_F(Interop, PeersSeeOurLoopsAndKeys) {
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

TEST_F(Interop, MaudFilesOfSox) {
    if (!haveProgram("sox"))
        GTEST_SKIP() << "SoX is not installed";
    for (const char* encoding : {"-e unsigned -b 8", "-e signed -b 16"}) {
        for (const unsigned channels : {1u, 2u}) {
            SCOPED_TRACE(encoding);
            const auto signal = testSignal(1001 * channels, std::string(encoding).ends_with("8") ? 8 : 16);
            writeRaw("in.raw", signal);
            ASSERT_TRUE(run("sox -D -t raw -e signed -b 32 -L -r 8000 -c " + std::to_string(channels) + " " +
                            file("in.raw") + " " + encoding + " " + file("amiga.maud")));
            EXPECT_EQ(openSamples("amiga.maud", kMaudRow), signal) << LastErrorText;
            ASSERT_FALSE(collection.empty());
            EXPECT_EQ(opened()->channels, channels);
        }
    }
}

}  // namespace
}  // namespace velor
