#include "formats/framework/sample_conversion.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace velor {

SampleLayout SampleLayout::fromWord(std::uint32_t sourceFormat) {
    return {source_format::encoding(sourceFormat),
            sourceFormat & source_format::kBigEndian ? ByteOrder::Big : ByteOrder::Little,
            (sourceFormat & source_format::kUnsigned) != 0};
}

std::uint32_t SampleLayout::word() const {
    return encodingBit(encoding) | (order == ByteOrder::Big ? source_format::kBigEndian : 0) |
           (isUnsigned ? source_format::kUnsigned : 0);
}

bool isPlainEncoding(SampleEncoding encoding) {
    return encodingBits(encoding) > 0;
}

std::uint64_t storedSize(SampleEncoding encoding, std::uint64_t samples) {
    return (static_cast<std::uint64_t>(encodingBits(encoding)) * samples + 7) / 8;
}

// ---- G.711 ----

// Both laws follow the segment tables of ITU-T G.711 on 14-bit (mu) and 13-bit (A) magnitudes, here scaled to
// 16 bits.

std::int16_t muLawToLinear(Byte code) {
    const unsigned inverted = static_cast<Byte>(~code);
    const int magnitude =
        static_cast<int>((((inverted & 0x0Fu) << 3) + 0x84) << ((inverted & 0x70u) >> 4)) - 0x84;
    return static_cast<std::int16_t>(inverted & 0x80 ? -magnitude : magnitude);
}

std::int16_t aLawToLinear(Byte code) {
    const unsigned bits = code ^ 0x55u;
    const unsigned segment = (bits & 0x70u) >> 4;
    int magnitude = static_cast<int>((bits & 0x0Fu) << 4) + 8;
    if (segment > 0)
        magnitude = (magnitude + 0x100) << (segment - 1);
    return static_cast<std::int16_t>(bits & 0x80 ? magnitude : -magnitude);
}

Byte linearToMuLaw(std::int16_t value) {
    const unsigned sign = value < 0 ? 0x80 : 0;
    int magnitude = (value < 0 ? -(value >> 2) : value >> 2);  // 14-bit magnitude
    magnitude = std::min(magnitude, 8158) + 33;
    const int segment = std::bit_width(static_cast<unsigned>(magnitude)) - 6;
    const unsigned code = sign | static_cast<unsigned>(segment << 4) |
                          (static_cast<unsigned>(magnitude >> (segment + 1)) & 0x0Fu);
    return static_cast<Byte>(~code);
}

Byte linearToALaw(std::int16_t value) {
    const unsigned sign = value >= 0 ? 0x80 : 0;
    const int magnitude = value >= 0 ? value >> 4 : (~value) >> 4;  // 11-bit magnitude, 0..2047
    unsigned code = static_cast<unsigned>(magnitude);               // the first two segments are linear
    if (magnitude >= 32) {
        const int segment = std::bit_width(static_cast<unsigned>(magnitude)) - 4;
        code =
            static_cast<unsigned>(segment << 4) | (static_cast<unsigned>(magnitude >> (segment - 1)) & 0x0Fu);
    }
    return static_cast<Byte>((sign | code) ^ 0x55u);
}

