#include "formats/core/codecs/rockwell.h"

#include <algorithm>
#include <cstdlib>

namespace velor {

namespace {

std::int32_t saturate(std::int64_t value) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, -32768, 32767));
}

// The rounded product of two fractions of 15 bits.
std::int32_t product(std::int32_t a, std::int32_t b) {
    return saturate((std::int64_t{a} * b + 16384) >> 15);
}

}  // namespace

// Both columns are a quarter of their real value, to fit 15 fractional bits.
struct RockwellCodec::Table {
    std::array<std::int16_t, 16> factors;      // what a code does to the step
    std::array<std::int16_t, 16> differences;  // what it stands for, in steps
    std::int32_t largestStep;
};

namespace {

constexpr std::int16_t fraction(std::uint16_t bits) {
    return static_cast<std::int16_t>(bits);
}

}  // namespace

RockwellCodec::RockwellCodec(int bits) : bits_(bits == 2 || bits == 3 ? bits : 4) {
    static constexpr Table kTables[] = {
        {{0x3333, 0x199A, 0x199A, 0x3333}, {fraction(0xCFAE), fraction(0xF183), 0x0E7D, 0x3052}, 0x54C4},
        {{0x3800, 0x2800, 0x1CCD, 0x1CCD, 0x1CCD, 0x1CCD, 0x2800, 0x3800},
         {fraction(0xBB23), fraction(0xD4FE), fraction(0xE7CF), fraction(0xF828), 0x07D8, 0x1831, 0x2B02,
          0x44DD},
         0x3B7A},
        {{0x4CCD, 0x4000, 0x3333, 0x2666, 0x1CCD, 0x1CCD, 0x1CCD, 0x1CCD, 0x1CCD, 0x1CCD, 0x1CCD, 0x1CCD,
          0x2666, 0x3333, 0x4000, 0x4CCD},
         {fraction(0xA88B), fraction(0xBDCB), fraction(0xCC29), fraction(0xD7CF), fraction(0xE1D8),
          fraction(0xEAFB), fraction(0xF395), fraction(0xFBE4), 0x041C, 0x0C6B, 0x1505, 0x1E28, 0x2831,
          0x33C7, 0x4235, 0x5775},
         0x2ED5},
    };
    table_ = &kTables[bits_ - 2];
}

std::int32_t RockwellCodec::quantised(unsigned code) const {
    return saturate(std::int64_t{4} * product(table_->differences[code], step_));
}

std::int32_t RockwellCodec::reconstructed(std::int32_t difference) const {
    const std::int64_t sum = std::int64_t{difference} * 65536 + std::int64_t{2} * prediction_;
    return saturate((std::clamp<std::int64_t>(sum, INT32_MIN, INT32_MAX) + 32768) >> 16);
}

std::int16_t RockwellCodec::sampleFor(unsigned code) const {
    constexpr std::int32_t kDeemphasis = 0x3333;
    return static_cast<std::int16_t>(
        saturate(std::int64_t{reconstructed(quantised(code))} + product(last_, kDeemphasis)));
}

std::int16_t RockwellCodec::advance(unsigned code) {
    constexpr std::int32_t kSmallestStep = 31;
    constexpr std::int32_t kLeak = 32113, kPoleMove = 393, kZeroMove = 197;
    const std::int16_t sample = sampleFor(code);
    last_ = sample;
    const std::int32_t difference = quantised(code);
    const std::int32_t sum = reconstructed(difference);
    step_ = std::clamp(4 * product(table_->factors[code], step_), kSmallestStep, table_->largestStep);
    // Sign-sign adaptation with a leak.
    for (std::size_t i = 0; i < coefficients_.size(); ++i) {
        const std::int32_t move = i < 2 ? kPoleMove : kZeroMove;
        coefficients_[i] = product(coefficients_[i], kLeak) + ((difference ^ history_[i]) < 0 ? -move : move);
    }
    std::copy_backward(history_.begin() + 2, history_.end() - 1, history_.end());
    history_[2] = difference;
    history_[1] = history_[0];
    history_[0] = sum;
    std::int64_t prediction = 0;
    for (std::size_t i = 0; i < coefficients_.size(); ++i)
        prediction += std::int64_t{coefficients_[i]} * history_[i];
    prediction_ = static_cast<std::int32_t>(std::clamp<std::int64_t>(prediction, INT32_MIN, INT32_MAX));
    return sample;
}

std::size_t RockwellDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    const auto bits = static_cast<unsigned>(codec_.bits());
    const std::size_t count = std::min(from.size() * 8 / bits, to.size());
    unsigned window = 0, held = 0;
    const Byte* next = from.data();
    for (std::size_t i = 0; i < count; ++i) {
        if (held < bits) {
            window |= static_cast<unsigned>(*next++) << held;
            held += 8;
        }
        to[i] = codec_.advance(window & ((1u << bits) - 1));
        window >>= bits;
        held -= bits;
    }
    return count;
}

void RockwellEncoder::encode(std::span<const std::int16_t> from, std::span<Byte> to) {
    const auto bits = static_cast<unsigned>(codec_.bits());
    unsigned window = 0, held = 0;
    std::size_t next = 0;
    for (const std::int16_t sample : from) {
        // Samples rise with their codes: the last code that is not above, or the one after it.
        unsigned best = 0;
        for (unsigned half = 1u << (bits - 1); half > 0; half /= 2) {
            if (codec_.sampleFor(best + half) <= sample)
                best += half;
        }
        if (best + 1 < 1u << bits &&
            codec_.sampleFor(best + 1) - sample < std::abs(sample - codec_.sampleFor(best)))
            ++best;
        codec_.advance(best);
        window |= best << held;
        for (held += bits; held >= 8; held -= 8, window >>= 8)
            to[next++] = static_cast<Byte>(window);
    }
    if (held > 0)
        to[next] = static_cast<Byte>(window);
}

}  // namespace velor
