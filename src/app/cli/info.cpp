// velor info
#include "app/cli/arguments.h"
#include "app/cli/cli.h"
#include "app/cli/info_text.h"
#include "app/cli/json_documents.h"
#include "app/cli/read_input.h"
#include "app/cli/terminal.h"
#include "app/cli/verbs.h"
#include "base/error.h"
#include "platform/console.h"

namespace velor::cli {

int runInfo(const Arguments& arguments) {
    ReadChoices choices;
    if (const std::string problem = readChoices(arguments, choices); !problem.empty())
        return usageError("info", problem);
    installInterruptHandler();
    Terminal terminal(arguments);
    TerminalInterface ui(terminal, choices.answers);
    ui.setSilent(true);  // warnings are a part of what info shows
    const bool json = arguments.has("json");
    const bool tree = arguments.has("tree");
    const bool settings = arguments.has("verbose");
    Output output;
    JsonListDocument document("files");
    bool allRead = true;
    // Reading changes the current folder, so names are made absolute before the first file is read.
    std::vector<std::filesystem::path> paths;
    for (const std::string& file : arguments.positionals) {
        std::error_code error;
        const std::filesystem::path path = pathFromUtf8(file);
        std::filesystem::path absolute = std::filesystem::absolute(path, error);
        paths.push_back(error ? path : std::move(absolute));
    }
    for (std::size_t i = 0; i < paths.size() && !interruptRequested(); ++i) {
        FileReport report;
        report.path = arguments.positionals[i];
        ui.setFile(report.path);
        Collection collection;
        const bool ok = readInput(collection, paths[i], choices, ui, report);
        if (!ok) {
            allRead = false;
            terminal.failure(report.path, report.error);
        }
        if (json)
            document.add(infoObject(report, ok ? &collection : nullptr, choices.naming));
        else
            output.add(infoText(report, ok ? &collection : nullptr, choices.naming, tree, settings));
    }
    if (json)
        output.add(document.text());
    if (!output.flush())
        return kExitFailed;
    if (interruptRequested())
        return kExitInterrupted;
    return allRead ? kExitDone : kExitFailed;
}

}  // namespace velor::cli
