// Explicit little- and big-endian access to unaligned bytes.
#pragma once

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace velor {

using Byte = std::uint8_t;

enum class ByteOrder : std::uint8_t { Little, Big };

template <std::unsigned_integral T>
constexpr T byteSwap(T value) {
    if constexpr (sizeof(T) == 1)
        return value;
    else if constexpr (sizeof(T) == 2)
        return static_cast<T>(__builtin_bswap16(value));
    else if constexpr (sizeof(T) == 4)
        return static_cast<T>(__builtin_bswap32(value));
    else
        return static_cast<T>(__builtin_bswap64(value));
}

// Loads a value of type T (integer or IEEE float) stored in the given order. The pointer needs no alignment.
template <typename T>
inline T loadAs(const Byte* from, ByteOrder order) {
    using Bits = std::conditional_t<
        sizeof(T) == 1, std::uint8_t,
        std::conditional_t<sizeof(T) == 2, std::uint16_t,
                           std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>;
    Bits bits;
    std::memcpy(&bits, from, sizeof bits);
    if ((order == ByteOrder::Big) != (std::endian::native == std::endian::big))
        bits = byteSwap(bits);
    return std::bit_cast<T>(bits);
}

template <typename T>
inline T loadLe(const Byte* from) {
    return loadAs<T>(from, ByteOrder::Little);
}
template <typename T>
inline T loadBe(const Byte* from) {
    return loadAs<T>(from, ByteOrder::Big);
}

// Stores a value in the given order. The pointer needs no alignment.
template <typename T>
inline void storeAs(Byte* to, T value, ByteOrder order) {
    using Bits = std::conditional_t<
        sizeof(T) == 1, std::uint8_t,
        std::conditional_t<sizeof(T) == 2, std::uint16_t,
                           std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>;
    Bits bits = std::bit_cast<Bits>(value);
    if ((order == ByteOrder::Big) != (std::endian::native == std::endian::big))
        bits = byteSwap(bits);
    std::memcpy(to, &bits, sizeof bits);
}
template <typename T>
inline void storeLe(Byte* to, T value) {
    storeAs<T>(to, value, ByteOrder::Little);
}
template <typename T>
inline void storeBe(Byte* to, T value) {
    storeAs<T>(to, value, ByteOrder::Big);
}

// A four-character chunk id as the number its bytes form in little-endian order.
consteval std::uint32_t fourCc(const char (&id)[5]) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | static_cast<Byte>(id[i]);
    return value;
}

}  // namespace velor
