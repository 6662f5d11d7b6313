#include "formats/framework/probes/akai.h"

#include <algorithm>

#include "formats/framework/probes/text_probe.h"

namespace velor::probe {

namespace {

constexpr unsigned kLastAkaiCharacter = 40;  // codes 0..40 index "0123456789 A..Z#+-."

bool akaiName(Head head, std::size_t offset) {
    return std::all_of(head.begin() + static_cast<std::ptrdiff_t>(offset),
                       head.begin() + static_cast<std::ptrdiff_t>(offset + 12),
                       [](Byte c) { return c <= kLastAkaiCharacter; });
}

// A program block whose keygroups begin at `keygroup`; `minimum` bytes are what the program reader needs.
int programBlock(Head head, std::size_t minimum, std::size_t keygroup) {
    if (u8(head, 0) != 1 || head.size() < minimum || !akaiName(head, 3))
        return kNo;
    return u8(head, keygroup) == 2 ? kLikely : kWeak;
}

}  // namespace

int akaiS1000Program(Head head, std::uint32_t, std::uint64_t) {
    return programBlock(head, 72, 150);
}

int akaiS3000Program(Head head, std::uint32_t, std::uint64_t) {
    return programBlock(head, 113, 192);
}

int akaiSampleHeader(Head head, std::uint32_t generation, std::uint64_t fileSize) {
    // The sample reader takes no file below 192 bytes, whichever header it has.
    if (u8(head, 0) != 3 || head.size() < 192 || !akaiName(head, 3))
        return kNo;
    const bool plausible = u8(head, 1) <= 1 && u8(head, 2) <= 127 && u8(head, 16) <= 8 && u8(head, 19) <= 3;
    const std::uint64_t data = std::uint64_t{2} * le32(head, 26);
    // Other writers' S3000 headers have 192 bytes, short ones of 180 bytes occur.
    const bool exact =
        generation >= 3 ? fileSize == 192 + data || fileSize == 180 + data : fileSize == 150 + data;
    return plausible && exact ? kLikely : kWeak;
}

int akaiS1000Sample(Head head, std::uint32_t, std::uint64_t fileSize) {
    return akaiSampleHeader(head, 1, fileSize);
}

int akaiS3000Sample(Head head, std::uint32_t, std::uint64_t fileSize) {
    return akaiSampleHeader(head, 3, fileSize);
}

int akaiS900Program(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr std::size_t kHeader = 38;
    constexpr std::size_t kKeygroup = 70;
    const unsigned keygroups = u8(head, 23);
    if (head.size() < kHeader + kKeygroup || keygroups == 0 || fileSize < kHeader + kKeygroup * keygroups)
        return kNo;
    const unsigned high = u8(head, kHeader);
    const unsigned low = u8(head, kHeader + 1);
    if (high > 127 || low > high || !isText(head, 0, 10) || !isZero(head, 10, 6))
        return kNo;
    return fileSize == kHeader + kKeygroup * keygroups ? kLikely : kWeak;
}

int akaiS900Sample(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr std::uint64_t kHeader = 60;
    const std::uint64_t words = le32(head, 16);  // 12 bits each, packed two in three bytes
    if (head.size() < kHeader || words == 0 || words % 2 != 0 || fileSize < kHeader + words / 2)
        return kNo;
    if (!isZero(head, 10, 6) || !isText(head, 0, 10) || le16(head, 20) < 1000)
        return kNo;
    const unsigned play = u8(head, 26);
    const bool knownPlay = play == 'O' || play == 'L' || play == 'A';
    // A compressed sample is shorter than its words tell.
    return knownPlay && fileSize == kHeader + words / 2 * 3 ? kLikely : kWeak;
}

namespace {

// The names of the 24-byte directory entries from `offset` on, at most 64 of them and at least one.
int directoryNames(Head head, std::size_t offset) {
    constexpr std::size_t kEntry = 24;
    if (head.size() < offset + kEntry)
        return kNo;
    const std::size_t entries = std::min<std::size_t>((head.size() - offset) / kEntry, 64);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t name = offset + i * kEntry;
        const std::uint64_t first = at<std::uint64_t>(head, name, ByteOrder::Little);
        if (((first | le32(head, name + 8)) & 0x8080808080808080u) != 0)
            return kNo;
    }
    return kWeak;
}

}  // namespace

int akaiFloppy(Head head, std::uint32_t, std::uint64_t) {
    return directoryNames(head, 0);
}

int akaiChkSysFloppy(Head head, std::uint32_t, std::uint64_t fileSize) {
    if (fileSize < 843776 || fileSize > 2097152)
        return kNo;
    return directoryNames(head, 24576);
}

int akaiS5000Program(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isRiff(head, "APRG"));  // S5000 files store a RIFF size of 0
}

int akaiMesaProgram(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "PSYSSS"));  // followed by the sampler family, for example "30"
}

int akaiMpcProgram(Head head, std::uint32_t variant, std::uint64_t fileSize) {
    if (variant == 1000)
        return certainIf(le32(head, 0) == 10756 && has(head, 4, "MPC1000 PGM"));
    if (u8(head, 0) != 7)
        return kNo;
    if (variant < 3000) {
        const std::size_t names = le16(head, 2);
        const std::size_t behind = 4 + 17 * names;
        return certainIf(u8(head, 1) == 4 && names <= 128 && has(head, behind, {"\x1E\0", 2}));
    }
    // MPC3000: a fixed size, and 64 pad notes near the end that the machine keeps within 35..98.
    constexpr std::size_t kSize = 4608;
    constexpr std::size_t kPadNotes = 4544;
    if (u8(head, 1) != 0 || fileSize != kSize || head.size() < kSize)
        return kNo;
    const Head notes = head.subspan(kPadNotes, 64);
    return std::all_of(notes.begin(), notes.end(), [](Byte note) { return note >= 35 && note <= 98; })
               ? kCertain
               : kLikely;
}

int akaiMpcSound(Head head, std::uint32_t, std::uint64_t fileSize) {
    const unsigned type = u8(head, 1);
    if (u8(head, 0) != 1 || (type != 0 && type != 1 && type != 2 && type != 4))
        return kNo;
    // A 16-character name and its terminator; old disks pad with NULs.
    if (head.size() < 42 || u8(head, 2) <= ' ' || !isPaddedText(head, 2, 16) || u8(head, 18) != 0)
        return kNo;
    if (type <= 1) {
        const std::uint64_t samples = le32(head, 19);
        return fileSize == 39 + (samples + 1) / 2 * 3 ? kCertain : kWeak;
    }
    const std::uint64_t header = type == 4 ? 42 : 38;
    const std::uint64_t bytes = std::uint64_t{2} * le32(head, 30) * (u8(head, 21) == 1 ? 2 : 1);
    if (u8(head, 19) > 200 || u8(head, 21) > 1)
        return kWeak;
    return fileSize == header + bytes ? kCertain : kLikely;
}

int akaiMpcKeygroups(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(rootElement(head).name == "MPCVObject");
}

}  // namespace velor::probe
