#include "formats/framework/probes/banks.h"

#include <array>

#include "base/text.h"
#include "formats/framework/probes/text_probe.h"

namespace velor::probe {

namespace {

// Steps over the chunks of a little-endian RIFF list inside the head. Stops at the end of the list or of the
// head, and after a number of chunks that no sane list start exceeds.
class ChunkWalk {
  public:
    ChunkWalk(Head head, std::size_t begin, std::uint64_t end) : head_(head), next_(begin), end_(end) {}

    bool next() {
        if (steps_++ >= 64 || next_ + 8 > end_ || next_ + 8 > head_.size())
            return false;
        id_ = static_cast<std::size_t>(next_);
        size_ = le32(head_, id_ + 4);
        next_ += 8 + std::uint64_t{size_} + (size_ & 1);
        return true;
    }
    bool is(std::string_view id) const { return has(head_, id_, id); }
    bool isList(std::string_view form) const { return is("LIST") && has(head_, id_ + 8, form); }
    std::size_t data() const { return id_ + 8; }
    std::uint64_t end() const { return std::uint64_t{id_} + 8 + size_; }
    // The chunks of a LIST, behind its form type.
    ChunkWalk children() const { return {head_, id_ + 12, end()}; }

  private:
    Head head_;
    std::uint64_t next_;
    std::uint64_t end_;
    std::size_t id_ = 0;
    std::uint32_t size_ = 0;
    int steps_ = 0;
};

bool findList(ChunkWalk& walk, std::string_view form) {
    while (walk.next()) {
        if (walk.isList(form))
            return true;
    }
    return false;
}

constexpr std::uint64_t kWholeFile = ~std::uint64_t{0};

// The major version of a SoundFont; 0 when there is none.
unsigned soundFontVersion(Head head) {
    ChunkWalk form(head, 12, kWholeFile);
    if (!findList(form, "INFO"))
        return 0;
    ChunkWalk info = form.children();
    while (info.next()) {
        if (info.is("ifil"))
            return le16(head, info.data());
    }
    return 0;
}

enum class DlsKind { Unknown, Plain, Giga };

// Looks into the first instrument: GigaStudio keeps its dimensions in chunks of its own beside the DLS ones.
DlsKind dlsKind(Head head) {
    ChunkWalk form(head, 12, kWholeFile);
    bool instrumentsSeen = false;
    while (form.next()) {
        if (form.isList("3gri") || form.is("3crc") || form.is("einf"))
            return DlsKind::Giga;
        if (!form.isList("lins"))
            continue;
        ChunkWalk instruments = form.children();
        if (!findList(instruments, "ins "))
            continue;
        ChunkWalk parts = instruments.children();
        while (parts.next()) {
            const bool regions = parts.isList("lrgn");
            const bool articulation = parts.isList("lart");
            if (!regions && !articulation)
                continue;
            ChunkWalk inner = parts.children();
            if (articulation) {
                while (inner.next()) {
                    if (inner.is("3ewg"))
                        return DlsKind::Giga;
                }
                continue;
            }
            if (!findList(inner, "rgn"))
                continue;
            ChunkWalk region = inner.children();
            while (region.next()) {
                if (region.is("3lnk") || region.isList("3prg"))
                    return DlsKind::Giga;
            }
            instrumentsSeen = inner.end() <= head.size();
        }
    }
    return instrumentsSeen ? DlsKind::Plain : DlsKind::Unknown;
}

bool isDls(Head head) {
    return isRiff(head, "DLS ");
}

}  // namespace

int soundFont(Head head, std::uint32_t variant, std::uint64_t) {
    if (!isRiff(head, "sfbk"))
        return kNo;
    const unsigned major = soundFontVersion(head);
    const std::uint32_t generation = major == 1 ? 1 : major >= 3 ? 3 : 2;
    if (generation == variant)
        return kCertain;
    return variant == 3 && generation == 2 ? kLikely : kWeak;
}

int soundFontPack(Head head, std::uint32_t, std::uint64_t) {
    if (isRiff(head, "sfpk"))
        return kCertain;
    // Banks with one encoded stream per sample carry this extension too.
    return isRiff(head, "sfbk") ? kLikely : kNo;
}

int soundFontArk(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(has(head, 26, "sfArk"));
}

int aurealBank(Head head, std::uint32_t, std::uint64_t) {
    return isRiff(head, "sfbk") ? kLikely : kNo;
}

int dlsBank(Head head, std::uint32_t, std::uint64_t) {
    if (!isDls(head))
        return kNo;
    return dlsKind(head) == DlsKind::Giga ? kWeak : kCertain;
}

int gigaBank(Head head, std::uint32_t, std::uint64_t) {
    if (!isDls(head))
        return kNo;
    switch (dlsKind(head)) {
        case DlsKind::Giga:
            return kCertain;
        case DlsKind::Plain:
            return kWeak;
        case DlsKind::Unknown:
            break;
    }
    return kLikely;
}

int dlsByExtension(Head head, std::uint32_t, std::uint64_t) {
    return isDls(head) ? kLikely : kNo;
}

int milesBank(Head head, std::uint32_t, std::uint64_t) {
    return certainIf(isRiff(head, "MLS "));
}

int gigaWave(Head head, std::uint32_t, std::uint64_t) {
    return isRiff(head, "WAVE") ? kLikely : kNo;
}

int gravisPatch(Head head, std::uint32_t, std::uint64_t) {
    if (!has(head, 0, "GF1PATCH1"))
        return kNo;
    const bool version = has(head, 9, {"10\0", 3}) || has(head, 9, {"00\0", 3});
    return certainIf(version && has(head, 12, "ID#000002"));
}

int gravisBankList(Head head, std::uint32_t, std::uint64_t) {
    const unsigned first = u8(head, 0);
    if (first != '[' && first != ';' && first != '\r' && first != '\n')
        return kNo;
    constexpr std::size_t kSearched = 4096;
    const std::string_view text = asText(head.first(head.size() < kSearched ? head.size() : kSearched));
    for (std::size_t bracket = text.find('['); bracket != std::string_view::npos;
         bracket = text.find('[', bracket + 1)) {
        const bool lineStart = bracket == 0 || text[bracket - 1] == '\n' || text[bracket - 1] == '\r';
        const std::string_view section = text.substr(bracket + 1);
        if (lineStart && (equalNoCase(section.substr(0, 12), "Melodic Bank") ||
                          equalNoCase(section.substr(0, 9), "Drum Bank")))
            return kCertain;
    }
    return kNo;
}

int interwaveBank(Head head, std::uint32_t, std::uint64_t fileSize) {
    if (!has(head, 0, "FFFF"))
        return kNo;
    if (std::uint64_t{le32(head, 4)} + 8 == fileSize)
        return kCertain;
    for (const std::string_view chunk : {"ENVP", "PROG", "DATA", "TEXT", "CPRT"}) {
        if (has(head, 8, chunk))
            return kLikely;  // cut short, or with something behind it
    }
    return kNo;
}

int waveFront(Head head, std::uint32_t variant, std::uint64_t) {
    static constexpr std::array<std::string_view, 3> kKinds{
        std::string_view{"Bank\0", 5}, std::string_view{"DrumKit\0", 8}, std::string_view{"Program\0", 8}};
    const unsigned first = u8(head, 0);
    if ((first != 'M' && first != 'R' && first != 'T') || le16(head, 64) != 120)
        return kNo;
    const bool card = has(head, 0, {"Maui\0", 5}) || has(head, 0, {"Rio\0", 4}) ||
                      has(head, 0, {"Tropez\0", 7}) || has(head, 0, {"TropezPlus\0", 11});
    return certainIf(card && variant < kKinds.size() && has(head, 32, kKinds[variant]));
}

}  // namespace velor::probe
