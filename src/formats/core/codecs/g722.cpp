#include "formats/core/codecs/g722.h"

#include <algorithm>

namespace velor {

namespace {

// ---- Tables, G.722 tables 11 to 21, levels in eighths of the standard's ----

// Inverse quantisers of the lower band by code, for 6, 5 and 4 bits. The last one also drives the adaptation.
constexpr std::int16_t kLow6[] = {
    -17,  -17,  -17,  -17,  -3101, -2738, -2376, -2088, -1873, -1689, -1535, -1399, -1279, -1170, -1072, -982,
    -899, -822, -750, -682, -618,  -558,  -501,  -447,  -396,  -347,  -300,  -254,  -211,  -170,  -130,  -91,
    3101, 2738, 2376, 2088, 1873,  1689,  1535,  1399,  1279,  1170,  1072,  982,   899,   822,   750,   682,
    618,  558,  501,  447,  396,   347,   300,   254,   211,   170,   130,   91,    54,    17,    -54,   -17};
constexpr std::int16_t kLow5[] = {-35,  -35,  -2919, -2195, -1765, -1458, -1219, -1023, -858, -714, -587,
                                  -473, -370, -276,  -190,  -110,  2919,  2195,  1765,  1458, 1219, 1023,
                                  858,  714,  587,   473,   370,   276,   190,   110,   35,   -35};
constexpr std::int16_t kLow4[] = {0,    -2557, -1612, -1121, -786, -530, -323, -150,
                                  2557, 1612,  1121,  786,   530,  323,  150,  0};
constexpr std::int16_t kHigh[] = {-926, -202, 926, 202};
// How a code moves the logarithm of the step.
constexpr std::int16_t kLowMove[] = {-60,  3042, 1198, 538, 334, 172, 58,  -30,
                                     3042, 1198, 538,  334, 172, 58,  -30, -60};
constexpr std::int16_t kHighMove[] = {798, -214, 798, -214};
constexpr int kLowLimit = 18432, kHighLimit = 22528;  // of the logarithm

constexpr std::int16_t kAntilog[] = {2048, 2093, 2139, 2186, 2233, 2282, 2332, 2383, 2435, 2489, 2543,
                                     2599, 2656, 2714, 2774, 2834, 2896, 2960, 3025, 3091, 3158, 3228,
                                     3298, 3371, 3444, 3520, 3597, 3676, 3756, 3838, 3922, 4008};

// Decision levels of the lower band's quantiser, padded to 31 for the search by halves.
constexpr std::int16_t kDecisions[] = {35,   72,   110,  150,  190,   233,  276,  323,  370,  422, 473,
                                       530,  587,  650,  714,  786,   858,  940,  1023, 1121, 1219, 1339,
                                       1458, 1612, 1765, 1980, 2195,  2557, 2919, 32767, 32767};

// Every second coefficient of the quadrature mirror filter; the others are these in reverse.
// Both are padded: sixteen products are as quick as twelve, being two vectors of eight.
constexpr std::size_t kTaps = 12;
constexpr std::int16_t kForward[16] = {3, -11, 12, 32, -210, 951, 3876, -805, 362, -156, 53, -11};
constexpr std::int16_t kReverse[16] = {-11, 53, -156, 362, -805, 3876, 951, -210, 32, 12, -11, 3};

// ---- Arithmetic ----

constexpr int saturate(int value) {
    return std::clamp(value, -32768, 32767);
}
// mask: 0 or -1
constexpr int negateIf(int mask, int value) {
    return (value ^ mask) - mask;
}
// The logarithm's limit is one octave above what a shift to the right can give, hence the doubling.
constexpr int antilog(int logStep, int shift) {
    return kAntilog[logStep >> 6 & 31] * 2 >> (shift + 1 - (logStep >> 11));
}

// ---- One band ----

constexpr std::size_t kRun = 256;  // code words worked on at a time

// A run of one band. The state is copied in and out, so that nothing overlaps it; the differences lie in one long
// row, so that none has to move.
class BandRun {
  public:
    explicit BandRun(G722Band& band) : home_(band), s_(band) { std::ranges::copy(band.doubled, row_.begin()); }
    ~BandRun() {
        std::copy_n(past_, 6, s_.doubled.begin());
        home_ = s_;
    }
    BandRun(const BandRun&) = delete;
    BandRun& operator=(const BandRun&) = delete;

    int prediction() const { return s_.prediction; }
    int step() const { return s_.step; }
    // A quantiser level in units of the signal.
    int scaled(int level) const { return s_.step * level >> 10; }

    // LOGSCL, SCALEL and their like for the upper band.
    void adaptStep(int move, int limit, int shift) {
        s_.logStep = std::clamp(s_.logStep + (-s_.logStep >> 7) + move, 0, limit);
        s_.step = antilog(s_.logStep, shift);
    }

