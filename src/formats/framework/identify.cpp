#include <algorithm>
#include <array>

#include "base/text.h"
#include "formats/framework/format_table.h"
#include "platform/file_types.h"

namespace velor {

bool matchExtension(std::string_view pattern, std::string_view extension) {
    for (std::size_t i = 0;; ++i) {
        const char wanted = i < pattern.size() ? pattern[i] : '\0';
        const char given = i < extension.size() ? extension[i] : '\0';
        if (wanted == '*')
            return true;
        if (wanted == '?') {
            if (given == '\0')
                return true;
            continue;
        }
        if (lowerAscii(wanted) != lowerAscii(given))
            return false;
        if (wanted == '\0')
            return true;
    }
}

namespace {

constexpr std::size_t kLongestExtension = 63;
constexpr int kFullScore = 9;  // a signature (6) and the extension (3)
constexpr int kSure = 3;

// The extension as identification sees it: 8-bit text of at most 63 characters.
std::string_view shortExtension(std::string_view fileName) {
    return extensionOf(fileName).substr(0, kLongestExtension);
}

// The bonus of a file's extension for each row. Most rows are ruled out by their first character alone, which is
// what keeps looking at all of them cheap.
class ExtensionBonus {
  public:
    explicit ExtensionBonus(std::string_view extension)
        : extension_(extension), first_(extension.empty() ? '\0' : lowerAscii(extension[0])) {}

    int of(int row, const FormatEntry& entry) const {
        const char wanted = entry.extension[0];  // patterns are lower case
        if (wanted != first_ && wanted != '*' && wanted != '?')
            return 0;
        if (!matchExtension(entry.extension, extension_))
            return 0;
        return row == 0 ? 2 : 3;
    }

  private:
    std::string_view extension_;
    char first_;
};

}  // namespace

Identification identifyBytes(std::string_view fileName, std::span<const Byte> head, std::uint64_t fileSize) {
    if (fileSize == 0)
        return {};
    const ExtensionBonus bonus(shortExtension(fileName));
    int best = -1;
    int bestScore = 0;
    int index = 0;
    for (const FormatEntry& row : FormatTable()) {
        if (row.read) {
            const int score = row.probe(head, row.variant, fileSize) + bonus.of(index, row);
            if (score > bestScore) {
                best = index;
                bestScore = score;
            }
        }
        ++index;
    }
    if (bestScore >= kSure)
        return best == 0 ? Identification{0, 0} : Identification{best, bestScore * 100 / kFullScore};
    const FormatEntry* entry = formatRow(best);
    return {entry && entry->extension[0] == '*' ? 0 : -1, 0};
}

Identification IdentifyFile(const std::filesystem::path& name, const File& file) {
    if (file.size() == 0)
        return {};
    std::array<Byte, kProbeBytes> buffer;
    const std::size_t wanted = static_cast<std::size_t>(std::min<std::uint64_t>(file.size(), buffer.size()));
    const std::size_t got = file.readSome(0, {buffer.data(), wanted});
    return identifyBytes(utf8FromPath(name.filename()), {buffer.data(), got}, file.size());
}

std::vector<IdentificationCandidate> explainIdentification(std::string_view fileName,
                                                           std::span<const Byte> head,
                                                           std::uint64_t fileSize) {
    std::vector<IdentificationCandidate> candidates;
    const ExtensionBonus bonuses(shortExtension(fileName));
    int index = 0;
    for (const FormatEntry& row : FormatTable()) {
        if (row.read) {
            const int bonus = bonuses.of(index, row);
            const int score = row.probe(head, row.variant, fileSize) + bonus;
            if (score > 0)
                candidates.push_back({index, score, bonus > 0});
        }
        ++index;
    }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](const auto& a, const auto& b) { return a.score > b.score; });
    return candidates;
}

std::string fileTypeText(const std::filesystem::path& name) {
    const auto file = File::open(name);
    const Identification found = file ? IdentifyFile(name, *file) : Identification{};
    if (found.confidence <= 0) {
        // Not sure: the system's own name for the extension is the better guess.
        const std::string fileName = utf8FromPath(name.filename());
        if (const auto registered = registeredFileType(extensionOf(fileName)))
            return *registered;
    }
    return found.row < 0 ? "Unknown file type" : std::string(rowDescription(found.row));
}

}  // namespace velor
