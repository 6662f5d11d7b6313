#include "app/cli/help_text.h"

#include <algorithm>

#include "app/cli/cli.h"
#include "app/cli/option_table.h"
#include "base/text.h"
#include "platform/console.h"

namespace velor::cli {

std::string wrapText(const std::string& text, std::size_t width, std::size_t indent) {
    std::string result;
    std::size_t column = indent;
    for (const std::string_view word : split(text, ' ')) {
        if (word.empty())
            continue;
        if (column > indent) {
            if (column + 1 + word.size() > width) {
                result += '\n';
                result.append(indent, ' ');
                column = indent;
            } else {
                result += ' ';
                ++column;
            }
        }
        result += word;
        column += word.size();
    }
    return result;
}

namespace {

constexpr std::size_t kHelpColumn = 26;

std::size_t helpWidth() {
    return static_cast<std::size_t>(std::clamp(terminalWidth(), 60, 100));
}

void addEntry(std::string& help, const std::string& left, const std::string& right) {
    help += "  " + left;
    if (left.size() + 4 > kHelpColumn) {
        help += '\n';
        help.append(kHelpColumn, ' ');
    } else {
        help.append(kHelpColumn - left.size() - 2, ' ');
    }
    help += wrapText(right, helpWidth(), kHelpColumn) + '\n';
}

void addOptions(std::string& help, std::span<const OptionSpec> options) {
    for (const OptionSpec& option : options) {
        if (option.hidden)
            continue;
        std::string left = option.letter ? std::string("-") + option.letter + ", " : "    ";
        left += "--" + std::string(option.name);
        if (option.argument)
            left += ' ' + std::string(option.argument);
        addEntry(help, left, option.help);
    }
}

}  // namespace

std::string generalHelp() {
    std::string help = std::string(kVersionLine) +
                       "\n\nUsage: velor VERB [options] [files]\n       velor IN OUT\n\nVerbs:\n";
    for (const VerbSpec& verb : verbTable()) {
        if (!verb.hidden)
            addEntry(help, verb.name, verb.summary);
    }
    help += "\nOptions of every verb:\n";
    addOptions(help, commonOptions());
    help += "\nExample:\n  velor kick.wav kick.aif\n\nMore: velor VERB --help\n";
    return help;
}

std::string verbHelp(const VerbSpec& verb) {
    std::string help = "Usage: velor " + std::string(verb.name) + ' ' + verb.synopsis + "\n\n" +
                       wrapText(verb.text, helpWidth(), 0) + '\n';
    if (!verb.positionals.empty()) {
        help += '\n';
        for (const PositionalSpec& each : verb.positionals)
            addEntry(help, each.name, each.help);
    }
    if (!verb.options.empty()) {
        help += "\nOptions:\n";
        addOptions(help, verb.options);
    }
    help += "\nOptions of every verb:\n";
    addOptions(help, commonOptions());
    help += verb.examples.size() == 1 ? "\nExample:\n" : "\nExamples:\n";
    for (const char* example : verb.examples)
        help += "  " + std::string(example) + '\n';
    return help;
}

}  // namespace velor::cli
