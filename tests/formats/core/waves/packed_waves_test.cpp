// Waveform files whose samples are packed: Shorten, sampler blocks, Huffman and delta codes, DVD groups.
#include <algorithm>

#include "formats/core/wave_fixture.h"

namespace velor {
namespace {

using namespace test;

struct PackedWaves : WaveFixture {};

// ---- Shorten ----

// Writes the numbers of a Shorten stream, high bits first.
class BitWriter {
  public:
    void bits(std::uint32_t value, unsigned count) {
        while (count-- > 0) {
            current_ = current_ << 1 | (value >> count & 1);
            if (++filled_ == 8) {
                bytes_.u8(current_ & 255);
                filled_ = 0;
            }
        }
    }
    void uvar(std::uint32_t value, unsigned k) {
        for (std::uint32_t high = value >> k; high > 0; --high)
            bits(0, 1);
        bits(1, 1);
        bits(value & ((1u << k) - 1), k);
    }
    void svar(std::int32_t value, unsigned k) {
        uvar(value < 0 ? ~static_cast<std::uint32_t>(value) << 1 | 1 : static_cast<std::uint32_t>(value) << 1,
             k + 1);
    }
    void number(std::uint32_t value) {
        const auto k = static_cast<unsigned>(std::bit_width(value));
        uvar(k, 2);
        uvar(value, k);
    }
    Bytes finish() {
        while (filled_ != 0)
            bits(0, 1);
        return bytes_.zeros(4);
    }

