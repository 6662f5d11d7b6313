#include "formats/core/codecs/dwvw.h"

namespace velor {

// The next bits, at most 24, most significant first; 0 once the data have run out.
std::uint32_t DwvwDecoder::take(int count) {
    while (windowBits_ < count && at_ < data_.size()) {
        window_ = window_ << 8 | data_[at_++];
        windowBits_ += 8;
    }
    if (windowBits_ < count) {
        ended_ = true;
        return 0;
    }
    windowBits_ -= count;
    return static_cast<std::uint32_t>(window_ >> windowBits_) & ((1u << count) - 1);
}

std::size_t DwvwDecoder::decode(std::span<std::int32_t> to) {
    if (!supportsWidth(bits_))
        return 0;
    const std::uint32_t largest = (1u << (bits_ - 1)) - 1;
    for (std::size_t i = 0; i < to.size(); ++i) {
        // How far the width moves, in unary; the longest move needs no end mark. It goes around in a circle,
        // so half of the widths in either direction reaches all of them.
        int move = 0;
        while (move < bits_ / 2 && take(1) == 0 && !ended_)
            ++move;
        if (move != 0 && take(1) == 1)
            move = -move;
        width_ = (width_ + move + bits_) % bits_;
        std::uint32_t difference = 0;
        if (width_ > 0) {
            difference = take(width_ - 1) | 1u << (width_ - 1);
            const bool negative = take(1) == 1;
            // The one size that needs a bit more than the widest number has.
            if (difference == largest)
                difference += take(1);
            if (negative)
                difference = 0u - difference;
        }
        if (ended_)
            return i;
        // Sums wrap around in the width of a sample: its bits are the upper ones of the sum.
        const std::uint32_t shifted = (static_cast<std::uint32_t>(sample_) + (difference << (32 - bits_)));
        sample_ = static_cast<std::int32_t>(shifted);
        to[i] = sample_;
    }
    return to.size();
}

}  // namespace velor
