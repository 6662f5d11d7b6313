#include "platform/settings_file.h"

#include <algorithm>

#include "base/error.h"
#include "base/text.h"

namespace velor {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

constexpr int hexDigit(char c) {
    return c >= '0' && c <= '9'   ? c - '0'
           : c >= 'a' && c <= 'f' ? c - 'a' + 10
           : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                  : -1;
}

constexpr bool isControl(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

// Takes the inside of a quoted value; false unless it ends with the line.
bool unquote(std::string_view text, std::string& value) {
    value.clear();
    for (std::size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"')
            return i + 1 == text.size();
        if (text[i] != '\\') {
            value += text[i];
            continue;
        }
        if (++i >= text.size())
            return false;
        switch (text[i]) {
            case 'n':
                value += '\n';
                break;
            case 'r':
                value += '\r';
                break;
            case 't':
                value += '\t';
                break;
            case '\\':
            case '"':
                value += text[i];
                break;
            case 'x': {
                const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
                const int low = high < 0 ? -1 : hexDigit(text[i + 2]);
                if (low < 0)
                    return false;
                value += static_cast<char>(high << 4 | low);
                i += 2;
                break;
            }
            default:
                return false;
        }
    }
    return false;
}

}  // namespace

bool SettingsFile::isName(std::string_view name) {
    return !name.empty() && std::ranges::all_of(name, [](char c) {
        const char lower = lowerAscii(c);
        return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '_';
    });
}

std::string SettingsFile::quote(std::string_view value) {
    const bool wellFormed = isUtf8(value);
    if (!value.empty() && wellFormed && value.front() != '"' && trim(value).size() == value.size() &&
        std::ranges::none_of(value, isControl))
        return std::string(value);
    std::string text = "\"";
    for (const char c : value) {
        if (c == '"' || c == '\\')
            (text += '\\') += c;
        else if (c == '\n')
            text += "\\n";
        else if (c == '\r')
            text += "\\r";
        else if (c == '\t')
            text += "\\t";
        else if (isControl(c) || (!wellFormed && static_cast<unsigned char>(c) >= 0x80))
            text += formatText("\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(c)));
        else
            text += c;
    }
    return text + '"';
}

bool SettingsFile::parse(std::string_view text) {
    if (text.size() > kMostBytes)
        return fail(kTooLarge);
    lines_.clear();
    problems_.clear();
    if (text.starts_with(kByteOrderMark))
        text.remove_prefix(kByteOrderMark.size());
    if (static_cast<std::size_t>(std::ranges::count(text, '\n')) > kMostLines)
        return fail(kTooLarge);
    while (!text.empty()) {
        const std::string_view whole = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(whole.size() + 1, text.size()));
        Line line{std::string(whole), {}, {}};
        const std::string_view content = trim(whole);
        if (!content.empty() && content.front() != '#' && content.front() != ';') {
            const std::size_t equals = content.find('=');
            const std::string_view name = trim(content.substr(0, equals));
            const std::string_view value =
                equals == std::string_view::npos ? std::string_view() : trim(content.substr(equals + 1));
            const auto problem = [&](const char* what) {
                if (problems_.size() < kMostProblems)
                    problems_.push_back("line " + std::to_string(lines_.size() + 1) + ": " + what);
            };
            if (equals == std::string_view::npos || !isName(name)) {
                problem("expected name = value");
            } else if (value.empty() || value.front() != '"') {
                line.name = name;
                line.value = value;
            } else if (unquote(value, line.value)) {
                line.name = name;
            } else {
                problem("the quoted value does not end, or has an unknown \\ in it");
            }
        }
        lines_.push_back(std::move(line));
    }
    return true;
}

std::string SettingsFile::print() const {
    std::string text;
    for (const Line& line : lines_)
        (text += line.text) += '\n';
    return text;
}

std::vector<SettingsFile::Entry> SettingsFile::entries() const {
    std::vector<Entry> found;
    for (std::size_t i = 0; i < lines_.size(); ++i)
        if (!lines_[i].name.empty())
            found.push_back({lines_[i].name, lines_[i].value, i + 1});
    return found;
}

void SettingsFile::set(std::string_view name, std::string_view value) {
    auto line = std::find_if(lines_.rbegin(), lines_.rend(),
                             [&](const Line& one) { return equalNoCase(one.name, name); });
    if (line == lines_.rend()) {
        lines_.emplace_back();
        line = lines_.rbegin();
    } else if (line->value == value) {
        return;
    }
    line->name = name;
    line->value = value;
    line->text = line->name + " = " + quote(value);
}

void SettingsFile::remove(std::string_view name) {
    std::erase_if(lines_, [&](const Line& line) { return equalNoCase(line.name, name); });
}

void SettingsFile::addComment(std::string_view text) {
    for (const std::string_view one : split(text, '\n'))
        lines_.push_back({one.empty() ? "#" : "# " + std::string(one), {}, {}});
}

}  // namespace velor