    // The predictor for the next sample: PARREC, RECONS, UPPOL1, UPPOL2, UPZERO, FILTEP, FILTEZ, PREDIC.
    void adaptPredictor(int difference) {
        const int r0 = saturate(s_.prediction + difference);
        const int p0 = saturate(s_.fromZeros + difference) >> 31;

        const int differs1 = p0 ^ s_.p1;
        const int a1 = std::clamp(s_.a1 * 4, -32767, 32767);
        const int a2 = (negateIf(~differs1, a1) >> 7) + negateIf(p0 ^ s_.p2, 128) + (s_.a2 * 127 >> 7);
        s_.a2 = std::clamp(a2, -12288, 12288);
        const int bound = 15360 - s_.a2;
        s_.a1 = std::clamp(negateIf(differs1, 192) + (s_.a1 * 255 >> 8), -bound, bound);
        s_.p2 = s_.p1;
        s_.p1 = p0;

        const int move = difference != 0 ? 128 : 0;
        past_[6] = static_cast<std::int16_t>(saturate(difference * 2));
        int zeros = 0;
        for (std::size_t i = 0; i < 6; ++i) {
            s_.b[i] += (-s_.b[i] >> 8) + negateIf((difference ^ past_[5 - i]) >> 31, move);
            zeros += past_[6 - i] * s_.b[i] >> 15;
        }
        ++past_;
        s_.fromZeros = saturate(zeros);
        const int poles = (saturate(r0 * 2) * s_.a1 >> 15) + (saturate(s_.r1 * 2) * s_.a2 >> 15);
        s_.r1 = r0;
        s_.prediction = saturate(saturate(poles) + s_.fromZeros);
    }

    // One step of either coder or decoder of the lower band. code: 6 bits.
    void takeLow(unsigned code) {
        const unsigned upper = code >> 2;
        const int difference = scaled(kLow4[upper]);
        adaptStep(kLowMove[upper], kLowLimit, 8);
        adaptPredictor(difference);
    }
    // The same for the upper band; code: 2 bits. Returns the difference.
    int takeHigh(unsigned code) {
        const int difference = scaled(kHigh[code]);
        adaptStep(kHighMove[code], kHighLimit, 10);
        adaptPredictor(difference);
        return difference;
    }

  private:
    G722Band& home_;
    G722Band s_;
    std::array<std::int16_t, kRun + 6> row_;
    std::int16_t* past_ = row_.data();  // the last six, the oldest first
};

// LIMIT: 15 bits
constexpr int limit15(int value) {
    return std::clamp(value, -16384, 16383);
}

template <int kWidth>
int lowLevel(unsigned code) {
    if constexpr (kWidth == 8)
        return kLow6[code & 63];
    else if constexpr (kWidth == 7)
        return kLow5[code & 31];
    else
        return kLow4[code & 15];
}

// QUANTL
unsigned quantiseLow(int difference, int step) {
    const int sign = difference >> 31;
    const int magnitude = difference ^ sign;
    // The number of decision levels whose scaled value is not above the magnitude.
    unsigned interval = 0;
    for (unsigned half = 16; half > 0; half /= 2)
        interval += step * kDecisions[interval + half - 1] >> 10 <= magnitude ? half : 0;
    interval = std::min(interval, 29u);
    // Negative codes are 63, 62, 31, 30 … 4 from the smallest on, positive ones 61, 60, 59 … 32.
    if (sign == 0)
        return 61 - interval;
    return interval < 2 ? 63 - interval : 33 - interval;
}

// QUANTH
unsigned quantiseHigh(int difference, int step) {
    const int sign = difference >> 31;
    const bool large = (difference ^ sign) >= step * 564 >> 10;
    return (sign ? 1u : 3u) - large;
}

// One phase of the mirror filter for the run of n inputs after the first eleven: to[i] = sum of taps[j] × from[i + j].
void filter(const std::int16_t* from, const std::int16_t (&taps)[16], std::int32_t* to, std::size_t n) {
    for (std::size_t i = 0; i < n; ++i) {
        std::int32_t sum = 0;
        for (std::size_t j = 0; j < 16; ++j)
            sum += from[i + j] * taps[j];
        to[i] = sum;
    }
}
using Row = std::array<std::int16_t, kRun + kTaps - 1 + 4>;

constexpr G722Band kLowAtReset{.step = 8}, kHighAtReset{.step = 2};

template <int kWidth>
void decodeBands(std::span<const std::uint8_t> codes, G722Band& lowBand, G722Band& highBand, Row& sums,
                 Row& differences) {
    constexpr int kLowBits = kWidth - 2;
    BandRun low(lowBand), high(highBand);
    for (std::size_t i = 0; i < codes.size(); ++i) {
        const unsigned lowCode = codes[i] & ((1u << kLowBits) - 1), highCode = codes[i] >> kLowBits;
        const int lowSample = limit15(low.prediction() + low.scaled(lowLevel<kWidth>(lowCode)));
        low.takeLow(lowCode << (6 - kLowBits));
        const int highPrediction = high.prediction();
        const int highSample = limit15(highPrediction + high.takeHigh(highCode));
        sums[kTaps - 1 + i] = static_cast<std::int16_t>(lowSample + highSample);
        differences[kTaps - 1 + i] = static_cast<std::int16_t>(lowSample - highSample);
    }
}

}  // namespace

G722Decoder::G722Decoder(int width, CodePacking packing) : width_(std::clamp(width, 6, 8)), packing_(packing) {
    reset();
}

void G722Decoder::reset() {
    low_ = kLowAtReset;
    high_ = kHighAtReset;
    sums_ = differences_ = {};
}

void G722Decoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    std::array<std::uint8_t, kRun> codes;
    Row sums{}, differences{};
    std::array<std::int32_t, kRun> first, second;
    while (to.size() >= kG722SamplesPerCode) {
        const std::size_t count = std::min(to.size() / kG722SamplesPerCode, kRun);
        const auto run = std::span(codes).first(count);
        unpackCodes(width_, packing_, from, run);
        std::ranges::copy(sums_, sums.begin());
        std::ranges::copy(differences_, differences.begin());
        if (width_ == 8)
            decodeBands<8>(run, low_, high_, sums, differences);
        else if (width_ == 7)
            decodeBands<7>(run, low_, high_, sums, differences);
        else
            decodeBands<6>(run, low_, high_, sums, differences);
        std::copy_n(sums.begin() + count, kTaps - 1, sums_.begin());
        std::copy_n(differences.begin() + count, kTaps - 1, differences_.begin());
        filter(differences.data(), kReverse, first.data(), count);
        filter(sums.data(), kForward, second.data(), count);
        for (std::size_t i = 0; i < count; ++i) {
            to[2 * i] = static_cast<std::int16_t>(saturate(first[i] >> 11));
            to[2 * i + 1] = static_cast<std::int16_t>(saturate(second[i] >> 11));
        }
        to = to.subspan(count * kG722SamplesPerCode);
        from = from.subspan(static_cast<std::size_t>(packedSize(count, width_)));
    }
}

