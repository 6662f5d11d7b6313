#include "formats/core/codecs/gsm610.h"

#include "formats/core/codecs/gsm610_parts.h"

namespace velor::gsm610 {

// ---- Bit layouts ----

// In both layouts the ratios take 36 bits and every subframe 56, which lie on a byte or in the middle of one.
// So a group is fetched as one word and its fields are cut from that.
namespace {

constexpr std::array<unsigned, 8> kRatioBits = {6, 6, 5, 5, 4, 4, 3, 3};
constexpr unsigned kRatiosBits = 36;
constexpr unsigned kSubframeBits = 56;
constexpr unsigned kGroupBits = kRatiosBits + 4 * kSubframeBits;
constexpr unsigned kSignatureBits = 4;
constexpr std::uint64_t kSignature = 0xD;

// Most significant bits first. Both directions use one class: fields are taken from or put into a word.
class MsbFirst {
  public:
    MsbFirst(std::uint64_t word, unsigned bits) : word_(word), left_(bits) {}
    std::uint8_t take(unsigned bits) {
        left_ -= bits;
        return static_cast<std::uint8_t>(word_ >> left_ & ((1u << bits) - 1));
    }
    void put(std::uint8_t value, unsigned bits) {
        left_ -= bits;
        word_ |= std::uint64_t{value} << left_;
    }
    std::uint64_t word() const { return word_; }

    static std::uint64_t load(const Byte* from, unsigned offset, unsigned bits) {
        std::uint64_t word = 0;
        const unsigned end = offset + bits;
        for (unsigned i = offset / 8; i < (end + 7) / 8; ++i)
            word = word << 8 | from[i];
        return word >> (7 - (end + 7) % 8);
    }
    static void store(std::uint64_t word, Byte* to, unsigned offset, unsigned bits) {
        const unsigned end = offset + bits;
        word <<= 7 - (end + 7) % 8;
        for (unsigned i = (end + 7) / 8; i-- > offset / 8; word >>= 8)
            to[i] |= static_cast<Byte>(word);
    }

  private:
    std::uint64_t word_;
    unsigned left_;
};

class LsbFirst {
  public:
    LsbFirst(std::uint64_t word, unsigned) : word_(word) {}
    std::uint8_t take(unsigned bits) {
        const auto value = static_cast<std::uint8_t>(word_ & ((1u << bits) - 1));
        word_ >>= bits;
        return value;
    }
    void put(std::uint8_t value, unsigned bits) {
        word_ |= std::uint64_t{value} << used_;
        used_ += bits;
    }
    std::uint64_t word() const { return word_; }

    static std::uint64_t load(const Byte* from, unsigned offset, unsigned bits) {
        std::uint64_t word = 0;
        for (unsigned i = (offset + bits + 7) / 8; i-- > offset / 8;)
            word = word << 8 | from[i];
        return word >> offset % 8;
    }
    static void store(std::uint64_t word, Byte* to, unsigned offset, unsigned bits) {
        word <<= offset % 8;
        for (unsigned i = offset / 8; i < (offset + bits + 7) / 8; ++i, word >>= 8)
            to[i] |= static_cast<Byte>(word);
    }

