#include "formats/framework/probes/sampler_software.h"

#include <array>

#include "formats/framework/probes/text_probe.h"

namespace velor::probe {

int exsInstrument(Head head, std::uint32_t, std::uint64_t) {
    // The first block is the instrument: byte order, version 1.0, type 0, and a tag in that byte order.
    const unsigned order = u8(head, 0);
    if (order > 1 || u8(head, 1) != 1 || head.size() < 84)
        return kNo;
    const bool tag = order == 1 ? has(head, 16, "TBOS") || has(head, 16, "JBOS")
                                : has(head, 16, "SOBT") || has(head, 16, "SOBJ");
    return certainIf(tag);
}

namespace {

constexpr std::uint32_t kAnyKind = 0xF00;  // the container does not say so early

struct KontaktMagic {
    std::uint32_t bytes;  // as they stand in the file
    std::uint32_t found;  // version and kind
};

// Each magic number occurs in both byte orders, after the machine that wrote the file.
constexpr std::array kKontaktMagic{
    KontaktMagic{0x5EE56EB3, 1 | kontakt::kInstrument}, KontaktMagic{0xB36EE55E, 1 | kontakt::kInstrument},
    KontaktMagic{0x5AE5D6A4, 1 | kontakt::kMulti},      KontaktMagic{0xA4D6E55A, 1 | kontakt::kMulti},
    KontaktMagic{0x1290A87F, 2 | kontakt::kInstrument}, KontaktMagic{0x7FA89012, 2 | kontakt::kInstrument},
    KontaktMagic{0x01EF85AB, 2 | kontakt::kMulti},      KontaktMagic{0xAB85EF01, 2 | kontakt::kMulti},
    KontaktMagic{0x10874353, 2 | kontakt::kBank},       KontaktMagic{0x53438710, 2 | kontakt::kBank},
    KontaktMagic{0x74B5A69B, 2 | kontakt::kBank},       KontaktMagic{0x9BA6B574, 2 | kontakt::kBank},
    KontaktMagic{0x54AC705E, 2 | kontakt::kInstrument},  // directory of a monolith
    KontaktMagic{0x5E70AC54, 2 | kontakt::kInstrument},
};

// Version and kind; 0 when it is no Kontakt file.
std::uint32_t kontaktKind(Head head) {
    const std::uint32_t magic = be32(head, 0);
    for (const KontaktMagic& known : kKontaktMagic) {
        if (known.bytes != magic)
            continue;
        if ((known.found & kontakt::kVersion) != 2)
            return known.found;
        // Versions 2 to 4 repeat the kind in the header, behind four fixed bytes.
        if (has(head, 10, "\x72\x2A\x01\x3E") || has(head, 10, "\x1A\x63\x37\xEA")) {
            if (const std::uint32_t kind = le16(head, 14); kind <= 2)
                return 2 | kind << 8;
        }
        return known.found;
    }
    if (has(head, 8, {"\x01\0\0\0hsin", 8}))
        return 5 | kAnyKind;
    if (has(head, 0, "/\\ NI FC MTD  /\\"))
        return 5 | kontakt::kInstrument;
    return 0;
}

}  // namespace

int kontaktFile(Head head, std::uint32_t variant, std::uint64_t) {
    if (head.size() < 16)
        return kNo;
    const std::uint32_t found = kontaktKind(head);
    if ((found & kontakt::kVersion) != (variant & kontakt::kVersion))
        return kNo;
    const std::uint32_t kind = found & kontakt::kKind;
    const std::uint32_t wanted = variant & kontakt::kKind;
    if (kind != kAnyKind)
        return kind == wanted ? kCertain : kWeak;
    // The container serves the maker's other products too; the sampler's own items carry this domain.
    constexpr std::size_t kSearched = 4096;
    const std::string_view text = asText(head.first(head.size() < kSearched ? head.size() : kSearched));
    const bool sampler = text.find("4KIN") != std::string_view::npos;
    return sampler && wanted == kontakt::kInstrument ? kCertain : kLikely;
}

int kontaktWave(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "\x01\xA8\x9E\xD6") &&
                     (has(head, 4, {"\x30\x01\0\0", 4}) || has(head, 4, {"\x31\x01\0\0", 4})));
}

int batteryKit(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(rootElement(head).name == "BatteryPatch");
}

int reaktorMap(Head head, std::uint32_t, std::uint64_t) {
    // The format's name stands behind a short length field.
    for (const std::size_t offset : {0u, 4u, 8u, 12u, 16u}) {
        if (has(head, offset, "NIMapFile"))
            return kCertain;
    }
    return kNo;
}

int nnxtPatch(Head head, std::uint32_t, std::uint64_t) {
    if (!isForm(head, "PTCH"))
        return kNo;
    // The description names the device; the list of sample references before it may be long.
    std::uint64_t chunk = 12;
    for (int i = 0; i < 16 && chunk + 8 <= head.size(); ++i) {
        const auto offset = static_cast<std::size_t>(chunk);
        const std::uint32_t size = be32(head, offset + 4);
        if (has(head, offset, "DESC")) {
            const std::string_view text = asText(head).substr(offset + 8, size < 1024 ? size : 1024);
            return text.find("NNXT") != std::string_view::npos ? kCertain : kNo;
        }
        chunk += 8 + std::uint64_t{size} + (size & 1);
    }
    return kLikely;
}

int nordProject(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 0, "SMACEditorProject"));
}

int decentSamplerPreset(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(rootElement(head).name == "DecentSampler");
}

