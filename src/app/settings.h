// The user's preferences: one table row a setting, and the store that holds their values between start and
// exit.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "formats/framework/load_options.h"
#include "items/item.h"
#include "platform/settings_backend.h"

namespace velor {

enum class SettingType : std::uint8_t {
    Bool,      // binary, one byte; anything but 0 is true
    Number8,   // binary, one unsigned byte
    Point,     // binary, two signed 32-bit numbers
    Words,     // binary, unsigned 16-bit numbers
    Integers,  // binary, signed 32-bit numbers
    Chars,     // binary, a text with zeros behind it
    Signed,    // 32-bit number
    Unsigned,  // 32-bit number
    Float,     // 32-bit number: the bits of an IEEE float
    Text,      // text, its size in bytes
    WideText,  // text, its size in UTF-16 units
};

// Names are "group.name"; the letters that begin the second part tell the kind to people who read a registry.
struct SettingRow {
    std::string_view name;
    SettingType type;
    std::uint32_t size;  // bytes of binary values and numbers; most bytes or units of texts, 0: no limit
    std::string_view defaultValue;  // as printed
    std::string_view meaning;       // one line
    bool list = false;              // a text of several entries, see splitList()
};

// All settings in the order in which they are shown.
std::span<const SettingRow> settingRows();
// nullptr when no row has that name; case does not matter.
const SettingRow* lookUpSetting(std::string_view name);
// The same for a name that a user typed: nullptr with "There is no setting "x". Did you mean ...?".
const SettingRow* findSetting(std::string_view name);

// What a value of this row looks like: "true or false", "a whole number from 0 to 255".
std::string expectedText(const SettingRow& row);
// The value for people and scripts: true, 48000, -3.5, 10,20, or the text itself.
std::string printSetting(const SettingRow& row, const SettingValue& value);
// The inverse, which also takes 1, 0, yes, no, on and off, hexadecimal numbers and blanks around numbers.
// Fails with "NAME expects ..., not "x"".
bool parseSetting(const SettingRow& row, std::string_view text, SettingValue& value);
SettingValue defaultSetting(const SettingRow& row);
// True when the value has this row's kind and size, so that it can be used.
bool fitsSetting(const SettingRow& row, const SettingValue& value);
// The text forms of settings files: as printed, but true and false are 1 and 0, so that no byte value is
// lost.
SettingTextCodec settingTextCodec();

// Entries of a list setting stand in one text with "|" between them, which no Windows path can hold. Where an
// entry holds one itself it is written %7C, and a % that could be mistaken for such a code %25. No entry is
// empty.
std::string joinList(const std::vector<std::string>& entries);
std::vector<std::string> splitList(std::string_view text);

// Where a General MIDI bank is found when the user names none: on Windows "drivers\gm.dls" in the system
// folder; elsewhere the first bank in the folders where systems keep them, or empty.
std::string defaultGmBank();
// The bank to take from the first of `folders` that has any: one named as a default, else as General MIDI,
// else the first by name. Empty when there is none.
std::filesystem::path findGmBank(std::span<const std::filesystem::path> folders);

// Widths of the left pane up to this one mean "not set".
inline constexpr std::int64_t kNoPaneWidth = 16;

// The values of all settings. Read once at start and written once at exit; between those the shells edit the
// values here. Belongs to one thread. The typed functions are for names in the code: one that is not in the
// table, or of another type, is a programming error, which asserts and else yields zero or does nothing.
class SettingsStore {
  public:
    static constexpr std::string_view kVersion = "12.6";

    SettingsStore();

    // Takes what is stored; values that are missing or of the wrong kind or size become their default. False
    // when nothing could be read: everything then has its default.
    bool load(SettingsBackend& backend);
    // Writes what differs from what load() or save() last saw there. A value that is back at its default is
    // removed.
    bool save(SettingsBackend& backend);
    // What the last load() met and passed over.
    const std::vector<std::string>& warnings() const { return warnings_; }
    // load() found the settings of an earlier version.
    bool upgraded() const { return upgraded_; }

    bool getBool(std::string_view name) const;
    // Whole numbers of any type.
    std::int64_t getNumber(std::string_view name) const;
    float getFloat(std::string_view name) const;
    std::string getText(std::string_view name) const;
    std::vector<Byte> getBytes(std::string_view name) const;
    // The numbers of a Point, Words or Integers setting.
    std::vector<std::int64_t> getNumbers(std::string_view name) const;
    std::vector<std::string> getList(std::string_view name) const;

    // False with a message, and without a change, when the value does not fit the setting.
    bool setBool(std::string_view name, bool value);
    bool setNumber(std::string_view name, std::int64_t value);
    bool setFloat(std::string_view name, float value);
    bool setText(std::string_view name, std::string_view value);
    bool setBytes(std::string_view name, std::span<const Byte> value);
    bool setNumbers(std::string_view name, std::span<const std::int64_t> values);
    // Entries at the end that do not fit are left out.
    bool setList(std::string_view name, const std::vector<std::string>& entries);
    // Puts an entry first in a list, as recently used files are kept, and drops what no longer fits.
    bool addRecent(std::string_view name, const std::string& entry, std::size_t most = 16);

    // For command lines, where the name comes from the user: an unknown one is a failure with a message.
    std::optional<std::string> print(std::string_view name) const;
    bool parse(std::string_view name, std::string_view text);
    bool reset(std::string_view name);
    void resetAll();
    // True when the value prints as its default does.
    bool isDefault(const SettingRow& row) const;
    const SettingValue& value(const SettingRow& row) const;

    LoadOptions loadOptions() const;
    NoteNaming noteNaming() const;
    // mid2wav.wszGMBank, or defaultGmBank() when that is empty.
    std::string gmBank() const;
    // Width of the main window's second pane, which follows app.iPaneSplitL.
    int secondPaneWidth() const;

  private:
    SettingValue& slot(const SettingRow& row);
    bool put(std::string_view name, SettingValue value);

    std::vector<SettingValue> values_;                 // in the order of the rows
    std::vector<std::optional<SettingValue>> stored_;  // what the back end holds
    std::vector<std::string> warnings_;
    bool upgraded_ = false;
};

// The user's settings, as text or in the registry.
std::unique_ptr<SettingsBackend> openSettings();

}  // namespace velor
