#include "items/key_in_name.h"

#include <algorithm>
#include <array>

#include "base/text.h"

namespace velor {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isLower(char c) {
    return c >= 'a' && c <= 'z';
}
bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}
// Bytes above ASCII are parts of letters.
bool isLetter(char c) {
    return isLower(c) || isUpper(c) || static_cast<unsigned char>(c) >= 0x80;
}

// What a kind of evidence says: nothing, one key, or several that contradict each other.
class Evidence {
  public:
    void add(int key) {
        if (key < 0 || key > 127)
            return;
        contradicts_ |= key_ >= 0 && key_ != key;
        key_ = key;
    }
    bool any() const { return key_ >= 0; }
    std::optional<std::uint8_t> key() const {
        if (key_ < 0 || contradicts_)
            return {};
        return static_cast<std::uint8_t>(key_);
    }

  private:
    int key_ = -1;
    bool contradicts_ = false;
};

class Reader {
  public:
    Reader(std::string_view name, const KeyInName& options) : name_(name), options_(options) {}

    Evidence notes() const {
        Evidence evidence;
        for (std::size_t i = 0; i < name_.size(); ++i) {
            if (!startsNote(i))
                continue;
            if (const std::size_t end = readNote(i, evidence))
                i = end - 1;
        }
        return evidence;
    }

    // Numbers that are surely keys, and any others that may be.
    void numbers(Evidence& certain, Evidence& possible) const {
        for (std::size_t i = 0; i < name_.size();) {
            if (!isDigit(name_[i])) {
                ++i;
                continue;
            }
            std::size_t end = i;
            int value = 0;
            for (; end < name_.size() && isDigit(name_[end]); ++end)
                value = std::min(value * 10 + (name_[end] - '0'), 1000);
            readNumber(i, end, value, certain, possible);
            i = end;
        }
    }

  private:
    char at(std::size_t i) const { return i < name_.size() ? name_[i] : '\0'; }

    bool startsNote(std::size_t i) const {
        const char c = lowerAscii(name_[i]);
        if (!((c >= 'a' && c <= 'g') || (c == 'h' && options_.german)))
            return false;
        if (i == 0)
            return true;
        const char before = name_[i - 1];
        // "PianoC3", but not "BassA" in capitals and not "x4b2".
        return isLower(before) ? isUpper(name_[i]) : !isLetter(before) && !isDigit(before);
    }

    // The end of a note that begins at `i`, 0 when there is none.
    std::size_t readNote(std::size_t i, Evidence& evidence) const {
        static constexpr int kSemitones[] = {9, 11, 0, 2, 4, 5, 7, 11};  // A to H above C
        const char letter = lowerAscii(name_[i]);
        int key = kSemitones[letter - 'a'];
        if (options_.german && letter == 'b')
            key = 10;
        std::size_t place = i + 1;
        key += readAccidental(place);
        bool negative = false;
        if (at(place) == '-' || at(place) == '_') {
            // "A-1" is an octave below 0, "C-4" and "A_4" the way trackers fill the place of the sharp.
            if (place != i + 1 && at(place) == '_')
                return 0;
            negative = at(place) == '-';
            ++place;
        }
        std::size_t end = place;
        int octave = 0;
        for (; isDigit(at(end)) && end < place + 3; ++end)
            octave = octave * 10 + (name_[end] - '0');
        if (end == place || end > place + 2 || (end == place + 2 && octave != 10))
            return 0;
        if (!endsNote(end))
            return 0;
        const auto keyOf = [&](int inOctave) {
            return 60 + key + 12 * (inOctave - options_.octaveOfMiddleC);
        };
        if (negative && keyOf(-octave) >= 0)
            octave = -octave;
        evidence.add(keyOf(octave));
        return end;
    }

