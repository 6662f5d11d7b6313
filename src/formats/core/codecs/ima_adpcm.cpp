#include "formats/core/codecs/ima_adpcm.h"

#include <algorithm>

#include "formats/core/codecs/block_loop.h"

namespace velor {

namespace {

constexpr int kSteps = 89;
constexpr std::uint16_t kStepTable[kSteps] = {
    7,    8,     9,     10,    11,    12,    13,    14,    16,    17,    19,    21,    23,    25,   28,
    31,   34,    37,    41,    45,    50,    55,    60,    66,    73,    80,    88,    97,    107,  118,
    130,  143,   157,   173,   190,   209,   230,   253,   279,   307,   337,   371,   408,   449,  494,
    544,  598,   658,   724,   796,   876,   963,   1060,  1166,  1282,  1411,  1552,  1707,  1878, 2066,
    2272, 2499,  2749,  3024,  3327,  3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845, 8630,
    9493, 10442, 11487, 12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};
constexpr int kIndexChange2[] = {-1, 2};
constexpr int kIndexChange3[] = {-1, -1, 1, 2};
constexpr int kIndexChange4[] = {-1, -1, -1, -1, 2, 4, 6, 8};

// What one code does in one state: the difference it adds, and where its row of the table starts for the code
// after it.
struct Entry {
    std::int32_t difference;
    std::uint32_t nextRow;
};

template <int bits>
struct CodeTable {
    static constexpr int kCodes = 1 << bits;
    std::array<Entry, kSteps * kCodes> entries;
};

template <int bits>
constexpr CodeTable<bits> makeTable() {
    CodeTable<bits> table{};
    constexpr int kSign = 1 << (bits - 1);
    for (int index = 0; index < kSteps; ++index) {
        const int step = kStepTable[index];
        for (int code = 0; code < CodeTable<bits>::kCodes; ++code) {
            const int magnitude = code & (kSign - 1);
            int difference = 0;
            if constexpr (bits == 4)
                difference = (step >> 3) + (magnitude & 4 ? step : 0) + (magnitude & 2 ? step >> 1 : 0) +
                             (magnitude & 1 ? step >> 2 : 0);
            else
                difference = ((2 * magnitude + 1) * step) >> (bits - 1);
            const int change = bits == 2   ? kIndexChange2[magnitude]
                               : bits == 3 ? kIndexChange3[magnitude]
                                           : kIndexChange4[magnitude];
            const int next = std::clamp(index + change, 0, kSteps - 1);
            table.entries[static_cast<std::size_t>(index * CodeTable<bits>::kCodes + code)] = {
                code & kSign ? -difference : difference,
                static_cast<std::uint32_t>(next * CodeTable<bits>::kCodes)};
        }
    }
    return table;
}

template <int bits>
constexpr CodeTable<bits> kTable = makeTable<bits>();

// The running state of one channel; `row` is where the step's entries start.
struct Channel {
    std::int32_t predictor = 0;
    std::uint32_t row = 0;
};

template <int bits>
inline std::int16_t step(Channel& channel, std::uint32_t code) {
    const Entry& entry = kTable<bits>.entries[channel.row + code];
    channel.predictor = std::clamp(channel.predictor + entry.difference, -32768, 32767);
    channel.row = entry.nextRow;
    return static_cast<std::int16_t>(channel.predictor);
}

constexpr std::uint32_t groupBytes(int bits) {
    return bits == 3 ? 12 : 4;  // of one channel
}

constexpr std::uint32_t groupFrames(int bits) {
    return groupBytes(bits) * 8 / static_cast<std::uint32_t>(bits);
}

// The codes of one channel's group as one little-endian stream; its words are `stride` bytes apart.
template <int bits>
inline void decodeGroup(const Byte* words, std::size_t stride, Channel& channel, std::int16_t* to,
                        std::size_t toStride, std::uint32_t frames) {
    std::uint64_t window = 0;
    int held = 0;
    for (std::uint32_t i = 0; i < frames; ++i) {
        if (held < bits) {
            window |= std::uint64_t{loadLe<std::uint32_t>(words)} << held;
            words += stride;
            held += 32;
        }
        to[i * toStride] = step<bits>(channel, static_cast<std::uint32_t>(window) & ((1u << bits) - 1));
        window >>= bits;
        held -= bits;
    }
}

template <int bits>
void decodeGroups(const Byte* groups, std::size_t channels, std::size_t kept, Channel* state,
                  std::int16_t* to, std::uint32_t frames) {
    const std::size_t wordStride = 4 * channels;
    for (std::uint32_t done = 0; done < frames; done += groupFrames(bits)) {
        const std::uint32_t now = std::min(groupFrames(bits), frames - done);
        for (std::size_t c = 0; c < kept; ++c)
            decodeGroup<bits>(groups + 4 * c, wordStride, state[c], to + done * kept + c, kept, now);
        groups += groupBytes(bits) * channels;
    }
}

// The case of nearly every file. Both channels at once: their two chains of lookups overlap.
void decodePairs4(const Byte* groups, Channel* state, std::int16_t* to, std::uint32_t frames) {
    Channel left = state[0], right = state[1];
    std::uint32_t done = 0;
    for (; done + 8 <= frames; done += 8, groups += 8) {
        std::uint32_t l = loadLe<std::uint32_t>(groups), r = loadLe<std::uint32_t>(groups + 4);
        for (int i = 0; i < 8; ++i, l >>= 4, r >>= 4) {
            *to++ = step<4>(left, l & 15);
            *to++ = step<4>(right, r & 15);
        }
    }
    state[0] = left;
    state[1] = right;
    decodeGroups<4>(groups, 2, 2, state, to, frames - done);
}

}  // namespace

std::uint32_t ImaWaveDecoder::framesIn(std::uint32_t bytes, int channels, int bits) {
    const auto count = static_cast<std::uint32_t>(channels);
    if (bytes < 4 * count)
        return 0;
    const std::uint32_t data = bytes - 4 * count;
    if (bits == 4)
        return 1 + data * 2 / count;
    const std::uint32_t group = groupBytes(bits) * count;
    return 1 + data / group * groupFrames(bits);
}

ImaWaveDecoder::ImaWaveDecoder(int channels, int kept, int bits, std::uint32_t blockBytes,
                               std::uint32_t framesPerBlock)
    : channels_(channels), kept_(kept), bits_(bits), blockBytes_(blockBytes) {
    const std::uint32_t most = framesIn(blockBytes, channels, bits);
    framesPerBlock_ = framesPerBlock == 0 ? most : std::min(framesPerBlock, most);
}

std::size_t ImaWaveDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    return decodeBlocks(from, blockBytes_, to,
                        [this](std::span<const Byte> block, std::span<std::int16_t> samples) {
                            return decodeBlock(block, samples);
                        });
}

