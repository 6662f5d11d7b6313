#include "formats/framework/probes/tracker.h"

#include <algorithm>

namespace velor::probe {

namespace {

bool isDigit(unsigned c) {
    return c >= '0' && c <= '9';
}

// Names in modules are text padded with zeros or blanks.
bool isNameByte(unsigned c) {
    return c == 0 || c >= 0x20;
}

consteval std::uint32_t bigTag(const char (&id)[5]) {
    return byteSwap(fourCc(id));
}

constexpr unsigned kFullVolume = 64;

// The identifiers at 1080, by the programs that wrote them.
bool isAmigaModuleId(Head head, std::size_t offset) {
    const auto byte = [&](std::size_t i) { return u8(head, offset + i); };
    if (isDigit(byte(0))) {
        if (has(head, offset + 1, "CHN"))
            return byte(0) != '0';
        return isDigit(byte(1)) && (has(head, offset + 2, "CH") || has(head, offset + 2, "CN"));
    }
    if (has(head, offset, "TDZ"))
        return isDigit(byte(3));
    switch (be32(head, offset)) {
        case bigTag("M.K."):
        case bigTag("M!K!"):
        case bigTag("M&K!"):
        case bigTag("N.T."):
        case bigTag("FLT4"):
        case bigTag("FLT8"):
        case bigTag("EXO4"):
        case bigTag("EXO8"):
        case bigTag("LARD"):
        case bigTag("NSMS"):
        case bigTag("PATT"):
        case bigTag("FEST"):
        case bigTag(".M.K"):
        case bigTag("OCTA"):
        case bigTag("OKTA"):
        case bigTag("CD61"):
        case bigTag("CD81"):
        case bigTag("FA04"):
        case bigTag("FA06"):
        case bigTag("FA08"):
            return true;
        default:
            return false;
    }
}

bool sampleVolumesFit(Head head, int samples) {
    for (int i = 0; i < samples; ++i) {
        if (u8(head, 20 + 30 * static_cast<std::size_t>(i) + 25) > kFullVolume)
            return false;
    }
    return true;
}

// The first form of the format, without an identifier: 15 samples, and everything about them must fit.
int scoreFifteenSamples(Head head, std::uint64_t fileSize) {
    constexpr std::size_t kOrders = 472;
    constexpr std::uint64_t kPatterns = 600;
    constexpr std::uint64_t kPatternBytes = 1024;
    const unsigned length = u8(head, 470);
    if (head.size() < kPatterns || length < 1 || length > 128 || !sampleVolumesFit(head, 15))
        return kNo;
    unsigned highest = 0;
    for (std::size_t i = 0; i < 128; ++i)
        highest = std::max(highest, u8(head, kOrders + i));
    if (highest > 63)
        return kNo;
    std::uint64_t sampleBytes = 0;
    for (std::size_t i = 0; i < 15; ++i) {
        const std::size_t sample = 20 + 30 * i;
        for (std::size_t c = 0; c < 22; ++c) {
            if (!isNameByte(head[sample + c]))
                return kNo;
        }
        if (head[sample + 24] > 15)
            return kNo;
        sampleBytes += 2u * be16(head, sample + 22);
    }
    const std::uint64_t patternsEnd = kPatterns + (highest + 1) * kPatternBytes;
    if (sampleBytes == 0 || fileSize <= patternsEnd)
        return kNo;
    // Files in circulation often lack or add a little at the end.
    const std::uint64_t expected = patternsEnd + sampleBytes;
    return fileSize + kPatternBytes >= expected && fileSize <= expected + kPatternBytes ? kLikely : kWeak;
}

}  // namespace

int amigaModule(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr std::size_t kId = 1080;
    if (isAmigaModuleId(head, kId)) {
        const unsigned length = u8(head, 950);
        return certainIfSane(true, length >= 1 && length <= 128 && sampleVolumesFit(head, 31));
    }
    return scoreFifteenSamples(head, fileSize);
}

int screamTracker3Module(Head head, std::uint32_t, std::uint64_t) {
    return certainIfSane(has(head, 44, "SCRM"), u8(head, 29) == 0x10);
}

int screamTracker3Sample(Head head, std::uint32_t, std::uint64_t) {
    if (has(head, 76, "SCRS"))
        return certainIfSane(true, u8(head, 0) == 1);
    return has(head, 76, "SCRI") ? kWeak : kNo;
}

int impulseModule(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "IMPM"));
}

int impulseInstrument(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "IMPI"));
}

int impulseSample(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "IMPS"));
}

int multiTracker(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr std::uint64_t kHeader = 66;
    constexpr unsigned kNewestVersion = 0x20;
    if (!has(head, 0, "MTM") || head.size() < kHeader || head[3] >= kNewestVersion)
        return kNo;
    const unsigned tracks = le16(head, 24);
    const unsigned rows = u8(head, 32);
    const unsigned channels = u8(head, 33);
    const bool fits = fileSize >= kHeader + 37u * u8(head, 30) + 128 + 192u * tracks;
    return certainIfSane(true, u8(head, 27) < 128 && rows <= 64 && channels >= 1 && channels <= 32 && fits);
}

