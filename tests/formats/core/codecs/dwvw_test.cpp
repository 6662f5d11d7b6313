#include "formats/core/codecs/dwvw.h"

#include <gtest/gtest.h>

#include "formats/core/chunk_builder.h"

namespace velor {
namespace {

using namespace test;

constexpr int kWidths[] = {12, 16, 20, 24};

// A packer of its own, for widths and signals that no peer writes; files of libsndfile confirm the decoder.
// `samples` have `bits` bits.
class Packer {
  public:
    explicit Packer(int bits) : bits_(bits) {}

    void add(std::int32_t sample) {
        const int modulus = 1 << bits_, half = modulus / 2;
        int delta = sample - last_;
        last_ = sample;
        if (delta < -half)
            delta += modulus;
        else if (delta >= half)
            delta -= modulus;
        const int size = std::abs(delta);
        int width = 0;
        while (width < bits_ - 1 && size >> width)
            ++width;
        int move = width - width_;
        if (move > bits_ / 2)
            move -= bits_;
        else if (move < -bits_ / 2)
            move += bits_;
        width_ = width;
        for (int i = 0; i < std::abs(move); ++i)
            bit(0);
        if (std::abs(move) < bits_ / 2)
            bit(1);
        if (move)
            bit(move < 0);
        if (width == 0)
            return;
        const int largest = half - 1;
        const int stored = std::min(size, largest);
        for (int i = width - 2; i >= 0; --i)
            bit(stored >> i & 1);
        bit(delta < 0);
        if (stored == largest)
            bit(size > largest);
    }
    std::vector<Byte> bytes;

  private:
    void bit(int value) {
        if (used_ == 0)
            bytes.push_back(0);
        bytes.back() |= static_cast<Byte>(value << (7 - used_));
        used_ = (used_ + 1) % 8;
    }
    int bits_, width_ = 0, used_ = 0;
    std::int32_t last_ = 0;
};

// Quiet and loud passages, jumps between the ends, and steps of every size.
std::vector<std::int32_t> signal(int bits) {
    std::mt19937 random(static_cast<unsigned>(bits));
    const int half = 1 << (bits - 1);
    std::vector<std::int32_t> samples = {half - 1, -half, half - 1, -half, 0, -half,
                                         0,        0,     half - 1, 0,     1, -1};
    for (int i = 0; i < 4000; ++i)
        samples.push_back(static_cast<int>(random() & (2u * half - 1)) - half);
    for (int i = 0; i < 4000; ++i)
        samples.push_back(static_cast<int>(std::lround((half - 1) * std::sin(i * 0.0003 * i))));
    for (int i = 0; i < 4000; ++i)
        samples.push_back((static_cast<int>(random() & (2u * half - 1)) - half) >> (i * 7 % bits));
    return samples;
}

std::vector<std::int32_t> decoded(std::span<const Byte> bytes, int bits, std::size_t count,
                                  std::size_t piece) {
    DwvwDecoder decoder(bytes, bits);
    std::vector<std::int32_t> samples(count);
    std::size_t done = 0;
    while (done < count) {
        const std::size_t now =
            decoder.decode(std::span(samples).subspan(done, std::min(piece, count - done)));
        done += now;
        if (now < std::min(piece, count - done + now))
            break;
    }
    samples.resize(done);
    for (std::int32_t& sample : samples) {
        EXPECT_EQ(sample & ((1 << (32 - bits)) - 1), 0) << "left-justified";
        sample >>= 32 - bits;
    }
    return samples;
}

TEST(Dwvw, DecodingInvertsPackingInPiecesOfAnySize) {
    for (const int bits : kWidths) {
        SCOPED_TRACE(bits);
        const auto samples = signal(bits);
        Packer packer(bits);
        for (const std::int32_t sample : samples)
            packer.add(sample);
        for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, samples.size()})
            EXPECT_EQ(decoded(packer.bytes, bits, samples.size(), piece), samples);
    }
}

TEST(Dwvw, AnyBitsDecodeUntilTheyEnd) {
    const std::vector<Byte> bytes = randomBytes(5000, 1);
    for (const int bits : kWidths) {
        const auto all = decoded(bytes, bits, 100000, 64);
        // Every sample takes one bit at least, and a random one about as many as it has.
        EXPECT_GT(all.size(), bytes.size() * 8 / 40);
        EXPECT_LT(all.size(), bytes.size() * 8);
        // Cut data give the first samples of the whole.
        const auto some = decoded(std::span(bytes).first(1234), bits, 100000, 64);
        ASSERT_LE(some.size(), all.size());
        EXPECT_TRUE(std::equal(some.begin(), some.end(), all.begin()));
        EXPECT_TRUE(decoded({}, bits, 10, 10).empty());
    }
    EXPECT_FALSE(DwvwDecoder::supportsWidth(8));
    std::int32_t none[4];
    EXPECT_EQ(DwvwDecoder(bytes, 0).decode(none), 0u);
}

}  // namespace
}  // namespace velor
