#include "items/articulation_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <span>
#include <unordered_map>

#include "base/error.h"
#include "base/text.h"
#include "items/region_parameters.h"

namespace velor {

namespace {

// How a parameter's values are written.
enum class Style {
    Decibel,
    Semitones,
    Factor,
    Percent,
    Hertz,
    Seconds,
    Level,
    Cents,
    Frames,
    Choice,
    ReleaseMode,
    ExclusiveClass,
    Key,
    None
};

Style styleOf(std::uint16_t number) {
    if (const ArticulationParameter* row = articulationParameter(number)) {
        switch (row->kind) {
            case ParameterKind::Separator:
                return Style::None;
            case ParameterKind::Level:
                return Style::Level;
            case ParameterKind::ReleaseMode:
                return Style::ReleaseMode;
            case ParameterKind::LfoShape:
            case ParameterKind::FilterType:
            case ParameterKind::EqMode:
                return Style::Choice;
            default:
                break;
        }
        switch (row->unit) {
            case ParameterUnit::Decibel:
                return Style::Decibel;
            case ParameterUnit::Semitone:
                return Style::Semitones;
            case ParameterUnit::Factor:
                return Style::Factor;
            case ParameterUnit::Percent:
                return Style::Percent;
            case ParameterUnit::Hertz:
                return Style::Hertz;
            case ParameterUnit::Second:
                return Style::Seconds;
            case ParameterUnit::None:
                break;
        }
        return Style::None;
    }
    switch (number) {
        case parameter::Trigger:
        case parameter::PedalCondition:
        case parameter::Looped:
        case parameter::LoopModeCode:
            return Style::Choice;
        case parameter::ExclusiveClass:
            return Style::ExclusiveClass;
        case parameter::RootKey:
            return Style::Key;
        case parameter::Tuning:
            return Style::Cents;
        case parameter::LoopStart:
        case parameter::LoopEnd:
            return Style::Frames;
        default:
            return Style::None;
    }
}

// The names of a choice's codes, from 0 on, and what stands before the number of a code without a name.
struct Choice {
    std::span<const char* const> names;
    const char* other;
};

Choice choiceOf(std::uint16_t number) {
    static constexpr const char* kShapes[] = {"sine", "triangle", "square", "saw down", "saw up", "random"};
    static constexpr const char* kFilters[] = {
        "off",
        "low-pass 6 dB/oct",
        "low-pass 12 dB/oct",
        "low-pass 24 dB/oct",
        "high-pass 6 dB/oct",
        "high-pass 12 dB/oct",
        "high-pass 24 dB/oct",
        "band-pass 6 dB/oct",
        "band-pass 12 dB/oct",
        "notch",
        "double notch",
        "peak",
        "phaser",
    };
    static constexpr const char* kEqModes[] = {"peak", "low shelf", "high shelf"};
    static constexpr const char* kTriggers[] = {
        "attack",
        "release",
        "round-robin group 0",
        "round-robin group 1",
        "round-robin group 2",
        "round-robin group 3",
        "round-robin group 4",
        "round-robin group 5",
        "round-robin group 6",
        "round-robin group 7",
        "round-robin group 8",
        "round-robin group 9",
        "round-robin group 10",
        "round-robin group 11",
        "round-robin group 12",
        "round-robin group 13",
        "round-robin group 14",
        "round-robin group 15",
    };
    static constexpr const char* kPedals[] = {"always", "pedal down", "pedal up"};
    static constexpr const char* kYesNo[] = {"no", "yes"};
    static constexpr const char* kLoopModes[] = {"none", "forward", "backward", "alternating"};
    if (const ArticulationParameter* row = articulationParameter(number)) {
        switch (row->kind) {
            case ParameterKind::LfoShape:
                return {kShapes, "shape"};
            case ParameterKind::FilterType:
                return {kFilters, "filter"};
            default:
                return {kEqModes, "mode"};
        }
    }
    switch (number) {
        case parameter::Trigger:
            return {kTriggers, "trigger"};
        case parameter::PedalCondition:
            return {kPedals, "condition"};
        case parameter::Looped:
            return {kYesNo, "code"};
        default:
            return {kLoopModes, "mode"};
    }
}

bool bothSigns(std::uint16_t number) {
    if (const ArticulationParameter* row = articulationParameter(number))
        return row->minimum < 0;
    return number == parameter::Tuning;
}

// Fixed notation with at least `least` and at most `most` decimals, no zeros beyond `least`.
std::string decimalText(double value, int least, int most, bool sign = false) {
    char digits[400];
    const auto result = std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed, most);
    std::string text(digits, result.ptr);
    if (const std::size_t dot = text.find('.'); dot != std::string::npos) {
        std::size_t length = text.find_last_not_of('0') + 1;
        length = std::max(length, dot + 1 + static_cast<std::size_t>(least));
        if (length == dot + 1)
            length = dot;
        text.resize(length);
    }
    const bool zero = text.find_first_not_of("-0.") == std::string::npos;
    if (zero && text[0] == '-')
        text.erase(0, 1);
    if (sign && !zero && text[0] != '-')
        text.insert(0, 1, '+');
    return text;
}

// Five significant digits without an exponent.
std::string significantText(double value) {
    const double size = std::abs(value);
    const int magnitude = size > 0 ? static_cast<int>(std::floor(std::log10(size))) : 0;
    return decimalText(value, 0, std::clamp(4 - magnitude, 0, 12));
}

std::string counted(const std::string& number, const char* unit) {
    const bool one = number == "1" || number == "+1" || number == "-1";
    return number + ' ' + unit + (one ? "" : "s");
}

std::string codeText(double code) {
    return decimalText(std::nearbyint(code), 0, 0);
}

std::string secondsText(double value) {
    if (std::abs(value) < 1) {
        const std::string text = significantText(value * 1000);
        if (text == "0" || text == "1000" || text == "-1000")
            return codeText(value) + " s";  // what rounds to 1000 ms is 1 s
        return text + " ms";
    }
    return significantText(value) + " s";
}

// The index of a code among `count` names, or -1.
int nameIndex(double value, std::size_t count) {
    const double code = std::nearbyint(value);
    return code >= 0 && code < static_cast<double>(count) ? static_cast<int>(code) : -1;
}

std::string releaseModeText(double value) {
    switch (nameIndex(value, 4)) {
        case 0:
            return "normal";
        case kIgnoreNoteOff:
            return "ignore note-off";
        case kOneShot:
            return "one-shot mode";
        case kIgnoreNoteOff | kOneShot:
            return "ignore note-off + one-shot mode";
        default:
            return "mode " + codeText(value);
    }
}

bool parseReleaseMode(std::string_view text, double& value) {
    if (equalNoCase(text, "normal")) {
        value = 0;
        return true;
    }
    unsigned bits = 0;
    std::string parts(text);
    std::replace(parts.begin(), parts.end(), '|', '+');
    for (const std::string_view part : split(parts, '+')) {
        if (equalNoCase(trim(part), "ignore note-off"))
            bits |= kIgnoreNoteOff;
        else if (equalNoCase(trim(part), "one-shot mode") || equalNoCase(trim(part), "one-shot"))
            bits |= kOneShot;
        else
            return false;
    }
    value = bits;
    return true;
}

// The whole number behind an optional word ("shape 7", "7"), 0 to `maximum`.
bool parseCode(std::string_view text, std::string_view word, double maximum, double& value) {
    if (!word.empty() && text.size() > word.size() && equalNoCase(text.substr(0, word.size()), word) &&
        text[word.size()] == ' ')
        text = trim(text.substr(word.size()));
    long long code = 0;
    if (!parseInteger(text, code) || code < 0 || static_cast<double>(code) > maximum)
        return false;
    value = static_cast<double>(code);
    return true;
}

double largestCode(std::uint16_t number) {
    if (const ArticulationParameter* row = articulationParameter(number))
        return static_cast<double>(row->maximum);
    return regionParameterRow(number)->maximum;
}

bool parseChoice(std::uint16_t number, std::string_view text, double& value) {
    const Choice choice = choiceOf(number);
    for (std::size_t i = 0; i < choice.names.size(); ++i) {
        if (equalNoCase(text, choice.names[i])) {
            value = static_cast<double>(i);
            return true;
        }
    }
    if (number == parameter::Looped) {
        for (const char* yes : {"on", "true"})
            if (equalNoCase(text, yes))
                return value = 1, true;
        for (const char* no : {"off", "false"})
            if (equalNoCase(text, no))
                return value = 0, true;
    }
    return parseCode(text, choice.other, largestCode(number), value);
}

// "C4", "f#3", "Bb-1", or a number.
bool parseKey(std::string_view text, const NoteNaming& naming, double& value) {
    if (parseCode(text, {}, 127, value))
        return true;
    static constexpr int kSemitones[] = {9, 11, 0, 2, 4, 5, 7};  // A to G
    if (text.empty())
        return false;
    const char letter = lowerAscii(text.front());
    if (letter < 'a' || letter > 'g')
        return false;
    long long key = kSemitones[letter - 'a'];
    text.remove_prefix(1);
    if (!text.empty() && (text.front() == '#' || lowerAscii(text.front()) == 'b')) {
        key += text.front() == '#' ? 1 : -1;
        text.remove_prefix(1);
    }
    long long octave = 0;
    if (!parseInteger(text, octave) || octave < -100 || octave > 100)
        return false;
    key += 12 * (octave - naming.octaveOfMiddleC + 5);
    value = static_cast<double>(key);
    return key >= 0 && key <= 127;
}

// What may stand behind a number, and what it is multiplied with then. The first is what counts without a
// unit.
struct UnitWord {
    const char* word;
    double scale;
};

std::span<const UnitWord> unitWords(Style style) {
    static constexpr UnitWord kDecibels[] = {{"db", 1}};
    static constexpr UnitWord kSemitones[] = {{"semitones", 1}, {"semitone", 1}, {"semi", 1}, {"st", 1},
                                              {"cents", 0.01},  {"cent", 0.01},  {"ct", 0.01}};
    static constexpr UnitWord kFactors[] = {{"x", 1}};
    static constexpr UnitWord kPercents[] = {{"%", 0.01}};
    static constexpr UnitWord kHertz[] = {{"hz", 1}, {"khz", 1000}};
    static constexpr UnitWord kSeconds[] = {
        {"s", 1}, {"ms", 0.001}, {"sec", 1}, {"seconds", 1}, {"second", 1}};
    static constexpr UnitWord kCents[] = {{"cents", 1},       {"cent", 1},       {"ct", 1},
                                          {"semitones", 100}, {"semitone", 100}, {"st", 100}};
    static constexpr UnitWord kFrames[] = {{"frames", 1}, {"frame", 1}};
    switch (style) {
        case Style::Decibel:
        case Style::Level:
            return kDecibels;
        case Style::Semitones:
            return kSemitones;
        case Style::Factor:
            return kFactors;
        case Style::Percent:
            return kPercents;
        case Style::Hertz:
            return kHertz;
        case Style::Seconds:
            return kSeconds;
        case Style::Cents:
            return kCents;
        case Style::Frames:
            return kFrames;
        default:
            return {};
    }
}

bool parseAmount(Style style, std::string_view text, double& value) {
    if (style == Style::Factor && !text.empty() && lowerAscii(text.front()) == 'x')
        text = trim(text.substr(1));
    double number = 0;
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-'))
            return false;
    }
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc())
        return false;
    const std::string_view unit = trim(text.substr(static_cast<std::size_t>(end - text.data())));
    const auto words = unitWords(style);
    const auto found =
        unit.empty() ? words.begin() : std::find_if(words.begin(), words.end(), [unit](const UnitWord& each) {
            return equalNoCase(unit, each.word);
        });
    const bool silence = style == Style::Level && std::isinf(number) && number < 0;
    if (found == words.end() || (!std::isfinite(number) && !silence))
        return false;
    value = number * found->scale;
    if (style == Style::Level)
        value = silence ? 0 : std::pow(10.0, value / 20);
    else if (style == Style::Frames && (value < 0 || value != std::floor(value)))
        return false;
    return std::isfinite(value);
}

}  // namespace

