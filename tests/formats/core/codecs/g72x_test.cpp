// The fast coder and decoder against a slow one that does what G.726 says with the registers it names, and
// that slow one against three independent programs, each of which departs from the standard in known places.
#include "formats/core/codecs/g72x.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <map>

#include "base/error.h"
#include "formats/core/chunk_builder.h"
#include "test_tools.h"

namespace velor {
namespace {

using namespace test;
using Codes = std::vector<std::uint8_t>;
using Samples = std::vector<std::int16_t>;

// ---- The recommendation, block by block ----

struct Variation {
    unsigned productRounding = 48;  // FMULT; libsndfile has 0 here
    unsigned zeroExponent = 0;      // FMULT's exponent of a coefficient of 0; SoX has 1 here
    bool limited = true;            // LIMO; SoX and libsndfile let loud samples wrap around
    // FFmpeg: MIX takes in the bits of the slow factor that it should drop, and the zero coefficients of 40
    // kbit/s leak as quickly as those of the other rates.
    bool wholeSlowFactor = false, oneLeak = false;
};

struct RateTables {
    std::vector<int> limits, levels, scale, speed;
};
const std::map<int, RateTables> kRates = {
    {2, {{261}, {116, 365}, {-22, 439}, {0, 7}}},
    {3, {{8, 218, 331}, {-2048, 135, 273, 373}, {-4, 30, 137, 582}, {0, 1, 2, 7}}},
    {4,
     {{-124, 80, 178, 246, 300, 349, 400},
      {-2048, 4, 135, 213, 273, 323, 373, 425},
      {-12, 18, 41, 64, 112, 198, 355, 1122},
      {0, 0, 0, 1, 1, 1, 3, 7}}},
    {5,
     {{-122, -16, 68, 139, 198, 250, 298, 339, 378, 413, 445, 475, 502, 528, 553},
      {-2048, -66, 28, 104, 169, 224, 274, 318, 358, 395, 429, 459, 488, 514, 539, 566},
      {14, 14, 24, 39, 40, 41, 58, 100, 141, 179, 219, 280, 358, 440, 529, 696},
      {0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 2, 3, 4, 5, 6, 6}}}};

// Registers are unsigned fields of the widths that the recommendation gives them; names are its own.
class Recommendation {
  public:
    explicit Recommendation(int width, Variation variation = {})
        : width_(width), tables_(kRates.at(width)), variation_(variation) {}

    std::int16_t decode(unsigned code) {
        estimate();
        return take(code);
    }
    unsigned encode(std::int16_t sample) {
        estimate();
        const int d = static_cast<std::int16_t>((sample >> 2) - signedOf(se_, 15));  // SUBTA
        const auto magnitude = static_cast<unsigned>(std::abs(d));
        const unsigned exponent =
            magnitude ? static_cast<unsigned>(std::bit_width(magnitude)) - 1 : 0;  // LOG
        const int dln = static_cast<int>(exponent * 128 + ((magnitude << 7 >> exponent) & 127)) -
                        static_cast<int>(y_ >> 2);  // SUBTB
        unsigned code = 0;                          // QUAN
        for (const int limit : tables_.limits)
            code += dln >= limit ? 1 : 0;
        if (d < 0 || (code == 0 && width_ != 2))
            code = (1u << width_) - 1 - code;
        take(code);
        return code;
    }

  private:
    static int signedOf(unsigned field, int bits) {
        return field >> (bits - 1) ? static_cast<int>(field) - (1 << bits) : static_cast<int>(field);
    }
    static unsigned floatOf(unsigned sign, unsigned magnitude) {  // FLOATA, FLOATB
        const auto exponent = static_cast<unsigned>(std::bit_width(magnitude));
        return (sign << 10) + (exponent << 6) + (magnitude ? (magnitude << 6) >> exponent : 32);
    }
    unsigned fmult(unsigned an, unsigned sr) const {
        const unsigned sign = an >> 15, magnitude = sign ? (16384 - (an >> 2)) & 8191 : an >> 2;
        const unsigned exponent =
            magnitude ? static_cast<unsigned>(std::bit_width(magnitude)) : variation_.zeroExponent;
        const unsigned mantissa = magnitude ? (magnitude << 6) >> exponent : 32;
        const unsigned sum = (sr >> 6 & 15) + exponent;
        const unsigned product = ((sr & 63) * mantissa + variation_.productRounding) >> 4;
        const unsigned w = sum <= 26 ? (product << 7) >> (26 - sum) : (product << 7 << (sum - 26)) & 32767;
        return (sr >> 10) ^ sign ? (65536 - w) & 65535 : w;
    }