G722Encoder::G722Encoder(int width, CodePacking packing) : width_(std::clamp(width, 6, 8)), packing_(packing) {
    reset();
}

void G722Encoder::reset() {
    low_ = kLowAtReset;
    high_ = kHighAtReset;
    past_ = {};
}

void G722Encoder::encode(std::span<const std::int16_t> from, std::span<Byte> to) {
    std::array<std::uint8_t, kRun> codes;
    Row even{}, odd{};
    std::array<std::int32_t, kRun> evenSums, oddSums;
    while (from.size() >= kG722SamplesPerCode) {
        const std::size_t count = std::min(from.size() / kG722SamplesPerCode, kRun);
        for (std::size_t i = 0; i < kTaps - 1; ++i) {
            even[i] = past_[2 * i];
            odd[i] = past_[2 * i + 1];
        }
        for (std::size_t i = 0; i < count; ++i) {
            even[kTaps - 1 + i] = from[2 * i];
            odd[kTaps - 1 + i] = from[2 * i + 1];
        }
        for (std::size_t i = 0; i < kTaps - 1; ++i) {
            past_[2 * i] = even[count + i];
            past_[2 * i + 1] = odd[count + i];
        }
        filter(even.data(), kForward, evenSums.data(), count);
        filter(odd.data(), kReverse, oddSums.data(), count);

        BandRun low(low_), high(high_);
        for (std::size_t i = 0; i < count; ++i) {
            const int lowSample = limit15((evenSums[i] + oddSums[i]) >> 14);
            const int highSample = limit15((oddSums[i] - evenSums[i]) >> 14);
            const unsigned lowCode =
                quantiseLow(saturate(lowSample - low.prediction()), low.step());
            const unsigned highCode =
                quantiseHigh(saturate(highSample - high.prediction()), high.step());
            low.takeLow(lowCode);
            high.takeHigh(highCode);
            // The lower rates leave out the last bits of the lower band; the decoder's adaptation does not see them.
            codes[i] = static_cast<std::uint8_t>((highCode << 6 | lowCode) >> (8 - width_));
        }
        packCodes(width_, packing_, std::span<const std::uint8_t>(codes).first(count), to);
        from = from.subspan(count * kG722SamplesPerCode);
        to = to.subspan(static_cast<std::size_t>(packedSize(count, width_)));
    }
}

}  // namespace velor
