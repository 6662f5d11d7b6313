#include "items/note_names.h"

#include "base/text.h"

namespace velor {

std::optional<std::uint8_t> keyFromText(std::string_view text, const NoteNaming& naming) {
    const auto inRange = [](long long key) -> std::optional<std::uint8_t> {
        if (key < 0 || key > 127)
            return std::nullopt;
        return static_cast<std::uint8_t>(key);
    };
    text = trim(text);
    long long number = 0;
    if (parseInteger(text, number))
        return inRange(number);
    if (text.empty())
        return std::nullopt;
    static constexpr int kSemitones[] = {9, 11, 0, 2, 4, 5, 7};  // of the notes A to G above C
    const char letter = lowerAscii(text.front());
    if (letter < 'a' || letter > 'g')
        return std::nullopt;
    int key = kSemitones[letter - 'a'];
    text.remove_prefix(1);
    if (!text.empty() && (text.front() == '#' || lowerAscii(text.front()) == 'b')) {
        key += text.front() == '#' ? 1 : -1;
        text.remove_prefix(1);
    }
    if (!parseInteger(text, number) || number < -9 || number > 19)
        return std::nullopt;
    return inRange(60 + key + 12 * (number - naming.octaveOfMiddleC));
}

}  // namespace velor