bool parameterExists(std::uint16_t number) {
    return !parameterName(number).empty();
}

std::string_view parameterName(std::uint16_t number) {
    if (const ArticulationParameter* row = articulationParameter(number))
        return row->name;
    const RegionParameterRow* row = regionParameterRow(number);
    return row ? row->name : std::string_view();
}

namespace {

constexpr std::uint16_t kNumbers = parameter::LoopEnd + 1;

// The lowest number of each name, in lower case.
const std::unordered_map<std::string, std::uint16_t>& firstNumbers() {
    static const auto numbers = [] {
        std::unordered_map<std::string, std::uint16_t> map;
        for (std::uint16_t number = 0; number < kNumbers; ++number) {
            if (parameterExists(number))
                map.emplace(lowerAscii(parameterName(number)), number);
        }
        return map;
    }();
    return numbers;
}

std::string numberName(std::uint16_t number) {
    return '#' + std::to_string(number);
}

}  // namespace

std::string uniqueParameterName(std::uint16_t number) {
    const std::string_view name = parameterName(number);
    if (name.empty())
        return numberName(number);
    const bool first = firstNumbers().at(lowerAscii(name)) == number;
    return std::string(name) + (first ? "" : ' ' + numberName(number));
}

std::optional<std::uint16_t> findParameter(std::string_view name) {
    name = trim(name);
    if (const auto found = firstNumbers().find(lowerAscii(name)); found != firstNumbers().end())
        return found->second;
    const std::size_t mark = name.rfind('#');
    long long number = 0;
    if (mark == std::string_view::npos || !parseInteger(name.substr(mark + 1), number) || number < 0 ||
        number >= kNumbers || !parameterExists(static_cast<std::uint16_t>(number)))
        return std::nullopt;
    const auto exact = static_cast<std::uint16_t>(number);
    const std::string_view before = trim(name.substr(0, mark));
    if (!before.empty() && !equalNoCase(before, parameterName(exact)))
        return std::nullopt;
    return exact;
}

