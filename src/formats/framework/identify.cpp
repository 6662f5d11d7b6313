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

// What identification needs of a row that can read, packed: each file asks some four hundred of them, and
// most of that time goes into fetching the rows.
struct Candidate {
    FormatProbe probe = nullptr;
    std::uint32_t variant = 0;
    std::uint16_t row = 0;
    char first = 0;  // of the extension: it alone rules most rows out
};

class Candidates {
  public:
    Candidates() {
        for (int row = 0; row < kFormatRows; ++row) {
            const FormatEntry& entry = *formatRow(row);
            if (entry.read)
                packed_[count_++] = {entry.probe, entry.variant, static_cast<std::uint16_t>(row),
                                     entry.extension[0]};
        }
    }
    const Candidate* begin() const { return packed_.data(); }
    const Candidate* end() const { return packed_.data() + count_; }

  private:
    std::array<Candidate, kFormatRows> packed_;
    std::size_t count_ = 0;
};

// Calls visit(row, score, extensionMatches) for every row that can read, in table order.
template <typename Visit>
void scoreRows(std::string_view extension, std::span<const Byte> head, std::uint64_t fileSize, Visit visit) {
    static const Candidates candidates;
    const char first = extension.empty() ? '\0' : lowerAscii(extension[0]);  // patterns are lower case
    for (const Candidate& each : candidates) {
        const bool mayMatch = each.first == first || each.first == '*' || each.first == '?';
        const bool matches = mayMatch && matchExtension(formatRow(each.row)->extension, extension);
        const int bonus = !matches ? 0 : each.row == 0 ? 2 : 3;
        visit(static_cast<int>(each.row), each.probe(head, each.variant, fileSize) + bonus, matches);
    }
}

}  // namespace

Identification identifyBytes(std::string_view fileName, std::span<const Byte> head, std::uint64_t fileSize) {
    if (fileSize == 0)
        return {};
    int best = -1;
    int bestScore = 0;
    scoreRows(shortExtension(fileName), head, fileSize, [&](int row, int score, bool) {
        if (score > bestScore) {
            best = row;
            bestScore = score;
        }
    });
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
    scoreRows(shortExtension(fileName), head, fileSize, [&](int row, int score, bool extensionMatches) {
        if (score > 0)
            candidates.push_back({row, score, extensionMatches});
    });
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
