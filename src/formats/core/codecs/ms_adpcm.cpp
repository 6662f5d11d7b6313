#include "formats/core/codecs/ms_adpcm.h"

#include <algorithm>

#include "formats/core/codecs/block_loop.h"

namespace velor {

namespace {

// The seven pairs that every file has to begin with.
constexpr MsAdpcmDecoder::Coefficients kStandard[] = {{256, 0}, {512, -256}, {0, 0},     {192, 64},
                                                      {240, 0}, {460, -208}, {392, -232}};
// How the step width grows or shrinks after each code, 8.8 fixed point.
constexpr int kAdaptation[16] = {230, 230, 230, 230, 307, 409, 512, 614,
                                 768, 614, 512, 409, 307, 230, 230, 230};
constexpr int kLeastStep = 16;
// Steps of honest files stay far below; forged ones must not overflow.
constexpr int kMostStep = 1 << 20;
constexpr std::uint32_t kHeaderBytes = 7;  // of one channel

struct Channel {
    int first, second;  // coefficients
    int step;
    int last, beforeLast;

    std::int16_t decode(int code) {
        // The prediction is rounded towards minus infinity, as the shift of the published code does.
        const int prediction = (last * first + beforeLast * second) >> 8;
        const int value = std::clamp(prediction + ((code ^ 8) - 8) * step, -32768, 32767);
        step = std::clamp(kAdaptation[code] * step >> 8, kLeastStep, kMostStep);
        beforeLast = last;
        last = value;
        return static_cast<std::int16_t>(value);
    }
};

}  // namespace

std::uint32_t MsAdpcmDecoder::framesIn(std::uint32_t bytes, int channels) {
    const auto count = static_cast<std::uint32_t>(channels);
    return bytes < kHeaderBytes * count ? 0 : 2 + (bytes - kHeaderBytes * count) * 2 / count;
}

MsAdpcmDecoder::MsAdpcmDecoder(int channels, std::uint32_t blockBytes, std::uint32_t framesPerBlock,
                               std::vector<Coefficients> coefficients)
    : channels_(channels), blockBytes_(blockBytes), coefficients_(std::move(coefficients)) {
    const std::uint32_t most = framesIn(blockBytes, channels);
    framesPerBlock_ = framesPerBlock == 0 ? most : std::min(framesPerBlock, most);
    if (coefficients_.empty())
        coefficients_.assign(std::begin(kStandard), std::end(kStandard));
    // So that two products of 16-bit numbers add up within 32 bits.
    for (Coefficients& pair : coefficients_)
        pair = {std::clamp(pair.first, -32767, 32767), std::clamp(pair.second, -32767, 32767)};
}

std::size_t MsAdpcmDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    return decodeBlocks(from, blockBytes_, to,
                        [this](std::span<const Byte> block, std::span<std::int16_t> samples) {
                            return decodeBlock(block, samples);
                        });
}

std::size_t MsAdpcmDecoder::decodeBlock(std::span<const Byte> block, std::span<std::int16_t> to) const {
    const auto channels = static_cast<std::size_t>(channels_);
    const std::size_t frames =
        std::min({std::size_t{framesIn(static_cast<std::uint32_t>(block.size()), channels_)},
                  std::size_t{framesPerBlock_}, to.size() / channels});
    if (frames == 0)
        return 0;
    Channel state[2] = {};
    const Byte* header = block.data();
    for (std::size_t c = 0; c < channels; ++c) {
        // A predictor that the table does not have counts as the first one.
        const std::size_t predictor = header[c] < coefficients_.size() ? header[c] : 0;
        const auto field = [&](std::size_t which) {
            return static_cast<std::int16_t>(
                loadLe<std::uint16_t>(header + channels + 2 * (which * channels + c)));
        };
        state[c] = {coefficients_[predictor].first, coefficients_[predictor].second, field(0), field(1),
                    field(2)};
    }
    std::int16_t* out = to.data();
    for (std::size_t c = 0; c < channels; ++c)
        *out++ = static_cast<std::int16_t>(state[c].beforeLast);
    if (frames == 1)
        return channels;
    for (std::size_t c = 0; c < channels; ++c)
        *out++ = static_cast<std::int16_t>(state[c].last);
    const Byte* code = block.data() + kHeaderBytes * channels;
    // The state lives in registers for the length of the block.
    Channel left = state[0], right = state[1];
    if (channels == 2) {
        for (std::size_t i = 2; i < frames; ++i, ++code) {
            *out++ = left.decode(*code >> 4);
            *out++ = right.decode(*code & 15);
        }
    } else {
        std::size_t i = 2;
        for (; i + 1 < frames; i += 2, ++code) {
            *out++ = left.decode(*code >> 4);
            *out++ = left.decode(*code & 15);
        }
        if (i < frames)
            *out++ = left.decode(*code >> 4);
    }
    return frames * channels;
}

}  // namespace velor
