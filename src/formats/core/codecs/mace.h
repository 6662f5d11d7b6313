// MACE (Macintosh Audio Compression/Expansion) 3:1 and 6:1: three codes in a byte, of 3, 2 and 3 bits.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "base/byte_order.h"

namespace velor {

enum class MaceRatio : std::uint8_t { ThreeToOne = 3, SixToOne = 6 };

// The decoder of one stream of one or two channels.
class MaceDecoder {
  public:
    // Every packet holds six samples: two bytes at 3:1, one at 6:1, for each channel in turn.
    static constexpr std::size_t kPacketFrames = 6;
    static constexpr std::size_t packetBytes(MaceRatio ratio, int channels) {
        return (ratio == MaceRatio::ThreeToOne ? 2u : 1u) * static_cast<std::size_t>(channels);
    }

    MaceDecoder(MaceRatio ratio, int channels) : ratio_(ratio), channels_(channels == 2 ? 2 : 1) {}

    // Decodes whole packets into interleaved samples and returns the number of samples written (frames ×
    // channels). Full scale is 16 bits; the original decoder kept only the upper 8.
    std::size_t decode(std::span<const Byte> from, std::span<std::int16_t> to);

  private:
    struct Channel {
        std::int32_t index = 0;  // adaptation of the steps
        std::int32_t level = 0;  // prediction
        // 6:1 only: how much of the last value the prediction keeps, and the last two values for
        // interpolation
        std::int32_t factor = 0;
        std::int32_t last = 0, beforeLast = 0;
    };

    template <int bits>
    static std::int32_t step(Channel& channel, unsigned code);
    template <int bits>
    static std::int16_t decode3(Channel& channel, unsigned code);
    template <int bits>
    static void decode6(Channel& channel, unsigned code, std::int16_t* to, std::size_t stride);

    MaceRatio ratio_;
    std::size_t channels_;
    std::array<Channel, 2> state_;
};

}  // namespace velor
