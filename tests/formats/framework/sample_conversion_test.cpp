#include "formats/framework/sample_conversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "test_tools.h"

namespace velor {
namespace {

std::vector<float> decoded(const SampleLayout& layout, const std::vector<Byte>& bytes, std::size_t samples) {
    std::vector<float> out(samples);
    decodeSamples(layout, bytes, out);
    return out;
}

TEST(SampleConversion, KnownValues) {
    constexpr auto kLittle = ByteOrder::Little;
    constexpr auto kBig = ByteOrder::Big;
    const struct {
        SampleLayout layout;
        std::vector<Byte> bytes;
        std::vector<float> samples;
    } cases[] = {
        {{SampleEncoding::Pcm8, kLittle, true}, {0x80, 0x00, 0xFF}, {0, -1, 127.0f / 128}},
        {{SampleEncoding::Pcm8, kLittle, false}, {0x00, 0x80, 0x7F}, {0, -1, 127.0f / 128}},
        {{SampleEncoding::Pcm16, kLittle, false}, {0x00, 0x80, 0x00, 0x40}, {-1, 0.5f}},
        {{SampleEncoding::Pcm16, kBig, true}, {0x00, 0x00, 0xC0, 0x00}, {-1, 0.5f}},
        {{SampleEncoding::Pcm24, kLittle, false}, {0x00, 0x00, 0x80, 0x00, 0x00, 0x40}, {-1, 0.5f}},
        {{SampleEncoding::Pcm24, kBig, false}, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x01}, {-0.5f, 1.0f / 8388608}},
        {{SampleEncoding::Pcm32, kBig, true}, {0xC0, 0x00, 0x00, 0x00}, {0.5f}},
        {{SampleEncoding::Float32, kBig, false}, {0x3F, 0x00, 0x00, 0x00}, {0.5f}},
        {{SampleEncoding::Float64, kLittle, false}, {0, 0, 0, 0, 0, 0, 0xE0, 0xBF}, {-0.5f}},
        {{SampleEncoding::DeltaPcm8, kLittle, false}, {0x40, 0x40, 0xC0}, {0.5f, -1, 0.5f}},
        {{SampleEncoding::DeltaPcm16, kBig, false}, {0x40, 0x00, 0xC0, 0x00}, {0.5f, 0}},
        // Two 12-bit samples 0x400 and 0xC00 in three bytes, and an odd one in two.
        {{SampleEncoding::Pcm12, kLittle, false}, {0x00, 0x04, 0xC0, 0x00, 0x08}, {0.5f, -0.5f, -1}},
        {{SampleEncoding::Pcm12, kBig, false}, {0x40, 0x0C, 0x00, 0x80, 0x00}, {0.5f, -0.5f, -1}},
        {{SampleEncoding::Pcm20, kBig, false}, {0x40, 0x00, 0x0C, 0x00, 0x00}, {0.5f, -0.5f}},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(storedSize(each.layout.encoding, each.samples.size()), each.bytes.size());
        EXPECT_EQ(decoded(each.layout, each.bytes, each.samples.size()), each.samples)
            << encodingName(each.layout.encoding);
        std::vector<Byte> encoded(each.bytes.size());
        encodeSamples(each.layout, each.samples, encoded);
        EXPECT_EQ(encoded, each.bytes) << encodingName(each.layout.encoding);
    }
}

TEST(SampleConversion, EveryEncodingReturnsWhatItCanHold) {
    for (int code = 0; code < kSampleEncodings; ++code) {
        const auto encoding = static_cast<SampleEncoding>(code);
        if (!isPlainEncoding(encoding) || encoding == SampleEncoding::MuLaw ||
            encoding == SampleEncoding::ALaw)
            continue;
        const int bits = std::min(encodingBits(encoding), 24);
        const std::vector<float> signal = test::testSignal(1001, bits);
        for (const ByteOrder order : {ByteOrder::Little, ByteOrder::Big}) {
            for (const bool isUnsigned : {false, true}) {
                const SampleLayout layout{encoding, order, isUnsigned};
                std::vector<Byte> bytes(storedSize(encoding, signal.size()));
                encodeSamples(layout, signal, bytes);
                EXPECT_EQ(decoded(layout, bytes, signal.size()), signal) << encodingName(encoding);
            }
        }
    }
}

TEST(SampleConversion, LawsAreInversesOnEveryCode) {
    for (unsigned code = 0; code < 256; ++code) {
        const auto byte = static_cast<Byte>(code);
        // Mu-law has two zeros; the negative one comes back as the positive one.
        EXPECT_EQ(linearToMuLaw(muLawToLinear(byte)), byte == 0x7F ? 0xFF : byte);
        EXPECT_EQ(linearToALaw(aLawToLinear(byte)), byte);
    }
    int lastMu = -40000, lastA = -40000;
    for (int value = -32768; value <= 32767; ++value) {  // monotonous, and never off by more than a step
        const auto sample = static_cast<std::int16_t>(value);
        const int mu = muLawToLinear(linearToMuLaw(sample));
        const int a = aLawToLinear(linearToALaw(sample));
        EXPECT_GE(mu, lastMu);
        EXPECT_GE(a, lastA);
        lastMu = mu;
        lastA = a;
        if (std::abs(value) < 32124) {
            // Half a step of the segment, and the two bits that 14-bit magnitudes drop.
            EXPECT_LE(std::abs(mu - value), (std::abs(value) + 132) / 32 + 4);
            EXPECT_LE(std::abs(a - value), std::max(16, std::abs(value) / 16));
        }
    }
}

TEST(SampleConversion, ClipsAndRoundsWithoutSurprise) {
    const float tiny = 0.4999f / 32768, half = 0.5f / 32768;
    const std::vector<float> samples{
        2.0f, -2.0f, std::numeric_limits<float>::infinity(), std::nanf(""), tiny, half, -half, -tiny, 1.0f};
    std::vector<Byte> bytes(samples.size() * 2);
    encodeSamples({SampleEncoding::Pcm16, ByteOrder::Little, false}, samples, bytes);
    const std::vector<int> expected{32767, -32768, 32767, 0, 0, 1, -1, 0, 32767};
    for (std::size_t i = 0; i < samples.size(); ++i)
        EXPECT_EQ(loadLe<std::int16_t>(bytes.data() + 2 * i), expected[i]) << i;
    std::vector<Byte> wide(samples.size() * 4);
    encodeSamples({SampleEncoding::Pcm32, ByteOrder::Little, false}, samples, wide);
    EXPECT_EQ(loadLe<std::int32_t>(wide.data()), 2147483647);
    EXPECT_EQ(loadLe<std::int32_t>(wide.data() + 4), -2147483647 - 1);
    EXPECT_EQ(loadLe<std::int32_t>(wide.data() + 12), 0);
}

TEST(SampleConversion, WideningEqualsTheWayOverFloats) {
    const SampleEncoding integers[] = {SampleEncoding::Pcm8, SampleEncoding::Pcm16, SampleEncoding::Pcm24,
                                       SampleEncoding::Pcm32};
    std::mt19937 random(7);
    for (const SampleEncoding in : integers) {
        for (const SampleEncoding out : integers) {
            for (int flags = 0; flags < 16; ++flags) {
                const SampleLayout from{in, flags & 1 ? ByteOrder::Big : ByteOrder::Little, (flags & 2) != 0};
                const SampleLayout to{out, flags & 4 ? ByteOrder::Big : ByteOrder::Little, (flags & 8) != 0};
                if (!canWiden(from, to))
                    continue;
                std::vector<Byte> bytes(storedSize(in, 1003));
                for (Byte& byte : bytes)
                    byte = static_cast<Byte>(random());
                std::vector<Byte> direct(storedSize(out, 1003)), expected(direct.size());
                widenSamples(from, bytes, to, direct);
                encodeSamples(to, decoded(from, bytes, 1003), expected);
                ASSERT_EQ(direct, expected)
                    << encodingName(in) << " to " << encodingName(out) << ' ' << flags;
            }
        }
    }
    EXPECT_FALSE(canWiden({SampleEncoding::Pcm24}, {SampleEncoding::Pcm16}));
    EXPECT_FALSE(canWiden({SampleEncoding::Pcm16}, {SampleEncoding::Float32}));
}

}  // namespace
}  // namespace velor