    void estimate() {
        // LIMA, MIX
        const unsigned al = ap_ >= 256 ? 64 : ap_ >> 2;
        const unsigned dif = (yu_ + 16384 - (yl_ >> 6)) & 16383;
        const unsigned prodm = ((dif >> 13 ? (16384 - dif) & 8191 : dif) * al) >> 6;
        y_ = ((yl_ >> 6) + (dif >> 13 ? (16384 - prodm) & 16383 : prodm)) & 8191;
        if (variation_.wholeSlowFactor)
            y_ = static_cast<unsigned>(static_cast<int>(yl_) + signedOf(dif, 14) * static_cast<int>(al)) >> 6;
        // ACCUM
        unsigned sezi = 0;
        for (int i = 0; i < 6; ++i)
            sezi = (sezi + fmult(b_[i], dq_[i])) & 65535;
        sez_ = sezi >> 1;
        se_ = ((sezi + fmult(a2_, sr2_) + fmult(a1_, sr1_)) & 65535) >> 1;
    }

    std::int16_t take(unsigned code) {
        const unsigned dqs = code >> (width_ - 1);
        const std::size_t m = dqs ? (1u << width_) - 1 - code : code;
        // ADDA, ANTILOG
        const unsigned dql = (static_cast<unsigned>(tables_.levels[m]) + (y_ >> 2)) & 4095;
        const unsigned dqmag = dql >> 11 ? 0 : ((128 + (dql & 127)) << 7) >> (14 - (dql >> 7 & 15));
        const unsigned dqi = dqs ? (65536 - dqmag) & 65535 : dqmag;
        const unsigned sr = (dqi + static_cast<unsigned>(signedOf(se_, 15))) & 65535;      // ADDB
        const unsigned dqsez = (dqi + static_cast<unsigned>(signedOf(sez_, 15))) & 65535;  // ADDC
        const unsigned pk0 = dqsez >> 15;
        // TRANS
        const unsigned ylint = yl_ >> 15, ylfrac = yl_ >> 10 & 31;
        const unsigned thr = ylint > 9 ? 31u << 10 : (32 + ylfrac) << ylint;
        const bool tr = td_ && dqmag > (thr + (thr >> 1)) >> 1;
        // FUNCTW, FILTD, LIMB, FILTE
        const int y = static_cast<int>(y_);
        yu_ = static_cast<unsigned>(std::clamp(y + ((tables_.scale[m] * 32 - y) >> 5), 544, 5120));
        const unsigned dife = (yu_ + ((1048576 - yl_) >> 6)) & 16383;
        yl_ = (yl_ + (dife >> 13 ? dife + 507904 : dife)) & 524287;
        // FILTA, FILTB
        const auto fi = static_cast<unsigned>(tables_.speed[m]);
        const unsigned difa = ((fi << 9) + 8192 - dms_) & 8191;
        dms_ = ((difa >> 5) + (difa >> 12 ? 3840 : 0) + dms_) & 4095;
        const unsigned difb = ((fi << 11) + 32768 - dml_) & 32767;
        dml_ = ((difb >> 7) + (difb >> 14 ? 16128 : 0) + dml_) & 16383;
        // UPA2, LIMC, TONE
        const unsigned fa1 = a1_ >> 15 ? (a1_ >= 57345 ? (a1_ << 2) & 131071 : 24577u << 2)
                                       : (a1_ <= 8191 ? a1_ << 2 : 8191u << 2);
        const unsigned uga2a = pk0 ^ pk2_ ? 114688 : 16384;
        const unsigned uga2b = (uga2a + (pk0 ^ pk1_ ? fa1 : 131072 - fa1)) & 131071;
        const unsigned uga2 = dqsez == 0 ? 0 : (uga2b >> 7) + (uga2b >> 16 ? 64512 : 0);
        const auto a2t = static_cast<std::int16_t>(a2_ + uga2 - (a2_ >> 7) + (a2_ >> 15 ? 512 : 0));
        const int a2 = std::clamp<int>(a2t, -12288, 12288);
        const bool tdp = a2 < -11776;
        // UPA1, LIMD
        const unsigned uga1 = dqsez == 0 ? 0 : pk0 ^ pk1_ ? 65344 : 192;
        const auto a1t = static_cast<std::int16_t>(a1_ + uga1 - (a1_ >> 8) + (a1_ >> 15 ? 256 : 0));
        const int a1 = std::clamp<int>(a1t, a2 - 15360, 15360 - a2);
        // UPB, with TRIGB for all coefficients
        const int leak = width_ == 5 && !variation_.oneLeak ? 9 : 8;
        for (int i = 0; i < 6; ++i) {
            const unsigned ugb = dqmag == 0 ? 0 : dqs ^ (dq_[i] >> 10) ? 65408 : 128;
            const auto ulb = static_cast<unsigned>(-(signedOf(b_[i], 16) >> leak));
            b_[i] = tr ? 0 : (b_[i] + ugb + ulb) & 65535;
        }
        a1_ = tr ? 0 : static_cast<unsigned>(a1) & 65535;
        a2_ = tr ? 0 : static_cast<unsigned>(a2) & 65535;
        // SUBTC, FILTC, TRIGA
        const unsigned dif = ((dms_ << 2) + 32768 - dml_) & 32767;
        const unsigned difm = dif >> 14 ? (32768 - dif) & 16383 : dif;
        const bool ax = y_ < 1536 || difm >= dml_ >> 3 || tdp;
        const unsigned difc = ((ax ? 512u : 0u) + 2048 - ap_) & 2047;
        ap_ = tr ? 256 : ((difc >> 4) + (difc >> 10 ? 896 : 0) + ap_) & 1023;
        // The delays
        td_ = tdp && !tr;
        pk2_ = pk1_;
        pk1_ = pk0;
        std::copy_backward(dq_, dq_ + 5, dq_ + 6);
        dq_[0] = floatOf(dqs, dqmag);
        sr2_ = sr1_;
        sr1_ = floatOf(sr >> 15, sr >> 15 ? (65536 - sr) & 32767 : sr);
        // LIMO, and 14 bits to 16
        const int out = signedOf(sr, 16);
        return static_cast<std::int16_t>((variation_.limited ? std::clamp(out, -8192, 8191) : out) * 4);
    }

