#include "formats/framework/probes/simple_waves.h"

#include <algorithm>

namespace velor::probe {

int au(Head head, std::uint32_t, std::uint64_t) {
    constexpr std::uint32_t kSmallestHeader = 24;
    constexpr std::uint32_t kHighestCoding = 27;
    if (has(head, 0, ".snd"))
        return kCertain;
    const bool dec = has(head, 0, std::string_view(".sd\0", 4));
    const bool little = has(head, 0, "dns.") || has(head, 0, std::string_view("\0ds.", 4));
    if (!dec && !little)
        return kNo;
    const ByteOrder order = little ? ByteOrder::Little : ByteOrder::Big;
    const auto offset = at<std::uint32_t>(head, 4, order);
    const auto coding = at<std::uint32_t>(head, 12, order);
    return certainIfSane(true, offset >= kSmallestHeader && coding >= 1 && coding <= kHighestCoding);
}

int ircam(Head head, std::uint32_t, std::uint64_t) {
    const auto isMagic = [&](std::size_t offset) {
        const std::uint32_t magic = be32(head, offset);
        // 64 A3 machine 00, or the same number in the other byte order.
        const std::uint32_t machine = (magic >> 16) == 0x64A3 ? magic >> 8 & 0xFF : magic >> 16 & 0xFF;
        const bool match = (magic & 0xFFFF00FFu) == 0x64A30000u || (magic & 0xFF00FFFFu) == 0x0000A364u;
        return match && machine >= 1 && machine <= 4;
    };
    if (isMagic(0))
        return kCertain;
    return certainIf(has(head, 0, ".snd") && isMagic(28));
}

int caf(Head head, std::uint32_t, std::uint64_t) {
    return certainIfSane(has(head, 0, "caff"), be16(head, 4) == 1);
}

int creativeVoice(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "Creative Voice File\x1A"));
}

int hcom(Head head, std::uint32_t, std::uint64_t) {
    // In MacBinary, or the data fork alone.
    if (has(head, 65, "FSSD") && has(head, 128, "HCOM"))
        return kCertain;
    const std::uint32_t mode = be32(head, 12);
    const std::uint32_t divider = be32(head, 16);
    return certainIfSane(has(head, 0, "HCOM"), mode <= 1 && divider >= 1 && divider <= 4);
}

int nistSphere(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "NIST_1A\n"));
}

int esps(Head head, std::uint32_t, std::uint64_t) {
    static constexpr std::string_view kBig("\0\0\x6A\x1A", 4);
    static constexpr std::string_view kLittle("\x1A\x6A\0\0", 4);
    for (const std::string_view magic : {kBig, kLittle}) {
        if (has(head, 16, magic))
            return certainIfSane(true, has(head, 36, magic));
    }
    return kNo;
}

int avr(Head head, std::uint32_t, std::uint64_t) {
    const unsigned bits = be16(head, 14);
    return certainIfSane(has(head, 0, "2BIT"), bits == 8 || bits == 16);
}

int diamondWare(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, std::string_view("DiamondWare Digitized\n\0\x1A", 24)));
}

int sndtool(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "SOUND\x1A"));
}

int sounder(Head head, std::uint32_t, std::uint64_t) {
    const unsigned rate = le16(head, 2);
    if (head.size() < 8 || le16(head, 0) != 0 || rate < 4000 || rate > 25000)
        return kNo;
    // Volume 10 and shift 4 are what the program itself writes.
    const unsigned volume = le16(head, 4);
    const unsigned shift = le16(head, 6);
    if (volume == 10 && shift == 4)
        return kLikely;
    return volume <= 64 && shift <= 16 ? kWeak : kNo;
}

int sppack(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 252, "\x40\xC3\xFC\x0E") || has(head, 252, "\xC3\x40\x0E\xFC"));
}

int covox(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "\xFF\x55\xFF\xAA\xFF\x55\xFF\xAA"));
}

