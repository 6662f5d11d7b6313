// Shorten: lossless coding of 8- and 16-bit samples by simple predictors and Rice codes, after T. Robinson,
// "SHORTEN: Simple lossless and near-lossless waveform compression" (Cambridge, CUED/F-INFENG/TR.156, 1994).
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "base/byte_order.h"

namespace velor {

// What the stream's own header says.
struct ShortenHeader {
    unsigned version = 0;
    std::uint32_t channels = 0;
    int bits = 0;             // 8 or 16
    bool isUnsigned = false;  // as the samples were stored before
};

class ShortenStream {
  public:
    // Called for each block with as many values for every channel, in turn: values[channel][frame]. Values
    // are signed, full scale is 2^(bits - 1). False ends the decoding.
    using TakeBlock = std::function<bool(std::span<const std::vector<std::int32_t>> values)>;

    explicit ShortenStream(std::span<const Byte> data) : data_(data) {}

    // False for anything but versions 1 to 3 with plain 8- and 16-bit samples, or with absurd parameters.
    bool readHeader(ShortenHeader& header);
    // Decodes blocks up to the end mark, the end of the data or the first fault. Call it after readHeader().
    void decode(const TakeBlock& take);
    // The bytes that the stream holds unchanged before its first block: the head of the file it was made of.
    std::vector<Byte> readVerbatim();

  private:
    struct Channel {
        std::vector<std::int64_t> history;  // the last values, the newest at the end
        std::vector<std::int64_t> means;    // of the last blocks
    };

    unsigned bit();
    std::uint32_t bits(unsigned count);
    std::uint32_t uvar(unsigned k);
    std::int32_t svar(unsigned k);
    std::uint32_t number();
    bool skipVerbatim(std::vector<Byte>* bytes);
    bool decodeBlock(std::uint32_t command, Channel& channel, std::vector<std::int32_t>& values);
    std::int64_t offsetOf(const Channel& channel) const;
    void addMean(Channel& channel, const std::vector<std::int64_t>& decoded);

    std::span<const Byte> data_;
    std::uint64_t at_ = 0;  // bit
    bool ok_ = true;
    ShortenHeader header_;
    std::uint32_t blockSize_ = 256, order_ = 0, meanCount_ = 0;
    unsigned shift_ = 0;
    std::vector<Channel> channels_;
};

}  // namespace velor
