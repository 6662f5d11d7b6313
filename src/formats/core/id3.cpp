#include "formats/core/id3.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "base/text.h"

namespace velor {

namespace {

constexpr std::uint32_t kMostFrames = 1u << 16;

// Which of the waveform's texts a frame is. The three-letter ids are those of version 2.2.
struct FrameRow {
    std::string_view id;
    std::string_view shortId;
    std::uint32_t info;  // the same text as a RIFF INFO id
};

constexpr FrameRow kFrames[] = {
    {"TIT2", "TT2", fourCc("INAM")}, {"TPE1", "TP1", fourCc("IART")}, {"TALB", "TAL", fourCc("IPRD")},
    {"TCOP", "TCR", fourCc("ICOP")}, {"COMM", "COM", fourCc("ICMT")}, {"TENC", "TEN", fourCc("IENG")},
};

// Numbers of seven bits a byte, so that no byte looks like a frame sync.
std::uint32_t syncSafe(std::uint32_t value) {
    return (value & 0x7F) | (value >> 8 & 0x7F) << 7 | (value >> 16 & 0x7F) << 14 |
           (value >> 24 & 0x7F) << 21;
}

// Takes out the zeros that follow every FF.
std::vector<Byte> withoutUnsynchronisation(std::span<const Byte> from) {
    std::vector<Byte> to;
    to.reserve(from.size());
    for (std::size_t i = 0; i < from.size(); ++i) {
        to.push_back(from[i]);
        if (from[i] == 0xFF && i + 1 < from.size() && from[i + 1] == 0)
            ++i;
    }
    return to;
}

enum class TextEncoding : std::uint8_t { Latin1, Utf16, Utf16Be, Utf8 };

// One text up to its end mark, which is skipped.
std::string readText(ByteReader& from, TextEncoding encoding) {
    if (encoding == TextEncoding::Latin1 || encoding == TextEncoding::Utf8) {
        std::string text;
        while (from.remaining() > 0) {
            const Byte byte = from.u8();
            if (byte == 0)
                break;
            text.push_back(static_cast<char>(byte));
        }
        return text;
    }
    from.setOrder(ByteOrder::Big);
    std::u16string text;
    bool first = encoding == TextEncoding::Utf16;
    while (from.remaining() >= 2) {
        std::uint16_t unit = from.u16();
        if (first && (unit == 0xFFFE || unit == 0xFEFF)) {  // the byte order mark
            if (unit == 0xFFFE)
                from.setOrder(ByteOrder::Little);
            first = false;
            continue;
        }
        first = false;
        if (unit == 0)
            break;
        text.push_back(static_cast<char16_t>(unit));
    }
    return utf8FromUtf16(text);
}

void applyFrame(const FrameRow& row, std::span<const Byte> payload, Waveform& waveform) {
    ByteReader reader(payload, ByteOrder::Big);
    const std::uint8_t encodingByte = reader.u8();
    if (!reader.ok() || encodingByte > 3)
        return;
    const auto encoding = static_cast<TextEncoding>(encodingByte);
    std::string text;
    if (row.info == fourCc("ICMT")) {
        reader.skip(3);  // language
        // Comments with a description of their own are the notes of programs ("iTunNORM").
        if (!readText(reader, encoding).empty())
            return;
    }
    text = readText(reader, encoding);
    if (!text.empty())
        waveform.setInfoText(row.info, text);
}

bool applyVersion2(std::span<const Byte> tag, Waveform& waveform) {
    constexpr std::uint8_t kUnsynchronised = 0x80, kExtendedHeader = 0x40;
    ByteReader head(tag, ByteOrder::Big);
    head.skip(3);
    const std::uint8_t version = head.u8();
    head.skip(1);
    const std::uint8_t flags = head.u8();
    const std::uint32_t size = syncSafe(head.u32());
    if (!head.ok() || version < 2 || version > 4)
        return false;
    std::span<const Byte> body = head.bytes(std::min<std::size_t>(size, head.remaining()));
    std::vector<Byte> plain;
    if (flags & kUnsynchronised && version < 4) {
        plain = withoutUnsynchronisation(body);
        body = plain;
    }
    ByteReader reader(body, ByteOrder::Big);
    if (flags & kExtendedHeader && version > 2) {
        const std::uint32_t extended = reader.u32();
        // In version 2.4 the size counts itself.
        reader.skip(std::min<std::size_t>(version == 4 ? std::max(syncSafe(extended), 4u) - 4 : extended,
                                          reader.remaining()));
    }
    const std::size_t idLength = version == 2 ? 3 : 4;
    for (std::uint32_t frames = 0; frames < kMostFrames && reader.remaining() > idLength; ++frames) {
        const auto idBytes = reader.bytes(idLength);
        if (idBytes.front() == 0)
            break;  // padding
        const std::string_view id(reinterpret_cast<const char*>(idBytes.data()), idBytes.size());
        std::uint32_t frameSize = 0;
        std::uint16_t frameFlags = 0;
        if (version == 2) {
            frameSize = static_cast<std::uint32_t>(reader.u8()) << 16;
            frameSize |= reader.u16();
        } else {
            frameSize = reader.u32();
            if (version == 4)
                frameSize = syncSafe(frameSize);
            frameFlags = reader.u16();
        }
        if (!reader.ok() || frameSize > reader.remaining())
            break;
        std::span<const Byte> payload = reader.bytes(frameSize);
        const auto* row = std::ranges::find_if(
            kFrames, [&](const FrameRow& each) { return (version == 2 ? each.shortId : each.id) == id; });
        if (row == std::end(kFrames))
            continue;
        constexpr std::uint16_t kPacked4 = 0x000C, kPacked3 = 0x00C0;  // compressed or encrypted
        if (frameFlags & (version == 4 ? kPacked4 : kPacked3))
            continue;
        std::vector<Byte> plainFrame;
        if (version == 4) {
            constexpr std::uint16_t kFrameUnsynchronised = 2, kLengthGiven = 1;
            if (frameFlags & kLengthGiven)
                payload = payload.subspan(std::min<std::size_t>(4, payload.size()));
            if (frameFlags & kFrameUnsynchronised) {
                plainFrame = withoutUnsynchronisation(payload);
                payload = plainFrame;
            }
        }
        applyFrame(*row, payload, waveform);
    }
    return true;
}

bool applyVersion1(std::span<const Byte> tag, Waveform& waveform) {
    ByteReader reader(tag);
    reader.skip(3);
    const auto take = [&](std::uint32_t info, std::size_t width) {
        const std::string field = reader.text(width);
        const std::string_view text = trim(field);
        if (!text.empty())
            waveform.setInfoText(info, text);
    };
    take(fourCc("INAM"), 30);
    take(fourCc("IART"), 30);
    take(fourCc("IPRD"), 30);
    reader.skip(4);  // year
    take(fourCc("ICMT"), 28);
    return true;
}

}  // namespace

bool applyId3(std::span<const Byte> tag, Waveform& waveform) {
    const std::string_view start(reinterpret_cast<const char*>(tag.data()),
                                 std::min<std::size_t>(tag.size(), 3));
    if (start == "ID3")
        return applyVersion2(tag, waveform);
    if (start == "TAG" && tag.size() >= 128)
        return applyVersion1(tag, waveform);
    return false;
}

}  // namespace velor
