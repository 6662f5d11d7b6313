#include "formats/framework/probes/containers.h"

#include <algorithm>

namespace velor::probe {

namespace {

constexpr std::uint32_t kNoMember = 0;  // ISO base media, but pictures: nothing to hear

// The member of the MP4 family a brand names. Unknown brands are base media: that is what "ftyp" means.
std::uint32_t memberOf(Head head, std::size_t at) {
    const auto brand = [&](std::string_view text) { return has(head, at, text); };
    if (brand("3g2") || brand("KDDI") || brand("kddi"))
        return kMp43gpp2;
    if (brand("3g"))
        return kMp43gpp;
    if (brand("M4A") || brand("M4B") || brand("M4P"))
        return kMp4Itunes;
    if (brand("qt  "))
        return kMp4QuickTime;
    for (const std::string_view picture :
         {"heic", "heix", "hevc", "mif1", "msf1", "avif", "avis", "crx ", "jp2 ", "jpx ", "jpm ", "mjp2"}) {
        if (brand(picture))
            return kNoMember;
    }
    return kMp4Base;
}

// QuickTime files from before "ftyp" begin with any of a few atoms.
int quickTimeAtoms(Head head, std::uint64_t fileSize) {
    const std::uint32_t size = be32(head, 0);
    if (size > fileSize || (size < 8 && size > 1))
        return kNo;
    if (has(head, 4, "moov"))
        return certainIfSane(true, has(head, 12, "mvhd") || has(head, 12, "cmov") || has(head, 12, "rmra"));
    if (has(head, 4, "wide"))
        return certainIfSane(true, has(head, 12, "mdat"));
    return has(head, 4, "mdat") || has(head, 4, "free") || has(head, 4, "skip") || has(head, 4, "pnot")
               ? kLikely
               : kNo;
}

}  // namespace

int mp4(Head head, std::uint32_t variant, std::uint64_t fileSize) {
    if (head.size() < 12)
        return kNo;
    if (!has(head, 4, "ftyp")) {
        if (head[4] < 'd' || head[4] > 'w')
            return kNo;
        const int atoms = quickTimeAtoms(head, fileSize);
        return variant == kMp4QuickTime ? atoms : std::min(atoms, kWeak);
    }
    const std::uint32_t size = be32(head, 0);
    if (size < 12 || size > fileSize)
        return kNo;
    const std::uint32_t member = memberOf(head, 8);
    if (member == kNoMember)
        return kNo;
    // Ring-tones carry the brand of songs.
    const std::uint32_t wanted = variant == kMp4Ringtone ? kMp4Itunes : variant;
    return member == wanted ? kCertain : kLikely;
}

namespace {

// RFC 8794. Identifiers keep their length marker.
struct Element {
    std::uint32_t id = 0;
    std::uint64_t begin = 0;  // of the content
    std::uint64_t end = 0;
};

constexpr std::uint32_t kEbml = 0x1A45DFA3;
constexpr std::uint32_t kDocType = 0x4282;
constexpr std::uint32_t kSegment = 0x18538067;
constexpr std::uint32_t kTracks = 0x1654AE6B;
constexpr std::uint32_t kCluster = 0x1F43B675;
constexpr std::uint32_t kTrackEntry = 0xAE;
constexpr std::uint32_t kTrackType = 0x83;

// False when the element's head is not wholly in sight or is broken.
bool readElement(Head head, std::uint64_t at, Element& element) {
    if (at >= head.size() || head[at] < 0x10)
        return false;
    const auto lengthOf = [](unsigned first) {
        std::size_t length = 1;
        for (unsigned bit = 0x80; bit != 0 && !(first & bit); bit >>= 1)
            ++length;
        return length;
    };
    const std::size_t idLength = lengthOf(head[at]);
    const std::uint64_t sizeAt = at + idLength;
    if (sizeAt >= head.size() || head[sizeAt] == 0)
        return false;
    const std::size_t sizeLength = lengthOf(head[sizeAt]);
    if (head.size() - sizeAt < sizeLength)
        return false;
    element.id = 0;
    for (std::uint64_t i = at; i < sizeAt; ++i)
        element.id = element.id << 8 | head[i];
    std::uint64_t size = head[sizeAt] & (0xFFu >> sizeLength);
    bool unknown = size == (0xFFu >> sizeLength);
    for (std::size_t i = 1; i < sizeLength; ++i) {
        size = size << 8 | head[sizeAt + i];
        unknown = unknown && head[sizeAt + i] == 0xFF;
    }
    element.begin = sizeAt + sizeLength;
    element.end = unknown ? ~std::uint64_t{0} : element.begin + size;  // below 2^57: no overflow
    return true;
}

enum class Seen { NotMatroska, Nothing, Audio, Video };

// Which kinds of tracks the header of a Matroska file announces.
Seen matroskaTracks(Head head) {
    constexpr int kMostElements = 64;
    Element ebml;
    if (be32(head, 0) != kEbml || !readElement(head, 0, ebml))
        return Seen::NotMatroska;
    bool known = false;
    Element child;
    int budget = kMostElements;
    for (std::uint64_t at = ebml.begin; at < ebml.end && budget-- > 0 && readElement(head, at, child);
         at = child.end) {
        if (child.id == kDocType) {
            const auto text = static_cast<std::size_t>(child.begin);
            known = has(head, text, "matroska") || has(head, text, "webm");
        }
    }
    Element segment;
    if (!known)
        return Seen::NotMatroska;
    Seen seen = Seen::Nothing;
    if (!readElement(head, ebml.end, segment) || segment.id != kSegment)
        return seen;
    budget = kMostElements;
    for (std::uint64_t at = segment.begin;
         budget-- > 0 && readElement(head, at, child) && child.id != kCluster; at = child.end) {
        if (child.id != kTracks)
            continue;
        Element track;
        for (std::uint64_t t = child.begin; t < child.end && budget-- > 0 && readElement(head, t, track);
             t = track.end) {
            if (track.id != kTrackEntry)
                continue;
            Element field;
            for (std::uint64_t f = track.begin; f < track.end && budget-- > 0 && readElement(head, f, field);
                 f = field.end) {
                if (field.id != kTrackType)
                    continue;
                const unsigned type = u8(head, static_cast<std::size_t>(field.begin));
                if (type == 1)
                    return Seen::Video;
                if (type == 2)
                    seen = Seen::Audio;
                break;
            }
        }
        break;
    }
    return seen;
}

int scoreMatroska(Head head, Seen other) {
    if (head.size() < 8 || head[0] != 0x1A)
        return kNo;
    const Seen seen = matroskaTracks(head);
    if (seen == Seen::NotMatroska)
        return kNo;
    return seen == other ? kLikely : kCertain;
}

}  // namespace

int matroskaAudio(Head head, std::uint32_t, std::uint64_t) {
    return scoreMatroska(head, Seen::Video);
}

int matroskaVideo(Head head, std::uint32_t, std::uint64_t) {
    return scoreMatroska(head, Seen::Audio);
}

namespace {

bool isAsf(Head head) {
    return has(head, 0,
               std::string_view("\x30\x26\xB2\x75\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C", 16));
}

// Whether the header object announces a video stream. The first GUID bytes tell the objects apart.
bool hasAsfVideo(Head head) {
    constexpr std::uint32_t kStreamProperties = 0xB7DC0791;
    constexpr std::uint32_t kVideoMedia = 0xBC19EFC0;
    constexpr int kMostObjects = 64;
    constexpr std::uint64_t kObjectHeader = 24;
    std::uint64_t at = 30;
    for (int i = 0; i < kMostObjects && at + 2 * kObjectHeader <= head.size(); ++i) {
        const auto offset = static_cast<std::size_t>(at);
        if (le32(head, offset) == kStreamProperties && le32(head, offset + 24) == kVideoMedia)
            return true;
        const auto size = ::velor::probe::at<std::uint64_t>(head, offset + 16, ByteOrder::Little);
        if (size < kObjectHeader || size > head.size())
            return false;
        at += size;
    }
    return false;
}

}  // namespace

int asf(Head head, std::uint32_t, std::uint64_t) {
    return isAsf(head) ? kLikely : kNo;
}

int windowsMediaAudio(Head head, std::uint32_t, std::uint64_t) {
    if (!isAsf(head))
        return kNo;
    return hasAsfVideo(head) ? kLikely : kCertain;
}

int windowsMediaVideo(Head head, std::uint32_t, std::uint64_t) {
    if (!isAsf(head))
        return kNo;
    return hasAsfVideo(head) ? kCertain : kLikely;
}

int mpegSystem(Head head, std::uint32_t, std::uint64_t) {
    if (be32(head, 0) != 0x000001BA)
        return kNo;
    // Marker bits of the clock reference: MPEG-2 begins with 01, MPEG-1 with 0010.
    const unsigned first = u8(head, 4);
    return certainIf((first & 0xC4) == 0x44 || (first & 0xF1) == 0x21);
}

}  // namespace velor::probe
