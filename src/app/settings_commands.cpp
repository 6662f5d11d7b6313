#include "app/settings_commands.h"

#include "base/error.h"
#include "platform/settings_file.h"

namespace velor {

namespace {

struct Group {
    std::string_view name, title;
};

constexpr Group kGroups[] = {
    {"", "Program"},
    {"app", "Application"},
    {"load", "After loading"},
    {"aio", "Audio and MIDI devices, keyboard"},
    {"viz", "Display"},
    {"sds", "MIDI sample dump"},
    {"rawio", "Drives"},
    {"sall", "Save all in multiple files"},
    {"sy2wt", "Synthesis models to waveforms"},
    {"mid2wav", "MIDI songs to waveforms"},
    {"fmt", "File formats"},
};

std::string_view groupOf(const SettingRow& row) {
    const std::size_t dot = row.name.find('.');
    return dot == std::string_view::npos ? std::string_view() : row.name.substr(0, dot);
}

std::string_view titleOf(std::string_view group) {
    for (const Group& one : kGroups)
        if (one.name == group)
            return one.title;
    return group;
}

std::string line(const SettingsStore& store, const SettingRow& row) {
    return std::string(row.name) + " = " + SettingsFile::quote(printSetting(row, store.value(row))) + '\n';
}

std::string kindOf(const SettingRow& row) {
    const std::string size = std::to_string(row.size);
    switch (row.type) {
        case SettingType::Bool:
            return "boolean";
        case SettingType::Number8:
            return "number 0-255";
        case SettingType::Point:
            return "point x,y";
        case SettingType::Words:
            return std::to_string(row.size / 2) + " 16-bit numbers";
        case SettingType::Integers:
            return std::to_string(row.size / 4) + " 32-bit numbers";
        case SettingType::Signed:
            return "number";
        case SettingType::Unsigned:
            return "number, unsigned";
        case SettingType::Float:
            return "number with fraction";
        case SettingType::Chars:
        case SettingType::Text:
        case SettingType::WideText:
            break;
    }
    const std::string kind = row.list ? "list" : "text";
    return row.size == 0
               ? kind
               : kind + ", at most " + size + (row.type == SettingType::WideText ? " characters" : " bytes");
}

CommandResult failure() {
    return {false, LastErrorText};
}

}  // namespace

std::string listSettings(const SettingsStore& store, bool changedOnly) {
    std::string text;
    std::string_view group = "\n";
    for (const SettingRow& row : settingRows()) {
        const bool changed = !store.isDefault(row);
        // The version is no choice of the user's.
        if (changedOnly && (!changed || row.name == "VersionNumber"))
            continue;
        if (groupOf(row) != group) {
            group = groupOf(row);
            text += (text.empty() ? "# " : "\n# ") + std::string(titleOf(group)) + '\n';
        }
        if (changed)
            text += "# default: " + SettingsFile::quote(printSetting(row, defaultSetting(row))) + '\n';
        text += line(store, row);
    }
    return text;
}

CommandResult getSetting(const SettingsStore& store, std::string_view name) {
    const auto value = store.print(name);
    return value ? CommandResult{true, *value + '\n'} : failure();
}

CommandResult explainSetting(const SettingsStore& store, std::string_view name) {
    const SettingRow* row = findSetting(name);
    if (!row)
        return failure();
    return {true, line(store, *row) + "  " + std::string(row->meaning) + "\n  kind: " + kindOf(*row) +
                      "\n  default: " + SettingsFile::quote(printSetting(*row, defaultSetting(*row))) +
                      "\n  takes: " + expectedText(*row) + '\n'};
}

CommandResult setSetting(SettingsStore& store, std::string_view name, std::string_view value) {
    const SettingRow* row = findSetting(name);
    if (!row)
        return failure();
    if (row->name == "VersionNumber")
        return {false, "VersionNumber is kept by the program and cannot be set"};
    if (!store.parse(name, value))
        return failure();
    return {true, line(store, *row)};
}

CommandResult setSetting(SettingsStore& store, std::string_view assignment) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string_view::npos)
        return {false, "Expected NAME=VALUE, not \"" + displayText(assignment) + "\""};
    return setSetting(store, trim(assignment.substr(0, equals)), trim(assignment.substr(equals + 1)));
}

CommandResult resetSetting(SettingsStore& store, std::string_view name) {
    std::string text;
    const bool all = equalNoCase(name, "all");
    bool found = false;
    for (const SettingRow& row : settingRows()) {
        const bool inGroup = !name.empty() && equalNoCase(groupOf(row), name);
        if ((!all && !inGroup && !equalNoCase(row.name, name)) || row.name == "VersionNumber")
            continue;
        found = true;
        if (!store.isDefault(row)) {
            store.reset(row.name);
            text += line(store, row);
        }
    }
    if (found)
        return {true, text.empty() ? "Nothing to reset\n" : text};
    if (findSetting(name))
        return {false, "VersionNumber is kept by the program and cannot be reset"};
    return failure();
}

std::string settingsMarkdown() {
    std::string text;
    std::string_view group = "\n";
    for (const SettingRow& row : settingRows()) {
        if (groupOf(row) != group) {
            group = groupOf(row);
            text += (text.empty() ? "### " : "\n### ") + std::string(titleOf(group)) +
                    "\n\n| name | kind | default | meaning |\n|---|---|---|---|\n";
        }
        const std::string value(row.type == SettingType::Bool ? printSetting(row, defaultSetting(row))
                                                              : std::string(row.defaultValue));
        text += "| `" + std::string(row.name) + "` | " + kindOf(row) + " | " +
                (value.empty() ? "empty" : "`" + value + "`") + " | " + std::string(row.meaning) + " |\n";
    }
    return text;
}

}  // namespace velor
