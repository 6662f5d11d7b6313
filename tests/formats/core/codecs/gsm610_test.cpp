// GSM 06.10 against other coders, bit for bit, over speech, music and what drives the arithmetic to its
// limits.
#include "formats/core/codecs/gsm610.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "formats/core/chunk_builder.h"

namespace velor {
namespace {

using namespace test;
using namespace gsm610;
using Samples = std::vector<std::int16_t>;

struct Signal {
    std::string name;
    Samples samples;
    bool quiet = false;  // no addition of the decoder saturates
};

Samples made(std::size_t frames, auto&& sampleAt) {
    Samples samples(frames * kFrameSamples);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(sampleAt(i));
    return samples;
}

struct Gsm610 : testing::Test {
    std::string file(const std::string& name) { return quoted(folder / name); }

    // Real files that a package of the test setup holds, and signals for the edges.
    std::vector<Signal> signals() {
        std::vector<Signal> all;
        const auto add = [&](const char* path, const char* name) {
            if (std::filesystem::exists(path) && run(std::string("ffmpeg -v error -y -t 60 -i ") + path +
                                                     " -f s16le -ar 8000 -ac 1 " + file("real.raw"))) {
                Samples samples = samples16(readFile(folder / "real.raw"));
                // Pairs of pairs: libsndfile counts the pad byte behind an odd one as data.
                samples.resize(samples.size() / (2 * kPairSamples) * (2 * kPairSamples));
                all.push_back({name, std::move(samples), true});
            }
        };
        add("/usr/share/sounds/alsa/Front_Center.wav", "speech");
        add("/usr/share/sounds/alsa/Noise.wav", "recorded noise");
        add("/usr/share/games/tecnoballz/musics/area1-game.mod", "music");
        std::mt19937 random(610);
        all.push_back({"silence", made(52, [](std::size_t) { return 0; }), true});
        all.push_back(
            {"last bits", made(400, [&](std::size_t) { return static_cast<int>(random() % 17) - 8; }), true});
        all.push_back(
            {"noise", made(600, [&](std::size_t) { return static_cast<int>(random() % 65536) - 32768; })});
        // Half periods of random length: in a strictly periodic signal many lags match equally well, and the
        // peers, which add the matches up as floats, round their way to another one than exact sums give.
        int left = 0, sign = 32767;
        all.push_back({"square", made(600, [&](std::size_t i) {
                           if (left-- == 0) {
                               left = static_cast<int>(random() % (i / kFrameSamples % 40 + 2));
                               sign = ~sign;
                           }
                           return sign;
                       })});
        all.push_back({"sweep", made(600, [](std::size_t i) {
                           const double t = static_cast<double>(i);
                           return std::lround(32767 * std::sin(t * t * 1.5e-5));
                       })});
        all.push_back({"bursts", made(400, [&](std::size_t i) {
                           return i / 777 % 3 ? 0 : static_cast<int>(random() % 65536) - 32768;
                       })});
        return all;
    }

