// Settings as text: what people and scripts see and type, and what settings files hold.
#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

#include "app/settings.h"
#include "base/error.h"

namespace velor {

namespace {

constexpr std::int64_t kMostSigned = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kMostUnsigned = std::numeric_limits<std::uint32_t>::max();

struct NumberLimits {
    std::int64_t least = 0;
    std::int64_t most = 0;
};

NumberLimits limitsOf(const SettingRow& row) {
    switch (row.type) {
        case SettingType::Number8:
            return {0, 255};
        case SettingType::Words:
            return {0, 65535};
        case SettingType::Unsigned:
            return {0, kMostUnsigned};
        default:
            return {row.name == "app.iPaneSplitL" ? kNoPaneWidth + 1 : -kMostSigned - 1, kMostSigned};
    }
}

std::size_t elementSize(SettingType type) {
    return type == SettingType::Words ? 2 : 4;
}

bool isBinary(SettingType type) {
    return type <= SettingType::Chars;
}

// A number within the limits, or in hexadecimal the 32 bits of one.
bool parseWithin(std::string_view text, const NumberLimits& limits, std::int64_t& number) {
    long long value = 0;
    if (!parseInteger(text, value))
        return false;
    if (limits.least < 0 && value > kMostSigned && value <= kMostUnsigned &&
        lowerAscii(trim(text)).starts_with("0x"))
        value -= kMostUnsigned + 1;
    number = value;
    return value >= limits.least && value <= limits.most;
}

bool parseBool(std::string_view text, std::vector<Byte>& bytes) {
    const std::string word = lowerAscii(trim(text));
    std::int64_t number = 0;
    if (word == "true" || word == "yes" || word == "on")
        number = 1;
    else if (word != "false" && word != "no" && word != "off" && !parseWithin(word, {0, 255}, number))
        return false;
    bytes = {static_cast<Byte>(number)};
    return true;
}

bool parseNumbers(const SettingRow& row, std::string_view text, std::vector<Byte>& bytes) {
    const std::vector<std::string_view> parts = split(text, ',');
    if (parts.size() != row.size / elementSize(row.type))
        return false;
    bytes.resize(row.size);
    for (std::size_t i = 0; i < parts.size(); ++i) {
        std::int64_t number = 0;
        if (!parseWithin(parts[i], limitsOf(row), number))
            return false;
        if (row.type == SettingType::Words)
            storeLe(&bytes[2 * i], static_cast<std::uint16_t>(number));
        else
            storeLe(&bytes[4 * i], static_cast<std::uint32_t>(number));
    }
    return true;
}

bool parseFloat(std::string_view text, std::uint32_t& bits) {
    double number = 0;
    if (!parseNumber(text, number) || !(std::abs(number) <= std::numeric_limits<float>::max()))
        return false;
    bits = std::bit_cast<std::uint32_t>(static_cast<float>(number));
    return true;
}

bool fitsText(const SettingRow& row, std::string_view text) {
    if (text.find('\0') != std::string_view::npos)
        return false;
    const std::size_t length = row.type == SettingType::WideText ? utf16FromUtf8(text).size() : text.size();
    return row.size == 0 || length <= row.size;
}

std::string printNumbers(const SettingRow& row, const std::vector<Byte>& bytes) {
    std::string text;
    const std::size_t step = elementSize(row.type);
    for (std::size_t at = 0; at + step <= bytes.size(); at += step) {
        if (at > 0)
            text += ',';
        text += step == 2 ? std::to_string(loadLe<std::uint16_t>(&bytes[at]))
                          : std::to_string(loadLe<std::int32_t>(&bytes[at]));
    }
    return text;
}

// A text shown in a message: on one line, and not all of a long one.
std::string quoted(std::string_view text) {
    constexpr std::size_t kMostShown = 40;
    std::string shown = displayText(text.substr(0, kMostShown));
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20; }, ' ');
    return '"' + shown + (text.size() > kMostShown ? "...\"" : "\"");
}

}  // namespace

std::string expectedText(const SettingRow& row) {
    const NumberLimits limits = limitsOf(row);
    const std::string range = "from " + std::to_string(limits.least) + " to " + std::to_string(limits.most);
    const auto numbers = [&](const char* example) {
        return std::to_string(row.size / elementSize(row.type)) + " whole numbers " + range +
               " with commas between, as in " + example;
    };
    const std::string noun = row.list ? "entries with | between, together " : "text of ";
    switch (row.type) {
        case SettingType::Bool:
            return "true or false";
        case SettingType::Point:
            return numbers("10,20");
        case SettingType::Words:
        case SettingType::Integers:
            return numbers("1,2,3,4,5");
        case SettingType::Float:
            return "a number, as in -3.5";
        case SettingType::Chars:
            return noun + "at most " + std::to_string(row.size) + " bytes";
        case SettingType::Text:
        case SettingType::WideText:
            if (row.size == 0)
                return row.list ? "entries with | between" : "text";
            return noun + "at most " + std::to_string(row.size) +
                   (row.type == SettingType::Text ? " bytes" : " characters");
        case SettingType::Number8:
        case SettingType::Signed:
        case SettingType::Unsigned:
            break;
    }
    return "a whole number " + range;
}

bool fitsSetting(const SettingRow& row, const SettingValue& value) {
    if (const auto* text = std::get_if<std::string>(&value))
        return (row.type == SettingType::Text || row.type == SettingType::WideText) && fitsText(row, *text);
    if (const auto* bytes = std::get_if<std::vector<Byte>>(&value))
        return isBinary(row.type) && bytes->size() == row.size;
    if (row.type == SettingType::Float)
        return std::isfinite(std::bit_cast<float>(std::get<std::uint32_t>(value)));
    return row.type == SettingType::Signed || row.type == SettingType::Unsigned;
}

