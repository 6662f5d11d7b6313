// Where the user's settings are kept between runs: named values of three kinds. Windows keeps them in the
// registry, other systems in a text file; the environment variable VELOR_SETTINGS names another such file on
// any system.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "base/byte_order.h"
#include "base/text.h"

namespace velor {

// A text (UTF-8), bytes, or a 32-bit number: REG_SZ, REG_BINARY and REG_DWORD of the registry.
using SettingValue = std::variant<std::string, std::vector<Byte>, std::uint32_t>;

// Names do not differ by case alone, as in the registry.
struct SettingNameLess {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const { return lessNoCase(a, b); }
};
using SettingValues = std::map<std::string, SettingValue, SettingNameLess>;
// Values to write; nothing in place of a value removes it.
using SettingChanges = std::map<std::string, std::optional<SettingValue>, SettingNameLess>;

// How a text file shows values that only their owner can tell apart: a byte from a number, a list from a
// block.
struct SettingTextCodec {
    // False with a message when the name is not known or the text is no value of it.
    std::function<bool(std::string_view name, std::string_view text, SettingValue& value)> parse;
    std::function<std::string(std::string_view name, const SettingValue& value)> print;
};

class SettingsBackend {
  public:
    virtual ~SettingsBackend() = default;

    // Everything stored that can be read; nothing stored yet is no failure. False with a message when what is
    // stored cannot be looked at.
    virtual bool read(SettingValues& values) = 0;
    // Changes the named values and leaves all others alone.
    virtual bool write(const SettingChanges& changes) = 0;
    // Where that is, for people to read.
    virtual std::string place() const = 0;
    // What the last read() found wrong and passed over, a sentence each.
    virtual std::vector<std::string> warnings() const { return {}; }
};

// The user's settings: the file that VELOR_SETTINGS names, else this system's own place.
std::unique_ptr<SettingsBackend> userSettings(const SettingTextCodec& codec);
// Settings in a text file, which need not exist yet.
std::unique_ptr<SettingsBackend> fileSettings(const std::filesystem::path& path,
                                              const SettingTextCodec& codec);
// Settings in a registry key under HKEY_CURRENT_USER, made when it is first written. nullptr where there is
// no registry.
std::unique_ptr<SettingsBackend> registrySettings(std::string_view key);

// What userSettings() takes without the variable.
std::unique_ptr<SettingsBackend> systemSettings(const SettingTextCodec& codec);

}  // namespace velor