int composer669(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr std::size_t kOrders = 113;
    constexpr std::size_t kBreaks = 369;
    constexpr std::size_t kSamples = 497;
    if (!has(head, 0, "if") && !has(head, 0, "JN"))
        return kNo;
    if (head.size() < kSamples)
        return kNo;
    const unsigned samples = head[110];
    const unsigned patterns = head[111];
    if (samples > 64 || patterns > 128 || fileSize < kSamples + 25 * samples + 1536 * patterns)
        return kNo;
    // Texts that begin with "if" fail here: no letter is below 64.
    for (std::size_t i = 0; i < 128; ++i) {
        const unsigned order = head[kOrders + i];
        if ((order > 127 && order < 254) || head[kBreaks + i] >= 64)
            return kNo;
    }
    return kCertain;
}

int farandole(Head head, std::uint32_t, std::uint64_t) {
    return certainIfSane(has(head, 0, "FAR\xFE"), has(head, 44, "\x0D\x0A\x1A"));
}

int farandoleLinear(Head head, std::uint32_t, std::uint64_t) {
    return certainIfSane(has(head, 0, "F2R"), has(head, 3, "FAR"));
}

int farandoleBlocked(Head head, std::uint32_t, std::uint64_t) {
    return certainIfSane(has(head, 0, "F3R"), has(head, 3, "FAR"));
}

int farandoleSample(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "FSM\xFE"));
}

int polyTracker(Head head, std::uint32_t, std::uint64_t) {
    return certainIfSane(has(head, 44, "PTMF"), u8(head, 28) == 0x1A);
}

int ultraTracker(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "MAS_UTrack_V00") && u8(head, 14) >= '1' && u8(head, 14) <= '4');
}

int ultraTrackerWave(Head head, std::uint32_t, std::uint64_t fileSize) {
    // The sample record of a module, then the data: nothing but the length tells it.
    constexpr std::uint64_t kRecord = 64;
    constexpr std::uint64_t kLongerRecord = 66;  // version 4 added the rate
    if (head.size() < kRecord || head[44] != 0)
        return kNo;
    for (std::size_t i = 0; i < 44; ++i) {
        if (!isNameByte(head[i]))
            return kNo;
    }
    const std::uint64_t begin = le32(head, 52);
    const std::uint64_t end = le32(head, 56);
    const unsigned flags = head[61];
    if (end <= begin || end - begin >= fileSize || (flags & ~0x1Cu))
        return kNo;
    const std::uint64_t bytes = (end - begin) * (flags & 4 ? 2 : 1);
    return fileSize == bytes + kRecord || fileSize == bytes + kLongerRecord ? kLikely : kNo;
}

int fastTracker2Module(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "Extended Module: "));
}

int fastTracker2Instrument(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "Extended Instrument: "));
}

int extremeTracker(Head head, std::uint32_t, std::uint64_t) {
    return certainIfSane(has(head, 0, "Extreme"), u8(head, 8) == 1);
}

int velvetModule(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "AMShdr\x1A"));
}

int velvetInstrument(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "AIShdr\x1A"));
}

int velvetSample(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "ASEhdr\x1A"));
}

int xTracker(Head head, std::uint32_t, std::uint64_t) {
    return certainIfSane(has(head, 0, "DDMF"), u8(head, 4) <= 10);
}

int xTrackerSample(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "DDSF"));
}

int digitalSoundModule(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isRiff(head, "DSMF") || has(head, 0, "DSMF"));
}

int digiTrekker(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "SONG") && (has(head, 8, "NAME") || has(head, 8, "INFO")));
}

int funkTracker(Head head, std::uint32_t, std::uint64_t fileSize) {
    // Byte 5 holds the year since 1980 in its upper bits: the program is of 1994.
    return certainIfSane(has(head, 0, "Funk"), le32(head, 8) == fileSize && u8(head, 5) >> 1 >= 10);
}

int generalDigitalMusic(Head head, std::uint32_t, std::uint64_t) {
    return certainIfSane(has(head, 0, "GDM\xFE"), has(head, 71, "GMFS"));
}

int digitrakker(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "DMDL"));
}

int digitrakkerInstrument(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "DIST\x01"));
}

int digitrakkerSample(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "DSPL"));
}

int octaMed(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "MMD") && u8(head, 3) >= '0' && u8(head, 3) <= '3');
}

int oktalyzer(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "OKTASONG"));
}

int madTracker2(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "MT20"));
}

int soundStudio(Head head, std::uint32_t, std::uint64_t fileSize) {
    return certainIfSane(has(head, 0, "PACG"), has(head, 8, "PAIN") || le32(head, 4) + 8ull == fileSize);
}

int soundStudioSample(Head head, std::uint32_t, std::uint64_t fileSize) {
    return certainIfSane(has(head, 0, "SND "), le32(head, 4) + 8ull == fileSize);
}

int disorderTracker2(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "PLM\x1A"));
}

int disorderTracker2Sample(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "PLS\x1A"));
}

int protrackerStudio(Head head, std::uint32_t, std::uint64_t) {
    // The new form, the old one, and the new one with every byte raised by its place.
    return certainIf((has(head, 0, "PSM ") && has(head, 8, "FILE")) || has(head, 0, "PSM\xFE") ||
                     (has(head, 0, "QUP$") && has(head, 8, "OSWQ")));
}

int mikModUnimod(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "UN04") || has(head, 0, "UN05") || has(head, 0, "UN06") ||
                     has(head, 0, "APUN\x01"));
}

}  // namespace velor::probe
