#include "formats/core/codecs/code_packing.h"

#include <algorithm>
#include <array>

namespace velor {

namespace {

// Position of code i within the unit's bits, counted from the lowest.
template <int kWidth, CodePacking kPacking>
constexpr int shiftOf(int i) {
    return kPacking == CodePacking::HighBitsFirst ? kWidth * (7 - i) : kWidth * i;
}
// Position of byte i of the unit likewise.
template <int kWidth, CodePacking kPacking>
constexpr int byteShiftOf(int i) {
    return kPacking == CodePacking::HighBitsFirst ? 8 * (kWidth - 1 - i) : 8 * i;
}

template <int kWidth, CodePacking kPacking>
void unpackUnit(const Byte* from, std::uint8_t* codes) {
    std::uint64_t bits = 0;
    for (int i = 0; i < kWidth; ++i)
        bits |= std::uint64_t{from[i]} << byteShiftOf<kWidth, kPacking>(i);
    for (int i = 0; i < 8; ++i)
        codes[i] = static_cast<std::uint8_t>(bits >> shiftOf<kWidth, kPacking>(i) & ((1u << kWidth) - 1));
}

template <int kWidth, CodePacking kPacking>
void packUnit(const std::uint8_t* codes, Byte* to) {
    std::uint64_t bits = 0;
    for (int i = 0; i < 8; ++i)
        bits |= std::uint64_t{codes[i]} << shiftOf<kWidth, kPacking>(i);
    for (int i = 0; i < kWidth; ++i)
        to[i] = static_cast<Byte>(bits >> byteShiftOf<kWidth, kPacking>(i));
}

template <int kWidth, CodePacking kPacking>
void unpackAll(std::span<const Byte> from, std::span<std::uint8_t> codes) {
    const std::size_t units = codes.size() / kCodesPerUnit;
    for (std::size_t i = 0; i < units; ++i)
        unpackUnit<kWidth, kPacking>(from.data() + i * kWidth, codes.data() + i * kCodesPerUnit);
    const auto rest = codes.subspan(units * kCodesPerUnit);
    if (rest.empty())
        return;
    std::array<Byte, 8> bytes{};
    std::array<std::uint8_t, kCodesPerUnit> last;
    std::ranges::copy(from.subspan(units * kWidth, (rest.size() * kWidth + 7) / 8), bytes.begin());
    unpackUnit<kWidth, kPacking>(bytes.data(), last.data());
    std::copy_n(last.begin(), rest.size(), rest.begin());
}

template <int kWidth, CodePacking kPacking>
void packAll(std::span<const std::uint8_t> codes, std::span<Byte> to) {
    const std::size_t units = codes.size() / kCodesPerUnit;
    for (std::size_t i = 0; i < units; ++i)
        packUnit<kWidth, kPacking>(codes.data() + i * kCodesPerUnit, to.data() + i * kWidth);
    const auto rest = codes.subspan(units * kCodesPerUnit);
    if (rest.empty())
        return;
    std::array<std::uint8_t, kCodesPerUnit> last{};
    std::array<Byte, 8> bytes{};
    std::ranges::copy(rest, last.begin());
    packUnit<kWidth, kPacking>(last.data(), bytes.data());
    std::copy_n(bytes.begin(), (rest.size() * kWidth + 7) / 8, to.begin() + units * kWidth);
}

// Calls the function for the width and packing, which are constants inside it.
template <typename Function>
void withLayout(int width, CodePacking packing, Function&& function) {
    const auto of = [&]<int kWidth>() {
        if (packing == CodePacking::HighBitsFirst)
            function.template operator()<kWidth, CodePacking::HighBitsFirst>();
        else
            function.template operator()<kWidth, CodePacking::LowBitsFirst>();
    };
    switch (width) {
        case 2:
            return of.template operator()<2>();
        case 3:
            return of.template operator()<3>();
        case 4:
            return of.template operator()<4>();
        case 5:
            return of.template operator()<5>();
        case 6:
            return of.template operator()<6>();
        case 7:
            return of.template operator()<7>();
        default:
            return of.template operator()<8>();
    }
}

}  // namespace

void unpackCodes(int width, CodePacking packing, std::span<const Byte> from, std::span<std::uint8_t> codes) {
    withLayout(width, packing,
               [&]<int kWidth, CodePacking kPacking>() { unpackAll<kWidth, kPacking>(from, codes); });
}

void packCodes(int width, CodePacking packing, std::span<const std::uint8_t> codes, std::span<Byte> to) {
    withLayout(width, packing,
               [&]<int kWidth, CodePacking kPacking>() { packAll<kWidth, kPacking>(codes, to); });
}

}  // namespace velor
