#include "formats/framework/probes/media.h"

namespace velor::probe {

std::uint64_t afterId3v2(Head head) {
    constexpr std::size_t kHeader = 10;
    if (!has(head, 0, "ID3") || head.size() < kHeader || (be32(head, 6) & 0x80808080u))
        return 0;
    const std::uint64_t size = u8(head, 6) << 21 | u8(head, 7) << 14 | u8(head, 8) << 7 | u8(head, 9);
    const bool footer = u8(head, 5) & 0x10;
    return kHeader + size + (footer ? kHeader : 0);
}

namespace {

// A frame header reduced to what must stay the same along a stream, and the distance to the next one.
struct Frame {
    std::uint32_t fixed = 0;   // 0: not a frame header
    std::uint64_t length = 0;  // bytes with the header; 0: not told by the header
};

// ISO 11172-3 and 13818-3 (and the rate extension known as 2.5).
Frame mpegFrame(std::uint32_t header, std::uint32_t wantedLayer) {
    static constexpr std::uint16_t kKilobits[5][14] = {
        {32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},  // version 1, layer I
        {32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},     // version 1, layer II
        {32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},      // version 1, layer III
        {32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},     // version 2, layer I
        {8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}};         // version 2, layers II and III
    static constexpr std::uint32_t kRates[3] = {44100, 48000, 32000};
    constexpr std::uint32_t kFixedBits = 0xFFFE0C00;  // sync, version, layer, sampling rate

    const unsigned version = header >> 19 & 3;  // 3 = 1, 2 = 2, 0 = 2.5
    const unsigned layer = 4 - (header >> 17 & 3);
    const unsigned bitRate = header >> 12 & 15;
    const unsigned rate = header >> 10 & 3;
    if (header >> 21 != 0x7FF || version == 1 || layer == 4 || bitRate == 15 || rate == 3)
        return {};
    if (wantedLayer != 0 && wantedLayer != layer)
        return {};
    Frame frame{header & kFixedBits, 0};
    if (bitRate == 0)
        return frame;  // "free format": the length has to be measured
    const std::size_t row = version == 3 ? layer - 1 : layer == 1 ? 3 : 4;
    const std::uint32_t bits = kKilobits[row][bitRate - 1] * 1000u;
    const std::uint32_t hertz = kRates[rate] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    const std::uint32_t padding = header >> 9 & 1;
    if (layer == 1)
        frame.length = (12 * bits / hertz + padding) * 4;
    else
        frame.length = (layer == 3 && version != 3 ? 72 : 144) * bits / hertz + padding;
    return frame;
}

// ISO 13818-7 and 14496-3: the ADTS header is 56 bits; the frame length ends in its sixth byte.
Frame adtsFrame(Head head, std::size_t at) {
    const std::uint32_t header = be32(head, at);
    const unsigned rate = header >> 10 & 15;
    if ((header & 0xFFF60000u) != 0xFFF00000u || rate > 12)
        return {};
    const std::uint32_t length = (header & 3) << 11 | u8(head, at + 4) << 3 | u8(head, at + 5) >> 5;
    if (length < 7)
        return {};
    constexpr std::uint32_t kFixedBits = 0xFFFEFDC0;  // sync, id, layer, profile, rate, channels
    return {header & kFixedBits, length};
}

// Follows the frames from `at`. `frameAt(at)` reads a header; `headerBytes` is what it needs of the head.
template <typename FrameAt>
int scoreFrames(Head head, std::uint64_t at, std::size_t headerBytes, std::uint64_t fileSize,
                FrameAt frameAt) {
    constexpr int kEnough = 3;
    std::uint32_t fixed = 0;
    int frames = 0;
    while (frames < kEnough && at + headerBytes <= head.size()) {
        const Frame frame = frameAt(static_cast<std::size_t>(at));
        if (frame.fixed == 0 || (frames > 0 && frame.fixed != fixed)) {
            // Short files may end in a tag behind the last frame.
            const bool tag = has(head, static_cast<std::size_t>(at), "TAG") ||
                             has(head, static_cast<std::size_t>(at), "APETAGEX");
            if (!tag)
                return frames == 0 ? kNo : frames == 1 ? kWeak : kLikely;
            return frames > 1 ? kCertain : kLikely;
        }
        fixed = frame.fixed;
        ++frames;
        if (frame.length == 0)
            return kWeak;
        at += frame.length;
    }
    if (frames > 1)
        return kCertain;
    if (frames == 1)
        return at == fileSize ? kLikely : kWeak;
    return kNo;
}

// Skips an ID3v2 tag and the zeros some taggers leave behind it.
std::uint64_t firstFrame(Head head) {
    constexpr std::uint64_t kMostPadding = 4096;
    std::uint64_t at = afterId3v2(head);
    if (at == 0)
        return 0;
    for (std::uint64_t skipped = 0; skipped < kMostPadding && at < head.size() && head[at] == 0; ++skipped)
        ++at;
    return at;
}

bool mayBeFrames(Head head) {
    return head.size() >= 4 && ((head[0] == 0xFF && head[1] >= 0xE0) || has(head, 0, "ID3"));
}

}  // namespace

int mpegAudio(Head head, std::uint32_t variant, std::uint64_t fileSize) {
    if (!mayBeFrames(head))
        return kNo;
    const std::uint64_t at = firstFrame(head);
    if (at + 4 > head.size()) {
        // A tag with a picture hides the frames. Layer III is what such tags are made for.
        if (at >= fileSize)
            return kNo;
        return variant == 3 ? kLikely : kWeak;
    }
    return scoreFrames(head, at, 4, fileSize,
                       [&](std::size_t offset) { return mpegFrame(be32(head, offset), variant); });
}

int musifile(Head head, std::uint32_t, std::uint64_t fileSize) {
    if (head.size() < 4 || head[0] != 0xFF)
        return kNo;
    return mpegAudio(head, 2, fileSize) == kCertain ? kLikely : kNo;
}

int aac(Head head, std::uint32_t, std::uint64_t fileSize) {
    if (has(head, 0, "ADIF"))
        return kCertain;
    if (!mayBeFrames(head))
        return kNo;
    const std::uint64_t at = firstFrame(head);
    if (at + 7 > head.size())
        return at != 0 && at < fileSize ? kWeak : kNo;
    return scoreFrames(head, at, 7, fileSize, [&](std::size_t offset) { return adtsFrame(head, offset); });
}

int amr(Head head, std::uint32_t, std::uint64_t) {
    if (!has(head, 0, "#!AMR"))
        return kNo;
    return certainIf(has(head, 5, "\n") || has(head, 5, "-WB\n") || has(head, 5, "_MC1.0\n") ||
                     has(head, 5, "-WB_MC1.0\n"));
}

int flac(Head head, std::uint32_t, std::uint64_t) {
    if (has(head, 0, "fLaC"))
        return kCertain;
    const std::uint64_t at = afterId3v2(head);
    return certainIf(at != 0 && at < head.size() && has(head, static_cast<std::size_t>(at), "fLaC"));
}

namespace {

// The first packets of the streams of an Ogg file (RFC 3533) stand at its very start, one page each.
struct OggStreams {
    bool vorbis = false;
    bool opus = false;
};

OggStreams oggStreams(Head head) {
    constexpr std::size_t kPageHeader = 27;
    constexpr int kMostStreams = 8;
    OggStreams found;
    std::size_t at = 0;
    for (int page = 0; page < kMostStreams && has(head, at, "OggS"); ++page) {
        const bool beginsStream = u8(head, at + 5) & 2;
        if (!beginsStream)
            break;
        const std::size_t segments = u8(head, at + 26);
        const std::size_t body = at + kPageHeader + segments;
        found.vorbis |= has(head, body, "\x01vorbis");
        found.opus |= has(head, body, "OpusHead");
        std::size_t size = 0;
        for (std::size_t i = 0; i < segments; ++i)
            size += u8(head, at + kPageHeader + i);
        at = body + size;
    }
    return found;
}

}  // namespace

int oggVorbis(Head head, std::uint32_t, std::uint64_t) {
    if (!has(head, 0, "OggS"))
        return kNo;
    const OggStreams streams = oggStreams(head);
    if (streams.vorbis)
        return kCertain;
    return streams.opus ? kNo : kWeak;
}

int opus(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "OggS") && oggStreams(head).opus);
}

int monkeyAudio(Head head, std::uint32_t, std::uint64_t) {
    std::uint64_t at = 0;
    if (!has(head, 0, "MAC")) {
        at = afterId3v2(head);
        if (at == 0 || at >= head.size())
            return kNo;
    }
    const auto offset = static_cast<std::size_t>(at);
    const bool match = has(head, offset, "MAC ") || has(head, offset, "MACF");
    const unsigned version = le16(head, offset + 4);  // 3.99 is 3990
    return certainIfSane(match, version >= 2000 && version < 6000);
}

int wavPack(Head head, std::uint32_t, std::uint64_t) {
    const unsigned version = le16(head, 8);
    return certainIfSane(has(head, 0, "wvpk"), version >= 0x402 && version <= 0x410);
}

}  // namespace velor::probe