std::size_t ImaWaveDecoder::decodeBlock(std::span<const Byte> block, std::span<std::int16_t> to) {
    const auto channels = static_cast<std::size_t>(channels_);
    const auto kept = static_cast<std::size_t>(kept_);
    const auto frames = static_cast<std::uint32_t>(
        std::min({std::size_t{framesIn(static_cast<std::uint32_t>(block.size()), channels_, bits_)},
                  std::size_t{framesPerBlock_}, to.size() / kept}));
    if (frames == 0)
        return 0;
    // The groups are read whole, also the one that the block does not fill.
    const std::size_t needed = 4 * channels + (frames - 1 + groupFrames(bits_) - 1) / groupFrames(bits_) *
                                                  groupBytes(bits_) * channels;
    const Byte* bytes = block.data();
    if (block.size() < needed) {
        padded_.assign(needed, Byte{0});
        std::ranges::copy(block, padded_.begin());
        bytes = padded_.data();
    }
    Channel state[2];
    for (std::size_t c = 0; c < kept; ++c) {
        const Byte* header = bytes + 4 * c;
        state[c].predictor = static_cast<std::int16_t>(loadLe<std::uint16_t>(header));
        state[c].row = static_cast<std::uint32_t>(std::min<int>(header[2], kSteps - 1)) << bits_;
        to[c] = static_cast<std::int16_t>(state[c].predictor);
    }
    const Byte* groups = bytes + 4 * channels;
    std::int16_t* out = to.data() + kept;
    if (bits_ == 2)
        decodeGroups<2>(groups, channels, kept, state, out, frames - 1);
    else if (bits_ == 3)
        decodeGroups<3>(groups, channels, kept, state, out, frames - 1);
    else if (channels == 2 && kept == 2)
        decodePairs4(groups, state, out, frames - 1);
    else
        decodeGroups<4>(groups, channels, kept, state, out, frames - 1);
    return frames * kept;
}

std::size_t Ima4Decoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) const {
    constexpr std::uint32_t kPredictorBits = 0xFF80, kIndexBits = 0x7F;
    const auto channels = static_cast<std::size_t>(channels_);
    const std::size_t groups =
        std::min(from.size() / (kPacketBytes * channels), to.size() / (kPacketFrames * channels));
    for (std::size_t group = 0; group < groups; ++group) {
        for (std::size_t c = 0; c < channels; ++c) {
            const Byte* packet = from.data() + (group * channels + c) * kPacketBytes;
            const std::uint16_t header = loadBe<std::uint16_t>(packet);
            Channel channel{static_cast<std::int16_t>(header & kPredictorBits),
                            static_cast<std::uint32_t>(std::min<int>(header & kIndexBits, kSteps - 1)) << 4};
            std::int16_t* out = to.data() + group * kPacketFrames * channels + c;
            for (std::size_t i = 0; i < kPacketFrames; i += 2) {
                const std::uint32_t codes = packet[2 + i / 2];
                out[i * channels] = step<4>(channel, codes & 15);
                out[(i + 1) * channels] = step<4>(channel, codes >> 4);
            }
        }
    }
    return groups * kPacketFrames * channels;
}

}  // namespace velor
