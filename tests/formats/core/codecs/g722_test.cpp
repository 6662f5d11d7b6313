// G.722 against FFmpeg, whose coder and decoder follow the standard to the last bit.
#include "formats/core/codecs/g722.h"

#include <gtest/gtest.h>

#include "base/error.h"
#include "formats/core/chunk_builder.h"
#include "test_tools.h"

namespace velor {
namespace {

using namespace test;
using Samples = std::vector<std::int16_t>;

// A sweep through both bands with noise, full-scale squares and noise, silence.
Samples signal() {
    std::mt19937 random(1);
    Samples samples;
    for (std::size_t i = 0; i < 40000; ++i)
        samples.push_back(static_cast<std::int16_t>(
            9000 * std::sin(static_cast<double>(i) * static_cast<double>(i) * 3e-5) +
            static_cast<int>(random() % 801) - 400));
    for (std::size_t i = 0; i < 6000; ++i)
        samples.push_back(i / (1 + i / 500) % 2 ? 32767 : -32768);
    for (std::size_t i = 0; i < 10000; ++i)
        samples.push_back(static_cast<std::int16_t>(random()));
    samples.resize(samples.size() + 2000);
    return samples;
}

std::vector<Byte> encoded(const Samples& samples, int width, CodePacking packing) {
    std::vector<Byte> bytes(packedSize((samples.size() + 1) / 2, width));
    G722Encoder(width, packing).encode(samples, bytes);
    return bytes;
}

// The 8-bit code words of bytes, or random ones and long runs of the same.
std::vector<Byte> wildCodes() {
    std::vector<Byte> codes = randomBytes(50000, 2);
    for (unsigned code = 0; code < 256; ++code)
        codes.insert(codes.end(), 200, static_cast<Byte>(code));
    return codes;
}

struct G722 : testing::Test {
    TemporaryFolder folder;
};

TEST_F(G722, FfmpegSendsTheSameCodes) {
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "FFmpeg is not installed";
    const Samples samples = signal();
    writeFile(folder / "in", bytes16(samples));
    ASSERT_TRUE(run("ffmpeg -v error -y -f s16le -ar 16000 -ac 1 -i " + quoted(folder / "in") +
                    " -c:a g722 -f g722 " + quoted(folder / "out")));
    EXPECT_EQ(encoded(samples, 8, CodePacking::HighBitsFirst), readFile(folder / "out"));
}

// The peer keeps the narrow code words in the upper bits of bytes.
TEST_F(G722, FfmpegDecodesToTheSameSamples) {
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "FFmpeg is not installed";
    for (const auto& words : {wildCodes(), encoded(signal(), 8, CodePacking::HighBitsFirst)}) {
        for (const int width : {8, 7, 6}) {
            writeFile(folder / "in", words);
            ASSERT_TRUE(
                run(formatText("ffmpeg -v error -y -c:a g722 -bits_per_codeword %d -f g722 -i %s -f s16le %s",
                               width, quoted(folder / "in").c_str(), quoted(folder / "out").c_str())));
            std::vector<std::uint8_t> codes = words;
            for (std::uint8_t& code : codes)
                code = static_cast<std::uint8_t>(code >> (8 - width));
            for (const CodePacking packing : {CodePacking::HighBitsFirst, CodePacking::LowBitsFirst}) {
                std::vector<Byte> bytes(packedSize(codes.size(), width));
                packCodes(width, packing, codes, bytes);
                Samples ours(codes.size() * 2);
                EXPECT_EQ(G722Decoder(width, packing).decode(bytes, ours), ours.size());
                EXPECT_EQ(ours, samples16(readFile(folder / "out"))) << width;
            }
        }
    }
}

// The lower rates are the highest one without the last bits, which its decoder could ignore too.
TEST_F(G722, LowerRatesLeaveBitsOut) {
    const Samples samples = signal();
    const auto full = encoded(samples, 8, CodePacking::LowBitsFirst);
    for (const int width : {7, 6}) {
        for (const CodePacking packing : {CodePacking::HighBitsFirst, CodePacking::LowBitsFirst}) {
            std::vector<std::uint8_t> codes(full.size());
            unpackCodes(width, packing, encoded(samples, width, packing), codes);
            for (std::size_t i = 0; i < codes.size(); ++i)
                ASSERT_EQ(codes[i], full[i] >> (8 - width)) << i;
        }
    }
}

TEST_F(G722, ContinuesPieceByPiece) {
    Samples samples = signal();
    samples.pop_back();  // an odd number
    for (const int width : {6, 7, 8}) {
        const auto whole = encoded(samples, width, CodePacking::HighBitsFirst);
        std::vector<Byte> pieces(whole.size());
        G722Encoder encoder(width, CodePacking::HighBitsFirst);
        G722Decoder decoder(width, CodePacking::HighBitsFirst);
        Samples out(samples.size() + 1), together(samples.size() + 1);
        const std::size_t cuts[] = {0, 16, 32, 5008, 30016, samples.size()};
        for (std::size_t i = 0; i + 1 < std::size(cuts); ++i) {
            const std::size_t from = cuts[i], count = cuts[i + 1] - from;
            const auto bytes =
                std::span(pieces).subspan(packedSize(from / 2, width), packedSize((count + 1) / 2, width));
            encoder.encode(std::span(samples).subspan(from, count), bytes);
            EXPECT_EQ(decoder.decode(bytes, std::span(out).subspan(from)), (count + 1) / 2 * 2);
        }
        EXPECT_EQ(pieces, whole);
        decoder.reset();
        EXPECT_EQ(decoder.decode(whole, together), together.size());
        EXPECT_EQ(out, together);
        encoder.reset();
        std::vector<Byte> again(packedSize(8, width));
        encoder.encode(std::span(samples).first(16), again);
        EXPECT_TRUE(std::equal(again.begin(), again.end(), whole.begin()));
    }
}

}  // namespace
}  // namespace velor
