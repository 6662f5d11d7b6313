#include "formats/framework/probes/disk_images.h"

namespace velor::probe {

int rolandDisk(Head head, std::uint32_t variant, std::uint64_t fileSize) {
    // The system's name stands behind a revision number.
    const unsigned first = u8(head, 4);
    if (first != 'S' && first != 'W' && first != 'L')
        return kNo;
    std::uint32_t series = 0;
    if (has(head, 4, "S770"))
        series = roland_disk::kS700;
    else if (has(head, 4, "S550") || has(head, 4, "S330") || has(head, 4, "S-50") || has(head, 4, "S-51") ||
             has(head, 4, "S500") || has(head, 4, "W-30"))
        series = roland_disk::kS500;
    else if (has(head, 4, "LAND") && has(head, 256, "Instrument Group"))
        series = roland_disk::kS500;  // a CD of the older series
    if (series != (variant & roland_disk::kSeries))
        return kNo;
    constexpr std::uint64_t kLargestFloppy = 1474560;
    return (variant & roland_disk::kFloppy) && fileSize > kLargestFloppy ? kLikely : kCertain;
}

namespace {

bool plainEnsoniqDisk(Head head) {
    return has(head, 550, "ID") && has(head, 2558, "DR");
}

}  // namespace

int ensoniqDisk(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(plainEnsoniqDisk(head));
}

int ensoniqPackedDisk(Head head, std::uint32_t variant, std::uint64_t) {
    if (!has(head, 0, "\r\n"))
        return plainEnsoniqDisk(head) ? kLikely : kNo;
    if (!has(head, 0x4E, "\r\n") || head.size() < 512)
        return kNo;
    const bool shortText = has(head, 0x5D, "\r\n\x1A");
    if (!shortText && !has(head, 0x9D, "\r\n\x1A"))
        return kNo;
    const unsigned id = head[511];
    const bool eps = !shortText && (id == 0x03 || id == 0x07);
    const bool asr = shortText && (id == 0xCB || id == 0xCC);
    if (!eps && !asr)
        return kLikely;  // the wrapper of another instrument's disk
    if (variant == ensoniq::kAny)
        return kLikely;
    return variant == (eps ? ensoniq::kEps : ensoniq::kAsr) ? kCertain : kWeak;
}

int ensoniqTaggedDisk(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "TDDFI"));
}

int ensoniqMirageDisk(Head head, std::uint32_t, std::uint64_t fileSize) {
    // 80 tracks of five 1024-byte sectors and one of 512: a size that no other disk has. System disks begin
    // with four zeros.
    constexpr std::uint64_t kDisk = 80 * 5632;
    if (fileSize != kDisk || head.size() < 4)
        return kNo;
    return be32(head, 0) == 0 ? kLikely : kWeak;
}

int ensoniqFile(Head head, std::uint32_t variant, std::uint64_t) {
    if (!has(head, 0, "\r\n") || !has(head, 0x2F, "\r\n\x1A") || head.size() < 512)
        return kNo;
    if (variant == ensoniq::kAny)
        return kLikely;
    const unsigned type = u8(head, 0x32);
    if (type >= 10 && type <= 22)  // programs, presets and sequences of the VFX-SD
        return variant == ensoniq::kVfx ? kCertain : kWeak;
    if (!has(head, 2, "Eps File:"))
        return kLikely;
    // The instrument's own model word: 0 EPS, FFFF EPS-16 PLUS, FFFE ASR-10.
    const bool asr = type == 3 && be16(head, 0x200 + 0x3C) == 0xFFFE;
    if (variant == (asr ? ensoniq::kAsr : ensoniq::kEps))
        return kCertain;
    return variant <= ensoniq::kAsr ? kLikely : kWeak;
}

}  // namespace velor::probe
