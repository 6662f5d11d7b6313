// Rockwell ADPCM has no peer to compare with, so it is held to what any coder of its kind must do.
#include "formats/core/codecs/rockwell.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "test_tools.h"

namespace velor {
namespace {

using namespace test;
using Samples = std::vector<std::int16_t>;

std::vector<Byte> encoded(const Samples& samples, int bits) {
    std::vector<Byte> bytes(static_cast<std::size_t>(RockwellEncoder(bits).encodedSize(samples.size())));
    RockwellEncoder(bits).encode(samples, bytes);
    return bytes;
}
Samples decoded(const std::vector<Byte>& bytes, int bits) {
    Samples samples(bytes.size() * 8 / static_cast<unsigned>(bits));
    samples.resize(RockwellDecoder(bits).decode(bytes, samples));
    return samples;
}

// Voiced speech, roughly: a pulse train through two resonances, with pauses.
Samples speechLike(std::size_t count, double level) {
    Samples samples(count);
    double a1 = 0, a2 = 0, b1 = 0, b2 = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double pulse = i % 73 == 0 && i / 4000 % 3 != 2 ? 1.0 : 0.0;
        const double a = pulse + 1.75 * a1 - 0.9 * a2, b = a + 0.6 * b1 - 0.8 * b2;
        a2 = std::exchange(a1, a);
        b2 = std::exchange(b1, b);
        samples[i] = static_cast<std::int16_t>(std::lround(std::clamp(b * level, -32768.0, 32767.0)));
    }
    return samples;
}

double signalToNoise(const Samples& wanted, const Samples& got) {
    double signal = 0, noise = 0;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        signal += std::pow(wanted[i], 2);
        noise += std::pow(wanted[i] - got[i], 2);
    }
    return 10 * std::log10(signal / noise);
}

TEST(Rockwell, EveryBitMoreHalvesTheNoise) {
    for (const double hertz : {100.0, 400.0, 1000.0, 2000.0, 3000.0}) {
        for (const double level : {300.0, 3000.0, 20000.0}) {
            Samples sine(16000);
            for (std::size_t i = 0; i < sine.size(); ++i)
                sine[i] = static_cast<std::int16_t>(
                    std::lround(level * std::sin(2 * M_PI * hertz * static_cast<double>(i) / 8000)));
            double before = 5;  // dB, and 9 for two bits; a bit is worth 6 in theory
            for (const int bits : {2, 3, 4}) {
                const Samples back = decoded(encoded(sine, bits), bits);
                ASSERT_GE(back.size(), sine.size());
                const double ratio = signalToNoise(sine, back);
                EXPECT_GT(ratio, before + 4) << bits << " bits, " << hertz << " Hz, level " << level;
                before = ratio;
            }
        }
    }
}

// What a decoder gives, an encoder finds again code by code: they agree in all of their state.
TEST(Rockwell, CodesOfDecodedSamplesAreTheSame) {
    for (const int bits : {2, 3, 4}) {
        for (const double level : {20.0, 300.0, 2500.0}) {
            const auto codes = encoded(speechLike(48000, level), bits);
            EXPECT_EQ(encoded(decoded(codes, bits), bits), codes) << bits << " bits, level " << level;
        }
    }
}

TEST(Rockwell, EveryCodeIsTheNearest) {
    const Samples speech = speechLike(8000, 4000);
    for (const int bits : {2, 3, 4}) {
        RockwellCodec codec(bits);
        const Samples back = decoded(encoded(speech, bits), bits);
        const auto codes = encoded(speech, bits);
        for (std::size_t i = 0; i < speech.size(); ++i) {
            const std::size_t bit = i * static_cast<unsigned>(bits);
            unsigned window = codes[bit / 8];
            if (bit / 8 + 1 < codes.size())
                window |= codes[bit / 8 + 1] * 256u;
            int least = 70000;
            for (unsigned code = 0; code < 1u << bits; ++code)
                least = std::min(least, std::abs(codec.sampleFor(code) - speech[i]));
            ASSERT_EQ(codec.advance(window >> bit % 8 & ((1u << bits) - 1)), back[i]);
            ASSERT_EQ(std::abs(back[i] - speech[i]), least) << bits << " bits, sample " << i;
        }
    }
}

// The step is what remembers the level: after silence it is at its smallest, and the output dies away.
TEST(Rockwell, SilenceStaysQuiet) {
    for (const int bits : {2, 3, 4}) {
        Samples samples = speechLike(4000, 4000);
        samples.resize(8000, 0);
        const Samples back = decoded(encoded(samples, bits), bits);
        for (std::size_t i = 6000; i < 8000; ++i)
            ASSERT_LE(std::abs(back[i]), 64) << bits << " bits, sample " << i;
    }
}

TEST(Rockwell, AnyCodesInAnyPieces) {
    std::mt19937 random(3);
    std::vector<Byte> bytes(6 * 1000 + 5);
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = i > 3000 && i % 50 ? bytes[i - 1] : static_cast<Byte>(random());
    for (const int bits : {2, 3, 4}) {
        const Samples whole = decoded(bytes, bits);
        EXPECT_EQ(whole.size(), bytes.size() * 8 / static_cast<unsigned>(bits));
        const std::size_t unit = RockwellCodec::unitBytes(bits);
        EXPECT_EQ(unit * 8, RockwellCodec::unitSamples(bits) * static_cast<unsigned>(bits));
        RockwellDecoder decoder(bits);
        Samples pieces;
        for (std::size_t at = 0, units = 1; at < bytes.size(); ++units) {
            const std::size_t now = std::min(units * unit, bytes.size() - at);
            Samples piece(now * 4);
            piece.resize(decoder.decode(std::span(bytes).subspan(at, now), piece));
            pieces.insert(pieces.end(), piece.begin(), piece.end());
            at += now;
        }
        EXPECT_EQ(pieces, whole);
    }
    EXPECT_TRUE(decoded({}, 3).empty());
}

}  // namespace
}  // namespace velor