int psion(Head head, std::uint32_t, std::uint64_t) {
    // The newer machines begin every file with four identifiers, the last a check of the others.
    static constexpr std::string_view kNewer("\x37\0\0\x10\x6D\0\0\x10\x7E\0\0\x10\xCF\xAC\x08\x55", 16);
    return certainIf(has(head, 0, std::string_view("ALawSoundFile**\0", 16)) || has(head, 0, kNewer));
}

int nomad(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "NVF ") && has(head, 12, "VFMT"));
}

int shorten(Head head, std::uint32_t, std::uint64_t) {
    return certainIfSane(has(head, 0, "ajkg"), u8(head, 4) <= 3);
}

int mus10(Head head, std::uint32_t, std::uint64_t) {
    return has(head, 0, "\xAA\xAA\xAA\xAA") ? kLikely : kNo;
}

namespace {

bool isWordCharacter(unsigned c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

// The header of the first matrix of a level 4 file: no signature, but every field is narrow.
bool isMatlab4(Head head, ByteOrder order) {
    constexpr std::size_t kHeader = 20;
    constexpr std::uint32_t kLongestName = 64;
    const auto field = [&](std::size_t index) { return at<std::uint32_t>(head, index * 4, order); };
    const std::uint32_t type = field(0);  // thousands: byte order, tens: precision, ones: kind of matrix
    const std::uint32_t nameBytes = field(4);
    if (type / 1000 != (order == ByteOrder::Big ? 1u : 0u) || type / 100 % 10 != 0 || type / 10 % 10 > 5 ||
        type % 10 > 2)
        return false;
    if (field(1) == 0 || field(2) == 0 || field(3) > 1 || nameBytes < 2 || nameBytes > kLongestName)
        return false;
    if (u8(head, kHeader) >= '0' && u8(head, kHeader) <= '9')
        return false;
    for (std::size_t i = 0; i + 1 < nameBytes; ++i) {
        if (!isWordCharacter(u8(head, kHeader + i)))
            return false;
    }
    return kHeader + nameBytes <= head.size() && u8(head, kHeader + nameBytes - 1) == 0;
}

}  // namespace

int matlab(Head head, std::uint32_t, std::uint64_t) {
    if (has(head, 0, "MATLAB 5.0 MAT-file"))
        return certainIfSane(true, has(head, 126, "IM") || has(head, 126, "MI"));
    if (head.size() < 24)
        return kNo;
    return certainIf(isMatlab4(head, ByteOrder::Little) || isMatlab4(head, ByteOrder::Big));
}

int textAudio(Head head, std::uint32_t, std::uint64_t) {
    if (has(head, 0, "; Sample Rate "))
        return kCertain;
    return certainIf(has(head, 0, "%//\n") || has(head, 0, "%//\r"));
}

int rawGsmFrames(Head head, std::uint32_t, std::uint64_t fileSize) {
    constexpr std::size_t kFrame = 33;
    constexpr std::size_t kFewest = 4;
    constexpr std::size_t kEnough = 32;
    if (head.empty() || head[0] >> 4 != 0xD)
        return kNo;
    const std::size_t frames = std::min(head.size() / kFrame, kEnough);
    for (std::size_t i = 0; i < frames; ++i) {
        if (head[i * kFrame] >> 4 != 0xD)
            return kNo;
    }
    return frames >= kFewest || fileSize == frames * kFrame ? kLikely : kNo;
}

int usrGsmFrames(Head head, std::uint32_t, std::uint64_t) {
    constexpr std::size_t kFrame = 38;
    constexpr int kEnough = 4;
    // FE FE before speech, B6 B6 before silence; behind the 33 bytes of GSM always 00 A5 A5.
    const auto isFrame = [&](std::size_t offset) {
        return (has(head, offset, "\xFE\xFE") || has(head, offset, "\xB6\xB6")) &&
               has(head, offset + 35, std::string_view("\0\xA5\xA5", 3));
    };
    int frames = 0;
    while (frames < kEnough && isFrame(static_cast<std::size_t>(frames) * kFrame))
        ++frames;
    if (frames >= 2)
        return kCertain;
    return frames == 1 && head.size() < 2 * kFrame ? kLikely : kNo;
}

}  // namespace velor::probe