    TemporaryFolder folder;
};

std::vector<Byte> encoded(const Samples& samples, Layout layout = Layout::Frames) {
    StoredEncoder encoder(layout);
    std::vector<Byte> bytes(static_cast<std::size_t>(encoder.encodedSize(samples.size())));
    encoder.encode(samples, bytes);
    return bytes;
}
template <typename Core>
Samples decoded(const std::vector<Byte>& bytes, std::size_t room = 0) {
    Samples samples(room ? room : bytes.size() / kFrameBytes * kPairSamples);
    samples.resize(Core().decode(bytes, samples));
    return samples;
}

// EXPECT_EQ would print megabytes.
template <typename T>
void expectSame(const std::vector<T>& ours, const std::vector<T>& theirs, std::size_t unit) {
    ASSERT_EQ(ours.size(), theirs.size());
    const auto differ = std::ranges::mismatch(ours, theirs).in1 - ours.begin();
    EXPECT_EQ(static_cast<std::size_t>(differ), ours.size())
        << "frame " << static_cast<std::size_t>(differ) / unit << " differs";
}

TEST_F(Gsm610, CodesAreThoseOfPeers) {
    if (!haveProgram("sox") || !haveProgram("ffmpeg") || !haveProgram("sndfile-convert"))
        GTEST_SKIP() << "SoX, FFmpeg or libsndfile's programs are not installed";
    const bool ffmpegEncodes = run("ffmpeg -v quiet -encoders | grep -w libgsm");
    for (const Signal& signal : signals()) {
        SCOPED_TRACE(signal.name);
        const auto ours = encoded(signal.samples);
        writeFile(folder / "in.raw", bytes16(signal.samples));
        ASSERT_TRUE(run("sox -t raw -r 8000 -e signed -b 16 -L -c 1 " + file("in.raw") + " -t gsm " +
                        file("sox.gsm")));
        expectSame(ours, readFile(folder / "sox.gsm"), kFrameBytes);
        if (ffmpegEncodes) {
            ASSERT_TRUE(run("ffmpeg -v error -y -f s16le -ar 8000 -ac 1 -i " + file("in.raw") +
                            " -c:a libgsm -f gsm " + file("ff.gsm")));
            expectSame(ours, readFile(folder / "ff.gsm"), kFrameBytes);
        }
        ASSERT_TRUE(
            run("sox -t raw -r 8000 -e signed -b 16 -L -c 1 " + file("in.raw") + " " + file("in.wav")));
        ASSERT_TRUE(run("sndfile-convert -gsm610 " + file("in.wav") + " " + file("sf.wav")));
        auto theirs = readFile(folder / "sf.wav");
        theirs.erase(theirs.begin(),
                     theirs.begin() + 60);  // a format of 20 bytes, fact and the data's header
        expectSame(encoded(signal.samples, Layout::Pairs), theirs, kPairBytes);
    }
}

TEST_F(Gsm610, SamplesAreThoseOfPeers) {
    if (!haveProgram("sox") || !haveProgram("ffmpeg") || !haveProgram("sndfile-convert"))
        GTEST_SKIP() << "SoX, FFmpeg or libsndfile's programs are not installed";
    struct Stream {
        std::string name;
        std::vector<Byte> bytes;
        bool quiet;
    };
    std::vector<Stream> streams;
    for (const Signal& signal : signals())
        streams.push_back({signal.name, encoded(signal.samples), signal.quiet});
    // Any bits: lags out of range, the wildest filters.
    std::mt19937 random(4);
    Stream any = {"random bits", std::vector<Byte>(2000 * kFrameBytes), false};
    for (std::size_t i = 0; i < any.bytes.size(); ++i)
        any.bytes[i] = static_cast<Byte>(i % kFrameBytes ? random() : 0xD0 | (random() & 15));
    streams.push_back(any);

    for (const Stream& stream : streams) {
        SCOPED_TRACE(stream.name);
        const Samples ours = decoded<FramesDecoder>(stream.bytes);
        writeFile(folder / "in.gsm", stream.bytes);
        ASSERT_TRUE(run("sox -t gsm " + file("in.gsm") + " -t raw -e signed -b 16 -L " + file("sox.raw")));
        expectSame(ours, samples16(readFile(folder / "sox.raw")), kFrameSamples);
        // FFmpeg's own decoder leaves saturation out, so it agrees where none happens.
        if (stream.quiet) {
            ASSERT_TRUE(run("ffmpeg -v error -y -c:a gsm -f gsm -i " + file("in.gsm") + " -f s16le " +
                            file("ff.raw")));
            expectSame(ours, samples16(readFile(folder / "ff.raw")), kFrameSamples);
        }
        // The same frames in pairs.
        std::vector<Byte> pairs(stream.bytes.size() / kFrameBytes / 2 * kPairBytes);
        for (std::size_t i = 0; i < pairs.size() / kPairBytes; ++i) {
            const auto from = std::span(stream.bytes).subspan(2 * i * kFrameBytes);
            packPair({unpackFrame(from.first<kFrameBytes>()),
                      unpackFrame(from.subspan<kFrameBytes>().first<kFrameBytes>())},
                     std::span(pairs).subspan(i * kPairBytes).first<kPairBytes>());
        }
        writeFile(folder / "in.wav",
                  riff({chunk("fmt ", fmtPayload(0x31, 1, 8000, 0, 65, 1625).u16(2).u16(320)),
                        chunk("fact", Bytes().u32(ours.size())), chunk("data", Bytes().add(pairs))})
                      .data);
        ASSERT_TRUE(run("sndfile-convert -pcm16 " + file("in.wav") + " " + file("sf.wav")));
        expectSame(decoded<PairsDecoder>(pairs), samples16(readFile(folder / "sf.wav"), 44), kFrameSamples);
    }
}

TEST_F(Gsm610, BothLayoutsHoldEveryBit) {
    std::mt19937 random(5);
    for (int turn = 0; turn < 100; ++turn) {
        std::array<Byte, kFrameBytes> bytes, packed;
        for (Byte& byte : bytes)
            byte = static_cast<Byte>(random());
        bytes[0] = 0xD0 | (bytes[0] & 15);
        const Frame frame = unpackFrame(bytes);
        packFrame(frame, packed);
        EXPECT_EQ(packed, bytes);

        std::array<Byte, kPairBytes> pair, again;
        for (Byte& byte : pair)
            byte = static_cast<Byte>(random());
        packPair(unpackPair(pair), again);
        EXPECT_EQ(again, pair);
        packPair({Frame{}, frame}, again);
        EXPECT_EQ(unpackPair(again), (std::array<Frame, 2>{Frame{}, frame}));
    }
}

TEST_F(Gsm610, ModemFramesAreFoundWithAndWithoutTheirMarks) {
    std::mt19937 random(6);
    std::vector<Byte> plain, modem;
    for (int i = 0; i < 40; ++i) {
        std::array<Byte, kFrameBytes> frame;
        for (Byte& byte : frame)
            byte = static_cast<Byte>(random());
        frame[0] = 0xD5;
        plain.insert(plain.end(), frame.begin(), frame.end());
        const bool marked = i < 20 || i % 2;
        if (marked) {
            // Speech, silence, and a head that was lost: the zero behind the frame still tells.
            const Byte head = i % 3 == 0 ? 0xFE : i % 3 == 1 ? 0xB6 : 0x11;
            modem.insert(modem.end(), {head, head});
        }
        modem.insert(modem.end(), frame.begin(), frame.end());
        if (marked)
            modem.insert(modem.end(), {0, 0xA5, 0xA5});
    }
    modem.resize(40 * kModemFrameBytes, 0xEE);  // what the unmarked frames are shorter
    const Samples samples = decoded<ModemDecoder>(modem);
    EXPECT_EQ(samples.size(), 40 * kFrameSamples);
    expectSame(samples, decoded<FramesDecoder>(plain), kFrameSamples);
}

// Cut units, no data, no room: what is whole is decoded and the rest left alone.
TEST_F(Gsm610, CutDataDecodeAsFarAsTheyGo) {
    std::vector<Byte> bytes = randomBytes(3 * kPairBytes, 7);
    for (std::size_t size = 0; size <= bytes.size(); ++size) {
        const std::vector<Byte> cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(decoded<FramesDecoder>(cut, 1000).size(), std::min<std::size_t>(size / 33, 6) * 160);
        EXPECT_EQ(decoded<PairsDecoder>(cut, 1000).size(), size / 65 * 320 + (size % 65 >= 33 ? 160 : 0));
        EXPECT_EQ(decoded<ModemDecoder>(cut, 1000).size(), size / 38 * 160);
        EXPECT_EQ(decoded<FramesDecoder>(cut, 159).size(), 0u);
    }
    const Samples whole = decoded<PairsDecoder>(bytes);
    bytes.resize(2 * kPairBytes + 33);
    expectSame(decoded<PairsDecoder>(bytes), Samples(whole.begin(), whole.end() - kFrameSamples),
               kFrameSamples);
}

}  // namespace
}  // namespace velor