std::string printSetting(const SettingRow& row, const SettingValue& value) {
    if (const auto* text = std::get_if<std::string>(&value))
        return *text;
    if (const auto* number = std::get_if<std::uint32_t>(&value)) {
        if (row.type == SettingType::Signed)
            return std::to_string(static_cast<std::int32_t>(*number));
        if (row.type != SettingType::Float)
            return std::to_string(*number);
        char text[32];
        const auto end = std::to_chars(text, text + sizeof text, std::bit_cast<float>(*number)).ptr;
        return std::string(text, end);
    }
    const auto& bytes = std::get<std::vector<Byte>>(value);
    if (row.type == SettingType::Chars)
        return std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), Byte{0}));
    if (row.type == SettingType::Bool)
        return !bytes.empty() && bytes[0] != 0 ? "true" : "false";
    if (row.type == SettingType::Number8)
        return bytes.empty() ? "0" : std::to_string(bytes[0]);
    return printNumbers(row, bytes);
}

bool parseSetting(const SettingRow& row, std::string_view text, SettingValue& value) {
    std::vector<Byte> bytes;
    std::uint32_t bits = 0;
    std::int64_t number = 0;
    bool fits = false;
    switch (row.type) {
        case SettingType::Bool:
            fits = parseBool(text, bytes);
            break;
        case SettingType::Number8:
            fits = parseWithin(text, limitsOf(row), number);
            bytes = {static_cast<Byte>(number)};
            break;
        case SettingType::Point:
        case SettingType::Words:
        case SettingType::Integers:
            fits = parseNumbers(row, text, bytes);
            break;
        case SettingType::Chars:
            fits = fitsText(row, text);
            bytes.assign(text.begin(), text.end());
            bytes.resize(row.size);
            break;
        case SettingType::Signed:
        case SettingType::Unsigned:
            fits = parseWithin(text, limitsOf(row), number);
            bits = static_cast<std::uint32_t>(number);
            break;
        case SettingType::Float:
            fits = parseFloat(text, bits);
            break;
        case SettingType::Text:
        case SettingType::WideText:
            fits = fitsText(row, text);
            break;
    }
    if (!fits)
        return fail(std::string(row.name) + " expects " + expectedText(row) + ", not " + quoted(text));
    if (isBinary(row.type))
        value = std::move(bytes);
    else if (row.type == SettingType::Text || row.type == SettingType::WideText)
        value = std::string(text);
    else
        value = bits;
    return true;
}

SettingValue defaultSetting(const SettingRow& row) {
    SettingValue value;
    parseSetting(row, row.defaultValue, value);
    return value;
}

const SettingRow* lookUpSetting(std::string_view name) {
    const auto rows = settingRows();
    const auto found =
        std::ranges::find_if(rows, [&](const SettingRow& row) { return equalNoCase(row.name, name); });
    return found == rows.end() ? nullptr : &*found;
}

const SettingRow* findSetting(std::string_view name) {
    if (const SettingRow* row = lookUpSetting(name))
        return row;
    // Without a group the name is compared with names without theirs.
    const bool grouped = name.find('.') != std::string_view::npos;
    std::vector<std::pair<std::size_t, std::string_view>> nearest;
    for (const SettingRow& row : settingRows()) {
        const std::string_view candidate = grouped ? row.name : row.name.substr(row.name.rfind('.') + 1);
        nearest.emplace_back(editDistance(name.substr(0, 100), candidate), row.name);
    }
    std::ranges::stable_sort(nearest, {}, &std::pair<std::size_t, std::string_view>::first);
    std::string message = "There is no setting " + quoted(name) + ". Did you mean ";
    message.append(nearest[0].second).append(", ").append(nearest[1].second);
    message.append(" or ").append(nearest[2].second);
    fail(message + "?");
    return nullptr;
}

SettingTextCodec settingTextCodec() {
    return {[](std::string_view name, std::string_view text, SettingValue& value) {
                const SettingRow* row = lookUpSetting(name);
                if (!row)
                    return fail("there is no setting " + quoted(name));
                return parseSetting(*row, text, value);
            },
            [](std::string_view name, const SettingValue& value) {
                const SettingRow* row = lookUpSetting(name);
                if (!row)
                    return std::string();
                const auto* bytes = std::get_if<std::vector<Byte>>(&value);
                if (row->type == SettingType::Bool && bytes && bytes->size() == 1)
                    return std::to_string(bytes->front());
                return printSetting(*row, value);
            }};
}

std::string joinList(const std::vector<std::string>& entries) {
    std::string text;
    for (const std::string_view entry : entries) {
        if (entry.empty())
            continue;
        if (!text.empty())
            text += '|';
        for (std::size_t i = 0; i < entry.size(); ++i) {
            const std::string_view code = entry.substr(i, 3);
            if (entry[i] == '|')
                text += "%7C";
            else if (code == "%7C" || code == "%25")
                text += "%25";
            else
                text += entry[i];
        }
    }
    return text;
}

std::vector<std::string> splitList(std::string_view text) {
    std::vector<std::string> entries;
    for (const std::string_view part : split(text, '|')) {
        std::string entry;
        for (std::size_t i = 0; i < part.size(); ++i) {
            const std::string_view code = part.substr(i, 3);
            if (code == "%7C" || code == "%25") {
                entry += code == "%7C" ? '|' : '%';
                i += 2;
            } else {
                entry += part[i];
            }
        }
        if (!entry.empty())
            entries.push_back(std::move(entry));
    }
    return entries;
}

}  // namespace velor