namespace {

using LawTable = std::array<float, 256>;

LawTable makeLawTable(std::int16_t (*expand)(Byte)) {
    LawTable table{};
    for (unsigned code = 0; code < 256; ++code)
        table[code] = static_cast<float>(expand(static_cast<Byte>(code))) / 32768.0f;
    return table;
}

const LawTable& lawTable(SampleEncoding encoding) {
    static const LawTable muLaw = makeLawTable(muLawToLinear);
    static const LawTable aLaw = makeLawTable(aLawToLinear);
    return encoding == SampleEncoding::MuLaw ? muLaw : aLaw;
}

// ---- Decoding kernels. Plain loops that the compiler vectorises. ----

template <ByteOrder order>
void decode16(const Byte* __restrict from, float* __restrict to, std::size_t count, std::uint16_t flip) {
    for (std::size_t i = 0; i < count; ++i) {
        const auto bits = static_cast<std::uint16_t>(loadAs<std::uint16_t>(from + 2 * i, order) ^ flip);
        to[i] = static_cast<float>(static_cast<std::int16_t>(bits)) * (1.0f / 32768.0f);
    }
}

// The sample sits in the upper three bytes of a 32-bit word, so scaling is that of 32 bits and exact.
template <ByteOrder order>
void decode24(const Byte* __restrict from, float* __restrict to, std::size_t count, std::uint32_t flip) {
    constexpr float kScale = 1.0f / 2147483648.0f;
    for (std::size_t i = 0; i < count; ++i) {
        const Byte* s = from + 3 * i;
        const std::uint32_t bits =
            order == ByteOrder::Little
                ? std::uint32_t{s[0]} << 8 | std::uint32_t{s[1]} << 16 | std::uint32_t{s[2]} << 24
                : std::uint32_t{s[2]} << 8 | std::uint32_t{s[1]} << 16 | std::uint32_t{s[0]} << 24;
        to[i] = static_cast<float>(static_cast<std::int32_t>(bits ^ flip)) * kScale;
    }
}

template <ByteOrder order>
void decode32(const Byte* __restrict from, float* __restrict to, std::size_t count, std::uint32_t flip) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t bits = loadAs<std::uint32_t>(from + 4 * i, order) ^ flip;
        to[i] = static_cast<float>(static_cast<std::int32_t>(bits)) * (1.0f / 2147483648.0f);
    }
}

template <ByteOrder order, typename T>
void decodeFloat(const Byte* __restrict from, float* __restrict to, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        to[i] = static_cast<float>(loadAs<T>(from + sizeof(T) * i, order));
}

// Two samples of `bits` bits lie in bits/4 bytes, as one word of the given byte order. The first sample is
// the low part of a little-endian word and the high part of a big-endian one.
template <int bits>
std::uint32_t unpackSample(const Byte* group, ByteOrder order, int which, std::size_t available) {
    constexpr std::size_t kBytes = bits / 4;
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < kBytes; ++i) {
        const std::uint64_t byte = i < available ? group[i] : 0;
        word = order == ByteOrder::Little ? word | byte << (8 * i) : word << 8 | byte;
    }
    const bool low = (order == ByteOrder::Little) == (which == 0);
    return static_cast<std::uint32_t>((low ? word : word >> bits) & ((1u << bits) - 1));
}

template <int bits>
void decodePacked(std::span<const Byte> from, float* to, std::size_t count, ByteOrder order,
                  bool isUnsigned) {
    constexpr std::size_t kBytes = bits / 4;
    constexpr std::uint32_t kSign = 1u << (bits - 1);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t at = i / 2 * kBytes;
        std::uint32_t value = unpackSample<bits>(from.data() + at, order, static_cast<int>(i & 1),
                                                 from.size() - std::min(at, from.size()));
        if (!isUnsigned)
            value ^= kSign;
        to[i] = static_cast<float>(static_cast<std::int32_t>(value) - static_cast<std::int32_t>(kSign)) /
                static_cast<float>(kSign);
    }
}

}  // namespace