    int width_;
    const RateTables& tables_;
    Variation variation_;
    unsigned yl_ = 34816, yu_ = 544, dms_ = 0, dml_ = 0, ap_ = 0, a1_ = 0, a2_ = 0, pk1_ = 0, pk2_ = 0;
    unsigned sr1_ = 32, sr2_ = 32, b_[6] = {}, dq_[6] = {32, 32, 32, 32, 32, 32};
    unsigned y_ = 0, se_ = 0, sez_ = 0;
    bool td_ = false;
};

// ---- What is coded ----

Samples noise(std::size_t count, int amplitude, unsigned seed) {
    std::mt19937 random(seed);
    Samples samples(count);
    for (std::int16_t& sample : samples)
        sample = static_cast<std::int16_t>(static_cast<int>(random() % (2 * amplitude + 1)) - amplitude);
    return samples;
}

// Voice-like: a gliding tone with overtones and a little noise, which comes and goes.
Samples voice(std::size_t count) {
    Samples samples = noise(count, 60, 7);
    double phase = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / 8000;
        phase += 2 * M_PI * (140 + 50 * std::sin(3 * t)) / 8000;
        const double shape = std::max(0.0, std::sin(5 * t));
        samples[i] = static_cast<std::int16_t>(
            samples[i] +
            5000 * shape * (std::sin(phase) + 0.6 * std::sin(3 * phase + 1) + 0.4 * std::sin(7 * phase)));
    }
    return samples;
}

// Everything that drives the adaptation into its corners: silence, full-scale squares, tones that stop,
// noise.
Samples harsh() {
    Samples samples(3000, 0);
    for (std::size_t i = 0; i < 4000; ++i)
        samples.push_back(i / 20 % 2 ? 32767 : -32768);
    for (std::size_t i = 0; i < 9000; ++i)
        samples.push_back(static_cast<std::int16_t>(
            i % 3000 < 2000 ? 20000 * std::sin(static_cast<double>(i * (1 + i / 3000)) * 0.4) : 0));
    const Samples loud = noise(8000, 32767, 1), quiet = noise(8000, 12, 2);
    samples.insert(samples.end(), loud.begin(), loud.end());
    samples.insert(samples.end(), quiet.begin(), quiet.end());
    samples.insert(samples.end(), 4000, 32767);
    return samples;
}

// Codes that no encoder sends: random ones, and long runs of every single one.
Codes wildCodes(int width) {
    std::mt19937 random(static_cast<unsigned>(width));
    Codes codes;
    for (int i = 0; i < 60000; ++i)
        codes.push_back(static_cast<std::uint8_t>(random() >> 8 & ((1u << width) - 1)));
    for (unsigned code = 0; code < 1u << width; ++code)
        codes.insert(codes.end(), 1600, static_cast<std::uint8_t>(code));
    return codes;
}

std::vector<Byte> packed(const Codes& codes, int width, CodePacking packing) {
    std::vector<Byte> bytes(packedSize(codes.size(), width));
    packCodes(width, packing, codes, bytes);
    return bytes;
}
Codes encoded(const Samples& samples, int width) {
    std::vector<Byte> bytes(packedSize(samples.size(), width));
    G72xEncoder(width, CodePacking::HighBitsFirst).encode(samples, bytes);
    Codes codes(samples.size());
    unpackCodes(width, CodePacking::HighBitsFirst, bytes, codes);
    return codes;
}
Samples decoded(const Codes& codes, int width) {
    Samples samples(codes.size());
    EXPECT_EQ(G72xDecoder(width, CodePacking::LowBitsFirst)
                  .decode(packed(codes, width, CodePacking::LowBitsFirst), samples),
              codes.size());
    return samples;
}
Samples decodedByRecommendation(const Codes& codes, int width, Variation variation = {}) {
    Recommendation channel(width, variation);
    Samples samples;
    for (const unsigned code : codes)
        samples.push_back(channel.decode(code));
    return samples;
}

class G72x : public testing::TestWithParam<int> {
  protected:
    int width() const { return GetParam(); }
    TemporaryFolder folder;
};
INSTANTIATE_TEST_SUITE_P(Widths, G72x, testing::Values(2, 3, 4, 5),
                         [](const auto& each) { return std::to_string(each.param) + "Bits"; });

// ---- Tests ----

TEST_P(G72x, DecodesAnyCodesAsRecommended) {
    for (const Codes& codes : {wildCodes(width()), encoded(voice(40000), width()), encoded(harsh(), width())})
        EXPECT_EQ(decoded(codes, width()), decodedByRecommendation(codes, width()));
}

TEST_P(G72x, SendsTheRecommendedCodes) {
    for (const Samples& samples : {voice(40000), harsh(), noise(40000, 3000, 3)}) {
        Recommendation channel(width());
        Codes expected;
        for (const std::int16_t sample : samples)
            expected.push_back(static_cast<std::uint8_t>(channel.encode(sample)));
        EXPECT_EQ(encoded(samples, width()), expected);
    }
}

// Two peers read Sun audio files of 3, 4 and 5 bits. libsndfile leaves out the rounding of FMULT, SoX gives
// a coefficient of 0 the exponent of 1, and neither limits its output. With just that changed, the
// recommendation gives every sample of theirs; so everything else, and each of the two places, is confirmed
// by one of them.
TEST_P(G72x, SoxAndSndfileDifferFromTheRecommendationInOnePlaceEach) {
    const std::map<int, std::uint32_t> encodings = {{3, 25}, {4, 23}, {5, 26}};
    if (!encodings.contains(width()))
        GTEST_SKIP() << "no peer has this width";
    const struct {
        const char* program;
        const char* before;  // the input's and the output's name
        const char* between;
        Variation variation;
    } peers[] = {{"sox", "sox -D ", " -e signed -b 16 ", {48, 1, false, false, false}},
                 {"sndfile-convert", "sndfile-convert -pcm16 ", " ", {0, 0, false, false, false}}};
    for (const auto& peer : peers) {
        if (!haveProgram(peer.program))
            continue;
        for (const Codes& codes : {wildCodes(width()), encoded(voice(40000), width())}) {
            Bytes file;
            file.text(".snd").be32(24).be32(0xFFFFFFFF).be32(encodings.at(width())).be32(8000).be32(1);
            const auto bytes = packed(codes, width(), CodePacking::LowBitsFirst);
            file.data.insert(file.data.end(), bytes.begin(), bytes.end());
            writeFile(folder / "in.au", file.data);
            ASSERT_TRUE(
                run(peer.before + quoted(folder / "in.au") + peer.between + quoted(folder / "out.wav")));
            Samples theirs = samples16(readFile(folder / "out.wav"), 44);
            ASSERT_GE(theirs.size(), codes.size()) << peer.program;
            theirs.resize(codes.size());  // libsndfile fills its last block
            EXPECT_EQ(theirs, decodedByRecommendation(codes, width(), peer.variation)) << peer.program;
        }
    }
}

// FFmpeg has all widths and both packings, and two departures; it agrees where nothing is loud enough to be
// limited.
TEST_P(G72x, FfmpegDiffersFromTheRecommendationInTwoPlaces) {
    if (!haveProgram("ffmpeg"))
        GTEST_SKIP() << "FFmpeg is not installed";
    const Codes codes = encoded(voice(40000), width());
    const Samples expected = decodedByRecommendation(codes, width(), {48, 0, true, true, true});
    for (const auto& [packing, format] :
         {std::pair(CodePacking::HighBitsFirst, "g726"), std::pair(CodePacking::LowBitsFirst, "g726le")}) {
        writeFile(folder / "in", packed(codes, width(), packing));
        ASSERT_TRUE(run(formatText("ffmpeg -v error -y -f %s -code_size %d -i %s -f s16le %s", format,
                                   width(), quoted(folder / "in").c_str(), quoted(folder / "out").c_str())));
        EXPECT_EQ(samples16(readFile(folder / "out")), expected) << format;
    }
}

TEST_P(G72x, ContinuesPieceByPieceAndKeepsChannelsApart) {
    const Samples left = voice(20008), right = noise(20008, 9000, 4);
    Samples both;
    for (std::size_t i = 0; i < left.size(); ++i) {
        both.push_back(left[i]);
        both.push_back(right[i]);
    }
    for (const CodePacking packing : {CodePacking::HighBitsFirst, CodePacking::LowBitsFirst}) {
        std::vector<Byte> whole(packedSize(both.size(), width())), pieces(whole.size());
        G72xEncoder(width(), packing, 2).encode(both, whole);
        G72xEncoder encoder(width(), packing, 2);
        G72xDecoder decoder(width(), packing, 2);
        Samples out(both.size());
        const std::size_t cuts[] = {0, 8, 1032, 1040, 25000, both.size()};
        for (std::size_t i = 0; i + 1 < std::size(cuts); ++i) {
            const std::size_t from = cuts[i], count = cuts[i + 1] - from;
            const auto bytes =
                std::span(pieces).subspan(packedSize(from, width()), packedSize(count, width()));
            encoder.encode(std::span(both).subspan(from, count), bytes);
            EXPECT_EQ(decoder.decode(bytes, std::span(out).subspan(from, count)), count);
        }
        EXPECT_EQ(pieces, whole);
        Samples outLeft, outRight;
        for (std::size_t i = 0; i < out.size(); i += 2) {
            outLeft.push_back(out[i]);
            outRight.push_back(out[i + 1]);
        }
        EXPECT_EQ(outLeft, decoded(encoded(left, width()), width()));
        EXPECT_EQ(outRight, decoded(encoded(right, width()), width()));
        // After a reset everything starts anew; bits that make no whole code are left alone.
        decoder.reset();
        Samples again(both.size());
        EXPECT_EQ(decoder.decode(std::span(whole).first(7), again),
                  static_cast<std::size_t>(7 * 8 / width()));
        EXPECT_TRUE(std::equal(again.begin(), again.begin() + 7 * 8 / width(), out.begin()));
    }
}

}  // namespace
}  // namespace velor