    int readAccidental(std::size_t& place) const {
        const std::string_view rest = name_.substr(std::min(place, name_.size()));
        const auto digitAfter = [&](std::size_t length) {
            const char c = rest.size() > length ? rest[length] : '\0';
            return isDigit(c) || (c == '-' && rest.size() > length + 1 && isDigit(rest[length + 1]));
        };
        struct Spelling {
            std::string_view text;
            int semitones;
            bool german;
        };
        static constexpr std::array<Spelling, 8> kSpellings = {{{"#", 1, false},
                                                                {"\xE2\x99\xAF", 1, false},   // ♯ in UTF-8
                                                                {"\xE2\x99\xAD", -1, false},  // ♭
                                                                {"sharp", 1, false},
                                                                {"flat", -1, false},
                                                                {"is", 1, true},
                                                                {"es", -1, true},
                                                                {"s", 1, false}}};
        for (const Spelling& spelling : kSpellings) {
            if ((!spelling.german || options_.german) && rest.size() > spelling.text.size() &&
                equalNoCase(rest.substr(0, spelling.text.size()), spelling.text) &&
                digitAfter(spelling.text.size())) {
                place += spelling.text.size();
                // German "As" and "Es" are flats.
                const char letter = lowerAscii(name_[place - spelling.text.size() - 1]);
                const bool flat = options_.german && spelling.text == "s" && (letter == 'a' || letter == 'e');
                return flat ? -1 : spelling.semitones;
            }
        }
        if (!rest.empty() && rest[0] == 'b' && digitAfter(1)) {
            ++place;
            return -1;
        }
        return 0;
    }

    bool endsNote(std::size_t end) const {
        const char after = at(end);
        if (after == '\0' || (!isLetter(after) && !isDigit(after) && after != '#'))
            return true;
        if (lowerAscii(after) == 'v' && (isDigit(at(end + 1)) || lowerAscii(at(end + 1)) == 'e'))
            return true;
        return (after == 'L' || after == 'R') && end + 1 == name_.size();
    }

    // The word before a number, joined to it or not: "vel" of "vel2", "Vel 2" and "vel_2".
    std::string wordBefore(std::size_t i) const {
        while (i > 0 && (name_[i - 1] == ' ' || name_[i - 1] == '_' || name_[i - 1] == '-' ||
                         name_[i - 1] == '=' || name_[i - 1] == '.' || name_[i - 1] == '#'))
            --i;
        std::size_t first = i;
        while (first > 0 && isLetter(name_[first - 1]))
            --first;
        return lowerAscii(name_.substr(first, i - first));
    }
    std::string wordAfter(std::size_t i) const {
        std::size_t end = i;
        while (isLetter(at(end)))
            ++end;
        return lowerAscii(name_.substr(i, end - i));
    }

    void readNumber(std::size_t first, std::size_t end, int value, Evidence& certain,
                    Evidence& possible) const {
        static constexpr std::string_view kKeyWords[] = {"key",     "keynum", "note",    "root",
                                                         "rootkey", "midi",   "midinote"};
        static constexpr std::string_view kOtherWords[] = {
            "v",   "vel",     "velocity", "rr",  "take", "tk",  "layer", "lyr", "track", "trk",  "bpm", "no",
            "nr",  "var",     "part",     "pt",  "ch",   "cd",  "disk",  "vol", "loop",  "set",  "mic", "rev",
            "ver", "version", "bank",     "prg", "pgm",  "dyn", "seq",   "pan", "alt",   "tempo"};
        static constexpr std::string_view kUnits[] = {"hz",  "khz", "bit", "bits", "bpm", "ms", "s",
                                                      "sec", "db",  "k",   "st",   "nd",  "rd", "th"};
        const std::string before = wordBefore(first);
        if (value <= 127 && std::ranges::find(kKeyWords, before) != std::end(kKeyWords)) {
            certain.add(value);
            return;
        }
        if (std::ranges::find(kOtherWords, before) != std::end(kOtherWords) ||
            std::ranges::find(kUnits, wordAfter(end)) != std::end(kUnits))
            return;
        const bool apart = (first == 0 || !isLetter(name_[first - 1])) && !isLetter(at(end));
        const bool fraction = (at(end) == '.' && isDigit(at(end + 1))) ||
                              (first > 1 && name_[first - 1] == '.' && isDigit(name_[first - 2]));
        if (!apart || fraction || value > 127 || at(end) == '%')
            return;
        if (end - first == 3 && name_[first] == '0' && value >= 21)
            certain.add(value);
        else
            possible.add(value);
    }

    std::string_view name_;
    const KeyInName& options_;
};

}  // namespace

std::optional<std::uint8_t> keyInName(std::string_view name, const KeyInName& options) {
    const Reader reader(name, options);
    const bool notes = options.prefer != KeyInName::OnlyNumbers;
    const bool numbers = options.prefer != KeyInName::OnlyNotes;
    const Evidence note = notes ? reader.notes() : Evidence();
    Evidence certain, possible;
    if (numbers)
        reader.numbers(certain, possible);
    if (options.prefer == KeyInName::Notes || options.prefer == KeyInName::OnlyNotes)
        return note.any() ? note.key() : certain.key();
    if (certain.any())
        return certain.key();
    return possible.any() ? possible.key() : note.key();
}

}  // namespace velor
