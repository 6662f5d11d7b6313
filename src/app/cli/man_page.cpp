// The manual page, for `man`: roff with the classic man macros.
#include "app/cli/cli.h"
#include "app/cli/help_text.h"
#include "app/cli/option_table.h"

namespace velor::cli {

namespace {

// Text in roff: a dash that is meant as one, backslashes, and no line that begins like a request.
std::string roff(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if ((c == '.' || c == '\'') && (result.empty() || result.back() == '\n'))
            result += "\\&";
        if (c == '\\')
            result += "\\e";
        else if (c == '-')
            result += "\\-";
        else
            result += c;
    }
    return result;
}

void addOptions(std::string& page, std::span<const OptionSpec> options) {
    for (const OptionSpec& option : options) {
        if (option.hidden)
            continue;
        page += ".TP\n";
        if (option.letter)
            page += "\\fB\\-" + std::string(1, option.letter) + "\\fR, ";
        page += "\\fB\\-\\-" + roff(option.name) + "\\fR";
        if (option.argument)
            page += " \\fI" + roff(option.argument) + "\\fR";
        page += '\n' + roff(option.help) + '\n';
    }
}

}  // namespace

std::string manualPage() {
    std::string page = ".TH VELOR 1 \"\" \"" + std::string(kVersionLine) + "\" \"User Commands\"\n";
    page +=
        ".SH NAME\nvelor \\- convert and inspect audio, sampler, tracker, MIDI and sound bank files\n"
        ".SH SYNOPSIS\n.B velor\n\\fIverb\\fR [\\fIoptions\\fR] [\\fIfiles\\fR]\n.br\n.B velor\n"
        "\\fIin\\fR \\fIout\\fR\n";
    page += ".SH OPTIONS OF EVERY VERB\n";
    addOptions(page, commonOptions());
    page += ".SH VERBS\n";
    for (const VerbSpec& verb : verbTable()) {
        if (verb.hidden)
            continue;
        page += ".SS velor " + roff(verb.name) + ' ' + roff(verb.synopsis) + '\n' + roff(verb.text) + '\n';
        addOptions(page, verb.options);
    }
    page += ".SH EXAMPLES\n";
    for (const VerbSpec& verb : verbTable()) {
        for (const char* example : verb.examples)
            page += ".PP\n.nf\n" + roff(example) + "\n.fi\n";
    }
    page +=
        ".SH EXIT STATUS\n.TP\n0\nEverything was done.\n.TP\n1\nSome or all of it failed.\n.TP\n2\n"
        "The command line was wrong; nothing was done.\n.TP\n130\nInterrupted.\n"
        ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nWhen set and not empty, messages are not coloured.\n";
    return page;
}

}  // namespace velor::cli
