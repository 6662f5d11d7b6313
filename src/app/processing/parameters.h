// What the user can set for a process. The wizard's pages, the command line, its help and the manual's tables
// are all made from these rows.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "items/item.h"

namespace velor {

enum class ProcessValueKind : std::uint8_t {
    Switch,  // 0 or 1
    Whole,   // a whole number
    Number,
    Choice,  // one of `words`; the value is its index
    Key,     // a MIDI key, by number or name
    Text,
    Wave,  // another waveform: by its name or #number in the collection, else a file
};

struct ProcessParameter {
    const char* key;    // how scripts name it: lower case, words joined by dashes
    const char* label;  // how the page names it
    ProcessValueKind kind;
    const char* unit = "";  // "dB", "Hz", "ms", "frames", "cents", "%", "semitones" …; empty for none
    double least = 0;       // of Whole, Number and Key; both ends belong to the range
    double most = 0;
    double standard = 0;            // default; of a Choice the index
    const char* words = "";         // of a Choice: one short word for each, separated by '|'
    const char* standardText = "";  // default of Text and Wave
    const char* help = "";          // a sentence: what it does, what a special value means
};

// The values for one run of a process, every one within its range.
class ProcessSettings {
  public:
    // All defaults. The rows must outlive the settings.
    explicit ProcessSettings(std::span<const ProcessParameter> parameters, NoteNaming naming = {});

    // Sets a value from text; a number may be followed by its unit, a switch takes 0, 1, no, yes, off, on.
    // Returns a message when the key is unknown or the value does not fit, else an empty text.
    std::string set(std::string_view key, std::string_view text);
    // The same from "key=value"; "key" alone switches a switch on.
    std::string setPair(std::string_view pair);

    // The key must be that of a row of the asked kind.
    bool flag(std::string_view key) const { return value(key) != 0; }
    std::int64_t whole(std::string_view key) const { return static_cast<std::int64_t>(value(key)); }
    double number(std::string_view key) const { return value(key); }
    std::size_t choice(std::string_view key) const { return static_cast<std::size_t>(value(key)); }
    std::uint8_t midiKey(std::string_view key) const { return static_cast<std::uint8_t>(value(key)); }
    const std::string& text(std::string_view key) const { return texts_[indexOf(key)]; }
    // Whether the user has set it.
    bool isSet(std::string_view key) const { return given_[indexOf(key)]; }

    // The value as set() takes it, without unit.
    std::string textOf(std::string_view key) const;
    std::span<const ProcessParameter> parameters() const { return parameters_; }

  private:
    double value(std::string_view key) const { return values_[indexOf(key)]; }
    std::size_t indexOf(std::string_view key) const;

    std::span<const ProcessParameter> parameters_;
    NoteNaming naming_;
    std::vector<double> values_;
    std::vector<std::string> texts_;
    std::vector<bool> given_;
};

// The default of a row as set() takes it.
std::string defaultText(const ProcessParameter& parameter, const NoteNaming& naming);
// "-60 to 24 dB", "linear, exponential", "0 or 1": what a row takes, for help and tables.
std::string rangeText(const ProcessParameter& parameter, const NoteNaming& naming);

}  // namespace velor