  private:
    std::uint64_t word_;
    unsigned used_ = 0;
};

template <typename Order>
Frame unpack(const Byte* from, unsigned offset) {
    Frame frame;
    Order ratios(Order::load(from, offset, kRatiosBits), kRatiosBits);
    for (std::size_t i = 0; i < kRatioBits.size(); ++i)
        frame.logAreaRatios[i] = ratios.take(kRatioBits[i]);
    offset += kRatiosBits;
    for (Subframe& subframe : frame.subframes) {
        Order fields(Order::load(from, offset, kSubframeBits), kSubframeBits);
        subframe.lag = fields.take(7);
        subframe.gain = fields.take(2);
        subframe.grid = fields.take(2);
        subframe.maximum = fields.take(6);
        for (std::uint8_t& sample : subframe.samples)
            sample = fields.take(3);
        offset += kSubframeBits;
    }
    return frame;
}

// Into bytes that are 0.
template <typename Order>
void pack(const Frame& frame, Byte* to, unsigned offset) {
    Order ratios(0, kRatiosBits);
    for (std::size_t i = 0; i < kRatioBits.size(); ++i)
        ratios.put(frame.logAreaRatios[i], kRatioBits[i]);
    Order::store(ratios.word(), to, offset, kRatiosBits);
    offset += kRatiosBits;
    for (const Subframe& subframe : frame.subframes) {
        Order fields(0, kSubframeBits);
        fields.put(subframe.lag, 7);
        fields.put(subframe.gain, 2);
        fields.put(subframe.grid, 2);
        fields.put(subframe.maximum, 6);
        for (const std::uint8_t sample : subframe.samples)
            fields.put(sample, 3);
        Order::store(fields.word(), to, offset, kSubframeBits);
        offset += kSubframeBits;
    }
}

}  // namespace

Frame unpackFrame(std::span<const Byte, kFrameBytes> from) {
    return unpack<MsbFirst>(from.data(), kSignatureBits);
}

void packFrame(const Frame& frame, std::span<Byte, kFrameBytes> to) {
    std::ranges::fill(to, Byte{0});
    to[0] = static_cast<Byte>(kSignature << 4);
    pack<MsbFirst>(frame, to.data(), kSignatureBits);
}

std::array<Frame, 2> unpackPair(std::span<const Byte, kPairBytes> from) {
    return {unpack<LsbFirst>(from.data(), 0), unpack<LsbFirst>(from.data(), kGroupBits)};
}

void packPair(const std::array<Frame, 2>& frames, std::span<Byte, kPairBytes> to) {
    std::ranges::fill(to, Byte{0});
    pack<LsbFirst>(frames[0], to.data(), 0);
    pack<LsbFirst>(frames[1], to.data(), kGroupBits);
}

// ---- Shared parts ----

Coefficients decodeAreaRatios(const std::array<std::uint8_t, 8>& codes) {
    static constexpr std::array<std::int32_t, 8> kInverse = {13107, 13107, 13107, 13107,
                                                             19223, 17476, 31454, 29708};  // INVA
    Coefficients ratios;
    for (std::size_t i = 0; i < ratios.size(); ++i) {
        const std::int32_t code = codes[i] + kRatioMinimum[i];
        const std::int32_t half = product(kInverse[i], saturate(code * 1024 - kRatioOffset[i] * 2));
        ratios[i] = static_cast<std::int16_t>(saturate(2 * half));
    }
    return ratios;
}

std::array<Coefficients, 4> reflectionCoefficients(const Coefficients& before, const Coefficients& now) {
    std::array<Coefficients, 4> zones;
    for (std::size_t i = 0; i < now.size(); ++i) {
        const std::int32_t a = before[i], b = now[i];
        zones[0][i] = static_cast<std::int16_t>(saturate((a >> 2) + (b >> 2) + (a >> 1)));
        zones[1][i] = static_cast<std::int16_t>((a >> 1) + (b >> 1));
        zones[2][i] = static_cast<std::int16_t>(saturate((a >> 2) + (b >> 2) + (b >> 1)));
        zones[3][i] = now[i];
    }
    for (Coefficients& zone : zones) {
        for (std::int16_t& value : zone) {
            // Piecewise linear for the hyperbolic tangent.
            std::int32_t size = std::min(std::abs(std::int32_t{value}), 32767);
            if (size < 11059)
                size *= 2;
            else if (size < 20070)
                size += 11059;
            else
                size = std::min((size >> 2) + 26112, 32767);
            value = static_cast<std::int16_t>(value < 0 ? -size : size);
        }
    }
    return zones;
}

BlockScale blockScale(std::uint8_t maximum) {
    BlockScale scale = {0, maximum};
    if (maximum > 15) {
        scale.exponent = (maximum >> 3) - 1;
        scale.mantissa = maximum - scale.exponent * 8;
    }
    if (scale.mantissa == 0)
        return {-4, 7};
    while (scale.mantissa <= 7) {
        scale.mantissa = scale.mantissa << 1 | 1;
        --scale.exponent;
    }
    scale.mantissa -= 8;
    return scale;
}

std::array<std::int16_t, 13> decodeResidual(const Subframe& from) {
    static constexpr std::array<std::int32_t, 8> kFactors = {18431, 20479, 22527, 24575,
                                                             26623, 28671, 30719, 32767};  // FAC
    const BlockScale scale = blockScale(from.maximum);
    const std::int32_t factor = kFactors[static_cast<std::size_t>(scale.mantissa)];
    const std::int32_t shift = 6 - scale.exponent;
    const std::int32_t half = shift > 0 ? 1 << (shift - 1) : 0;
    std::array<std::int16_t, 13> samples;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::int32_t code = (from.samples[i] * 2 - 7) * 4096;
        samples[i] = static_cast<std::int16_t>(saturate(product(factor, code) + half) >> shift);
    }
    return samples;
}

// ---- Decoder ----

namespace {

// Saturation as a branch that is hardly ever taken: the chain of additions does not wait for it.
inline std::int32_t saturateSeldom(std::int32_t value) {
    if (value != static_cast<std::int16_t>(value)) [[unlikely]]
        return value < 0 ? -32768 : 32767;
    return value;
}

// The short-term synthesis filter (5.3.4), a lattice of eight stages, over samples with the same
// coefficients.
void synthesise(const Coefficients& coefficients, std::array<std::int32_t, 8>& lattice,
                const std::int16_t* from, std::int32_t* to, std::size_t count) {
    std::int32_t v[8], r[8];
    std::copy_n(lattice.begin(), 8, v);
    std::copy_n(coefficients.begin(), 8, r);
    for (std::size_t k = 0; k < count; ++k) {
        std::int32_t value = saturateSeldom(from[k] - product(r[7], v[7]));
#pragma GCC unroll 7
        for (int i = 6; i >= 0; --i) {
            value = saturateSeldom(value - product(r[i], v[i]));
            v[i + 1] = saturateSeldom(v[i] + product(r[i], value));
        }
        v[0] = value;
        to[k] = value;
    }
    std::copy_n(v, 8, lattice.begin());
}

}  // namespace

