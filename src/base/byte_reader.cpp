#include "base/byte_reader.h"

#include <algorithm>

namespace velor {

void ByteReader::seek(std::size_t position) {
    if (position > bytes_.size()) {
        ok_ = false;
        position = bytes_.size();
    }
    position_ = position;
}

void ByteReader::skip(std::size_t count) {
    if (count > remaining()) {
        ok_ = false;
        count = remaining();
    }
    position_ += count;
}

std::uint32_t ByteReader::id() {
    const ByteOrder saved = order_;
    order_ = ByteOrder::Little;
    const std::uint32_t value = read<std::uint32_t>();
    order_ = saved;
    return value;
}

std::span<const Byte> ByteReader::bytes(std::size_t count) {
    if (count > remaining()) {
        ok_ = false;
        count = remaining();
    }
    const auto result = bytes_.subspan(position_, count);
    position_ += count;
    return result;
}

std::string ByteReader::text(std::size_t fieldWidth) {
    const auto field = bytes(fieldWidth);
    const auto end = std::find(field.begin(), field.end(), Byte{0});
    return std::string(field.begin(), end);
}

}  // namespace velor