void decodeSamples(const SampleLayout& layout, std::span<const Byte> from, std::span<float> to) {
    const std::size_t count = to.size();
    const bool big = layout.order == ByteOrder::Big;
    const Byte* in = from.data();
    float* out = to.data();
    switch (layout.encoding) {
        case SampleEncoding::Pcm8: {
            const Byte flip = layout.isUnsigned ? 0x80 : 0;
            for (std::size_t i = 0; i < count; ++i)
                out[i] = static_cast<float>(static_cast<std::int8_t>(in[i] ^ flip)) * (1.0f / 128.0f);
            break;
        }
        case SampleEncoding::Pcm12:
            decodePacked<12>(from, out, count, layout.order, layout.isUnsigned);
            break;
        case SampleEncoding::Pcm20:
            decodePacked<20>(from, out, count, layout.order, layout.isUnsigned);
            break;
        case SampleEncoding::Pcm16: {
            const std::uint16_t flip = layout.isUnsigned ? 0x8000 : 0;
            big ? decode16<ByteOrder::Big>(in, out, count, flip)
                : decode16<ByteOrder::Little>(in, out, count, flip);
            break;
        }
        case SampleEncoding::Pcm24: {
            const std::uint32_t flip = layout.isUnsigned ? 0x80000000u : 0;
            big ? decode24<ByteOrder::Big>(in, out, count, flip)
                : decode24<ByteOrder::Little>(in, out, count, flip);
            break;
        }
        case SampleEncoding::Pcm32: {
            const std::uint32_t flip = layout.isUnsigned ? 0x80000000u : 0;
            big ? decode32<ByteOrder::Big>(in, out, count, flip)
                : decode32<ByteOrder::Little>(in, out, count, flip);
            break;
        }
        case SampleEncoding::Float32:
            big ? decodeFloat<ByteOrder::Big, float>(in, out, count)
                : decodeFloat<ByteOrder::Little, float>(in, out, count);
            break;
        case SampleEncoding::Float64:
            big ? decodeFloat<ByteOrder::Big, double>(in, out, count)
                : decodeFloat<ByteOrder::Little, double>(in, out, count);
            break;
        case SampleEncoding::MuLaw:
        case SampleEncoding::ALaw: {
            const LawTable& table = lawTable(layout.encoding);
            for (std::size_t i = 0; i < count; ++i)
                out[i] = table[in[i]];
            break;
        }
        case SampleEncoding::DeltaPcm8: {
            const Byte flip = layout.isUnsigned ? 0x80 : 0;
            Byte sum = 0;
            for (std::size_t i = 0; i < count; ++i) {
                sum = static_cast<Byte>(sum + in[i]);
                out[i] = static_cast<float>(static_cast<std::int8_t>(sum ^ flip)) * (1.0f / 128.0f);
            }
            break;
        }
        case SampleEncoding::DeltaPcm16: {
            const std::uint16_t flip = layout.isUnsigned ? 0x8000 : 0;
            std::uint16_t sum = 0;
            for (std::size_t i = 0; i < count; ++i) {
                sum = static_cast<std::uint16_t>(sum + loadAs<std::uint16_t>(in + 2 * i, layout.order));
                out[i] = static_cast<float>(static_cast<std::int16_t>(sum ^ flip)) * (1.0f / 32768.0f);
            }
            break;
        }
        default:
            std::fill(to.begin(), to.end(), 0.0f);
            break;
    }
}

