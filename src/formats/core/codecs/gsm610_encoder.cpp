#include <bit>

#include "formats/core/codecs/gsm610.h"
#include "formats/core/codecs/gsm610_parts.h"

namespace velor::gsm610 {

namespace {

// norm: how far a positive value can be shifted to the left in 32 bits with a sign.
int headroom(std::int32_t value) {
    return std::countl_zero(static_cast<std::uint32_t>(value)) - 1;
}

// abs, where -32768 becomes 32767.
std::int32_t magnitude(std::int32_t value) {
    return std::min(std::abs(value), 32767);
}

std::int32_t largest(std::span<const std::int16_t> samples) {
    std::int32_t most = 0;
    for (const std::int16_t sample : samples)
        most = std::max(most, std::abs(std::int32_t{sample}));
    return std::min(most, 32767);
}

using Correlations = std::array<std::int32_t, 9>;

// The autocorrelation of 160 samples (5.2.4). Loud samples are brought down to 12 bits first, which costs
// them their low bits for the rest of the coder too.
Correlations autocorrelate(std::array<std::int16_t, kFrameSamples>& samples) {
    const std::int32_t most = largest(samples);
    const int shift = most == 0 ? 0 : 4 - (headroom(most) - 16);
    // 8 zeros before and behind the samples, so that every lag is a sum of the same length.
    std::array<std::int16_t, kFrameSamples + 8> padded = {};
    if (shift > 0) {
        const std::int32_t factor = 16384 >> (shift - 1);
        for (std::size_t k = 0; k < kFrameSamples; ++k) {
            padded[8 + k] = static_cast<std::int16_t>(product(samples[k], factor));
            samples[k] = static_cast<std::int16_t>(padded[8 + k] << shift);
        }
    } else {
        std::ranges::copy(samples, padded.begin() + 8);
    }
    // |sample| <= 2048, so 160 products and the standard's doubling fit.
    Correlations sums;
    for (std::size_t lag = 0; lag < sums.size(); ++lag) {
        std::int32_t sum = 0;
        for (std::size_t k = 0; k < kFrameSamples; ++k)
            sum += padded[8 + k] * padded[8 + k - lag];
        sums[lag] = 2 * sum;
    }
    return sums;
}

// Reflection coefficients by the Schur recursion (5.2.5).
Coefficients reflect(const Correlations& correlations) {
    Coefficients r = {};
    if (correlations[0] == 0)
        return r;
    const int shift = headroom(correlations[0]);
    std::array<std::int32_t, 9> p, k = {};
    for (std::size_t i = 0; i < p.size(); ++i)
        p[i] = static_cast<std::int32_t>(static_cast<std::uint32_t>(correlations[i]) << shift) >> 16;
    std::copy(p.begin() + 1, p.end() - 1, k.begin() + 1);
    for (std::size_t n = 0; n < r.size(); ++n) {
        const std::int32_t size = magnitude(p[1]);
        if (p[0] < size)
            break;  // rounding made the filter unstable: the rest stays 0
        // The quotient of two fractions, at most the largest one below 1.
        const std::int32_t quotient = size == 0 ? 0 : std::min(size * 32768 / p[0], 32767);
        r[n] = static_cast<std::int16_t>(p[1] > 0 ? -quotient : quotient);
        p[0] = saturate(p[0] + product(p[1], r[n]));
        for (std::size_t m = 1; m + n < 8; ++m) {
            const std::int32_t next = p[m + 1];
            p[m] = saturate(next + product(k[m], r[n]));
            k[m] = saturate(k[m] + product(next, r[n]));
        }
    }
    return r;
}

// Log area ratios of the coefficients, quantised (5.2.6 and 5.2.7).
std::array<std::uint8_t, 8> encodeAreaRatios(const Coefficients& coefficients) {
    static constexpr std::array<std::int32_t, 8> kScale = {20480, 20480, 20480, 20480,
                                                           13964, 15360, 8534,  9036};  // A
    std::array<std::uint8_t, 8> codes;
    for (std::size_t i = 0; i < codes.size(); ++i) {
        std::int32_t ratio = std::abs(std::int32_t{coefficients[i]});
        if (ratio < 22118)
            ratio >>= 1;
        else if (ratio < 31130)
            ratio -= 11059;
        else
            ratio = (ratio - 26112) * 4;
        if (coefficients[i] < 0)
            ratio = -ratio;
        const std::int32_t code = (productDown(kScale[i], ratio) + kRatioOffset[i] + 256) >> 9;
        // The range of the code is symmetric: -2^(n-1) to 2^(n-1) - 1.
        codes[i] = static_cast<std::uint8_t>(std::clamp(code, kRatioMinimum[i], -kRatioMinimum[i] - 1) -
                                             kRatioMinimum[i]);
    }
    return codes;
}

struct Prediction {
    std::uint8_t lag, gain;
};

// The lag whose past residual resembles the 40 samples most, and how strongly (5.2.11). `past` points at the
// sample that would follow the past one.
Prediction predict(const std::int16_t* wanted, const std::int16_t* past) {
    const std::int32_t most = largest({wanted, 40});
    const int room = most == 0 ? 0 : headroom(most) - 16;
    const int shift = most == 0 || room > 6 ? 0 : 6 - room;
    std::array<std::int16_t, 40> scaled;
    for (std::size_t k = 0; k < scaled.size(); ++k)
        scaled[k] = static_cast<std::int16_t>(wanted[k] >> shift);

    // |scaled| <= 512, so 40 products and the standard's doubling fit.
    std::int32_t best = 0;
    int lag = 40;
    for (int candidate = 40; candidate <= 120; ++candidate) {
        const std::int16_t* from = past - candidate;
        std::int32_t sum = 0;
        for (int k = 0; k < 40; ++k)
            sum += scaled[static_cast<std::size_t>(k)] * from[k];
        if (sum > best) {
            best = sum;
            lag = candidate;
        }
    }
    best = best * 2 >> (6 - shift);

    std::int32_t power = 0;
    for (int k = 0; k < 40; ++k) {
        const std::int32_t sample = past[k - lag] >> 3;
        power += sample * sample;
    }
    power *= 2;

    std::uint8_t gain = 0;
    if (best >= power && best > 0) {
        gain = 3;
    } else if (best > 0) {
        static constexpr std::array<std::int32_t, 3> kDecisions = {6554, 16384, 26214};  // DLB
        const int up = headroom(power);
        const std::int32_t r = (best << up) >> 16;
        const std::int32_t s = (power << up) >> 16;
        while (gain < 3 && r > productDown(s, kDecisions[gain]))
            ++gain;
    }
    return {static_cast<std::uint8_t>(lag), gain};
}

// Chooses which third of the weighted residual is kept, and quantises it (5.2.13 to 5.2.15).
void encodeResidual(const std::int16_t* residual, Subframe& to) {
    // The weighting filter, a low-pass of 11 taps.
    static constexpr std::array<std::int16_t, 11> kTaps = {-134, -374, 0, 2054, 5741, 8192,
                                                           5741, 2054, 0, -374, -134};  // H
    std::array<std::int16_t, 50> padded = {};
    std::copy_n(residual, 40, padded.begin() + 5);
    std::array<std::int32_t, 40> sums;
    sums.fill(4096);
    for (std::size_t tap = 0; tap < kTaps.size(); ++tap) {
        for (std::size_t k = 0; k < sums.size(); ++k)
            sums[k] += padded[k + tap] * kTaps[tap];
    }
    std::array<std::int16_t, 40> weighted;
    for (std::size_t k = 0; k < sums.size(); ++k)
        weighted[k] = static_cast<std::int16_t>(saturate(sums[k] >> 13));

    std::int32_t most = -1;
    for (std::uint8_t grid = 0; grid < 4; ++grid) {
        std::int32_t energy = 0;
        for (std::size_t i = 0; i < 13; ++i) {
            const std::int32_t sample = weighted[grid + 3 * i] >> 2;
            energy += sample * sample;
        }
        if (energy > most) {
            most = energy;
            to.grid = grid;
        }
    }
    std::array<std::int16_t, 13> kept;
    for (std::size_t i = 0; i < kept.size(); ++i)
        kept[i] = weighted[to.grid + 3 * i];

    // The maximum as a floating number of three exponent and three mantissa bits, rounded down.
    const std::int32_t maximum = largest(kept);
    const int exponent = static_cast<int>(std::bit_width(static_cast<std::uint32_t>(maximum >> 9)));
    to.maximum = static_cast<std::uint8_t>((maximum >> (exponent + 5)) + exponent * 8);

    static constexpr std::array<std::int32_t, 8> kReciprocals = {29128, 26215, 23832, 21846,
                                                                 20165, 18725, 17476, 16384};  // NRFAC
    const BlockScale scale = blockScale(to.maximum);
    const std::int32_t reciprocal = kReciprocals[static_cast<std::size_t>(scale.mantissa)];
    for (std::size_t i = 0; i < kept.size(); ++i) {
        const std::int32_t sample = kept[i] * (1 << (6 - scale.exponent));
        to.samples[i] = static_cast<std::uint8_t>((productDown(sample, reciprocal) >> 12) + 4);
    }
}

}  // namespace

// Downscaling, offset compensation and pre-emphasis (5.2.1 to 5.2.3).
void Encoder::preprocess(std::span<const std::int16_t, kFrameSamples> from, Samples& to) {
    constexpr std::int32_t kOffset = 32735;
    constexpr std::int32_t kPreemphasis = -28180;
    for (std::size_t k = 0; k < kFrameSamples; ++k) {
        const std::int32_t input = (from[k] >> 3) * 4;
        const std::int64_t step = input - offsetInput_;
        offsetInput_ = input;
        // The standard multiplies the two halves of the 31-bit state one by one; the sum is this product.
        // With inputs of 15 bits the state stays within 31 bits, so nothing saturates.
        offset_ = step * 32768 + ((offset_ * kOffset + 16384) >> 15);
        const auto filtered = static_cast<std::int32_t>((offset_ + 16384) >> 15);
        to[k] = static_cast<std::int16_t>(saturate(filtered + product(preemphasis_, kPreemphasis)));
        preemphasis_ = filtered;
    }
}

// The short-term analysis filter (5.2.10), a lattice without feedback, so one stage runs over the whole frame
// before the next: that is what makes it a matter of vectors.
void Encoder::analyse(const Coefficients& areaRatios, Samples& samples) {
    const auto zones = reflectionCoefficients(areaRatios_, areaRatios);
    areaRatios_ = areaRatios;
    std::array<std::int16_t, kFrameSamples> r;
    // The backward residual before and after a stage; element 0 is the sample before the frame.
    std::array<std::int16_t, kFrameSamples + 1> backward, after;
    std::ranges::copy(samples, backward.begin() + 1);
    for (std::size_t stage = 0; stage < 8; ++stage) {
        for (std::size_t zone = 0, start = 0; zone < zones.size(); start = kZoneEnds[zone++])
            std::fill(r.begin() + start, r.begin() + kZoneEnds[zone], zones[zone][stage]);
        backward[0] = lattice_[stage];
        lattice_[stage] = backward[kFrameSamples];
        for (std::size_t k = 0; k < kFrameSamples; ++k) {
            const std::int32_t delayed = backward[k], forward = samples[k];
            after[k + 1] = static_cast<std::int16_t>(saturate(delayed + product(r[k], forward)));
            samples[k] = static_cast<std::int16_t>(saturate(forward + product(r[k], delayed)));
        }
        std::swap(backward, after);
    }
}

// Encodes 40 samples and appends what the decoder will have to its residual.
void Encoder::encodeSubframe(const std::int16_t* wanted, std::int16_t* residual, Subframe& to) {
    const Prediction prediction = predict(wanted, residual);
    to.lag = prediction.lag;
    to.gain = prediction.gain;
    const std::int32_t gain = kGains[to.gain];
    std::array<std::int16_t, 40> rest;
    for (int k = 0; k < 40; ++k) {
        residual[k] = static_cast<std::int16_t>(product(gain, residual[k - to.lag]));
        rest[static_cast<std::size_t>(k)] = static_cast<std::int16_t>(saturate(wanted[k] - residual[k]));
    }
    encodeResidual(rest.data(), to);
    const auto decoded = decodeResidual(to);
    for (std::size_t i = 0; i < decoded.size(); ++i) {
        std::int16_t& sample = residual[to.grid + 3 * i];
        sample = static_cast<std::int16_t>(saturate(sample + decoded[i]));
    }
}

Frame Encoder::encode(std::span<const std::int16_t, kFrameSamples> from) {
    Samples samples;
    preprocess(from, samples);
    Frame frame;
    frame.logAreaRatios = encodeAreaRatios(reflect(autocorrelate(samples)));
    analyse(decodeAreaRatios(frame.logAreaRatios), samples);
    std::int16_t* residual = residual_.data() + kHistory;
    const std::int16_t* wanted = samples.data();
    for (Subframe& subframe : frame.subframes) {
        encodeSubframe(wanted, residual, subframe);
        wanted += 40;
        residual += 40;
    }
    std::copy(residual_.end() - kHistory, residual_.end(), residual_.begin());
    return frame;
}

void Encoder::encodePair(std::span<const std::int16_t, kPairSamples> from, std::span<Byte, kPairBytes> to) {
    const Frame first = encode(from.first<kFrameSamples>());
    packPair({first, encode(from.last<kFrameSamples>())}, to);
}

void StoredEncoder::encode(std::span<const std::int16_t> from, std::span<Byte> to) {
    while (!from.empty() && to.size() >= unitBytes()) {
        std::array<std::int16_t, kPairSamples> samples{};
        const std::size_t now = std::min(from.size(), unitSamples());
        std::copy_n(from.begin(), now, samples.begin());
        const std::span<const std::int16_t, kFrameSamples> frame(samples.data(), kFrameSamples);
        if (layout_ == Layout::Pairs)
            encoder_.encodePair(samples, to.first<kPairBytes>());
        else if (layout_ == Layout::Modem)
            packModemFrame(encoder_.encode(frame), to.first<kModemFrameBytes>());
        else
            encoder_.encodeFrame(frame, to.first<kFrameBytes>());
        from = from.subspan(now);
        to = to.subspan(unitBytes());
    }
}

}  // namespace velor::gsm610
