#include "items/name_format.h"

#include <unordered_map>

#include "base/text.h"

namespace velor {

namespace {

// A character of a name: one byte of Windows-1252, or up to four of UTF-8.
std::size_t characterSize(std::string_view text, std::size_t at, bool utf8) {
    if (!utf8)
        return 1;
    std::size_t size = 1;
    while (at + size < text.size() && (static_cast<unsigned char>(text[at + size]) & 0xC0) == 0x80)
        ++size;
    return size;
}

std::string firstCharacters(std::string_view text, std::size_t count, bool utf8) {
    std::size_t at = 0;
    for (; count > 0 && at < text.size(); --count)
        at += characterSize(text, at, utf8);
    return std::string(text.substr(0, at));
}

std::size_t characters(std::string_view text, bool utf8) {
    std::size_t count = 0;
    for (std::size_t at = 0; at < text.size(); at += characterSize(text, at, utf8))
        ++count;
    return count;
}

bool isAsciiLetter(char c) {
    return lowerAscii(c) >= 'a' && lowerAscii(c) <= 'z';
}

// A to Z and the letters U+00C0 to U+00DE are 32 below their small forms, but for the signs × and ÷.
unsigned char cased(unsigned char code, bool upper) {
    const bool ascii = code < 0x80;
    const unsigned char plain = code & 0xDF;
    const bool letter =
        ascii ? isAsciiLetter(static_cast<char>(code)) : plain >= 0xC0 && plain <= 0xDE && plain != 0xD7;
    if (!letter)
        return code;
    return upper ? plain : static_cast<unsigned char>(code | 0x20);
}

// Latin-1 letters are the bytes C3 80 … C3 BE in UTF-8.
std::string casedCharacter(std::string_view character, bool utf8, bool upper) {
    std::string result(character);
    auto code = static_cast<unsigned char>(result.back());
    if (result.size() == 1 && (!utf8 || code < 0x80))
        result[0] = static_cast<char>(cased(code, upper));
    else if (result.size() == 2 && static_cast<unsigned char>(result[0]) == 0xC3)
        result[1] = static_cast<char>(cased(static_cast<unsigned char>(code | 0x40), upper) & 0xBF);
    return result;
}

bool isLetterOrDigit(std::string_view character) {
    const char c = character[0];
    return static_cast<unsigned char>(c) >= 0x80 || isAsciiLetter(c) || (c >= '0' && c <= '9') || c == '\'';
}

std::string withCase(std::string_view name, NameCase letters, bool utf8) {
    std::string result;
    bool inWord = false;
    for (std::size_t at = 0, size = 0; at < name.size(); at += size) {
        size = characterSize(name, at, utf8);
        const std::string_view character = name.substr(at, size);
        const bool upper = letters == NameCase::Upper || (letters == NameCase::Title && !inWord);
        result += casedCharacter(character, utf8, upper);
        inWord = isLetterOrDigit(character);
    }
    return result;
}

// Those that some system forbids in file names, and control characters.
std::string fileSafe(std::string_view name) {
    std::string result;
    for (const char c : name) {
        if (static_cast<unsigned char>(c) >= 32 && c != 127 &&
            std::string_view("<>:\"/\\|?*").find(c) == std::string_view::npos)
            result += c;
    }
    // Nor may they end with a dot or a space.
    while (!result.empty() && (result.back() == '.' || result.back() == ' '))
        result.pop_back();
    return result;
}

std::string trimmed(std::string_view name) {
    std::string result;
    for (const char c : trim(name)) {
        if (c != ' ' || result.empty() || result.back() != ' ')
            result += c;
    }
    return result;
}

}  // namespace

std::string formattedName(std::string_view name, const NameFormat& format) {
    std::string result(name);
    if (format.underscores) {
        for (char& c : result)
            c = c == '_' ? ' ' : c;
    }
    const bool utf8 = isUtf8(result);
    if (format.letters != NameCase::Keep)
        result = withCase(result, format.letters, utf8);
    if (format.fileSafe)
        result = fileSafe(result);
    if (format.trim)
        result = trimmed(result);
    if (format.length > 0 && characters(result, utf8) > format.length) {
        result = firstCharacters(result, format.length, utf8);
        if (format.trim || format.fileSafe)
            result.erase(result.find_last_not_of(' ') + 1);
    }
    return result;
}

std::size_t formatItemNames(const std::vector<Item*>& items, const NameFormat& format) {
    // Who has a name now, by its old one: equal names that were equal before are left so.
    std::unordered_map<std::string, std::string> holders;
    std::unordered_map<std::string, unsigned> lastNumber;
    std::size_t changed = 0;
    for (Item* item : items) {
        const std::string old = lowerAscii(item->name());
        const std::string wanted = formattedName(item->name(), format);
        std::string name = wanted;
        const auto free = [&] {
            const auto [at, fresh] = holders.try_emplace(lowerAscii(name), old);
            return fresh || (!format.unique && at->second == old);
        };
        const bool utf8 = isUtf8(wanted);
        while (!name.empty() && !free()) {
            const std::string number =
                std::to_string(++lastNumber.try_emplace(lowerAscii(wanted), 1).first->second);
            std::string base = wanted + ' ';
            if (format.length > 0) {
                const std::size_t room = format.length > number.size() ? format.length - number.size() : 0;
                base = characters(base, utf8) > room ? firstCharacters(wanted, room, utf8) : base;
            }
            name = base + number;
        }
        if (name == item->name())
            continue;
        item->setName(name);
        ++changed;
    }
    return changed;
}

}  // namespace velor