namespace {

// ---- Encoding kernels ----

// A sample as an integer of `bits` bits: rounded half away from zero and clipped. Float arithmetic is exact
// enough up to 24 bits. NaN becomes 0. Written so that it vectorises: no branches, one comparison a line.
template <int bits>
inline std::int32_t quantise(float sample) {
    constexpr float kScale = static_cast<float>(1 << (bits - 1));
    constexpr float kHigh = kScale - 1;
    float scaled = sample * kScale;
    scaled = scaled == scaled ? scaled : 0.0f;
    scaled = scaled > -kScale ? scaled : -kScale;
    scaled = scaled < kHigh ? scaled : kHigh;
    return static_cast<std::int32_t>(scaled + std::copysign(0.5f, scaled));
}

inline std::int32_t quantise32(float sample) {
    double scaled = static_cast<double>(sample) * 2147483648.0;
    scaled = scaled == scaled ? scaled : 0.0;
    scaled = scaled > -2147483648.0 ? scaled : -2147483648.0;
    scaled = scaled < 2147483647.0 ? scaled : 2147483647.0;
    scaled += std::copysign(0.5, scaled);
    return static_cast<std::int32_t>(scaled);
}

template <ByteOrder order>
void encode16(const float* __restrict from, Byte* __restrict to, std::size_t count, std::uint16_t flip) {
    for (std::size_t i = 0; i < count; ++i)
        storeAs<std::uint16_t>(to + 2 * i, static_cast<std::uint16_t>(quantise<16>(from[i]) ^ flip), order);
}

// Four 24-bit values as twelve bytes.
template <ByteOrder order>
inline void packFour24(const std::uint32_t* values, Byte* to) {
    const std::uint64_t a = values[0] & 0xFFFFFF, b = values[1] & 0xFFFFFF;
    const std::uint64_t c = values[2] & 0xFFFFFF, d = values[3] & 0xFFFFFF;
    if constexpr (order == ByteOrder::Little) {
        storeLe<std::uint64_t>(to, a | b << 24 | c << 48);
        storeLe<std::uint32_t>(to + 8, static_cast<std::uint32_t>(c >> 16 | d << 8));
    } else {
        storeBe<std::uint64_t>(to, a << 40 | b << 16 | c >> 8);
        storeBe<std::uint32_t>(to + 8, static_cast<std::uint32_t>(c << 24 | d));
    }
}

// Quantising vectorises, packing three bytes a sample does not: two passes over a block that stays in the
// cache.
template <ByteOrder order>
void encode24(const float* __restrict from, Byte* __restrict to, std::size_t count, std::uint32_t flip) {
    constexpr std::size_t kBlock = 1024;
    std::array<std::uint32_t, kBlock> values;
    for (std::size_t done = 0; done < count; done += kBlock) {
        const std::size_t now = std::min(kBlock, count - done);
        for (std::size_t i = 0; i < now; ++i)
            values[i] = static_cast<std::uint32_t>(quantise<24>(from[done + i])) ^ flip;
        Byte* at = to + 3 * done;
        std::size_t i = 0;
        for (; i + 4 <= now; i += 4, at += 12)
            packFour24<order>(&values[i], at);
        for (; i < now; ++i, at += 3) {
            const std::uint32_t bits = order == ByteOrder::Little ? values[i] : byteSwap(values[i] << 8);
            for (int k = 0; k < 3; ++k)
                at[k] = static_cast<Byte>(bits >> (8 * k));
        }
    }
}

template <ByteOrder order>
void encode32(const float* __restrict from, Byte* __restrict to, std::size_t count, std::uint32_t flip) {
    for (std::size_t i = 0; i < count; ++i)
        storeAs<std::uint32_t>(to + 4 * i, static_cast<std::uint32_t>(quantise32(from[i])) ^ flip, order);
}

template <ByteOrder order, typename T>
void encodeFloat(const float* __restrict from, Byte* __restrict to, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        storeAs<T>(to + sizeof(T) * i, static_cast<T>(from[i]), order);
}

template <int bits>
void encodePacked(const float* from, std::span<Byte> to, std::size_t count, ByteOrder order,
                  bool isUnsigned) {
    constexpr std::size_t kBytes = bits / 4;
    constexpr std::uint32_t kMask = (1u << bits) - 1;
    const std::uint32_t flip = isUnsigned ? 1u << (bits - 1) : 0;
    for (std::size_t i = 0; i < count; i += 2) {
        const std::uint64_t first = (static_cast<std::uint32_t>(quantise<bits>(from[i])) ^ flip) & kMask;
        const std::uint64_t second =
            i + 1 < count ? (static_cast<std::uint32_t>(quantise<bits>(from[i + 1])) ^ flip) & kMask : 0;
        const std::uint64_t word =
            order == ByteOrder::Little ? first | second << bits : first << bits | second;
        const std::size_t at = i / 2 * kBytes;
        for (std::size_t b = 0; b < kBytes && at + b < to.size(); ++b)
            to[at + b] =
                static_cast<Byte>(word >> (order == ByteOrder::Little ? 8 * b : 8 * (kBytes - 1 - b)));
    }
}

// Both laws look at the upper 14 bits of a value at most, so a table of them has all codes.
constexpr int kLawShift = 2;
using LawCodes = std::array<Byte, (65536 >> kLawShift)>;

LawCodes makeLawCodes(Byte (*compress)(std::int16_t)) {
    LawCodes codes{};
    for (std::uint32_t i = 0; i < codes.size(); ++i)
        codes[i] = compress(static_cast<std::int16_t>(static_cast<std::uint16_t>(i << kLawShift)));
    return codes;
}

const LawCodes& lawCodes(SampleEncoding encoding) {
    static const LawCodes muLaw = makeLawCodes(linearToMuLaw);
    static const LawCodes aLaw = makeLawCodes(linearToALaw);
    return encoding == SampleEncoding::MuLaw ? muLaw : aLaw;
}

// Quantising vectorises, looking up does not: two passes over a block that stays in the cache.
void encodeLaw(const LawCodes& codes, const float* __restrict from, Byte* __restrict to, std::size_t count) {
    constexpr std::size_t kBlock = 1024;
    std::array<std::uint16_t, kBlock> values;
    for (std::size_t done = 0; done < count; done += kBlock) {
        const std::size_t now = std::min(kBlock, count - done);
        for (std::size_t i = 0; i < now; ++i)
            values[i] = static_cast<std::uint16_t>(quantise<16>(from[done + i]));
        for (std::size_t i = 0; i < now; ++i)
            to[done + i] = codes[values[i] >> kLawShift];
    }
}

}  // namespace

