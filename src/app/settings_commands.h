// What a command line does with settings. Each command gives the text to print, or a message why it cannot.
#pragma once

#include <string>
#include <string_view>

#include "app/settings.h"

namespace velor {

struct CommandResult {
    bool ok = false;
    std::string text;  // whole lines, or the message without a line end
};

// All settings as a settings file shows them, each group under a comment, so that a listing can be kept and
// used as one; a changed value has its default in a comment above it. With `changedOnly` just those.
std::string listSettings(const SettingsStore& store, bool changedOnly);
// The bare value of one setting and a line end.
CommandResult getSetting(const SettingsStore& store, std::string_view name);
// The kind, the value, the default and the meaning of one setting.
CommandResult explainSetting(const SettingsStore& store, std::string_view name);
// Changes the store; the caller saves it. `assignment` is "name=value", blanks around both are dropped.
CommandResult setSetting(SettingsStore& store, std::string_view name, std::string_view value);
CommandResult setSetting(SettingsStore& store, std::string_view assignment);
// Puts one setting, a group ("load") or everything ("all") back to its default.
CommandResult resetSetting(SettingsStore& store, std::string_view name);

// The table of all settings for the user's guide.
std::string settingsMarkdown();

}  // namespace velor
