#include "formats/framework/probes/riff.h"

namespace velor::probe {

namespace {

constexpr std::size_t kFirstChunk = 12;  // behind "RIFF", the size and the form type
constexpr std::size_t kFormatTag = 20;   // when "fmt " is the first chunk, as nearly all writers have it
constexpr std::uint16_t kTagRockwell = 0x0300;
constexpr std::uint16_t kTagUsrGsm = 0x0303;

bool isWaveWithTag(Head head, std::uint16_t tag) {
    return isRiff(head, "WAVE") && head.size() >= kFormatTag + 2 && le16(head, kFormatTag) == tag;
}

}  // namespace

int wave(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isRiff(head, "WAVE"));
}

int broadcastWave(Head head, std::uint32_t, std::uint64_t) {
    if (!isRiff(head, "WAVE"))
        return kNo;
    // Writers put "bext" in front of the data, behind at most a padding, a "fmt " and a "ds64" chunk.
    std::uint64_t at = kFirstChunk;
    for (int chunk = 0; chunk < 4 && at + 8 <= head.size(); ++chunk) {
        const auto offset = static_cast<std::size_t>(at);
        if (has(head, offset, "bext"))
            return kCertain;
        if (has(head, offset, "data"))
            break;
        const std::uint64_t size = le32(head, offset + 4);
        at += 8 + size + (size & 1);
    }
    return kWeak;
}

int rockwellWave(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isWaveWithTag(head, kTagRockwell));
}

int usrGsmWave(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isWaveWithTag(head, kTagUsrGsm));
}

int smartSound(Head head, std::uint32_t, std::uint64_t) {
    return has(head, 0, "SDSS") && has(head, 8, "WAVE") ? kLikely : kNo;
}

int wave64(Head head, std::uint32_t, std::uint64_t) {
    static constexpr std::string_view kRiff("riff\x2E\x91\xCF\x11\xA5\xD6\x28\xDB\x04\xC1\x00\x00", 16);
    static constexpr std::string_view kWave("wave\xF3\xAC\xD3\x11\x8C\xD1\x00\xC0\x4F\x8E\xDB\x8A", 16);
    return certainIf(has(head, 0, kRiff) && has(head, 24, kWave));
}

int avi(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isRiff(head, "AVI "));
}

int riffMidi(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isRiff(head, "RMID"));
}

int cdTrack(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isRiff(head, "CDDA"));
}

}  // namespace velor::probe
