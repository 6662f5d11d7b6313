#include "formats/core/codecs/shorten_stream.h"

#include <algorithm>

namespace velor {

namespace {

constexpr std::uint32_t kMostChannels = 64, kLargestBlock = 1u << 16, kHighestOrder = 128, kMostMeans = 1024;
constexpr std::uint32_t kSmallestHistory = 3;
constexpr unsigned kMostShift = 31;
constexpr std::uint32_t kLongestVerbatim = 1u << 16;

enum Command : std::uint32_t {
    kDifference3 = 3,  // 0 to 3: the order of the difference
    kQuit = 4,
    kBlockSize = 5,
    kBitShift = 6,
    kLinear = 7,
    kZero = 8,
    kVerbatim = 9,
};

// Parameters of the variable-length numbers.
constexpr unsigned kTypeBits = 2, kCommandBits = 2, kEnergyBits = 3, kShiftBits = 2, kOrderBits = 2,
                   kCoefficientBits = 5, kVerbatimSizeBits = 5, kVerbatimBits = 8, kQuantBits = 5;

}  // namespace

unsigned ShortenStream::bit() {
    if (at_ >= data_.size() * std::uint64_t{8}) {
        ok_ = false;
        return 1;  // ends every run of zeros
    }
    const unsigned value = data_[static_cast<std::size_t>(at_ / 8)] >> (7 - at_ % 8) & 1;
    ++at_;
    return value;
}

std::uint32_t ShortenStream::bits(unsigned count) {
    std::uint32_t value = 0;
    while (count > 0 && ok_) {
        if (at_ % 8 == 0 && count >= 8 && at_ / 8 < data_.size()) {
            value = value << 8 | data_[static_cast<std::size_t>(at_ / 8)];
            at_ += 8;
            count -= 8;
        } else {
            value = value << 1 | bit();
            --count;
        }
    }
    return value;
}

// A run of zeros counts the upper part, k bits are the lower one.
std::uint32_t ShortenStream::uvar(unsigned k) {
    std::uint32_t high = 0;
    while (bit() == 0)
        ++high;
    return k >= 32 ? bits(32) : high << k | bits(k);
}

std::int32_t ShortenStream::svar(unsigned k) {
    const std::uint32_t value = uvar(k + 1);
    return static_cast<std::int32_t>(value & 1 ? ~(value >> 1) : value >> 1);
}

// A number that says itself how many low bits it has.
std::uint32_t ShortenStream::number() {
    const std::uint32_t k = uvar(kTypeBits);
    if (k > 31)
        ok_ = false;
    return ok_ ? uvar(k) : 0;
}

bool ShortenStream::readHeader(ShortenHeader& header) {
    if (data_.size() < 5 || data_[0] != 'a' || data_[1] != 'j' || data_[2] != 'k' || data_[3] != 'g')
        return false;
    header_.version = data_[4];
    if (header_.version < 1 || header_.version > 3)
        return false;
    at_ = 5 * 8;
    const std::uint32_t type = number();
    header_.channels = number();
    blockSize_ = number();
    order_ = number();
    meanCount_ = number();
    const std::uint32_t skipped = number();
    // 1 and 2 are 8-bit, 3 to 6 16-bit samples, the even ones unsigned; others are laws.
    if (type < 1 || type > 6 || header_.channels < 1 || header_.channels > kMostChannels || blockSize_ < 1 ||
        blockSize_ > kLargestBlock || order_ > kHighestOrder || meanCount_ > kMostMeans || !ok_ ||
        skipped > data_.size())
        return false;
    for (std::uint32_t i = 0; i < skipped; ++i)
        bits(8);
    header_.bits = type <= 2 ? 8 : 16;
    header_.isUnsigned = type % 2 == 0;
    const std::int64_t zero = header_.isUnsigned ? std::int64_t{1} << (header_.bits - 1) : 0;
    const std::uint32_t history = std::max(kSmallestHistory, order_);
    channels_.assign(header_.channels, {std::vector<std::int64_t>(history),
                                        std::vector<std::int64_t>(std::max(meanCount_, 1u), zero)});
    header = header_;
    return ok_;
}

bool ShortenStream::skipVerbatim(std::vector<Byte>* bytes) {
    const std::uint32_t size = uvar(kVerbatimSizeBits);
    if (size > kLongestVerbatim)
        return false;
    for (std::uint32_t i = 0; i < size && ok_; ++i) {
        const auto byte = static_cast<Byte>(uvar(kVerbatimBits));
        if (bytes)
            bytes->push_back(byte);
    }
    return ok_;
}

std::vector<Byte> ShortenStream::readVerbatim() {
    std::vector<Byte> bytes;
    std::uint64_t before = at_;
    while (ok_ && uvar(kCommandBits) == kVerbatim && skipVerbatim(&bytes))
        before = at_;
    at_ = before;
    ok_ = true;
    return bytes;
}

// The mean of the last blocks: what is added to predictions that need a zero line.
std::int64_t ShortenStream::offsetOf(const Channel& channel) const {
    if (meanCount_ == 0)
        return channel.means.front();
    std::int64_t sum = header_.version >= 2 ? meanCount_ / 2 : 0;
    for (const std::int64_t mean : channel.means)
        sum += mean;
    const std::int64_t offset = sum / meanCount_;
    return header_.version >= 2 ? offset >> shift_ : offset;
}

void ShortenStream::addMean(Channel& channel, const std::vector<std::int64_t>& decoded) {
    if (meanCount_ == 0)
        return;
    const auto count = static_cast<std::int64_t>(decoded.size());
    std::int64_t sum = header_.version >= 2 ? count / 2 : 0;
    for (const std::int64_t value : decoded)
        sum += value;
    std::shift_left(channel.means.begin(), channel.means.end(), 1);
    const std::int64_t mean = sum / count;
    channel.means.back() = header_.version >= 2 ? mean * (std::int64_t{1} << shift_) : mean;
}

bool ShortenStream::decodeBlock(std::uint32_t command, Channel& channel, std::vector<std::int32_t>& values) {
    const std::size_t past = channel.history.size();
    std::vector<std::int64_t> decoded(past + blockSize_);  // behind the history
    std::ranges::copy(channel.history, decoded.begin());
    const std::int64_t offset = offsetOf(channel);
    if (command != kZero) {
        const unsigned k = uvar(kEnergyBits);
        if (k > 30)
            return false;
        std::vector<std::int64_t> coefficients;
        if (command == kLinear) {
            const std::uint32_t count = uvar(kOrderBits);
            if (count > order_)
                return false;
            for (std::uint32_t i = 0; i < count; ++i)
                coefficients.push_back(svar(kCoefficientBits));
            for (std::size_t i = 0; i < past; ++i)
                decoded[i] -= offset;
        }
        const std::int64_t rounding = header_.version >= 2 ? 1 << kQuantBits : 0;
        for (std::size_t i = past; i < decoded.size() && ok_; ++i) {
            std::int64_t value = svar(k);
            switch (command) {
                case 0:
                    value += offset;
                    break;
                case 1:
                    value += decoded[i - 1];
                    break;
                case 2:
                    value += 2 * decoded[i - 1] - decoded[i - 2];
                    break;
                case kDifference3:
                    value += 3 * (decoded[i - 1] - decoded[i - 2]) + decoded[i - 3];
                    break;
                default: {
                    std::int64_t sum = rounding;
                    for (std::size_t c = 0; c < coefficients.size(); ++c)
                        sum += coefficients[c] * decoded[i - 1 - c];
                    value += sum >> kQuantBits;
                }
            }
            // Values of sound streams are far from this limit; without it the differences of forged ones
            // would grow until they overflow.
            decoded[i] = std::clamp<std::int64_t>(value, INT32_MIN, INT32_MAX);
        }
        if (command == kLinear) {
            for (std::int64_t& value : decoded)
                value += offset;
        }
        if (!ok_)
            return false;
    }
    std::copy(decoded.end() - static_cast<std::ptrdiff_t>(past), decoded.end(), channel.history.begin());
    decoded.erase(decoded.begin(), decoded.begin() + static_cast<std::ptrdiff_t>(past));
    addMean(channel, decoded);
    const std::int64_t zero = header_.isUnsigned ? std::int64_t{1} << (header_.bits - 1) : 0;
    const std::int64_t limit = std::int64_t{1} << (header_.bits - 1);
    values.resize(decoded.size());
    for (std::size_t i = 0; i < decoded.size(); ++i)
        values[i] = static_cast<std::int32_t>(
            std::clamp<std::int64_t>(decoded[i] * (std::int64_t{1} << shift_) - zero, -limit, limit - 1));
    return true;
}

void ShortenStream::decode(const TakeBlock& take) {
    std::vector<std::vector<std::int32_t>> values(channels_.size());
    std::size_t next = 0;  // channel
    while (ok_) {
        const std::uint32_t command = uvar(kCommandBits);
        switch (command) {
            case kBlockSize:
                blockSize_ = number();
                if (blockSize_ < 1 || blockSize_ > kLargestBlock)
                    return;
                break;
            case kBitShift:
                shift_ = uvar(kShiftBits);
                if (shift_ > kMostShift)
                    return;
                break;
            case kVerbatim:
                if (!skipVerbatim(nullptr))
                    return;
                break;
            case 0:
            case 1:
            case 2:
            case kDifference3:
            case kLinear:
            case kZero:
                if (!ok_ || !decodeBlock(command, channels_[next], values[next]))
                    return;
                if (++next == channels_.size()) {
                    next = 0;
                    if (!take(values))
                        return;
                }
                break;
            default:
                return;  // the end mark
        }
    }
}

}  // namespace velor
