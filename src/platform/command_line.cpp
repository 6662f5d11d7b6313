#include "platform/command_line.h"

#include <algorithm>
#include <filesystem>

#include "base/text.h"
#include "platform/file.h"

namespace velor {

namespace fs = std::filesystem;

namespace {

constexpr bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

constexpr bool hasWildcard(std::string_view text) {
    return text.find_first_of("*?") != std::string_view::npos;
}

// Bytes of the UTF-8 sequence that starts with `first`.
std::size_t sequenceLength(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

CommandArgument takeProgram(std::string_view line, std::size_t& at) {
    CommandArgument program;
    bool quoted = false;
    for (; at < line.size() && (quoted || !isBlank(line[at])); ++at) {
        if (line[at] == '"')
            quoted = !quoted;
        else
            program.text += line[at];
    }
    return program;
}

CommandArgument takeArgument(std::string_view line, std::size_t& at) {
    CommandArgument argument;
    bool quoted = false;
    while (at < line.size() && (quoted || !isBlank(line[at]))) {
        std::size_t backslashes = 0;
        while (at < line.size() && line[at] == '\\')
            ++backslashes, ++at;
        if (at >= line.size() || line[at] != '"') {
            argument.text.append(backslashes, '\\');
            if (at < line.size() && (quoted || !isBlank(line[at]))) {
                argument.wildcard |= !quoted && (line[at] == '*' || line[at] == '?');
                argument.text += line[at++];
            }
            continue;
        }
        argument.text.append(backslashes / 2, '\\');
        if (backslashes % 2 != 0) {
            argument.text += '"';
        } else if (quoted && at + 1 < line.size() && line[at + 1] == '"') {
            argument.text += '"';  // two marks inside quoting stand for one
            ++at;
        } else {
            quoted = !quoted;
        }
        ++at;
    }
    return argument;
}

}  // namespace

std::vector<CommandArgument> splitWindowsCommandLine(std::string_view line) {
    std::vector<CommandArgument> arguments;
    std::size_t at = 0;
    arguments.push_back(takeProgram(line, at));
    for (;;) {
        while (at < line.size() && isBlank(line[at]))
            ++at;
        if (at >= line.size())
            return arguments;
        arguments.push_back(takeArgument(line, at));
    }
}

std::string quoteWindowsArgument(std::string_view argument) {
    // Wildcards are quoted too, so that a child leaves them alone.
    if (!argument.empty() && argument.find_first_of(" \t\n\v\"*?") == std::string_view::npos)
        return std::string(argument);
    std::string quoted = "\"";
    std::size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '\\') {
            ++backslashes;
            continue;
        }
        quoted.append(c == '"' ? 2 * backslashes + 1 : backslashes, '\\');
        backslashes = 0;
        quoted += c;
    }
    quoted.append(2 * backslashes, '\\');
    return quoted + '"';
}

bool matchesWildcards(std::string_view name, std::string_view pattern) {
    // Greedy with one point of return: the last star tried a little longer each time.
    std::size_t n = 0, p = 0, starPattern = std::string_view::npos, starName = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            starPattern = p++;
            starName = n;
        } else if (p < pattern.size() && pattern[p] == '?') {
            n = std::min(n + sequenceLength(name[n]), name.size());
            ++p;
        } else if (p < pattern.size() && lowerAscii(pattern[p]) == lowerAscii(name[n])) {
            ++n, ++p;
        } else if (starPattern != std::string_view::npos) {
            starName = std::min(starName + sequenceLength(name[starName]), name.size());
            n = starName;
            p = starPattern + 1;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

std::vector<std::string> expandWildcards(std::string_view pattern) {
    const fs::path whole = pathFromUtf8(pattern);
    std::vector<fs::path> found{whole.root_path()};
    for (const fs::path& part : whole.relative_path()) {
        std::string partPattern = utf8FromPath(part);
        if (partPattern == "*.*")
            partPattern = "*";  // every name, with a dot or without: an old habit of this system's users
        std::vector<fs::path> next;
        for (const fs::path& folder : found) {
            std::error_code error;
            if (!hasWildcard(partPattern)) {
                if (part.empty() || fs::exists(folder / part, error))
                    next.push_back(folder / part);
                continue;
            }
            fs::directory_iterator entries(folder.empty() ? fs::path(".") : folder,
                                           fs::directory_options::skip_permission_denied, error);
            for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
                const fs::path name = entries->path().filename();
                if (matchesWildcards(utf8FromPath(name), partPattern))
                    next.push_back(folder / name);
            }
        }
        found = std::move(next);
    }
    std::vector<std::string> texts;
    texts.reserve(found.size());
    for (const fs::path& path : found)
        texts.push_back(utf8FromPath(path));
    std::sort(texts.begin(), texts.end(), [](const std::string& a, const std::string& b) {
        return lessNoCase(a, b) || (!lessNoCase(b, a) && a < b);
    });
    return texts;
}

}  // namespace velor
