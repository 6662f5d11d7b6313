#include "app/cli/cli.h"

#include <cstdio>

#include "app/cli/arguments.h"
#include "app/cli/help_text.h"
#include "app/cli/option_table.h"
#include "app/cli/terminal.h"
#include "app/cli/verbs.h"
#include "platform/console.h"

namespace velor::cli {

int runCompletion(const Arguments& arguments) {
    return printText(completionScript(arguments.positionals.front()));
}

int runHelp(const Arguments& arguments) {
    if (arguments.has("man"))
        return printText(manualPage());
    if (arguments.positionals.empty())
        return printText(generalHelp());
    const std::string& name = arguments.positionals.front();
    const VerbSpec* verb = findVerb(name);
    if (verb && verb->topicHelp && arguments.positionals.size() > 1)
        return printText(verb->topicHelp(arguments.positionals[1]));
    if (!verb)
        return usageError("", unknownName("verb", name, choicesOf(ValueKind::Verb, "")));
    return printText(verbHelp(*verb));
}

int runCommandLine(std::vector<std::string> arguments) {
    useUtf8Console();
    const ParseResult parsed = parseCommandLine(std::move(arguments));
    switch (parsed.outcome) {
        case ParseResult::Outcome::ShowHelp:
            if (!parsed.helpTopic.empty())
                return printText(parsed.helpVerb->topicHelp(parsed.helpTopic));
            return printText(parsed.helpVerb ? verbHelp(*parsed.helpVerb) : generalHelp());
        case ParseResult::Outcome::ShowVersion:
            return printText(std::string(kVersionLine) + '\n');
        case ParseResult::Outcome::Run:
            if (parsed.arguments.has("version"))
                return printText(std::string(kVersionLine) + '\n');
            return parsed.arguments.verb->run(parsed.arguments);
        case ParseResult::Outcome::Wrong:
            break;
    }
    return usageError(parsed.arguments.verb ? parsed.arguments.verb->name : "", parsed.error);
}

}  // namespace velor::cli
