#include "formats/core/codecs/mace.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "formats/core/chunk_builder.h"

namespace velor {
namespace {

using namespace test;

struct Case {
    MaceRatio ratio;
    int channels;
    const char* type;
};
constexpr Case kCases[] = {{MaceRatio::ThreeToOne, 1, "MAC3"},
                           {MaceRatio::ThreeToOne, 2, "MAC3"},
                           {MaceRatio::SixToOne, 1, "MAC6"},
                           {MaceRatio::SixToOne, 2, "MAC6"}};

// Random codes first, which soon play at full scale, then runs of the same code, which drive the adaptation
// to its ends.
std::vector<Byte> codes(std::size_t packets, std::size_t packetBytes) {
    std::mt19937 random(36);
    std::vector<Byte> bytes(packets * packetBytes);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = i > bytes.size() / 2 && i % 64 ? bytes[i - 1] : static_cast<Byte>(random());
    return bytes;
}

TEST(Mace, UpperBytesAreThoseOfFfmpeg) {
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "FFmpeg is not installed";
    const TemporaryFolder folder;
    for (const Case& each : kCases) {
        SCOPED_TRACE(std::string(each.type) + " channels " + std::to_string(each.channels));
        constexpr std::size_t kPackets = 20000;
        const auto data = codes(kPackets, MaceDecoder::packetBytes(each.ratio, each.channels));
        writeFile(folder / "in.aifc",
                  aiff({comm(static_cast<unsigned>(each.channels), kPackets, 8, each.type),
                        ssnd(Bytes().add(data))},
                       "AIFC")
                      .data);
        ASSERT_TRUE(run("ffmpeg -v error -y -i " + quoted(folder / "in.aifc") + " -f s16le " +
                        quoted(folder / "out.raw")));
        const auto theirs = readFile(folder / "out.raw");

        MaceDecoder decoder(each.ratio, each.channels);
        const std::size_t samples =
            kPackets * MaceDecoder::kPacketFrames * static_cast<std::size_t>(each.channels);
        std::vector<std::int16_t> ours(samples);
        ASSERT_EQ(decoder.decode(data, ours), samples);
        ASSERT_EQ(theirs.size(), 2 * samples);
        std::size_t different = 0;
        for (std::size_t i = 0; i < samples; ++i)
            different += static_cast<Byte>(ours[i] >> 8) != theirs[2 * i + 1];
        EXPECT_EQ(different, 0u);
        const auto [low, high] = std::ranges::minmax(ours);
        EXPECT_LT(low, -30000);
        EXPECT_GT(high, 30000);
    }
}

TEST(Mace, PiecesGiveWhatTheWholeGives) {
    for (const Case& each : kCases) {
        const std::size_t packet = MaceDecoder::packetBytes(each.ratio, each.channels);
        const std::size_t frame = 6 * static_cast<std::size_t>(each.channels);
        auto data = codes(500, packet);
        data.push_back(0);
        std::vector<std::int16_t> whole(500 * frame + 5), pieces(500 * frame + 5);
        // One byte more is another packet only where a packet is one byte, and then there is no room for it.
        EXPECT_EQ(MaceDecoder(each.ratio, each.channels).decode(data, whole), 500 * frame);
        MaceDecoder decoder(each.ratio, each.channels);
        std::size_t at = 0, done = 0;
        for (std::size_t packets = 1; done < 500 * frame; ++packets) {
            const std::size_t now = std::min(packets, 500 - at);
            done += decoder.decode(std::span(data).subspan(at * packet, now * packet),
                                   std::span(pieces).subspan(done));
            at += now;
        }
        EXPECT_EQ(pieces, whole);
        EXPECT_EQ(decoder.decode({}, whole), 0u);
        EXPECT_EQ(decoder.decode(data, std::span(whole).first(frame - 1)), 0u) << "no room for a packet";
    }
}

}  // namespace
}  // namespace velor
