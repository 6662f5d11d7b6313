// Small helpers of the probes. Every comparison is bounded by the bytes at hand.
#pragma once

#include <cstring>
#include <span>
#include <string_view>

#include "base/byte_order.h"

namespace velor::probe {

using Head = std::span<const Byte>;

// The type of a probe, so that a header can name many in a line. See FormatProbe.
using Probe = int(Head head, std::uint32_t variant, std::uint64_t fileSize);

inline constexpr int kNo = 0;
inline constexpr int kWeak = 2;
inline constexpr int kLikely = 4;
inline constexpr int kCertain = 6;

// True when the bytes at `offset` equal `text` (which may hold NULs when given as a sized string_view).
inline bool has(Head head, std::size_t offset, std::string_view text) {
    return offset <= head.size() && head.size() - offset >= text.size() &&
           std::memcmp(head.data() + offset, text.data(), text.size()) == 0;
}
inline int certainIf(bool match) { return match ? kCertain : kNo; }

// For signatures short enough to occur by chance: certain when the header's other fields make sense too.
inline int certainIfSane(bool match, bool sane) {
    if (!match)
        return kNo;
    return sane ? kCertain : kLikely;
}

// Values at an offset; 0 when the head is too short.
inline unsigned u8(Head head, std::size_t offset) { return offset < head.size() ? head[offset] : 0; }
template <typename T>
T at(Head head, std::size_t offset, ByteOrder order) {
    return offset <= head.size() && head.size() - offset >= sizeof(T) ? loadAs<T>(head.data() + offset, order)
                                                                      : T{};
}
inline std::uint16_t le16(Head h, std::size_t o) { return at<std::uint16_t>(h, o, ByteOrder::Little); }
inline std::uint16_t be16(Head h, std::size_t o) { return at<std::uint16_t>(h, o, ByteOrder::Big); }
inline std::uint32_t le32(Head h, std::size_t o) { return at<std::uint32_t>(h, o, ByteOrder::Little); }
inline std::uint32_t be32(Head h, std::size_t o) { return at<std::uint32_t>(h, o, ByteOrder::Big); }

// A RIFF (or IFF FORM) file of the given form type.
inline bool isRiff(Head head, std::string_view form) { return has(head, 0, "RIFF") && has(head, 8, form); }
inline bool isForm(Head head, std::string_view form) { return has(head, 0, "FORM") && has(head, 8, form); }

}  // namespace velor::probe
