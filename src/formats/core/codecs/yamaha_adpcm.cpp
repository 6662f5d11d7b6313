#include "formats/core/codecs/yamaha_adpcm.h"

#include <algorithm>

namespace velor {

namespace {

constexpr int kScale[] = {230, 230, 230, 230, 307, 409, 512, 614};
constexpr int kLeastStep = 127, kMostStep = 24576;
// (2 × magnitude + 1), with the sign of the code's top bit.
constexpr int kFactor[] = {1, 3, 5, 7, 9, 11, 13, 15, -1, -3, -5, -7, -9, -11, -13, -15};

inline std::int16_t step(YamahaAdpcmState& state, std::uint32_t code) {
    state.value = std::clamp(state.value + state.step * kFactor[code] / 8, -32768, 32767);
    state.step = std::clamp(state.step * kScale[code & 7] >> 8, kLeastStep, kMostStep);
    return static_cast<std::int16_t>(state.value);
}

inline std::uint32_t code(YamahaAdpcmState& state, int target) {
    const int difference = target - state.value;
    const int distance = difference < 0 ? -difference : difference;
    const std::uint32_t code =
        static_cast<std::uint32_t>(std::min(distance * 4 / state.step, 7)) | (difference < 0 ? 8u : 0u);
    step(state, code);
    return code;
}

}  // namespace

std::size_t YamahaAdpcmDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    const std::size_t count = std::min(from.size() * 2, to.size());
    YamahaAdpcmState left = states_[0], right = states_[1];
    if (channels_ == 2) {
        for (std::size_t i = 0; i + 1 < count; i += 2) {
            to[i] = step(left, from[i / 2] & 15);
            to[i + 1] = step(right, from[i / 2] >> 4);
        }
    } else {
        for (std::size_t i = 0; i + 1 < count; i += 2) {
            to[i] = step(left, from[i / 2] & 15);
            to[i + 1] = step(left, from[i / 2] >> 4);
        }
        if (count & 1)
            to[count - 1] = step(left, from[count / 2] & 15);
    }
    states_ = {left, right};
    return channels_ == 2 ? count & ~std::size_t{1} : count;
}

void YamahaAdpcmEncoder::encode(std::span<const std::int16_t> from, std::span<Byte> to) {
    YamahaAdpcmState& second = states_[channels_ == 2 ? 1 : 0];
    for (std::size_t i = 0; i < to.size() && 2 * i < from.size(); ++i) {
        const std::uint32_t low = code(states_[0], from[2 * i]);
        const std::uint32_t high = 2 * i + 1 < from.size() ? code(second, from[2 * i + 1]) : 0;
        to[i] = static_cast<Byte>(low | high << 4);
    }
}

}  // namespace velor