  private:
    Bytes bytes_;
    unsigned current_ = 0, filled_ = 0;
};

struct ShortenPlan {
    unsigned version;
    std::uint32_t type;  // 1 and 2: 8 bits, 3 to 6: 16 bits; even: unsigned
    unsigned channels;
    std::uint32_t means;
    bool withHead = true;
};

// Random commands with random residuals: what matters is that two decoders agree about them.
Bytes shortenFile(const ShortenPlan& plan, std::size_t& frames) {
    constexpr std::uint32_t kBlock = 32, kOrder = 4;
    constexpr int kBlocks = 120;
    std::mt19937 random(plan.type * 100 + plan.channels);
    BitWriter to;
    to.number(plan.type);
    to.number(plan.channels);
    to.number(kBlock);
    to.number(kOrder);
    to.number(plan.means);
    to.number(0);
    frames = kBlocks * kBlock + 7;
    const unsigned bits = plan.type <= 2 ? 8 : 16;
    const std::size_t dataSize = frames * plan.channels * bits / 8;
    if (plan.withHead) {
        Bytes head = riff({fmt(1, plan.channels, 22050, bits)}).text("data").u32(dataSize);
        head.u32(4, 36 + dataSize);
        to.uvar(9, 2);
        to.uvar(static_cast<std::uint32_t>(head.size()), 5);
        for (const Byte byte : head.data)
            to.uvar(byte, 8);
    }
    std::uint32_t size = kBlock;
    for (int block = 0; block <= kBlocks; ++block) {
        if (block == kBlocks) {
            size = 7;  // the last frames
            to.uvar(5, 2);
            to.number(size);
        }
        if (plan.version >= 2 && block == 60 && bits == 16) {
            to.uvar(6, 2);
            to.uvar(1, 2);
        }
        for (unsigned channel = 0; channel < plan.channels; ++channel) {
            // Every other block starts anew from the mean, so that the differences do not run away.
            constexpr std::uint32_t kCommands[] = {0, 1, 2, 3, 7, 8};
            const std::uint32_t command = block % 2 == 0 ? 0 : kCommands[random() % 6];
            to.uvar(command, 2);
            if (command == 8)
                continue;
            const auto k = static_cast<unsigned>(random() % (bits == 8 ? 2 : 4));
            to.uvar(k, 3);
            if (command == 7) {
                to.uvar(kOrder, 2);
                for (const int coefficient : {20, -9, 5, -3})
                    to.svar(coefficient, 5);
            }
            for (std::uint32_t i = 0; i < size; ++i)
                to.svar(static_cast<int>(random() % 7) - 3, k);
        }
    }
    to.uvar(4, 2);
    return Bytes().text("ajkg").u8(plan.version).add(to.finish());
}

TEST_F(PackedWaves, ShortenIsWhatFfmpegDecodes) {
    const ShortenPlan plans[] = {{1, 5, 1, 0}, {1, 5, 2, 4}, {2, 5, 1, 0},
                                 {2, 5, 2, 4}, {3, 3, 2, 4}, {2, 2, 1, 4}};
    for (const ShortenPlan& plan : plans) {
        SCOPED_TRACE(
            formatText("version %u type %u channels %u", plan.version, unsigned{plan.type}, plan.channels));
        std::size_t frames = 0;
        const Bytes bytes = shortenFile(plan, frames);
        Waveform* waveform = open(bytes, 391, "packed.shn");
        ASSERT_TRUE(waveform) << LastErrorText;
        EXPECT_EQ(waveform->frames, frames);
        EXPECT_EQ(waveform->sampleRate, 22050u);
        EXPECT_EQ(waveform->channels, plan.channels);
        const auto ours = samplesOf(waveform);
        EXPECT_GT(*std::ranges::max_element(ours), *std::ranges::min_element(ours));
        if (haveProgram("ffmpeg")) {
            EXPECT_EQ(ours, decodedBy("ffmpeg", "packed.shn"));
        }
        // The same stream without the head of a WAVE file: the frames are counted.
        ShortenPlan bare = plan;
        bare.withHead = false;
        waveform = open(shortenFile(bare, frames), 391);
        ASSERT_TRUE(waveform) << LastErrorText;
        EXPECT_EQ(waveform->frames, frames);
        EXPECT_EQ(samplesOf(waveform), ours);
        EXPECT_EQ(ui.warnings.size(), 1u);  // no rate
    }
}

TEST_F(PackedWaves, ShortenBehindANistHeader) {
    std::size_t frames = 0;
    const Bytes stream = shortenFile({2, 5, 1, 4, false}, frames);
    Bytes nist =
        Bytes().text("NIST_1A\n   1024\nchannel_count -i 1\nsample_rate -i 16000\nsample_count -i " +
                     std::to_string(frames) +
                     "\nsample_n_bytes -i 2\nsample_coding -s26 pcm,embedded-shorten-v2.00\nend_head\n");
    nist.zeros(1024 - nist.size()).add(stream);
    Waveform* waveform = open(nist, 259);
    ASSERT_TRUE(waveform) << LastErrorText;
    EXPECT_EQ(waveform->sampleRate, 16000u);
    EXPECT_EQ(waveform->frames, frames);
    const auto samples = samplesOf(waveform);
    EXPECT_EQ(samples, samplesOf(open(stream, 391)));
}

// ---- Blocks of 512 values of any width ----

Bytes packedValues(const std::vector<std::int32_t>& values, unsigned width) {
    Bytes bytes;
    std::uint64_t held = 0;
    unsigned count = 0;
    for (const std::int32_t value : values) {
        held |= (static_cast<std::uint64_t>(static_cast<std::uint32_t>(value)) &
                 ((std::uint64_t{1} << width) - 1))
                << count;
        for (count += width; count >= 8; count -= 8, held >>= 8)
            bytes.u8(held & 255);
    }
    return bytes;
}

Bytes packedBlock(std::int32_t base, int width, unsigned flags, const std::vector<std::int32_t>& values,
                  unsigned bits) {
    Bytes block = Bytes().u32(0x3E9A0C16).u32(static_cast<std::uint32_t>(base));
    block.u16(static_cast<unsigned>(width) & 0xFFFF).u16(flags).u32(0);
    return block.add(packedValues(values, width == 0 ? bits : static_cast<unsigned>(std::abs(width))));
}

TEST_F(PackedWaves, SamplerBlocks) {
    constexpr int kFrames = 700;
    for (const unsigned bits : {16u, 24u}) {
        // Two channels; the first block differences as middle and side, the second plain values.
        std::vector<std::int32_t> left, right;
        for (int i = 0; i < 1024; ++i) {
            left.push_back(static_cast<int>(9000 * std::sin(0.02 * i)));
            right.push_back(left.back() / 2 + i % 5);
        }
        const auto part = [](const std::vector<std::int32_t>& of, int first) {
            return std::vector<std::int32_t>(of.begin() + first, of.begin() + first + 512);
        };
        std::vector<std::int32_t> mid, side;
        for (std::size_t i = 0; i <= 512; ++i) {
            mid.push_back((left[i] + right[i]) >> 1);
            side.push_back(left[i] - mid[i]);
            right[i] = mid[i] - side[i];  // the odd bit is lost
        }
        const auto steps = [](const std::vector<std::int32_t>& of) {
            std::vector<std::int32_t> differences;
            for (std::size_t i = 0; i < 512; ++i)
                differences.push_back(of[i + 1] - of[i]);
            return differences;
        };
        Bytes blocks =
            packedBlock(mid[0], 11, 1, steps(mid), bits).add(packedBlock(side[0], 9, 1, steps(side), bits));
        const auto second = blocks.size();
        blocks.add(packedBlock(0, -15, 0, part(left, 512), bits))
            .add(packedBlock(0, 0, 0, part(right, 512), bits));
        Bytes file = Bytes().u32(0xD69EA801).u32(0x131).u16(2).u16(bits).u32(48000).u32(kFrames);
        file.u32(120).u32(132).u32(blocks.size()).zeros(88).u32(0).u32(second).u32(blocks.size()).add(blocks);
        Waveform* waveform = open(file, 258);
        ASSERT_TRUE(waveform) << LastErrorText;
        EXPECT_EQ(waveform->frames, kFrames);
        const auto samples = samplesOf(waveform);
        ASSERT_EQ(samples.size(), 2u * kFrames);
        const float scale = 1.0f / static_cast<float>(1 << (bits - 1));
        for (std::size_t i = 0; i < kFrames; ++i) {
            ASSERT_EQ(samples[2 * i], static_cast<float>(left[i]) * scale) << i;
            ASSERT_EQ(samples[2 * i + 1], static_cast<float>(right[i]) * scale) << i;
        }
    }
}

// ---- DVD, exponential law, ITU-T codes ----

TEST_F(PackedWaves, Dvd24InBothForms) {
    std::vector<std::int32_t> values;
    for (int i = 0; i < 4000; ++i)
        values.push_back(static_cast<int>(5e6 * std::sin(0.01 * (i / 2) + i % 2)));
    Bytes plain, grouped;
    for (std::size_t i = 0; i < values.size(); i += 4) {
        for (std::size_t k = 0; k < 4; ++k) {
            plain.u8(static_cast<unsigned>(values[i + k]) >> 16 & 255)
                .be16(static_cast<unsigned>(values[i + k]) & 0xFFFF);
            grouped.be16(static_cast<unsigned>(values[i + k]) >> 8 & 0xFFFF);
        }
        for (std::size_t k = 0; k < 4; ++k)
            grouped.u8(static_cast<unsigned>(values[i + k]) & 255);
    }
    const struct {
        int row;
        std::uint32_t rate;
    } rows[] = {{54, 44100}, {55, 48000}, {56, 96000}, {57, 192000}};
    for (const auto& each : rows) {
        for (const Bytes& bytes : {plain, grouped}) {
            Waveform* waveform = open(bytes, each.row);
            ASSERT_TRUE(waveform);
            EXPECT_EQ(waveform->sampleRate, each.rate);
            const auto samples = samplesOf(waveform);
            ASSERT_EQ(samples.size(), values.size());
            for (std::size_t i = 0; i < samples.size(); ++i)
                ASSERT_EQ(samples[i], static_cast<float>(values[i]) / 8388608) << i;
        }
    }
}

// The curve is that of the formula, rises with the code, and every code comes back.
TEST_F(PackedWaves, ExponentialLaw) {
    Bytes codes;
    for (unsigned code = 0; code < 256; ++code)
        codes.u8(code);
    Waveform* waveform = open(codes, 439, "codes.u255law");
    const auto levels = samplesOf(waveform);
    ASSERT_EQ(levels.size(), 256u);
    EXPECT_EQ(levels[0], 0);
    EXPECT_EQ(levels[127], 1);
    EXPECT_EQ(levels[255], -1);
    for (std::size_t code = 1; code < 128; ++code) {
        EXPECT_GT(levels[code], levels[code - 1]);
        EXPECT_EQ(levels[code], -levels[code + 128]);
        EXPECT_NEAR(std::log1p(255 * static_cast<double>(levels[code])) / std::log(256.0),
                    static_cast<double>(code) / 127, 1e-6);
    }
    ASSERT_TRUE(save(*waveform, 439, "again.u255law"));
    auto again = readFile(folder / "again.u255law");
    codes.data[128] = 0;  // there is one zero only
    EXPECT_EQ(again, codes.data);
}

TEST_F(PackedWaves, ItuCodesInSunAudio) {
    const auto expectNear = [](const std::vector<float>& got, const std::vector<float>& wanted,
                               double error) {
        ASSERT_GE(got.size(), wanted.size());
        double sum = 0;
        for (std::size_t i = 200; i < wanted.size(); ++i)
            sum += std::pow(static_cast<double>(got[i]) - static_cast<double>(wanted[i]), 2);
        EXPECT_LT(std::sqrt(sum / static_cast<double>(wanted.size())), error);
    };
    const struct {
        SampleEncoding encoding;
        double error;  // root of the mean square, full scale 1
    } cases[] = {
        {SampleEncoding::Adpcm4, 0.02}, {SampleEncoding::Adpcm3, 0.06}, {SampleEncoding::Adpcm5, 0.015}};
    for (const auto& each : cases) {
        for (int channels = 1; channels <= 2; ++channels) {
            SCOPED_TRACE(std::string(encodingName(each.encoding)) + " " + std::to_string(channels));
            collection.clear();
            std::vector<float> smooth;
            for (int i = 0; i < 8000; ++i)
                smooth.push_back(0.4f * std::sin(0.11f * static_cast<float>(i / channels)));
            ASSERT_TRUE(
                save(*addWaveform(collection, "n", smooth, channels, 8000), 32, "codes.au", each.encoding))
                << LastErrorText;
            const auto ours = openSamples("codes.au", 32);
            expectNear(ours, smooth, each.error);
            // FFmpeg rounds otherwise, so the two drift apart a little; its 5-bit predictor forgets at
            // another rate than the standard's.
            if (channels == 1 && each.encoding != SampleEncoding::Adpcm5 && haveProgram("ffmpeg"))
                expectNear(decodedBy("ffmpeg", "codes.au"), ours, each.error);
        }
    }
}

TEST_F(PackedWaves, NomadRecordings) {
    std::vector<float> signal;
    for (int i = 0; i < 1000; ++i)
        signal.push_back(0.4f * std::sin(0.1f * static_cast<float>(i)));
    Waveform* waveform = addWaveform(collection, "n", signal, 1, 8000);
    ASSERT_TRUE(save(*waveform, 276, "take.nvf")) << LastErrorText;
    EXPECT_EQ((std::filesystem::file_size(folder / "take.nvf") - 44) % 46, 0u);
    const auto samples = openSamples("take.nvf", 276);
    ASSERT_EQ(samples.size(), 1012u);  // whole frames of 92
    for (std::size_t i = 200; i < signal.size(); ++i)
        EXPECT_NEAR(samples[i], signal[i], 0.06f);
}

TEST_F(PackedWaves, ImaPacketsInCoreAudio) {
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "FFmpeg is not installed";
    for (const unsigned channels : {1u, 2u}) {
        std::vector<float> signal;
        for (unsigned i = 0; i < 6400; ++i)
            signal.push_back(0.5f * std::sin(0.05f * static_cast<float>(i / channels)));
        writeSource(signal, channels, 22050);
        if (!run("ffmpeg -v error -y -i " + file("in.wav") + " -c:a adpcm_ima_qt " + file("ima.caf")))
            GTEST_SKIP() << "this FFmpeg does not write such files";
        const auto ours = openSamples("ima.caf", 42);
        const auto theirs = decodedBy("ffmpeg", "ima.caf");
        ASSERT_GE(ours.size(), 6000u) << LastErrorText;
        ASSERT_GE(theirs.size(), 6000u);
        for (std::size_t i = 0; i < 6000; ++i)
            ASSERT_NEAR(ours[i], theirs[i], 0.01f) << i;
    }
}

}  // namespace
}  // namespace velor
