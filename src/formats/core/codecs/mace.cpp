#include "formats/core/codecs/mace.h"

#include <algorithm>

#include "formats/core/codecs/mace_tables.h"

namespace velor {

namespace {

// The original clips below full scale to one above it.
std::int32_t clip(std::int32_t value) {
    return value > 32767 ? 32767 : value < -32768 ? -32767 : value;
}

}  // namespace

// The difference that a code stands for; adapts the steps.
template <int bits>
std::int32_t MaceDecoder::step(Channel& channel, unsigned code) {
    static constexpr std::int32_t kAdapt3[8] = {-13, 8, 76, 222, 222, 76, 8, -13};
    static constexpr std::int32_t kAdapt2[4] = {-18, 140, 140, -18};
    constexpr unsigned kHalf = 1u << (bits - 1);
    // The row wraps around when the index grows past the table.
    const auto row = static_cast<std::size_t>(channel.index & 0x7F0) >> 4;
    const std::int16_t* sizes = bits == 3 ? mace::kSteps3[row] : mace::kSteps2[row];
    const std::int32_t adapt = bits == 3 ? kAdapt3[code] : kAdapt2[code];
    channel.index = std::max(channel.index + adapt - (channel.index >> 5), 0);
    return code < kHalf ? sizes[code] : -1 - sizes[2 * kHalf - 1 - code];
}

template <int bits>
std::int16_t MaceDecoder::decode3(Channel& channel, unsigned code) {
    const std::int32_t value = clip(step<bits>(channel, code) + channel.level);
    channel.level = value - (value >> 3);
    return static_cast<std::int16_t>(value);
}

template <int bits>
void MaceDecoder::decode6(Channel& channel, unsigned code, std::int16_t* to, std::size_t stride) {
    const std::int32_t difference = step<bits>(channel, code);
    if ((channel.last ^ difference) >= 0)
        channel.factor = std::min(channel.factor + 506, 32767);
    else
        channel.factor = std::max(channel.factor - 314, -32767);
    const std::int32_t value = clip(difference + channel.level);
    channel.level = (value * channel.factor) >> 15;
    // Every code gives two samples, interpolated one code late from three half values.
    const std::int32_t half = value >> 1;
    const std::int32_t bend = (channel.beforeLast - half) >> 2;
    to[0] = static_cast<std::int16_t>(channel.last + channel.beforeLast - bend);
    to[stride] = static_cast<std::int16_t>(channel.last + half + bend);
    channel.beforeLast = channel.last;
    channel.last = half;
}

std::size_t MaceDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    const std::size_t packet = packetBytes(ratio_, static_cast<int>(channels_));
    const std::size_t packets = std::min(from.size() / packet, to.size() / (kPacketFrames * channels_));
    const Byte* byte = from.data();
    std::int16_t* frame = to.data();
    for (std::size_t i = 0; i < packets; ++i, frame += kPacketFrames * channels_) {
        for (std::size_t c = 0; c < channels_; ++c) {
            Channel& channel = state_[c];
            std::int16_t* out = frame + c;
            if (ratio_ == MaceRatio::ThreeToOne) {
                for (int half = 0; half < 2; ++half, out += 3 * channels_) {
                    const unsigned codes = *byte++;
                    out[0] = decode3<3>(channel, codes & 7);
                    out[channels_] = decode3<2>(channel, codes >> 3 & 3);
                    out[2 * channels_] = decode3<3>(channel, codes >> 5);
                }
            } else {
                const unsigned codes = *byte++;
                decode6<3>(channel, codes >> 5, out, channels_);
                decode6<2>(channel, codes >> 3 & 3, out + 2 * channels_, channels_);
                decode6<3>(channel, codes & 7, out + 4 * channels_, channels_);
            }
        }
    }
    return packets * kPacketFrames * channels_;
}

}  // namespace velor
