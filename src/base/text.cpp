#include "base/text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>

namespace velor {

namespace {

// Windows-1252 code points of bytes 0x80..0x9F; the five unassigned ones map to themselves.
constexpr std::array<char16_t, 32> kCp1252{0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                           0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x8D,   0x017D, 0x8F,
                                           0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                           0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | c >> 12);
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | c >> 18);
        out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Length of the well-formed UTF-8 sequence at the start of `s` and its code point; 0 when ill-formed.
std::size_t decodeUtf8(std::string_view s, char32_t& code) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(s[i]); };
    const std::uint8_t first = byte(0);
    if (first < 0x80) {
        code = first;
        return 1;
    }
    std::size_t length = 0;
    char32_t least = 0;
    if (first >= 0xC2 && first <= 0xDF) {
        length = 2, code = first & 0x1Fu, least = 0x80;
    } else if (first >= 0xE0 && first <= 0xEF) {
        length = 3, code = first & 0x0Fu, least = 0x800;
    } else if (first >= 0xF0 && first <= 0xF4) {
        length = 4, code = first & 0x07u, least = 0x10000;
    }
    if (length == 0 || s.size() < length)
        return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80)
            return 0;
        code = code << 6 | (byte(i) & 0x3Fu);
    }
    if (code < least || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        return 0;
    return length;
}

}  // namespace

std::string lowerAscii(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        c = lowerAscii(c);
    return result;
}

bool equalNoCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                              [](char x, char y) { return lowerAscii(x) == lowerAscii(y); });
}

bool lessNoCase(std::string_view a, std::string_view b) {
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return static_cast<unsigned char>(lowerAscii(x)) < static_cast<unsigned char>(lowerAscii(y));
    });
}

bool containsNoCase(std::string_view text, std::string_view part) {
    return std::search(text.begin(), text.end(), part.begin(), part.end(),
                       [](char x, char y) { return lowerAscii(x) == lowerAscii(y); }) != text.end() ||
           part.empty();
}

std::string_view trim(std::string_view text) {
    constexpr std::string_view kBlank = " \t\r\n\v\f";
    const auto first = text.find_first_not_of(kBlank);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (;;) {
        const auto at = text.find(separator);
        parts.push_back(text.substr(0, at));
        if (at == std::string_view::npos)
            return parts;
        text.remove_prefix(at + 1);
    }
}

bool isUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        char32_t code = 0;
        const std::size_t length = decodeUtf8(bytes, code);
        if (length == 0)
            return false;
        bytes.remove_prefix(length);
    }
    return true;
}

std::string displayText(std::string_view raw) {
    if (isUtf8(raw))
        return std::string(raw);
    std::string result;
    result.reserve(raw.size() + raw.size() / 4);
    for (const char c : raw) {
        const auto byte = static_cast<std::uint8_t>(c);
        appendUtf8(result, byte >= 0x80 && byte < 0xA0 ? kCp1252[byte - 0x80u] : char32_t{byte});
    }
    return result;
}

std::string utf8FromUtf16(std::u16string_view text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
            text[i + 1] <= 0xDFFF)
            c = 0x10000 + ((c - 0xD800) << 10) + (text[++i] - 0xDC00u);
        else if (c >= 0xD800 && c <= 0xDFFF)
            c = 0xFFFD;
        appendUtf8(result, c);
    }
    return result;
}

std::u16string utf16FromUtf8(std::string_view text) {
    std::u16string result;
    while (!text.empty()) {
        char32_t code = 0;
        std::size_t length = decodeUtf8(text, code);
        if (length == 0) {
            code = 0xFFFD;
            length = 1;
        }
        text.remove_prefix(length);
        if (code < 0x10000) {
            result += static_cast<char16_t>(code);
        } else {
            result += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
            result += static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF));
        }
    }
    return result;
}

std::string_view extensionOf(std::string_view fileName) {
    const auto dot = fileName.rfind('.');
    return dot == std::string_view::npos ? fileName : fileName.substr(dot + 1);
}

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t change = diagonal + (lowerAscii(a[i - 1]) != lowerAscii(b[j - 1]));
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, change});
        }
    }
    return row[b.size()];
}

std::vector<std::string> nearestNames(std::string_view wanted, const std::vector<std::string>& candidates,
                                      std::size_t count) {
    std::vector<std::pair<std::size_t, const std::string*>> ranked;
    for (const auto& name : candidates)
        ranked.emplace_back(editDistance(wanted, name), &name);
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto& x, const auto& y) { return x.first < y.first; });
    std::vector<std::string> result;
    for (std::size_t i = 0; i < ranked.size() && i < count; ++i)
        result.push_back(*ranked[i].second);
    return result;
}

bool parseInteger(std::string_view text, long long& value) {
    text = trim(text);
    int base = 10;
    if (text.starts_with("0x") || text.starts_with("0X")) {
        text.remove_prefix(2);
        base = 16;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

bool parseNumber(std::string_view text, double& value) {
    text = trim(text);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

}  // namespace velor
