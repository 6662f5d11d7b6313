#include "app/cli/output_names.h"

#include <algorithm>

#include "app/cli/arguments.h"
#include "base/error.h"
#include "base/text.h"
#include "platform/file.h"

namespace velor::cli {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kLongestFileName = 240;  // bytes, of the usual 255: room for a temporary suffix
constexpr std::string_view kReserved = "<>:\"/\\|?*";

// Windows keeps these for devices, with any extension.
bool isDeviceName(std::string_view name) {
    const std::string_view base = name.substr(0, name.find('.'));
    for (const std::string_view device : {"con", "prn", "aux", "nul"}) {
        if (equalNoCase(base, device))
            return true;
    }
    return base.size() == 4 &&
           (equalNoCase(base.substr(0, 3), "com") || equalNoCase(base.substr(0, 3), "lpt")) &&
           base[3] >= '1' && base[3] <= '9';
}

bool isContinuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

}  // namespace

std::string legalFileName(std::string_view name, std::size_t longest) {
    std::string legal;
    for (const char c : displayText(name)) {
        const bool reserved =
            static_cast<unsigned char>(c) < 0x20 || c == 0x7F || kReserved.find(c) != std::string_view::npos;
        legal += reserved ? '_' : c;
    }
    if (legal.size() > longest) {
        std::size_t end = longest;
        while (end > 0 && isContinuation(legal[end]))
            --end;
        legal.resize(end);
    }
    while (!legal.empty() && (legal.back() == '.' || legal.back() == ' '))
        legal.pop_back();
    legal.erase(0, std::min(legal.find_first_not_of(' '), legal.size()));
    if (legal.empty())
        return "unnamed";
    return isDeviceName(legal) ? '_' + legal : legal;
}

namespace {

struct Field {
    std::string_view name;
    std::size_t width = 0;
};

// The field between braces; the width is that of "{index:03}".
bool parseField(std::string_view text, Field& field) {
    const std::size_t colon = text.find(':');
    field.name = text.substr(0, colon);
    field.width = 0;
    if (colon != std::string_view::npos) {
        long long width = 0;
        if (field.name != "index" || !parseInteger(text.substr(colon + 1), width) || width < 0 || width > 20)
            return false;
        field.width = static_cast<std::size_t>(width);
    }
    return field.name == "stem" || field.name == "index" || field.name == "name" || field.name == "ext";
}

}  // namespace

std::string checkTemplate(std::string_view nameTemplate) {
    std::string literal;
    std::size_t at = 0;
    for (std::size_t open = 0; (open = nameTemplate.find('{', at)) != std::string_view::npos;) {
        literal += nameTemplate.substr(at, open - at);
        at = open;
        const std::size_t end = nameTemplate.find('}', at);
        Field field;
        if (end == std::string_view::npos)
            return "--name-template has a { without a }";
        const std::string_view text = nameTemplate.substr(at + 1, end - at - 1);
        if (!parseField(text, field))
            return unknownName("field of --name-template", text,
                               {"stem", "index", "index:03", "name", "ext"});
        at = end + 1;
    }
    literal += nameTemplate.substr(std::min(at, nameTemplate.size()));
    const std::size_t bad = literal.find_first_of(kReserved);
    if (bad != std::string::npos)
        return std::string("--name-template names a file; it can not have \"") + literal[bad] + "\" in it";
    return {};
}

std::string fillTemplate(std::string_view nameTemplate, const NameFields& fields) {
    std::string result;
    for (std::size_t i = 0; i < nameTemplate.size(); ++i) {
        Field field;
        const std::size_t end = nameTemplate[i] == '{' ? nameTemplate.find('}', i) : std::string_view::npos;
        if (end == std::string_view::npos || !parseField(nameTemplate.substr(i + 1, end - i - 1), field)) {
            result += nameTemplate[i];
            continue;
        }
        if (field.name == "stem") {
            result += fields.stem;
        } else if (field.name == "name") {
            const std::size_t used = fields.stem.size() + fields.extension.size() + 10;
            const std::size_t room = kLongestFileName - std::min(kLongestFileName - 20, used);
            result += legalFileName(fields.name, std::min<std::size_t>(room, 120));
        } else if (field.name == "ext") {
            result += fields.extension;
        } else {
            const std::string digits = std::to_string(fields.index);
            result.append(digits.size() < field.width ? field.width - digits.size() : 0, '0');
            result += digits;
        }
        i = end;
    }
    return result;
}

fs::path numberedPath(const fs::path& path, std::size_t number) {
    fs::path result = path.parent_path() / path.stem();
    result += "_" + std::to_string(number);
    result += path.extension();
    return result;
}

std::string pathKey(const fs::path& path) {
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(path, error);
    const std::string key = utf8FromPath(error ? path.lexically_normal() : canonical);
    constexpr bool kWindows = fs::path::preferred_separator == '\\';
    return kWindows ? lowerAscii(key) : key;
}

}  // namespace velor::cli
