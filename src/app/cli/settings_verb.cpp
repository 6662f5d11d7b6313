// velor settings
#include "app/cli/arguments.h"
#include "app/cli/cli.h"
#include "app/cli/json_documents.h"
#include "app/cli/terminal.h"
#include "app/cli/verbs.h"
#include "app/settings.h"
#include "app/settings_commands.h"
#include "base/error.h"

namespace velor::cli {

namespace {

std::string settingsDocument(const SettingsStore& store, std::string_view only, bool changedOnly) {
    JsonListDocument document("settings");
    for (const SettingRow& row : settingRows()) {
        if ((!only.empty() && row.name != only) || (changedOnly && store.isDefault(row)))
            continue;
        document.add(settingObject(row.name, printSetting(row, store.value(row)),
                                   printSetting(row, defaultSetting(row)), row.meaning));
    }
    return document.text();
}

}  // namespace

int runSettings(const Arguments& arguments) {
    Terminal terminal(arguments);
    const std::vector<std::string>& given = arguments.positionals;
    const std::string& action = given[0];
    const std::string key = given.size() > 1 ? given[1] : "";
    const bool json = arguments.has("json");
    if (action != "list" && key.empty())
        return usageError("settings",
                          action + " needs a setting" + (action == "reset" ? ", a group or \"all\"" : ""));
    // "set KEY VALUE" and "set KEY=VALUE"
    const std::size_t least = action == "list"                                        ? 1
                              : action == "set" && key.find('=') == std::string::npos ? 3
                                                                                      : 2;
    if (given.size() != least)
        return usageError("settings",
                          given.size() < least ? "set needs a value" : "too many arguments for " + action);
    const std::unique_ptr<SettingsBackend> backend = openSettings();
    SettingsStore store;
    store.load(*backend);
    for (const std::string& warning : store.warnings())
        terminal.note("settings", warning);

    Output output;
    CommandResult result{true, ""};
    if (action == "list") {
        result.text = json ? settingsDocument(store, "", arguments.has("changed"))
                           : listSettings(store, arguments.has("changed"));
    } else if (action == "get") {
        result = arguments.has("explain") ? explainSetting(store, key) : getSetting(store, key);
        if (const SettingRow* row = findSetting(key); json && row)
            result.text = settingsDocument(store, row->name, false);
    } else {
        if (action == "reset")
            result = resetSetting(store, key);
        else
            result = given.size() == 3 ? setSetting(store, key, given[2]) : setSetting(store, key);
        if (result.ok && !store.save(*backend)) {
            terminal.failure("settings", LastErrorText);
            return kExitFailed;
        }
    }
    if (!result.ok)
        return usageError("settings", result.text);
    output.add(result.text);
    return output.flush() ? kExitDone : kExitFailed;
}

}  // namespace velor::cli