void encodeSamples(const SampleLayout& layout, std::span<const float> from, std::span<Byte> to) {
    const std::size_t count = from.size();
    const bool big = layout.order == ByteOrder::Big;
    const float* in = from.data();
    Byte* out = to.data();
    switch (layout.encoding) {
        case SampleEncoding::Pcm8: {
            const Byte flip = layout.isUnsigned ? 0x80 : 0;
            for (std::size_t i = 0; i < count; ++i)
                out[i] = static_cast<Byte>(quantise<8>(in[i]) ^ flip);
            break;
        }
        case SampleEncoding::Pcm12:
            encodePacked<12>(in, to, count, layout.order, layout.isUnsigned);
            break;
        case SampleEncoding::Pcm20:
            encodePacked<20>(in, to, count, layout.order, layout.isUnsigned);
            break;
        case SampleEncoding::Pcm16: {
            const std::uint16_t flip = layout.isUnsigned ? 0x8000 : 0;
            big ? encode16<ByteOrder::Big>(in, out, count, flip)
                : encode16<ByteOrder::Little>(in, out, count, flip);
            break;
        }
        case SampleEncoding::Pcm24: {
            const std::uint32_t flip = layout.isUnsigned ? 0x800000u : 0;
            big ? encode24<ByteOrder::Big>(in, out, count, flip)
                : encode24<ByteOrder::Little>(in, out, count, flip);
            break;
        }
        case SampleEncoding::Pcm32: {
            const std::uint32_t flip = layout.isUnsigned ? 0x80000000u : 0;
            big ? encode32<ByteOrder::Big>(in, out, count, flip)
                : encode32<ByteOrder::Little>(in, out, count, flip);
            break;
        }
        case SampleEncoding::Float32:
            big ? encodeFloat<ByteOrder::Big, float>(in, out, count)
                : encodeFloat<ByteOrder::Little, float>(in, out, count);
            break;
        case SampleEncoding::Float64:
            big ? encodeFloat<ByteOrder::Big, double>(in, out, count)
                : encodeFloat<ByteOrder::Little, double>(in, out, count);
            break;
        case SampleEncoding::MuLaw:
        case SampleEncoding::ALaw:
            encodeLaw(lawCodes(layout.encoding), in, out, count);
            break;
        case SampleEncoding::DeltaPcm8: {
            const Byte flip = layout.isUnsigned ? 0x80 : 0;
            Byte last = 0;
            for (std::size_t i = 0; i < count; ++i) {
                const auto value = static_cast<Byte>(quantise<8>(in[i]) ^ flip);
                out[i] = static_cast<Byte>(value - last);
                last = value;
            }
            break;
        }
        case SampleEncoding::DeltaPcm16: {
            const std::uint16_t flip = layout.isUnsigned ? 0x8000 : 0;
            std::uint16_t last = 0;
            for (std::size_t i = 0; i < count; ++i) {
                const auto value = static_cast<std::uint16_t>(quantise<16>(in[i]) ^ flip);
                storeAs<std::uint16_t>(out + 2 * i, static_cast<std::uint16_t>(value - last), layout.order);
                last = value;
            }
            break;
        }
        default:
            std::fill(to.begin(), to.end(), Byte{0});
            break;
    }
}

// ---- Integers to wider integers ----

