#include "formats/core/codecs/creative_adpcm.h"

#include <algorithm>
#include <iterator>

namespace velor {

namespace {

struct Tables {
    unsigned signBit;
    std::span<const int> steps;    // in 16-bit units
    std::span<const int> changes;  // of the step index, by magnitude
};

constexpr int kSteps4[] = {0x100, 0x200, 0x400, 0x800};
constexpr int kChanges4[] = {-1, 0, 0, 0, 0, 1, 1, 1};
constexpr int kSteps26[] = {0x100, 0x200, 0x400, 0x800, 0xA00};
constexpr int kChanges26[] = {-1, 0, 0, 1};
constexpr int kSteps2[] = {0x100, 0x200, 0x400, 0x800, 0x1000, 0x2000};
constexpr int kChanges2[] = {-1, 1};

Tables tablesOf(CreativeAdpcmKind kind) {
    switch (kind) {
        case CreativeAdpcmKind::Bits4:
            return {8, kSteps4, kChanges4};
        case CreativeAdpcmKind::Bits26:
            return {4, kSteps26, kChanges26};
        default:
            return {2, kSteps2, kChanges2};
    }
}

}  // namespace

std::uint32_t samplesPerByte(CreativeAdpcmKind kind) {
    return static_cast<std::uint32_t>(kind) + 1;
}

CreativeAdpcmDecoder::CreativeAdpcmDecoder(CreativeAdpcmKind kind, Byte reference)
    : kind_(kind), sample_((reference - 0x80) * 256) {}

std::int16_t CreativeAdpcmDecoder::next(unsigned code) {
    const Tables tables = tablesOf(kind_);
    const unsigned magnitude = code & (tables.signBit - 1);
    const int step = tables.steps[static_cast<std::size_t>(step_)];
    const int delta = (step * (2 * static_cast<int>(magnitude) + 1) >> 1) & ~0xFF;
    sample_ = std::clamp(code & tables.signBit ? sample_ - delta : sample_ + delta, -32768, 32767);
    step_ = std::clamp(step_ + tables.changes[magnitude], 0, static_cast<int>(tables.steps.size()) - 1);
    return static_cast<std::int16_t>(sample_);
}

std::size_t CreativeAdpcmDecoder::decode(std::span<const Byte> from, std::span<std::int16_t> to) {
    const std::size_t perByte = samplesPerByte(kind_);
    const std::size_t bytes = std::min(from.size(), to.size() / perByte);
    std::int16_t* out = to.data();
    for (const unsigned byte : from.first(bytes)) {
        switch (kind_) {
            case CreativeAdpcmKind::Bits4:
                *out++ = next(byte >> 4);
                *out++ = next(byte & 15);
                break;
            case CreativeAdpcmKind::Bits26:
                *out++ = next(byte >> 5);
                *out++ = next(byte >> 2 & 7);
                *out++ = next((byte & 3) << 1);  // a code of two bits: its lowest bit is missing
                break;
            case CreativeAdpcmKind::Bits2:
                for (int shift = 6; shift >= 0; shift -= 2)
                    *out++ = next(byte >> shift & 3);
                break;
        }
    }
    return bytes * perByte;
}

}  // namespace velor
