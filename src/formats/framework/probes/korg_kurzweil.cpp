#include "formats/framework/probes/korg_kurzweil.h"

namespace velor::probe {

int korgKeymap(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "MSP1") && be32(head, 4) == 18);
}

int korgSample(Head head, std::uint32_t, std::uint64_t) {
    if (has(head, 0, "SMP1"))
        return certainIf(be32(head, 4) == 32);
    // The second and later files of a sample that was split over floppies hold nothing but data.
    return has(head, 0, "SDD1") || has(head, 0, "SMF1") ? kLikely : kNo;
}

int korgScript(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "#KORG Script"));
}

int korgBank(Head head, std::uint32_t variant, std::uint64_t) {
    if (!has(head, 0, "KORG") || head.size() < 16)
        return kNo;
    const bool bank = u8(head, 5) == 0;  // 1 is a song, 2 an exclusive dump
    return certainIf(bank && u8(head, 4) == (variant & korg_model::kProduct));
}

int korgPaResource(Head head, std::uint32_t variant, std::uint64_t) {
    // A container chunk (type 1, version 0.1, flags "first" and "in bank files") with the maker's chunk in
    // it.
    if (!has(head, 0, {"\x01\x00\x01\x14", 4}) || u8(head, 8) != 2 || !has(head, 16, "KORF"))
        return kNo;
    constexpr int kMaximumChunks = 16;
    std::uint64_t chunk = 8;
    for (int i = 0; i < kMaximumChunks && chunk + 8 <= head.size(); ++i) {
        const auto offset = static_cast<std::size_t>(chunk);
        const unsigned type = u8(head, offset);
        if (type == 0x10 || type == 0x11 || type == 0x12)
            return type == variant ? kCertain : kWeak;
        chunk += 8 + std::uint64_t{be32(head, offset + 4)};
    }
    return kLikely;  // a table of contents longer than the head
}

int kurzweilObjects(Head head, std::uint32_t variant, std::uint64_t fileSize) {
    if (!has(head, 0, "PRAM"))
        return kNo;
    const std::uint32_t samples = be32(head, 4);  // where the sample words begin
    if (samples < 32 || samples > 0x7FFFFFFF)
        return kNo;
    if (samples > fileSize) {
        // The object list goes on beyond this file: a piece of a split one.
        return variant == kurzweil_family::kSplit ? kCertain : kWeak;
    }
    return variant == kurzweil_family::kK2000 ? kCertain : kLikely;
}

}  // namespace velor::probe
