#include "app/processing/name_replacement.h"

#include <algorithm>
#include <iterator>
#include <regex>
#include <stdexcept>

#include "base/error.h"
#include "base/text.h"

namespace velor {

constinit const std::array<ProcessParameter, 5> kReplaceParameters = {{
    {.key = "search", .label = "Search for", .kind = ProcessValueKind::Text},
    {.key = "replace",
     .label = "Replace by",
     .kind = ProcessValueKind::Text,
     .help = "Nothing to remove what was found. With a regular expression $1 to $9 are its groups, $& all of "
             "it and $$ a dollar sign."},
    {.key = "match-case", .label = "Match case", .kind = ProcessValueKind::Switch},
    {.key = "whole-words",
     .label = "Whole words only",
     .kind = ProcessValueKind::Switch,
     .help = "What stands alone between spaces, punctuation, underscores or the ends of the name."},
    {.key = "regex",
     .label = "Regular expression",
     .kind = ProcessValueKind::Switch,
     .help = "The search text is an ECMAScript regular expression."},
}};

namespace {

// The library's matcher recurses for every character, and a pattern may make it try exponentially many ways:
// the first is bounded by the name's length, the second by how often the matcher may look at the name.
constexpr std::size_t kLongestName = 512;     // bytes
constexpr std::size_t kLongestPattern = 256;  // bytes
constexpr std::uint64_t kMostSteps = 2'000'000;

struct TooManySteps : std::runtime_error {
    TooManySteps() : std::runtime_error("The regular expression takes too long on this name") {}
};

// Characters of a name that count how often they are looked at.
class CountedCharacter {
  public:
    using iterator_category = std::bidirectional_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    CountedCharacter() = default;
    CountedCharacter(const char* at, std::uint64_t& steps) : at_(at), steps_(&steps) {}

    reference operator*() const {
        count();
        return *at_;
    }
    CountedCharacter& operator++() {
        ++at_;
        count();
        return *this;
    }
    CountedCharacter operator++(int) {
        CountedCharacter before = *this;
        ++*this;
        return before;
    }
    CountedCharacter& operator--() {
        --at_;
        count();
        return *this;
    }
    CountedCharacter operator--(int) {
        CountedCharacter before = *this;
        --*this;
        return before;
    }
    bool operator==(const CountedCharacter& other) const { return at_ == other.at_; }
    const char* place() const { return at_; }

  private:
    void count() const {
        if (++*steps_ > kMostSteps)
            throw TooManySteps();
    }
    const char* at_ = nullptr;
    std::uint64_t* steps_ = nullptr;
};

// Bytes above ASCII are parts of letters.
bool isWordCharacter(char c) {
    const char lower = lowerAscii(c);
    return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || static_cast<unsigned char>(c) >= 0x80;
}

bool standsAlone(std::string_view name, std::size_t first, std::size_t end) {
    return first < end && (first == 0 || !isWordCharacter(name[first - 1])) &&
           (end == name.size() || !isWordCharacter(name[end]));
}

std::string replacePlain(std::string_view name, const std::string& search, const std::string& replacement,
                         bool matchCase, bool wholeWords) {
    const auto equal = [matchCase](char a, char b) {
        return a == b || (!matchCase && lowerAscii(a) == lowerAscii(b));
    };
    std::string result;
    std::size_t done = 0;
    for (std::size_t at = 0; at + search.size() <= name.size();) {
        const auto found = std::search(name.begin() + static_cast<std::ptrdiff_t>(at), name.end(),
                                       search.begin(), search.end(), equal);
        if (found == name.end())
            break;
        const auto first = static_cast<std::size_t>(found - name.begin());
        const std::size_t end = first + search.size();
        if (wholeWords && !standsAlone(name, first, end)) {
            at = first + 1;
            continue;
        }
        result.append(name.substr(done, first - done)).append(replacement);
        at = done = end;
    }
    return result.append(name.substr(done));
}

// Throws std::regex_error and TooManySteps.
std::string replaceRegex(std::string_view name, const std::string& search, const std::string& replacement,
                         bool matchCase, bool wholeWords) {
    auto flags = std::regex::ECMAScript;
    if (!matchCase)
        flags |= std::regex::icase;
    const std::regex pattern(search, flags);
    std::uint64_t steps = 0;
    const CountedCharacter begin(name.data(), steps), end(name.data() + name.size(), steps);
    std::string result;
    std::size_t done = 0;
    for (std::regex_iterator<CountedCharacter> match(begin, end, pattern), none; match != none; ++match) {
        const auto first = static_cast<std::size_t>((*match)[0].first.place() - name.data());
        const auto last = static_cast<std::size_t>((*match)[0].second.place() - name.data());
        if (wholeWords && !standsAlone(name, first, last))
            continue;
        result.append(name.substr(done, first - done));
        match->format(std::back_inserter(result), replacement);
        done = last;
    }
    return result.append(name.substr(done));
}

}  // namespace

ProcessOutcome replaceInName(Item& item, const ProcessSettings& settings) {
    const std::string& search = settings.text("search");
    const std::string& replacement = settings.text("replace");
    const bool matchCase = settings.flag("match-case"), wholeWords = settings.flag("whole-words");
    const bool regex = settings.flag("regex");
    if (search.empty())
        return processFailed("There is no text to search for");
    // Settings are UTF-8. Names in the old 8-bit encoding are looked at, and become, UTF-8 where that
    // matters.
    const auto isAscii = [](std::string_view text) {
        return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    };
    const std::string name = isAscii(search) && isAscii(replacement) ? item.name() : displayText(item.name());
    std::string replaced;
    if (regex) {
        if (search.size() > kLongestPattern)
            return processFailed(formatText("A regular expression may have %u characters at most",
                                            static_cast<unsigned>(kLongestPattern)));
        if (name.size() > kLongestName)
            return processFailed(formatText("Regular expressions work on names of up to %u characters only",
                                            static_cast<unsigned>(kLongestName)));
        try {
            replaced = replaceRegex(name, search, replacement, matchCase, wholeWords);
        } catch (const TooManySteps& tooMany) {
            return processFailed(tooMany.what());
        } catch (const std::regex_error& error) {
            return processFailed(error.code() == std::regex_constants::error_complexity ||
                                         error.code() == std::regex_constants::error_stack
                                     ? "The regular expression takes too long on this name"
                                     : "\"" + search + "\" is no regular expression");
        }
    } else {
        replaced = replacePlain(name, search, replacement, matchCase, wholeWords);
    }
    if (replaced == name)
        return ProcessOutcome::Unchanged;
    if (replaced.empty() || replaced.front() == '\0')
        return processFailed("Nothing would be left of the name");
    item.setName(replaced);
    return ProcessOutcome::Changed;
}

}  // namespace velor
