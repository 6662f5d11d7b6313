#include "formats/framework/probes/small_samplers.h"

#include <algorithm>

#include "formats/framework/probes/text_probe.h"

namespace velor::probe {

namespace {

struct FzCounters {
    unsigned voices = 0;
    unsigned banks = 0;
    std::uint64_t bytes = 0;  // of the whole dump
    bool sane = false;
};

constexpr std::uint64_t kFzSector = 1024;

// Bare dumps begin with their content; its first sector ends with the counters.
FzCounters fzBareCounters(Head head) {
    const unsigned voices = le16(head, 1008);
    const unsigned sectors = le16(head, 1010);
    const unsigned waves = le16(head, 1012);
    const unsigned voiceSectors = (voices + 3) / 4;
    FzCounters counters{voices, 0, sectors * kFzSector, false};
    if (voices == 0 || voices > 64 || waves + voiceSectors > sectors || sectors > 1280)
        return counters;
    counters.banks = sectors - waves - voiceSectors;
    counters.sane = counters.banks <= 8;
    return counters;
}

// Dumps copied from a disk keep the file's head sector in front: extents, then the counters.
FzCounters fzHeadCounters(Head head) {
    const unsigned voices = le16(head, 1018);
    const unsigned banks = le16(head, 1020);
    const unsigned waves = le16(head, 1022);
    const unsigned first = le16(head, 0);
    const unsigned last = le16(head, 2);
    const bool extent = (first >= 2 && first <= last && last < 1280) || (first == 0 && last == 0);
    const std::uint64_t sectors = std::uint64_t{1} + banks + (voices + 3) / 4 + waves;
    return {voices, banks, sectors * kFzSector,
            extent && voices > 0 && voices <= 64 && banks <= 8 && waves < 1280};
}

int fzScore(const FzCounters& counters, std::uint32_t variant, std::uint64_t fileSize) {
    // Truncated dumps occur (the missing audio is silence), files with much more behind the dump do not.
    if (!counters.sane || fileSize > counters.bytes + kFzSector || fileSize < counters.bytes / 2)
        return kNo;
    const bool fits = fileSize + kFzSector > counters.bytes;
    const bool kind = variant == 1   ? counters.voices == 1 && counters.banks == 0
                      : variant == 2 ? counters.banks == 1
                                     : counters.banks >= 1;
    if (!kind)
        return fits ? kWeak : kNo;
    return fits ? kLikely : kWeak;
}

}  // namespace

int casioFzDump(Head head, std::uint32_t variant, std::uint64_t fileSize) {
    if (head.size() < kFzSector)
        return kNo;
    const int bare = fzScore(fzBareCounters(head), variant, fileSize);
    return bare == kLikely ? bare : std::max(bare, fzScore(fzHeadCounters(head), variant, fileSize));
}

int sampleVision(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "SOUND SAMPLE DATA "));
}

int soundDesigner1(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr unsigned kHeader = 1336;
    if (be16(head, 0) != kHeader || fileSize < kHeader || head.size() < kHeader)
        return kNo;
    const std::uint32_t rate = be32(head, 1020);
    const unsigned bits = be16(head, 1028);
    const bool described = rate >= 1000 && rate <= 200000 && (bits == 8 || bits == 16);
    return described ? kCertain : kWeak;  // some writers fill in the first word only
}

int soundDesigner2Flat(Head head, std::uint32_t, std::uint64_t) {
    const unsigned nameLength = u8(head, 1);
    return certainIf(has(head, 65, "Sd2f") && u8(head, 0) == 0 && nameLength >= 1 && nameLength <= 63);
}

int parisAudio(Head head, std::uint32_t, std::uint64_t) {
    return certainIf((has(head, 0, " paf") || has(head, 0, "fap ")) && le32(head, 4) == 0);
}

int okiWordRom(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr std::size_t kWords = 111;
    constexpr std::uint32_t kTable = kWords * 4;
    if (fileSize < 8192 || fileSize > 0x200000 || (fileSize & (fileSize - 1)) != 0 || head.size() < kTable)
        return kNo;
    int used = 0;
    for (std::size_t i = 0; i < kWords; ++i) {
        const std::uint32_t start = (be32(head, i * 4) >> 8) & 0x1FFFFF;
        if (start == 0)
            continue;
        if (start < kTable || start >= fileSize)
            return kNo;
        ++used;
    }
    return used >= 2 ? kWeak : kNo;
}

int yamahaTx16wWave(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "LM8953") && head.size() >= 32);
}

int yamahaTyphoonWave(Head head, std::uint32_t, std::uint64_t) {
    // An AIFF-C file of one encoding; the common chunk comes first or soon after the format version.
    if (!isForm(head, "AIFC"))
        return kNo;
    std::uint64_t chunk = 12;
    for (int i = 0; i < 16 && chunk + 8 <= head.size(); ++i) {
        const auto offset = static_cast<std::size_t>(chunk);
        if (has(head, offset, "COMM"))
            return has(head, offset + 26, "DWVW") ? kLikely : kWeak;
        const std::uint32_t size = be32(head, offset + 4);
        chunk += 8 + std::uint64_t{size} + (size & 1);
    }
    return kWeak;
}

int yamahaTyphoonVoice(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isForm(head, "TYPV"));
}

int yamahaASeries(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "FSFSDEV3"));
}

namespace {

// What the catalogue of a Motif file lists: "all" files have system or song blocks beside voices and waves.
std::uint32_t motifContent(Head head) {
    constexpr std::size_t kCatalogue = 64;
    constexpr std::size_t kMaximumBlocks = 64;
    const std::size_t blocks = std::min<std::size_t>(be32(head, 32) / 8, kMaximumBlocks);
    bool voices = false;
    for (std::size_t i = 0; i < blocks; ++i) {
        const std::size_t entry = kCatalogue + i * 8;
        if (has(head, entry, "ESYS") || has(head, entry, "ESNG") || has(head, entry, "EPTN"))
            return motif::kAll;
        voices = voices || has(head, entry, "EVCE");
    }
    return voices ? motif::kVoices : motif::kWaves;
}

}  // namespace

int yamahaMotif(Head head, std::uint32_t variant, std::uint64_t) {
    if (!has(head, 0, "YAMAHA-YSFC") || head.size() < 64)
        return kNo;
    const std::uint32_t model = variant & motif::kModel;
    if (has(head, 16, "1.0.1") || has(head, 16, "1.0.2")) {
        const std::uint32_t found = has(head, 16, "1.0.1") ? motif::kXs : motif::kXf;
        if (model != found)
            return kNo;
        return motifContent(head) == (variant & motif::kContent) ? kCertain : kLikely;
    }
    // Versions before those belong to the earlier models; which one, only the extension tells.
    return model <= motif::kEs && has(head, 16, "1.0.0") ? kLikely : kNo;
}

}  // namespace velor::probe
