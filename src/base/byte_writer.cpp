#include "base/byte_writer.h"

#include <algorithm>

namespace velor {

Byte* ByteWriter::claim(std::size_t count) {
    if (count > remaining()) {
        ok_ = false;
        return nullptr;
    }
    Byte* at = bytes_.data() + position_;
    position_ += count;
    return at;
}

void ByteWriter::bytes(std::span<const Byte> from) {
    if (Byte* to = claim(from.size()))
        std::copy(from.begin(), from.end(), to);
}

void ByteWriter::zeros(std::size_t count) {
    if (Byte* to = claim(count))
        std::fill_n(to, count, Byte{0});
}

void ByteWriter::text(std::string_view text, std::size_t fieldWidth) {
    const std::size_t length = std::min(text.size(), fieldWidth);
    bytes({reinterpret_cast<const Byte*>(text.data()), length});
    zeros(fieldWidth - length);
}

std::span<Byte> ByteWriter::block(std::size_t count) {
    Byte* at = claim(count);
    return at ? std::span<Byte>(at, count) : std::span<Byte>();
}

}  // namespace velor
