// velor process, and its short forms velor resample, velor tune and velor loop
#include <algorithm>

#include "app/cli/arguments.h"
#include "app/cli/cli.h"
#include "app/cli/convert_inputs.h"
#include "app/cli/json_documents.h"
#include "app/cli/option_table.h"
#include "app/cli/process_items.h"
#include "app/cli/process_manual.h"
#include "app/cli/terminal.h"
#include "app/cli/verbs.h"
#include "app/settings.h"
#include "base/error.h"
#include "platform/settings_backend.h"

namespace velor::cli {

namespace {

int listProcesses(const Arguments& arguments) {
    if (arguments.has("manual"))
        return printText(processManual());
    if (!arguments.has("json"))
        return printText(processList());
    JsonListDocument document("processes");
    for (const ProcessFlavour flavour :
         {ProcessFlavour::Audio, ProcessFlavour::Midi, ProcessFlavour::Instrument}) {
        for (const ProcessRow& row : processCatalogue(flavour))
            document.add(processObject(flavour, row));
    }
    return printText(document.text());
}

// Settings given as options of their own.
std::string readOptions(const Arguments& arguments, ProcessSettings& settings) {
    for (const ProcessParameter& parameter : settings.parameters()) {
        if (!arguments.has(parameter.key))
            continue;
        if (std::string problem = settings.set(parameter.key, arguments.value(parameter.key));
            !problem.empty())
            return "--" + problem;
    }
    return {};
}

int runNamed(const Arguments& arguments, const NamedProcess& named, std::vector<std::string> inputs,
             bool shortForm) {
    const std::string_view verb = arguments.verb->name;
    if (!processBuilt(*named.row))
        return usageError(verb, "\"" + std::string(named.row->name) + "\" is not supported in this build");
    SettingsStore store;
    store.load(*openSettings());
    ConvertRequest request;
    request.process = ProcessRequest{named,
                                     ProcessSettings(named.row->process->parameters, store.noteNaming()),
                                     {},
                                     arguments.values("only"),
                                     store.noteNaming()};
    ProcessRequest& process = *request.process;
    if (shortForm) {
        if (std::string problem = readOptions(arguments, process.settings); !problem.empty())
            return usageError(verb, problem);
    }
    for (const std::string& pair : arguments.values("set")) {
        if (const std::string problem = process.settings.setPair(pair); !problem.empty())
            return usageError(verb, problem);
    }
    if (arguments.has("select")) {
        RangeChoice range;
        if (const std::string problem = parseRange(arguments.value("select"), range); !problem.empty())
            return usageError(verb, problem);
        process.selection = range;
    }
    return convertInputs(arguments, std::move(inputs), std::move(request));
}

}  // namespace

int runProcess(const Arguments& arguments) {
    if (arguments.has("list"))
        return listProcesses(arguments);
    if (arguments.positionals.empty())
        return usageError("process", "say which process; \"velor process --list\" shows all");
    const std::string& name = arguments.positionals.front();
    const NamedProcess named = findProcess(name);
    if (!named.row)
        return usageError("process", unknownProcess(name));
    return runNamed(arguments, named, {arguments.positionals.begin() + 1, arguments.positionals.end()},
                    false);
}

int runResample(const Arguments& arguments) {
    if (arguments.has("rate") == arguments.has("length"))
        return usageError("resample", "say either --rate HZ or --length FRAMES");
    return runNamed(arguments, findProcess("resample"), arguments.positionals, true);
}

int runTune(const Arguments& arguments) {
    return runNamed(arguments, findProcess("auto-tune"), arguments.positionals, true);
}

int runLoop(const Arguments& arguments) {
    return runNamed(arguments, findProcess("auto-loop-finder"), arguments.positionals, true);
}

}  // namespace velor::cli
