#include "app/cli/convert_inputs.h"

#include <algorithm>

#include "app/cli/arguments.h"
#include "app/cli/cli.h"
#include "app/cli/convert_file.h"
#include "app/cli/convert_plan.h"
#include "app/cli/convert_workers.h"
#include "app/cli/json_documents.h"
#include "app/cli/option_table.h"
#include "app/cli/process_report.h"
#include "app/cli/terminal.h"
#include "base/error.h"
#include "base/text.h"
#include "formats/framework/format_table.h"
#include "platform/console.h"

namespace velor::cli {

namespace {

// Items whose changes are told for each file.
constexpr std::size_t kChanges = 8;
constexpr std::size_t kChangesOfDryRun = 200;

struct Totals {
    std::size_t done = 0;
    std::size_t warned = 0;
    std::size_t skipped = 0;
    std::size_t failed = 0;
};

std::string describe(const ConvertTarget& target) {
    std::string text = target.path + " (" + std::string(rowDescription(target.row));
    if (!target.encoding.empty())
        text += ", " + target.encoding;
    text += target.channels == 1 ? ", mono" : target.channels == 2 ? ", stereo" : "";
    return text + ")";
}

// Gathers results, says what is to be said about each, and tells the exit code.
class Receipt {
  public:
    Receipt(const ConvertRequest& request, bool json, Terminal& terminal)
        : request_(request), json_(json), terminal_(terminal) {}

    void add(ConvertResult result) {
        terminal_.finishFile(result.ok);
        if (!result.ok)
            terminal_.failure(result.input, result.error);
        else if (result.skipped)
            terminal_.note(result.input, "skipped: " + result.skipReason);
        if (result.process.ran && !json_ && request_.output != "-" && !terminal_.quiet()) {
            FileResult processed{displayText(result.input), std::move(result.process)};
            if (processed.result.measuresOnly)
                measured_.push_back(std::move(processed));
            else
                output_.add(processReport(processed, terminal_.verbose() ? SIZE_MAX
                                                     : request_.dryRun   ? kChangesOfDryRun
                                                                         : kChanges));
        }
        for (const ConvertTarget& target : result.targets) {
            if (request_.dryRun && !json_)
                output_.add(displayText(result.input) + " -> " + displayText(describe(target)) + '\n');
            else
                terminal_.detail(result.input, "-> " + describe(target));
        }
        ++(!result.ok ? totals_.failed : result.skipped ? totals_.skipped : totals_.done);
        if (result.ok && !result.skipped && !result.warnings.empty())
            ++totals_.warned;
        if (json_)
            document_.add(convertObject(result));
    }

    // `planned` files were to be converted; fewer have come in when the user has interrupted the run.
    int finish(std::size_t planned) {
        output_.add(measuresReport(measured_));
        if (json_) {
            JsonListDocument document = document_;
            document.addField("dryRun", request_.dryRun);
            document.addField("done", static_cast<long long>(totals_.done));
            document.addField("warned", static_cast<long long>(totals_.warned));
            document.addField("skipped", static_cast<long long>(totals_.skipped));
            document.addField("failed", static_cast<long long>(totals_.failed));
            output_.add(document.text());
        }
        if (!output_.flush()) {
            terminal_.failure("", "writing to standard output failed");
            return kExitFailed;
        }
        const std::size_t received = totals_.done + totals_.skipped + totals_.failed;
        if (planned > 1)
            terminal_.note("", formatText("%zu %s, %zu with warnings, %zu skipped, %zu failed", totals_.done,
                                          request_.dryRun ? "to do" : "done", totals_.warned, totals_.skipped,
                                          totals_.failed));
        if (interruptRequested()) {
            terminal_.failure("", received < planned
                                      ? formatText("interrupted; %zu not begun", planned - received)
                                      : "interrupted");
            return kExitInterrupted;
        }
        return totals_.failed > 0 ? kExitFailed : kExitDone;
    }

  private:
    const ConvertRequest& request_;
    bool json_;
    Terminal& terminal_;
    Output output_;
    JsonListDocument document_{"files"};
    Totals totals_;
    std::vector<FileResult> measured_;
};

int runWorker(const ConvertRequest& request, const ConvertTask& task, Terminal& terminal) {
    TerminalInterface ui(terminal, request.read.answers);
    std::set<std::string> written;
    const ConvertResult result = convertFile(task, request, ui, terminal, written);
    Output output;
    output.add(convertObject(result));
    if (!output.flush())
        return kExitFailed;
    return result.interrupted ? kExitInterrupted : result.ok ? kExitDone : kExitFailed;
}

}  // namespace

int convertInputs(const Arguments& arguments, std::vector<std::string> inputs, ConvertRequest request) {
    const std::string_view verb = arguments.verb->name;
    if (inputs.empty())
        return usageError(verb, "no input is given");
    if (const std::string problem = readConvertRequest(arguments, request); !problem.empty())
        return usageError(verb, problem);
    installInterruptHandler();
    Terminal terminal(arguments);
    ConvertTask workerTask;
    if (isWorker(arguments, inputs.front(), workerTask))
        return runWorker(request, workerTask, terminal);

    const bool json = arguments.has("json");
    const bool toStandardOutput = request.output == "-";
    if (!request.output.empty() && (inputs.size() > 1 || request.recursive))
        return usageError(verb, "-o takes one input; for several say --to EXT and -d DIR");
    if (toStandardOutput && json)
        return usageError(verb, "-o - and --json would mix on standard output");
    if (toStandardOutput && !request.dryRun && isTerminal(StandardStream::Output))
        return usageError(verb, "standard output is a terminal: sound is not written to it");
    if (std::find(inputs.begin(), inputs.end(), "-") != inputs.end()) {
        if (request.read.from.empty() && !request.read.source.active)
            return usageError(verb, "reading standard input needs --from EXT or --source LAYOUT");
        if (isTerminal(StandardStream::Input))
            return usageError(verb, "standard input is a terminal: sound is not read from it");
    }
    if (toStandardOutput && !request.dryRun)
        useBinaryStream(StandardStream::Output);

    TemporaryFolder spool;
    const std::vector<ConvertTask> tasks = planTasks(request, inputs, spool, terminal);
    Receipt receipt(request, json, terminal);
    if (request.jobs > 0 && !toStandardOutput) {
        convertInWorkers(arguments, request, tasks, terminal,
                         [&](const ConvertTask&, ConvertResult result) { receipt.add(std::move(result)); });
    } else {
        TerminalInterface ui(terminal, request.read.answers);
        std::set<std::string> written;
        for (std::size_t i = 0; i < tasks.size() && !interruptRequested(); ++i) {
            terminal.startFile(tasks[i].shown, i, tasks.size());
            receipt.add(convertFile(tasks[i], request, ui, terminal, written));
        }
    }
    return receipt.finish(tasks.size());
}

}  // namespace velor::cli
