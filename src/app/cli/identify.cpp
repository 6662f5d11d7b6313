// velor identify
#include <array>

#include "app/cli/arguments.h"
#include "app/cli/cli.h"
#include "app/cli/info_text.h"
#include "app/cli/json_documents.h"
#include "app/cli/read_input.h"
#include "app/cli/terminal.h"
#include "app/cli/verbs.h"
#include "base/error.h"
#include "base/text.h"
#include "platform/console.h"

namespace velor::cli {

namespace {

std::string candidateLine(const IdentificationCandidate& candidate) {
    return formatText("  %2d  row %3d  %-10s ", candidate.score, candidate.row,
                      std::string(rowExtension(candidate.row)).c_str()) +
           std::string(rowDescription(candidate.row)) +
           (candidate.extensionMatches ? "  [extension fits]\n" : "\n");
}

}  // namespace

int runIdentify(const Arguments& arguments) {
    installInterruptHandler();
    Terminal terminal(arguments);
    const bool json = arguments.has("json");
    const bool explain = arguments.has("explain");
    Output output;
    JsonListDocument document("files");
    bool allOpened = true;
    std::array<Byte, kProbeBytes> head;
    for (const std::string& name : arguments.positionals) {
        if (interruptRequested())
            break;
        FileReport report;
        report.path = name;
        const std::filesystem::path path = pathFromUtf8(name);
        std::vector<IdentificationCandidate> candidates;
        if (const auto file = File::open(path)) {
            report.ok = true;
            const std::span<const Byte> bytes(head.data(), file->readSome(0, head));
            const std::string fileName = utf8FromPath(path.filename());
            report.type = identifyBytes(fileName, bytes, file->size());
            if (explain && file->size() != 0)
                candidates = explainIdentification(fileName, bytes, file->size());
        } else {
            const std::string reason = whyNotOpen(path);
            report.error = reason.empty() ? LastErrorText : LastErrorText + ": " + reason;
            terminal.failure(name, report.error);
            allOpened = false;
        }
        if (json) {
            document.add(identifyObject(report, explain, candidates));
            continue;
        }
        if (!report.ok)
            continue;
        // Where the content says nothing, the system may know the extension.
        std::string type = typeText(report);
        if (report.type.confidence == 0)
            type = fileTypeText(path);
        output.add(displayText(name) + ": " + displayText(type) +
                   (report.type.row >= 0 ? formatText(", row %d\n", report.type.row) : "\n"));
        for (const IdentificationCandidate& candidate : candidates)
            output.add(candidateLine(candidate));
    }
    if (json)
        output.add(document.text());
    if (!output.flush())
        return kExitFailed;
    if (interruptRequested())
        return kExitInterrupted;
    return allOpened ? kExitDone : kExitFailed;
}

}  // namespace velor::cli
