#include "formats/core/codecs/g722.h"

#include <algorithm>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

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

// Decision levels of the lower band's quantiser.
constexpr std::int16_t kDecisions[] = {35,   72,   110,  150,  190,  233,  276,  323,  370,  422,
                                       473,  530,  587,  650,  714,  786,  858,  940,  1023, 1121,
                                       1219, 1339, 1458, 1612, 1765, 1980, 2195, 2557, 2919};

// Every second coefficient of the quadrature mirror filter; the others are these in reverse.
// Both are padded for vectors of eight.
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

// ---- The part of the predictor that is the same with and without vector instructions but for its speed ----

constexpr std::size_t kZeros = 6;
constexpr std::size_t kDecisionCount = 29;

#if defined(__SSE2__)

__m128i load8(const void* from) {
    return _mm_loadu_si128(static_cast<const __m128i*>(from));
}
// The sum of four lanes.
int sumOf(__m128i lanes) {
    lanes = _mm_add_epi32(lanes, _mm_shuffle_epi32(lanes, _MM_SHUFFLE(1, 0, 3, 2)));
    return _mm_cvtsi128_si32(_mm_add_epi32(lanes, _mm_shuffle_epi32(lanes, _MM_SHUFFLE(2, 3, 0, 1))));
}

// The zeros of the predictor: UPZERO, FILTEZ.
class Zeros {
  public:
    explicit Zeros(const G722Band& band) : b_(load8(band.b.data())), past_(load8(band.doubled.data())) {}
    void store(G722Band& band) const {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(band.b.data()), b_);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(band.doubled.data()), past_);
    }

    // Adapts to a difference and returns the estimate for the next one.
    int next(int difference) {
        const __m128i same = _mm_set1_epi16(static_cast<std::int16_t>(difference));
        const __m128i differs = _mm_srai_epi16(_mm_xor_si128(past_, same), 15);
        const __m128i move = _mm_andnot_si128(_mm_cmpeq_epi16(same, _mm_setzero_si128()),
                                              _mm_setr_epi16(128, 128, 128, 128, 128, 128, 0, 0));
        // The upper half of b × -256 is -b >> 8, without the overflow of -b.
        b_ = _mm_add_epi16(_mm_add_epi16(b_, _mm_mulhi_epi16(b_, _mm_set1_epi16(-256))),
                           _mm_sub_epi16(_mm_xor_si128(move, differs), differs));
        past_ = _mm_insert_epi16(_mm_slli_si128(past_, 2), difference * 2, 0);
        const __m128i products = _mm_or_si128(_mm_slli_epi16(_mm_mulhi_epi16(b_, past_), 1),
                                              _mm_srli_epi16(_mm_mullo_epi16(b_, past_), 15));
        return saturate(sumOf(_mm_madd_epi16(products, _mm_set1_epi16(1))));
    }

  private:
    __m128i b_, past_;
};

// The number of decision levels whose scaled value is not above the magnitude (15 bits).
unsigned intervalOf(int magnitude, int step) {
    // Four bits up, so that the upper half of the product with step × 4 is the one that is wanted.
    static constexpr auto kShifted = [] {
        std::array<std::uint16_t, 32> shifted{};
        for (std::size_t i = 0; i < kDecisionCount; ++i)
            shifted[i] = static_cast<std::uint16_t>(kDecisions[i] * 16);
        return shifted;
    }();
    const __m128i size = _mm_set1_epi16(static_cast<std::int16_t>(magnitude));
    const __m128i scale = _mm_set1_epi16(static_cast<std::int16_t>(step * 4));
    __m128i above = _mm_setzero_si128();
    for (std::size_t i = 0; i < kShifted.size(); i += 8) {
        const __m128i levels = _mm_mulhi_epu16(load8(&kShifted[i]), scale);
        above = _mm_sub_epi16(above, _mm_cmpgt_epi16(levels, size));
    }
    // The three places after the last level are 0, which nothing is below.
    return kDecisionCount - static_cast<unsigned>(sumOf(_mm_madd_epi16(above, _mm_set1_epi16(1))));
}

int filterSum(const std::int16_t* from, const std::int16_t (&taps)[16]) {
    return sumOf(_mm_add_epi32(_mm_madd_epi16(load8(from), load8(taps)),
                               _mm_madd_epi16(load8(from + 8), load8(taps + 8))));
}

#else

class Zeros {
  public:
    explicit Zeros(const G722Band& band) : b_(band.b), past_(band.doubled) {}
    void store(G722Band& band) const {
        band.b = b_;
        band.doubled = past_;
    }

