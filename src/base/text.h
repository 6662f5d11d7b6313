// Text helpers. Names and texts of items are raw 8-bit, as the files had them; display decodes them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velor {

// ASCII-only case folding: the same on every system and locale.
constexpr char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
std::string lowerAscii(std::string_view text);
bool equalNoCase(std::string_view a, std::string_view b);
// Less-than without regard to ASCII case.
bool lessNoCase(std::string_view a, std::string_view b);
bool containsNoCase(std::string_view text, std::string_view part);

std::string_view trim(std::string_view text);
std::vector<std::string_view> split(std::string_view text, char separator);

// True when the bytes are well-formed UTF-8 (Unicode 15, table 3-7).
bool isUtf8(std::string_view bytes);
// Raw 8-bit text for display: UTF-8 stays, anything else is taken as Windows-1252.
std::string displayText(std::string_view raw);
// UTF-16 (as numbers) to UTF-8; unpaired surrogates become U+FFFD.
std::string utf8FromUtf16(std::u16string_view text);
std::u16string utf16FromUtf8(std::string_view text);

// The part after the last dot; the whole name when there is no dot. Expects a file name without folders.
std::string_view extensionOf(std::string_view fileName);

// Levenshtein distance without regard to ASCII case, for "did you mean" lists.
std::size_t editDistance(std::string_view a, std::string_view b);
// The `count` candidates nearest to `wanted`, nearest first.
std::vector<std::string> nearestNames(std::string_view wanted, const std::vector<std::string>& candidates,
                                      std::size_t count = 3);

// Parses a whole text as a number; false when anything else is in it.
bool parseInteger(std::string_view text, long long& value);
bool parseNumber(std::string_view text, double& value);

}  // namespace velor
