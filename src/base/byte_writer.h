// Writes typed values one after another into a block of known size. Writing past the end is a programming
// error: it is dropped and remembered, so that a size computed wrong shows in a test instead of in memory.
#pragma once

#include <span>
#include <string_view>

#include "base/byte_order.h"

namespace velor {

class ByteWriter {
  public:
    explicit ByteWriter(std::span<Byte> bytes, ByteOrder order = ByteOrder::Little)
        : bytes_(bytes), order_(order) {}

    std::size_t position() const { return position_; }
    std::size_t remaining() const { return bytes_.size() - position_; }
    bool ok() const { return ok_; }

    template <typename T>
    void write(T value) {
        if (Byte* to = claim(sizeof(T)))
            storeAs<T>(to, value, order_);
    }
    void u8(std::uint8_t value) { write(value); }
    void u16(std::uint16_t value) { write(value); }
    void u32(std::uint32_t value) { write(value); }
    void u64(std::uint64_t value) { write(value); }
    void f32(float value) { write(value); }
    // A chunk id made by fourCc().
    void id(std::uint32_t value) {
        if (Byte* to = claim(4))
            storeLe<std::uint32_t>(to, value);
    }
    void bytes(std::span<const Byte> from);
    void zeros(std::size_t count);
    // Text cut or zero-padded to exactly `fieldWidth` bytes.
    void text(std::string_view text, std::size_t fieldWidth);
    // Hands out the next `count` bytes to be filled by the caller; empty when they do not fit.
    std::span<Byte> block(std::size_t count);

  private:
    Byte* claim(std::size_t count);

    std::span<Byte> bytes_;
    std::size_t position_ = 0;
    ByteOrder order_;
    bool ok_ = true;
};

}  // namespace velor