std::string_view parameterUnit(std::uint16_t number) {
    if (const RegionParameterRow* row = regionParameterRow(number))
        return row->unit;
    switch (styleOf(number)) {
        case Style::Decibel:
            return "dB";
        case Style::Semitones:
            return "semitones";
        case Style::Factor:
            return "factor";
        case Style::Percent:
            return "fraction";
        case Style::Hertz:
            return "Hz";
        case Style::Seconds:
            return "seconds";
        case Style::Level:
            return "amplitude";
        case Style::Choice:
        case Style::ReleaseMode:
            return "code";
        default:
            return {};
    }
}

std::string parameterText(std::uint16_t number, double value, const NoteNaming& naming) {
    if (!std::isfinite(value))
        return "undefined";
    const bool sign = bothSigns(number);
    switch (styleOf(number)) {
        case Style::Decibel:
            return decimalText(value, 1, 2, sign) + " dB";
        case Style::Level:
            return value > 0 ? decimalText(20 * std::log10(value), 1, 2, true) + " dB" : "-inf dB";
        case Style::Semitones:
            return counted(decimalText(value, 0, 2, sign), "semitone");
        case Style::Cents:
            return counted(decimalText(value, 0, 2, sign), "cent");
        case Style::Factor:
            return "x " + significantText(value);
        case Style::Percent:
            return decimalText(value * 100, 1, 2, sign) + " %";
        case Style::Hertz:
            return significantText(value) + " Hz";
        case Style::Seconds:
            return secondsText(value);
        case Style::Frames:
            return counted(codeText(value), "frame");
        case Style::Key:
            return noteName(static_cast<std::uint8_t>(std::clamp(std::nearbyint(value), 0.0, 127.0)), naming);
        case Style::ExclusiveClass:
            return std::nearbyint(value) == 0 ? "none" : codeText(value);
        case Style::ReleaseMode:
            return releaseModeText(value);
        case Style::Choice: {
            const Choice choice = choiceOf(number);
            const int index = nameIndex(value, choice.names.size());
            return index >= 0 ? choice.names[static_cast<std::size_t>(index)]
                              : std::string(choice.other) + ' ' + codeText(value);
        }
        case Style::None:
            break;
    }
    return significantText(value);
}

bool parseParameter(std::uint16_t number, std::string_view text, double& value, const NoteNaming& naming) {
    if (!parameterExists(number))
        return fail("There is no parameter " + numberName(number));
    const std::string_view shown = trim(text);
    const Style style = styleOf(number);
    double parsed = 0;
    bool ok = false;
    switch (style) {
        case Style::Choice:
            ok = parseChoice(number, shown, parsed);
            break;
        case Style::ReleaseMode:
            ok = parseReleaseMode(shown, parsed) || parseCode(shown, "mode", 3, parsed);
            break;
        case Style::ExclusiveClass:
            ok = equalNoCase(shown, "none") || parseCode(shown, {}, largestCode(number), parsed);
            break;
        case Style::Key:
            ok = parseKey(shown, naming, parsed);
            break;
        default:
            ok = parseAmount(style, shown, parsed);
            break;
    }
    if (!ok)
        return fail('"' + std::string(text) + "\" is not a value of \"" + std::string(parameterName(number)) +
                    '"');
    value = parsed;
    return true;
}

}  // namespace velor