void Decoder::decode(const Frame& frame, std::span<std::int16_t, kFrameSamples> to) {
    std::int16_t* residual = residual_.data() + kHistory;
    for (const Subframe& subframe : frame.subframes) {
        // A lag that no encoder makes means a damaged frame: the last one is the best guess.
        if (subframe.lag >= 40 && subframe.lag <= 120)
            lag_ = subframe.lag;
        const std::int32_t gain = kGains[subframe.gain];
        for (int k = 0; k < 40; ++k)
            residual[k] = static_cast<std::int16_t>(product(gain, residual[k - lag_]));
        const auto samples = decodeResidual(subframe);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            std::int16_t& sample = residual[subframe.grid + 3 * i];
            sample = static_cast<std::int16_t>(saturate(sample + samples[i]));
        }
        residual += 40;
    }

    const Coefficients areaRatios = decodeAreaRatios(frame.logAreaRatios);
    const auto zones = reflectionCoefficients(areaRatios_, areaRatios);
    areaRatios_ = areaRatios;
    std::array<std::int32_t, kFrameSamples> filtered;
    residual = residual_.data() + kHistory;
    for (std::size_t zone = 0, start = 0; zone < zones.size(); start = kZoneEnds[zone++])
        synthesise(zones[zone], lattice_, residual + start, filtered.data() + start, kZoneEnds[zone] - start);
    std::copy(residual_.end() - kHistory, residual_.end(), residual_.begin());

    constexpr std::int32_t kDeemphasis = 28180;
    for (std::size_t k = 0; k < kFrameSamples; ++k) {
        deemphasis_ = saturateSeldom(filtered[k] + product(deemphasis_, kDeemphasis));
        to[k] = static_cast<std::int16_t>(saturate(2 * deemphasis_) & ~7);
    }
}

void Decoder::decodePair(std::span<const Byte, kPairBytes> from, std::span<std::int16_t, kPairSamples> to) {
    const auto frames = unpackPair(from);
    decode(frames[0], to.first<kFrameSamples>());
    decode(frames[1], to.last<kFrameSamples>());
}

// ---- Stored data ----

std::size_t FramesDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    std::size_t samples = 0;
    for (; from.size() >= kFrameBytes && to.size() - samples >= kFrameSamples; samples += kFrameSamples) {
        decoder_.decodeFrame(from.first<kFrameBytes>(), to.subspan(samples).first<kFrameSamples>());
        from = from.subspan(kFrameBytes);
    }
    return samples;
}

std::size_t PairsDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    std::size_t samples = 0;
    for (; from.size() >= kPairBytes && to.size() - samples >= kPairSamples; samples += kPairSamples) {
        decoder_.decodePair(from.first<kPairBytes>(), to.subspan(samples).first<kPairSamples>());
        from = from.subspan(kPairBytes);
    }
    // Half a pair is a frame.
    if (from.size() * 8 >= kGroupBits && from.size() < kPairBytes && to.size() - samples >= kFrameSamples) {
        decoder_.decode(unpack<LsbFirst>(from.data(), 0), to.subspan(samples).first<kFrameSamples>());
        samples += kFrameSamples;
    }
    return samples;
}

namespace {

constexpr Byte kModemSpeech = 0xFE, kModemSilence = 0xB6, kModemEnd = 0xA5;
constexpr std::size_t kModemHead = 2;

}  // namespace

void packModemFrame(const Frame& frame, std::span<Byte, kModemFrameBytes> to) {
    to[0] = to[1] = kModemSpeech;
    packFrame(frame, to.subspan<kModemHead, kFrameBytes>());
    to[35] = 0;
    to[36] = to[37] = kModemEnd;
}

std::size_t ModemDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    std::array<std::int16_t, kFrameSamples> decoded;
    std::size_t samples = 0, at = 0;
    for (std::size_t frames = from.size() / kModemFrameBytes; frames > 0 && samples < to.size(); --frames) {
        // The position never outruns the count, so every frame lies within the data.
        const auto frame = from.subspan(at).first<kModemFrameBytes>();
        const bool marked = frame[0] == kModemSpeech || frame[0] == kModemSilence || frame[35] == 0;
        decoder_.decodeFrame(marked ? frame.subspan<kModemHead, kFrameBytes>() : frame.first<kFrameBytes>(),
                             decoded);
        at += marked ? kModemFrameBytes : kFrameBytes;
        const std::size_t now = std::min(to.size() - samples, kFrameSamples);
        std::copy_n(decoded.begin(), now, to.begin() + static_cast<std::ptrdiff_t>(samples));
        samples += now;
    }
    return samples;
}

}  // namespace velor::gsm610
