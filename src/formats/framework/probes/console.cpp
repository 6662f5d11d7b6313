#include "formats/framework/probes/console.h"

namespace velor::probe {

int playStationVag(Head head, std::uint32_t, std::uint64_t) {
    if (has(head, 0, "VAGp") || has(head, 0, "pGAV"))
        return kCertain;
    // Marks of single games' variants of the header.
    return has(head, 0, "VAGi") || has(head, 0, "VAG1") || has(head, 0, "VAG2") ? kLikely : kNo;
}

int playStationVab(Head head, std::uint32_t, std::uint64_t) {
    constexpr std::uint32_t kNewestVersion = 32;
    return certainIfSane(has(head, 0, "pBAV"), le32(head, 4) <= kNewestVersion);
}

int playStationSequence(Head head, std::uint32_t, std::uint64_t) {
    // A collection of songs has a 16-bit version 0 in the place of the 32-bit version 1.
    return certainIfSane(has(head, 0, "pQES"), be32(head, 4) == 1);
}

int playStation2Stream(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "SShd") && has(head, 32, "SSbd"));
}

int playStation2Bank(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "IECSsreV") && has(head, 16, "IECSdaeH"));
}

int playStation2Sequence(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "IECSsreV") && (has(head, 16, "IECSuqeS") || has(head, 16, "IECSidiM")));
}

int fmodBank(Head head, std::uint32_t, std::uint64_t fileSize) {
    const unsigned version = u8(head, 3);
    if (!has(head, 0, "FSB") || version < '1' || version > '5')
        return kNo;
    // Every sound has at least a byte of header or of data.
    const std::uint32_t sounds = le32(head, version == '5' ? 8 : 4);
    return certainIfSane(true, sounds > 0 && sounds < fileSize);
}

int konamiSong(Head head, std::uint32_t, std::uint64_t fileSize) {
    return certainIfSane(has(head, 0, "KDT1"), le32(head, 4) <= fileSize && le32(head, 12) <= fileSize / 2);
}

}  // namespace velor::probe
