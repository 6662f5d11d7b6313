// A bounded cursor over bytes in memory. Reading past the end is a value, not a disaster: the read yields
// zero and the cursor remembers that it ran short.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "base/byte_order.h"

namespace velor {

class ByteReader {
  public:
    ByteReader() = default;
    explicit ByteReader(std::span<const Byte> bytes, ByteOrder order = ByteOrder::Little)
        : bytes_(bytes), order_(order) {}

    std::size_t position() const { return position_; }
    std::size_t size() const { return bytes_.size(); }
    std::size_t remaining() const { return bytes_.size() - position_; }
    // True as long as no read went past the end.
    bool ok() const { return ok_; }
    ByteOrder order() const { return order_; }
    void setOrder(ByteOrder order) { order_ = order; }

    // Moves to an absolute position; beyond the end it stops there and the cursor is no longer ok.
    void seek(std::size_t position);
    void skip(std::size_t count);

    template <typename T>
    T read() {
        if (remaining() < sizeof(T)) {
            ok_ = false;
            position_ = bytes_.size();
            return T{};
        }
        const T value = loadAs<T>(bytes_.data() + position_, order_);
        position_ += sizeof(T);
        return value;
    }
    std::uint8_t u8() { return read<std::uint8_t>(); }
    std::int8_t s8() { return read<std::int8_t>(); }
    std::uint16_t u16() { return read<std::uint16_t>(); }
    std::int16_t s16() { return read<std::int16_t>(); }
    std::uint32_t u32() { return read<std::uint32_t>(); }
    std::int32_t s32() { return read<std::int32_t>(); }
    std::uint64_t u64() { return read<std::uint64_t>(); }
    float f32() { return read<float>(); }
    double f64() { return read<double>(); }
    // A chunk id in fourCc() form: always byte order of the text.
    std::uint32_t id();

    // The next `count` bytes, fewer when the data ends (then no longer ok).
    std::span<const Byte> bytes(std::size_t count);
    // A cursor over the next `count` bytes, which this one skips.
    ByteReader sub(std::size_t count) { return ByteReader(bytes(count), order_); }
    // Text in a field of fixed width: up to the first NUL.
    std::string text(std::size_t fieldWidth);

  private:
    std::span<const Byte> bytes_;
    std::size_t position_ = 0;
    ByteOrder order_ = ByteOrder::Little;
    bool ok_ = true;
};

}  // namespace velor
