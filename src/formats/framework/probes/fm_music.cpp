#include "formats/framework/probes/fm_music.h"

namespace velor::probe {

int adLibBank(Head head, std::uint32_t, std::uint64_t fileSize) {
    return certainIfSane(has(head, 2, "ADLIB-"), le32(head, 12) <= fileSize && le32(head, 16) <= fileSize);
}

int adLibInstrument(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr std::size_t kSmallest = 54;  // up to the last operator field; the waves came later
    constexpr std::size_t kLargest = 80;
    if (fileSize < kSmallest || fileSize > kLargest || head.size() < kSmallest)
        return kNo;
    if (le16(head, 0) > 1 || le16(head, 2) > 10)
        return kNo;
    bool anything = false;
    for (std::size_t i = 4; i + 1 < head.size(); i += 2) {
        if (head[i + 1] != 0 || head[i] > 63)  // the widest field is a 6-bit attenuation
            return kNo;
        anything |= head[i] != 0;
    }
    return anything ? kLikely : kNo;
}

int adLibSong(Head head, std::uint32_t, std::uint64_t) {
    constexpr std::size_t kTempo = 197;
    if (le16(head, 0) != 0 || le16(head, 2) != 4 || head.size() < kTempo + 4)
        return kNo;
    const auto tempo = at<float>(head, kTempo, ByteOrder::Little);
    const bool plausible =
        tempo > 1 && tempo < 1000 && head[53] <= 1 && le16(head, 44) >= 1 && le16(head, 44) <= 1000;
    if (has(head, 4, "\\roll\\default"))
        return certainIfSane(true, plausible);
    return plausible ? kLikely : kNo;
}

int creativeMusic(Head head, std::uint32_t, std::uint64_t) {
    const unsigned version = le16(head, 4);
    return certainIfSane(has(head, 0, "CTMF"), version == 0x100 || version == 0x101);
}

int creativeFmBank(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr std::uint64_t kBank = 4 + 128 * (16 + 9);
    return certainIfSane(has(head, 0, "IBK\x1A"), fileSize >= kBank);
}

int creativeFmInstrument(Head head, std::uint32_t, std::uint64_t) {
    if (has(head, 0, "SBI\x1A") || has(head, 0, "SBI\x1D"))
        return kCertain;
    // Marks of the players on Unix.
    return has(head, 0, "2OP\x1A") || has(head, 0, "4OP\x1A") ? kLikely : kNo;
}

int dosBoxCapture(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "DBRAWOPL"));
}

int rdosCapture(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "RAWADATA"));
}

int doomMusic(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr unsigned kHeader = 16;
    const unsigned score = le16(head, 6);
    return certainIfSane(has(head, 0, "MUS\x1A"), score >= kHeader && score < fileSize);
}

}  // namespace velor::probe