    int next(int difference) {
        const int move = difference != 0 ? 128 : 0;
        for (std::size_t i = 0; i < kZeros; ++i)
            b_[i] = static_cast<std::int16_t>(b_[i] + (-b_[i] >> 8) +
                                              negateIf((difference ^ past_[i]) >> 31, move));
        std::copy_backward(past_.begin(), past_.begin() + kZeros - 1, past_.begin() + kZeros);
        past_[0] = static_cast<std::int16_t>(difference * 2);
        int sum = 0;
        for (std::size_t i = 0; i < kZeros; ++i)
            sum += past_[i] * b_[i] >> 15;
        return saturate(sum);
    }

  private:
    std::array<std::int16_t, 8> b_, past_;
};

unsigned intervalOf(int magnitude, int step) {
    return static_cast<unsigned>(
        std::ranges::count_if(kDecisions, [=](int level) { return step * level >> 10 <= magnitude; }));
}

int filterSum(const std::int16_t* from, const std::int16_t (&taps)[16]) {
    int sum = 0;
    for (std::size_t j = 0; j < kTaps; ++j)
        sum += from[j] * taps[j];
    return sum;
}

#endif

// ---- One band ----

constexpr std::size_t kRun = 256;  // code words worked on at a time

// A run of one band. The state is copied in and out, so that nothing overlaps it.
class BandRun {
  public:
    explicit BandRun(G722Band& band) : home_(band), s_(band), zeros_(band) {}
    ~BandRun() {
        zeros_.store(s_);
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

    // The predictor for the next sample: PARREC, RECONS, UPPOL1, UPPOL2, FILTEP, PREDIC. Steps end at 4096,
    // so differences stay within 14 bits and their doubles need no limit.
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

        s_.fromZeros = zeros_.next(difference);
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
    Zeros zeros_;
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
    const unsigned interval = intervalOf(magnitude, step);
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

G722Decoder::G722Decoder(int width, CodePacking packing)
    : width_(std::clamp(width, 6, 8)), packing_(packing) {
    reset();
}

void G722Decoder::reset() {
    low_ = kLowAtReset;
    high_ = kHighAtReset;
    sums_ = differences_ = {};
}

std::size_t G722Decoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    const std::size_t total = std::min(codesIn(from.size(), width_), to.size() / kG722SamplesPerCode);
    std::array<std::uint8_t, kRun> codes;
    Row sums{}, differences{};
    for (std::size_t left = total; left > 0;) {
        const std::size_t count = std::min(left, kRun);
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
        for (std::size_t i = 0; i < count; ++i) {
            to[2 * i] = static_cast<std::int16_t>(saturate(filterSum(&differences[i], kReverse) >> 11));
            to[2 * i + 1] = static_cast<std::int16_t>(saturate(filterSum(&sums[i], kForward) >> 11));
        }
        to = to.subspan(count * kG722SamplesPerCode);
        from = from.subspan(static_cast<std::size_t>(packedSize(count, width_)));
        left -= count;
    }
    return total * kG722SamplesPerCode;
}

G722Encoder::G722Encoder(int width, CodePacking packing)
    : width_(std::clamp(width, 6, 8)), packing_(packing) {
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
    while (!from.empty()) {
        const std::size_t count = std::min((from.size() + 1) / kG722SamplesPerCode, kRun);
        for (std::size_t i = 0; i < kTaps - 1; ++i) {
            even[i] = past_[2 * i];
            odd[i] = past_[2 * i + 1];
        }
        for (std::size_t i = 0; i < count; ++i) {
            even[kTaps - 1 + i] = from[2 * i];
            odd[kTaps - 1 + i] = 2 * i + 1 < from.size() ? from[2 * i + 1] : std::int16_t{0};
        }
        for (std::size_t i = 0; i < kTaps - 1; ++i) {
            past_[2 * i] = even[count + i];
            past_[2 * i + 1] = odd[count + i];
        }
        BandRun low(low_), high(high_);
        for (std::size_t i = 0; i < count; ++i) {
            const int evenSum = filterSum(&even[i], kForward), oddSum = filterSum(&odd[i], kReverse);
            // At most 25928: the coefficients' magnitudes add up to 12964.
            const int lowSample = (evenSum + oddSum) >> 14;
            const int highSample = (oddSum - evenSum) >> 14;
            const unsigned lowCode = quantiseLow(saturate(lowSample - low.prediction()), low.step());
            const unsigned highCode = quantiseHigh(saturate(highSample - high.prediction()), high.step());
            low.takeLow(lowCode);
            high.takeHigh(highCode);
            // The lower rates leave out the last bits of the lower band; the decoder's adaptation does not
            // see them.
            codes[i] = static_cast<std::uint8_t>((highCode << 6 | lowCode) >> (8 - width_));
        }
        packCodes(width_, packing_, std::span<const std::uint8_t>(codes).first(count), to);
        from = from.subspan(std::min(count * kG722SamplesPerCode, from.size()));
        to = to.subspan(static_cast<std::size_t>(packedSize(count, width_)));
    }
}

}  // namespace velor
