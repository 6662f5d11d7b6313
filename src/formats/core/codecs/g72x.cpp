#include "formats/core/codecs/g72x.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace velor {

namespace {

// ---- Tables, G.726 tables 7 to 13 ----

// The codes of one sign from the smallest difference to the largest.
template <int kWidth>
struct Rate;

template <>
struct Rate<2> {
    static constexpr int kLimits[] = {261};
    static constexpr int kLevels[] = {116, 365};
    static constexpr int kScale[] = {-22, 439};
    static constexpr int kSpeed[] = {0, 7};
    static constexpr int kZeroLeak = 8;
};
template <>
struct Rate<3> {
    static constexpr int kLimits[] = {8, 218, 331};
    static constexpr int kLevels[] = {-2048, 135, 273, 373};
    static constexpr int kScale[] = {-4, 30, 137, 582};
    static constexpr int kSpeed[] = {0, 1, 2, 7};
    static constexpr int kZeroLeak = 8;
};
template <>
struct Rate<4> {
    static constexpr int kLimits[] = {-124, 80, 178, 246, 300, 349, 400};
    static constexpr int kLevels[] = {-2048, 4, 135, 213, 273, 323, 373, 425};
    static constexpr int kScale[] = {-12, 18, 41, 64, 112, 198, 355, 1122};
    static constexpr int kSpeed[] = {0, 0, 0, 1, 1, 1, 3, 7};
    static constexpr int kZeroLeak = 8;
};
template <>
struct Rate<5> {
    static constexpr int kLimits[] = {-122, -16, 68,  139, 198, 250, 298, 339,
                                      378,  413, 445, 475, 502, 528, 553};
    static constexpr int kLevels[] = {-2048, -66, 28,  104, 169, 224, 274, 318,
                                      358,   395, 429, 459, 488, 514, 539, 566};
    static constexpr int kScale[] = {14, 14, 24, 39, 40, 41, 58, 100, 141, 179, 219, 280, 358, 440, 529, 696};
    static constexpr int kSpeed[] = {0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 2, 3, 4, 5, 6, 6};
    static constexpr int kZeroLeak = 9;
};

// What a code means, for all codes of a width: the lower half is positive, the upper half its ones'
// complement.
struct CodeMeaning {
    std::int16_t level;  // DQLN: log2 of the normalised difference, 7 fractional bits
    std::int16_t speed;  // FI, 9 fractional bits
    std::int32_t scale;  // WI, in the 9 fractional bits of y
};

template <int kWidth>
constexpr auto makeMeanings() {
    std::array<CodeMeaning, 1u << kWidth> meanings{};
    constexpr std::size_t kHalf = 1u << (kWidth - 1);
    for (std::size_t i = 0; i < kHalf; ++i) {
        meanings[i] = {static_cast<std::int16_t>(Rate<kWidth>::kLevels[i]),
                       static_cast<std::int16_t>(Rate<kWidth>::kSpeed[i] << 9), Rate<kWidth>::kScale[i] * 32};
        meanings[2 * kHalf - 1 - i] = meanings[i];
    }
    return meanings;
}
template <int kWidth>
constexpr auto kMeanings = makeMeanings<kWidth>();

// The quantiser as a table over DLN, the 12-bit two's complement log2 of the normalised difference: the
// number of decision levels at or below it.
template <int kWidth>
constexpr auto makeIntervals() {
    std::array<std::uint8_t, 4096> intervals{};
    for (int i = 0; i < 4096; ++i) {
        for (const int limit : Rate<kWidth>::kLimits)
            if ((i < 2048 ? i : i - 4096) >= limit)
                ++intervals[static_cast<std::size_t>(i)];
    }
    return intervals;
}
template <int kWidth>
constexpr auto kIntervals = makeIntervals<kWidth>();

// ---- Arithmetic ----

constexpr int wrap16(int value) {
    return static_cast<std::int16_t>(value);
}

// mask: 0 or -1. Signs are as good as random here, so branches on them would mostly be mispredicted.
constexpr int negateIf(int mask, int value) {
    return (value ^ mask) - mask;
}

// FLOATA, FLOATB and the first half of FMULT. magnitude: 15 bits.
struct FloatForm {
    int exponent, mantissa;
};
constexpr FloatForm toFloatForm(unsigned magnitude) {
    // The bit width, with 0 for 0 but without its special case; then the mantissa's top bit is set anyway.
    const int exponent = 31 - std::countl_zero(magnitude * 2 | 1u);
    return {exponent, static_cast<int>(magnitude << 6 >> exponent | 32)};
}
constexpr G72xHistory toHistory(unsigned magnitude, int sign) {
    const FloatForm form = toFloatForm(magnitude);
    return {static_cast<std::int8_t>(form.exponent), static_cast<std::int8_t>(form.mantissa),
            static_cast<std::int8_t>(sign)};
}

// FMULT: coefficient (16-bit) times a past value.
inline int multiply(int coefficient, const G72xHistory& value) {
    const FloatForm form = toFloatForm(static_cast<unsigned>(std::abs(coefficient >> 2)) & 8191u);
    // 48 rounds the product of the mantissas.
    const int mantissa = (form.mantissa * value.mantissa + 48) >> 4;
    const int product = (mantissa << 9 >> (28 - form.exponent - value.exponent)) & 0x7FFF;
    return negateIf((coefficient >> 31) ^ value.sign, product);
}

// ---- One channel ----

constexpr std::size_t kRun = 512;  // codes that are unpacked and worked on at a time

// A run of codes of one channel. The state is copied in and out, so that the compiler need not fear that
// samples or codes overlap it; the differences lie in one long row, so that none has to move.
template <int kWidth>
class Channel {
  public:
    explicit Channel(G72xState& state) : home_(state), s_(state) { std::ranges::copy(state.dq, dq_.begin()); }
    ~Channel() {
        std::copy_n(past_, 6, s_.dq.begin());
        home_ = s_;
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    std::int16_t decode(unsigned code) {
        predict();
        return static_cast<std::int16_t>(std::clamp(reconstruct(code), -8192, 8191) * 4);
    }

    unsigned encode(std::int16_t sample) {
        predict();
        const int difference = wrap16((sample >> 2) - se_);
        const auto magnitude = static_cast<unsigned>(std::abs(difference));
        const int exponent = 31 - std::countl_zero(magnitude | 1u);
        const int log = exponent * 128 + static_cast<int>(magnitude << 7 >> exponent & 127u);
        const unsigned interval = kIntervals<kWidth>[static_cast<unsigned>(log - (y_ >> 2)) & 4095u];
        constexpr unsigned kAllOnes = (1u << kWidth) - 1;
        // A code of all zeros is never sent, but at 16 kbit/s.
        const bool complement = difference < 0 || (kWidth != 2 && interval == 0);
        const unsigned code = complement ? kAllOnes - interval : interval;
        reconstruct(code);
        return code;
    }

  private:
    // From the past alone: the signal estimate se_, its part sez_ from the zeros, and the scale factor y_.
    void predict() {
        int zeros = 0;
        for (std::size_t i = 0; i < 6; ++i)
            zeros += multiply(s_.b[i], past_[5 - i]);
        zeros = wrap16(zeros);
        sez_ = zeros >> 1;
        se_ = wrap16(zeros + multiply(s_.a2, s_.sr2) + multiply(s_.a1, s_.sr1)) >> 1;

        // MIX, LIMA: between the slow and the fast factor; the product is rounded towards zero.
        const int al = std::min(s_.ap >> 2, 64);
        const int slow = s_.yl >> 6;
        y_ = slow + (s_.yu - slow) * al / 64;
    }

    // Takes the code in and returns the reconstructed signal SR.
    int reconstruct(unsigned code) {
        const CodeMeaning& meaning = kMeanings<kWidth>[code];
        const int log = meaning.level + (y_ >> 2);
        const int sign = -static_cast<int>(code >> (kWidth - 1));
        const int magnitude = log < 0 ? 0 : (128 + (log & 127)) << 7 >> (14 - (log >> 7));
        const int dq = negateIf(sign, magnitude);
        const int sr = wrap16(se_ + dq);

        const bool transition = s_.td && magnitude > transitionLimit();
        adaptScale(meaning);
        if (transition) [[unlikely]] {
            s_.a1 = s_.a2 = 0;
            s_.b = {};
            s_.td = false;
            shiftSigns(wrap16(dq + sez_) >> 31);
        } else {
            adaptPredictor(magnitude, sign, wrap16(dq + sez_));
        }
        adaptSpeed(meaning, transition);

        past_[6] = toHistory(static_cast<unsigned>(magnitude), sign);
        ++past_;
        s_.sr2 = s_.sr1;
        s_.sr1 = toHistory(static_cast<unsigned>(std::abs(sr)) & 0x7FFFu, sr >> 31);
        return sr;
    }

    // TRANS: a difference above it ends a tone.
    int transitionLimit() const {
        const int whole = s_.yl >> 15;
        const int limit = whole > 9 ? 31 << 10 : (32 + (s_.yl >> 10 & 31)) << whole;
        return (limit + (limit >> 1)) >> 1;
    }

    // FUNCTW, FILTD, LIMB, FILTE
    void adaptScale(const CodeMeaning& meaning) {
        s_.yu = std::clamp(y_ + ((meaning.scale - y_) >> 5), 544, 5120);
        s_.yl += s_.yu + (-s_.yl >> 6);
    }

    void shiftSigns(int pk0) {
        s_.pk2 = s_.pk1;
        s_.pk1 = pk0;
    }

    // UPA2, LIMC, UPA1, LIMD, UPB, TONE. partial: the difference plus the zeros' estimate.
    void adaptPredictor(int magnitude, int sign, int partial) {
        const int pk0 = partial >> 31;
        int a1 = s_.a1 - (s_.a1 >> 8), a2 = s_.a2 - (s_.a2 >> 7);
        if (partial != 0) {
            const int towards = pk0 ^ s_.pk1;  // -1 where the signs differ
            const int limited = std::clamp(s_.a1, -8191, 8191);
            a2 += (negateIf(~towards, limited) >> 5) + negateIf(pk0 ^ s_.pk2, 128);
            a1 += negateIf(towards, 192);
        }
        s_.a2 = std::clamp(a2, -12288, 12288);
        const int bound = 15360 - s_.a2;
        s_.a1 = std::clamp(a1, -bound, bound);
        s_.td = s_.a2 < -11776;

        const int step = magnitude != 0 ? 128 : 0;
        for (std::size_t i = 0; i < 6; ++i) {
            const int differs = sign ^ past_[5 - i].sign;
            s_.b[i] = wrap16(s_.b[i] - (s_.b[i] >> Rate<kWidth>::kZeroLeak) + negateIf(differs, step));
        }
        shiftSigns(pk0);
    }

    // FILTA, FILTB, SUBTC, FILTC, TRIGA
    void adaptSpeed(const CodeMeaning& meaning, bool transition) {
        s_.dms += (meaning.speed - s_.dms) >> 5;
        s_.dml += (meaning.speed * 4 - s_.dml) >> 7;
        const bool fast = y_ < 1536 || s_.td || std::abs(s_.dms * 4 - s_.dml) >= s_.dml >> 3;
        s_.ap = transition ? 256 : s_.ap + (((fast ? 512 : 0) - s_.ap) >> 4);
    }

    G72xState& home_;
    G72xState s_;
    std::array<G72xHistory, kRun + 6> dq_;
    G72xHistory* past_ = dq_.data();  // the last six, the oldest first
    int sez_ = 0, se_ = 0, y_ = 0;
};

// Calls the function with the width as a constant.
template <typename Function>
void withWidth(int width, Function&& function) {
    switch (width) {
        case 2:
            return function.template operator()<2>();
        case 3:
            return function.template operator()<3>();
        case 4:
            return function.template operator()<4>();
        default:
            return function.template operator()<5>();
    }
}

}  // namespace

G72xDecoder::G72xDecoder(int width, CodePacking packing, int channels)
    : width_(std::clamp(width, 2, 5)),
      packing_(packing),
      channels_(static_cast<std::size_t>(std::clamp(channels, 1, 2))) {}

std::size_t G72xDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    const std::size_t total = std::min(codesIn(from.size(), width_), to.size());
    to = to.first(total);
    withWidth(width_, [&]<int kWidth>() {
        std::array<std::uint8_t, kRun> codes;
        while (!to.empty()) {
            const std::size_t count = std::min(to.size(), kRun);
            unpackCodes(kWidth, packing_, from, std::span(codes).first(count));
            for (std::size_t c = 0; c < channels_; ++c) {
                Channel<kWidth> channel(states_[c]);
                for (std::size_t i = c; i < count; i += channels_)
                    to[i] = channel.decode(codes[i]);
            }
            to = to.subspan(count);
            from = from.subspan(static_cast<std::size_t>(packedSize(count, kWidth)));
        }
    });
    return total;
}

G72xEncoder::G72xEncoder(int width, CodePacking packing, int channels)
    : width_(std::clamp(width, 2, 5)),
      packing_(packing),
      channels_(static_cast<std::size_t>(std::clamp(channels, 1, 2))) {}

void G72xEncoder::encode(std::span<const std::int16_t> from, std::span<Byte> to) {
    withWidth(width_, [&]<int kWidth>() {
        std::array<std::uint8_t, kRun> codes;
        while (!from.empty()) {
            const std::size_t count = std::min(from.size(), kRun);
            for (std::size_t c = 0; c < channels_; ++c) {
                Channel<kWidth> channel(states_[c]);
                for (std::size_t i = c; i < count; i += channels_)
                    codes[i] = static_cast<std::uint8_t>(channel.encode(from[i]));
            }
            packCodes(kWidth, packing_, std::span<const std::uint8_t>(codes).first(count), to);
            from = from.subspan(count);
            to = to.subspan(static_cast<std::size_t>(packedSize(count, kWidth)));
        }
    });
}

}  // namespace velor
