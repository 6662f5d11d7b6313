#include "formats/core/codecs/oki_adpcm.h"

#include <algorithm>
#include <array>

namespace velor {

namespace {

constexpr int kSteps = 49;
constexpr std::int16_t kStepTable[kSteps] = {
    16,  17,  19,  21,  23,  25,  28,  31,  34,  37,  41,   45,   50,   55,   60,  66,  73,
    80,  88,  97,  107, 118, 130, 143, 157, 173, 190, 209,  230,  253,  279,  307, 337, 371,
    408, 449, 494, 544, 598, 658, 724, 796, 876, 963, 1060, 1166, 1282, 1411, 1552};
constexpr int kIndexChange[] = {-1, -1, -1, -1, 2, 4, 6, 8};
constexpr int kLowest = -2048, kHighest = 2047;  // 12 bits
constexpr int kScale = 16;                       // to 16 bits

struct Entry {
    std::int32_t difference;
    std::uint32_t nextRow;
};

constexpr auto kTable = [] {
    std::array<Entry, kSteps * 16> table{};
    for (int index = 0; index < kSteps; ++index) {
        for (int code = 0; code < 16; ++code) {
            const int magnitude = code & 7;
            const int difference = ((2 * magnitude + 1) * kStepTable[index]) >> 3;
            const int next = std::clamp(index + kIndexChange[magnitude], 0, kSteps - 1);
            table[static_cast<std::size_t>(index * 16 + code)] = {code & 8 ? -difference : difference,
                                                                  static_cast<std::uint32_t>(next * 16)};
        }
    }
    return table;
}();

inline void step(std::int32_t& value, std::uint32_t& row, std::uint32_t code) {
    const Entry& entry = kTable[row + code];
    value = std::clamp(value + entry.difference, kLowest, kHighest);
    row = entry.nextRow;
}

}  // namespace

std::size_t OkiAdpcmDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    const std::size_t count = std::min(from.size() * 2, to.size());
    std::int32_t value = value_;
    std::uint32_t row = row_;
    for (std::size_t i = 0; i + 1 < count; i += 2) {
        const std::uint32_t codes = from[i / 2];
        step(value, row, codes >> 4);
        to[i] = static_cast<std::int16_t>(value * kScale);
        step(value, row, codes & 15);
        to[i + 1] = static_cast<std::int16_t>(value * kScale);
    }
    if (count & 1) {
        step(value, row, from[count / 2] >> 4);
        to[count - 1] = static_cast<std::int16_t>(value * kScale);
    }
    value_ = value;
    row_ = row;
    return count;
}

// `target` is a 16-bit value: its lower bits decide which code comes nearer.
std::uint32_t OkiAdpcmEncoder::code(int target) {
    const int difference = target - value_ * kScale;
    const int distance = difference < 0 ? -difference : difference;
    const int quarterStep = kStepTable[row_ / 16] * kScale / 4;
    const std::uint32_t code =
        static_cast<std::uint32_t>(std::min(distance / quarterStep, 7)) | (difference < 0 ? 8u : 0u);
    step(value_, row_, code);
    return code;
}

void OkiAdpcmEncoder::encode(std::span<const std::int16_t> from, std::span<Byte> to) {
    const auto sample = [&](std::size_t i) { return i < from.size() ? int{from[i]} : value_ * kScale; };
    for (std::size_t i = 0; i < to.size() && 2 * i < from.size(); ++i) {
        const std::uint32_t high = code(sample(2 * i));
        to[i] = static_cast<Byte>(high << 4 | code(sample(2 * i + 1)));
    }
}

}  // namespace velor