int tx16wxFile(Head head, std::uint32_t variant, std::uint64_t) {
    const RootElement root = rootElement(head);
    if (localName(root.name) != (variant == 0 ? "bank" : "program"))
        return kNo;
    // Other programs' files have such roots too; the namespace is this sampler's (in several versions).
    const std::string_view text = asText(head).substr(root.attributes);
    const std::string_view attributes = text.substr(0, text.find('>'));
    return certainIf(attributes.find("tx16wx") != std::string_view::npos);
}

int tenTenPreset(Head head, std::uint32_t, std::uint64_t) {
    const RootElement root = rootElement(head);
    if (root.name != "document")
        return kNo;
    const std::string_view text = asText(head);
    const std::size_t child = text.find('<', root.attributes);
    if (child == std::string_view::npos || !text.substr(child).starts_with("<session"))
        return kNo;
    const std::size_t cell = text.find('<', child + 1);
    return cell != std::string_view::npos && text.substr(cell).starts_with("<cell") ? kCertain : kLikely;
}

namespace {

// What follows in an SFZ text. `position` moves behind it.
enum class SfzToken { End, Header, Opcode, Include, Define, Other };

void skipComments(std::string_view text, std::size_t& position) {
    for (;;) {
        position = skipBlanks(text, position);
        const std::string_view rest = text.substr(position);
        if (rest.starts_with("//")) {
            position = lineEnd(text, position);
        } else if (rest.starts_with("/*")) {
            const std::size_t end = text.find("*/", position + 2);
            position = end == std::string_view::npos ? text.size() : end + 2;
        } else {
            return;
        }
    }
}

bool opcodeCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '#' || c == '$';
}

SfzToken nextSfzToken(std::string_view text, std::size_t& position) {
    static constexpr std::array<std::string_view, 9> kHeaders{"<region>",  "<group>",  "<global>",
                                                              "<control>", "<master>", "<curve>",
                                                              "<effect>",  "<sample>", "<midi>"};
    skipComments(text, position);
    const std::string_view rest = text.substr(position);
    if (rest.empty())
        return SfzToken::End;
    if (rest.front() == '<') {
        for (const std::string_view header : kHeaders) {
            if (rest.starts_with(header)) {
                position += header.size();
                return SfzToken::Header;
            }
        }
        return SfzToken::Other;
    }
    if (rest.starts_with("#define $") || rest.starts_with("#include \"")) {
        position = lineEnd(text, position);
        return rest[1] == 'd' ? SfzToken::Define : SfzToken::Include;
    }
    std::size_t length = 0;
    while (length < rest.size() && length < 64 && opcodeCharacter(rest[length]))
        ++length;
    std::size_t equals = length;
    while (equals < rest.size() && equals < length + 8 && rest[equals] == ' ')
        ++equals;
    return length > 0 && equals < rest.size() && rest[equals] == '=' ? SfzToken::Opcode : SfzToken::Other;
}

}  // namespace

int sfzInstrument(Head head, std::uint32_t, std::uint64_t fileSize) {
    const unsigned first = u8(head, 0);
    if (first != '/' && first != '<' && first != '#' && first != ' ' && first != '\t' && first != '\r' &&
        first != '\n' && first != 0xEF)
        return kNo;
    const std::string_view text = asText(head);
    std::size_t position = text.starts_with("\xEF\xBB\xBF") ? 3 : 0;
    bool header = false;
    bool directive = false;
    for (;;) {
        switch (nextSfzToken(text, position)) {
            case SfzToken::Header:
                header = true;
                break;
            case SfzToken::Define:
            case SfzToken::Include:
                directive = true;
                break;
            case SfzToken::Opcode:
                return header ? kCertain : kNo;
            case SfzToken::Other:
                return kNo;
            case SfzToken::End:
                if (header || directive)
                    return kLikely;
                // Nothing but comments so far, and there is more: the extension may speak.
                return fileSize > head.size() ? kWeak : kNo;
        }
    }
}

namespace {

// A look at an Unreal engine 1 package's table of names for the class that it is about.
enum class UnrealContent { Unknown, Sound, Music };

UnrealContent unrealNames(Head head, unsigned version) {
    const std::uint32_t count = le32(head, 12);
    std::uint64_t position = le32(head, 16);
    bool sound = false;
    for (std::uint32_t i = 0; i < count && i < 512; ++i) {
        if (position + 1 >= head.size())
            return sound ? UnrealContent::Sound : UnrealContent::Unknown;
        const auto offset = static_cast<std::size_t>(position) + (version >= 64 ? 1 : 0);
        if (has(head, offset, {"Music\0", 6}))
            return UnrealContent::Music;
        sound = sound || has(head, offset, {"Sound\0", 6});
        std::uint64_t length = version >= 64 ? u8(head, offset - 1) : 0;
        if (version < 64) {
            const std::size_t end = asText(head).find('\0', offset);
            if (end == std::string_view::npos)
                break;
            length = end + 1 - offset;
        }
        position = std::uint64_t{offset} + length + 4;  // the name's flags
    }
    return sound ? UnrealContent::Sound : UnrealContent::Unknown;
}

}  // namespace

int unrealPackage(Head head, std::uint32_t variant, std::uint64_t) {
    if (le32(head, 0) != 0x9E2A83C1 || head.size() < 36)
        return kNo;
    // The fourth engine stores a small negative number where the older ones have their version.
    const auto version = static_cast<std::int32_t>(le32(head, 4));
    if (version < 0)
        return certainIf(variant == 2 && version > -64);
    const unsigned engine = le16(head, 4);
    if (variant == 2 || engine >= 200)
        return kNo;
    switch (unrealNames(head, engine)) {
        case UnrealContent::Sound:
            return variant == 0 ? kCertain : kWeak;
        case UnrealContent::Music:
            return variant == 1 ? kCertain : kWeak;
        case UnrealContent::Unknown:
            break;
    }
    return kLikely;
}

}  // namespace velor::probe