namespace {

// Loads the sample as a 32-bit value with its sign bit on top.
template <int bytes, ByteOrder order>
inline std::uint32_t loadTop(const Byte* from) {
    if constexpr (bytes == 1)
        return std::uint32_t{from[0]} << 24;
    else if constexpr (bytes == 2)
        return std::uint32_t{loadAs<std::uint16_t>(from, order)} << 16;
    else
        return order == ByteOrder::Little
                   ? std::uint32_t{from[0]} << 8 | std::uint32_t{from[1]} << 16 | std::uint32_t{from[2]} << 24
                   : std::uint32_t{from[2]} << 8 | std::uint32_t{from[1]} << 16 |
                         std::uint32_t{from[0]} << 24;
}

template <int inBytes, ByteOrder inOrder, int outBytes, ByteOrder outOrder>
void widen(const Byte* __restrict from, Byte* __restrict to, std::size_t count, std::uint32_t flip) {
    std::size_t i = 0;
    if constexpr (outBytes == 3) {
        std::uint32_t four[4];
        for (; i + 4 <= count; i += 4) {
            for (std::size_t k = 0; k < 4; ++k)
                four[k] = (loadTop<inBytes, inOrder>(from + (i + k) * inBytes) ^ flip) >> 8;
            packFour24<outOrder>(four, to + i * 3);
        }
    }
    for (; i < count; ++i) {
        const std::uint32_t value = loadTop<inBytes, inOrder>(from + i * inBytes) ^ flip;
        Byte* at = to + i * outBytes;
        if constexpr (outBytes == 1) {
            at[0] = static_cast<Byte>(value >> 24);
        } else if constexpr (outBytes == 2) {
            storeAs<std::uint16_t>(at, static_cast<std::uint16_t>(value >> 16), outOrder);
        } else if constexpr (outBytes == 3) {
            const std::uint32_t packed = outOrder == ByteOrder::Little ? value >> 8 : byteSwap(value);
            for (int k = 0; k < 3; ++k)
                at[k] = static_cast<Byte>(packed >> (8 * k));
        } else {
            storeAs<std::uint32_t>(at, value, outOrder);
        }
    }
}

using Widen = void (*)(const Byte*, Byte*, std::size_t, std::uint32_t);

template <int inBytes, int outBytes>
Widen widenFor(ByteOrder in, ByteOrder out) {
    constexpr auto kLittle = ByteOrder::Little;
    constexpr auto kBig = ByteOrder::Big;
    if (in == kLittle)
        return out == kLittle ? widen<inBytes, kLittle, outBytes, kLittle>
                              : widen<inBytes, kLittle, outBytes, kBig>;
    return out == kLittle ? widen<inBytes, kBig, outBytes, kLittle> : widen<inBytes, kBig, outBytes, kBig>;
}

template <int inBytes>
Widen widenFor(int outBytes, ByteOrder in, ByteOrder out) {
    switch (outBytes) {
        case 1:
            return widenFor<inBytes, 1>(in, out);
        case 2:
            return widenFor<inBytes, 2>(in, out);
        case 3:
            return widenFor<inBytes, 3>(in, out);
        default:
            return widenFor<inBytes, 4>(in, out);
    }
}

bool isBytePcm(SampleEncoding encoding) {
    return encoding == SampleEncoding::Pcm8 || encoding == SampleEncoding::Pcm16 ||
           encoding == SampleEncoding::Pcm24 || encoding == SampleEncoding::Pcm32;
}

}  // namespace

bool canWiden(const SampleLayout& from, const SampleLayout& to) {
    return isBytePcm(from.encoding) && isBytePcm(to.encoding) && from.encoding != SampleEncoding::Pcm32 &&
           encodingBits(from.encoding) <= encodingBits(to.encoding);
}

void widenSamples(const SampleLayout& from, std::span<const Byte> in, const SampleLayout& to,
                  std::span<Byte> out) {
    const int inBytes = encodingBits(from.encoding) / 8;
    const int outBytes = encodingBits(to.encoding) / 8;
    const Widen kernel = inBytes == 1   ? widenFor<1>(outBytes, from.order, to.order)
                         : inBytes == 2 ? widenFor<2>(outBytes, from.order, to.order)
                                        : widenFor<3>(outBytes, from.order, to.order);
    kernel(in.data(), out.data(), in.size() / static_cast<unsigned>(inBytes),
           from.isUnsigned != to.isUnsigned ? 0x80000000u : 0);
}

void samplesFrom16(std::span<const std::int16_t> from, std::span<float> to) {
    const std::int16_t* __restrict in = from.data();
    float* __restrict out = to.data();
    for (std::size_t i = 0; i < from.size(); ++i)
        out[i] = static_cast<float>(in[i]) * (1.0f / 32768.0f);
}

void samplesTo16(std::span<const float> from, std::span<std::int16_t> to) {
    const float* __restrict in = from.data();
    std::int16_t* __restrict out = to.data();
    for (std::size_t i = 0; i < from.size(); ++i)
        out[i] = static_cast<std::int16_t>(quantise<16>(in[i]));
}

}  // namespace velor
