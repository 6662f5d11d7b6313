// velor demo
#include "app/cli/arguments.h"
#include "app/cli/cli.h"
#include "app/cli/terminal.h"
#include "app/cli/terminal_interface.h"
#include "app/cli/verbs.h"
#include "app/demo.h"
#include "base/error.h"
#include "base/text.h"
#include "platform/console.h"

namespace velor::cli {

namespace {

std::string propertyList(const DemoFile& file, bool kept, bool expected) {
    std::string list;
    for (const DemoProperty& property : file.properties) {
        if (property.kept != kept || property.expected != expected)
            continue;
        list += (list.empty() ? "" : ", ") + property.name;
        const bool gone = property.found.empty() || property.found == "none";
        if (kept)
            list += " " + property.original;
        else if (expected || !gone)
            list += " (" + property.original + " became " + (gone ? "nothing" : property.found) + ")";
    }
    return list;
}

}  // namespace

int runDemo(const Arguments& arguments) {
    installInterruptHandler();
    Terminal terminal(arguments);
    const Answers answers;
    TerminalInterface ui(terminal, answers);
    Output output;
    const std::filesystem::path folder = pathFromUtf8(arguments.value("dir", "velor-demo"));
    DemoReport report;
    const bool done = velor::runDemo(folder, ui, report);
    for (const DemoFile& file : report.files) {
        if (file.properties.empty())
            continue;
        output.add(displayText(utf8FromPath(file.path)) + ": " + std::string(rowDescription(file.type.row)) +
                   formatText(" (%d %%), ", file.type.confidence) + file.encoding + '\n');
        for (const auto& [label, kept, expected] :
             {std::tuple{"kept", true, true}, std::tuple{"kept by chance", true, false},
              std::tuple{"no room for", false, false}, std::tuple{"LOST", false, true}}) {
            if (const std::string list = propertyList(file, kept, expected); !list.empty())
                output.add("  " + std::string(label) + ": " + displayText(list) + '\n');
        }
    }
    if (!output.flush())
        return kExitFailed;
    if (!done) {
        terminal.failure("", "demo: " + LastErrorText);
        return interruptRequested() ? kExitInterrupted : kExitFailed;
    }
    if (report.lost()) {
        terminal.failure("", "demo: something was lost that should have been kept");
        return kExitFailed;
    }
    return kExitDone;
}

}  // namespace velor::cli
