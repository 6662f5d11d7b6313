// Reads a command line by the option table. The only file that sees CLI11.
#include <algorithm>
#include <exception>

#include <CLI/CLI.hpp>

#include "app/cli/arguments.h"
#include "app/cli/option_table.h"
#include "base/error.h"
#include "base/text.h"
#include "items/sample_encoding.h"

namespace velor::cli {

namespace {

std::vector<std::string> verbNames() {
    std::vector<std::string> names;
    for (const VerbSpec& verb : verbTable()) {
        if (!verb.hidden)
            names.emplace_back(verb.name);
    }
    return names;
}

std::vector<std::string> optionNames(const VerbSpec& verb) {
    std::vector<std::string> names;
    const auto add = [&](std::span<const OptionSpec> options) {
        for (const OptionSpec& option : options) {
            if (!option.hidden)
                names.push_back("--" + std::string(option.name));
        }
    };
    add(verb.options);
    add(commonOptions());
    return names;
}

// Where the verb stands: the first argument that is neither a common option nor the value of one.
std::size_t verbPosition(const std::vector<std::string>& arguments) {
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& text = arguments[i];
        if (text.size() < 2 || text[0] != '-')
            return i;
        for (const OptionSpec& option : commonOptions()) {
            if (option.argument && text == "--" + std::string(option.name))
                ++i;
        }
    }
    return arguments.size();
}

// A name of a file rather than a misspelt verb.
bool looksLikeFile(std::string_view text) {
    return text == "-" || text.find_first_of("./\\") != std::string_view::npos;
}

std::string checkValue(const OptionSpec& option, const std::string& value) {
    const std::string name = "--" + std::string(option.name);
    switch (option.kind) {
        case ValueKind::Whole: {
            long long number = 0;
            if (!parseInteger(value, number) || number < 1 || number > 0x7FFFFFFF)
                return name + " takes a whole number from 1 on, not \"" + value + "\"";
            return {};
        }
        case ValueKind::Number: {
            double number = 0;
            if (!parseNumber(value, number) || !(number >= 0))
                return name + " takes a number from 0 on, not \"" + value + "\"";
            return {};
        }
        case ValueKind::Encoding:
            if (encodingFromName(value))
                return {};
            return unknownName("encoding", value, choicesOf(option.kind, option.words));
        case ValueKind::Words:
        case ValueKind::WriteType: {
            const std::vector<std::string> choices = choicesOf(option.kind, option.words);
            const bool known = std::any_of(choices.begin(), choices.end(), [&](const std::string& choice) {
                return equalNoCase(choice, value);
            });
            if (known)
                return {};
            return unknownName(
                option.kind == ValueKind::WriteType ? "type that can be written" : "value of " + name, value,
                choices);
        }
        default:
            return {};
    }
}

// CLI11 with the options of one verb. Values come back as texts; what they mean is checked here by kind.
class VerbParser {
  public:
    explicit VerbParser(const VerbSpec& verb) : verb_(verb), app_(verb.summary, verb.name) {
        app_.set_help_flag();
        app_.allow_windows_style_options(false);
        app_.allow_extras();
        add(verb.options);
        add(commonOptions());
    }

    std::string parse(std::vector<std::string> arguments, Arguments& result) {
        std::reverse(arguments.begin(), arguments.end());  // CLI11 takes them from the back
        try {
            app_.parse(std::move(arguments));
        } catch (const CLI::ArgumentMismatch&) {
            return "an option lacks its value";
        } catch (const CLI::Error& error) {
            return error.what();
        }
        result.verb = &verb_;
        for (const auto& [spec, option] : added_) {
            if (option->count() == 0)
                continue;
            std::vector<std::string>& values = result.options[spec->name];
            values = spec->argument ? option->results() : std::vector<std::string>{""};
            for (const std::string& value : values) {
                if (std::string problem = checkValue(*spec, value); !problem.empty())
                    return problem;
            }
            if (values.size() > 1 && !spec->repeatable)
                return "--" + std::string(spec->name) + " is given more than once";
        }
        bool optionsEnded = false;
        for (const std::string& extra : app_.remaining()) {
            if (extra == "--" && !optionsEnded) {
                optionsEnded = true;
                continue;
            }
            if (!optionsEnded && extra.size() > 1 && extra[0] == '-')
                return unknownName("option", extra.substr(0, extra.find('=')), optionNames(verb_));
            result.positionals.push_back(extra);
        }
        return {};
    }

  private:
    void add(std::span<const OptionSpec> options) {
        for (const OptionSpec& spec : options) {
            std::string names = "--" + std::string(spec.name);
            if (spec.letter)
                names = std::string("-") + spec.letter + "," + names;
            CLI::Option* option = spec.argument ? app_.add_option(names) : app_.add_flag(names);
            if (spec.argument)
                option->expected(1)->take_all();
            added_.emplace_back(&spec, option);
        }
    }

    const VerbSpec& verb_;
    CLI::App app_;
    std::vector<std::pair<const OptionSpec*, CLI::Option*>> added_;
};

std::string checkPositionals(const VerbSpec& verb, const std::vector<std::string>& given) {
    std::size_t least = 0;
    std::size_t most = 0;
    std::size_t index = 0;
    for (const PositionalSpec& each : verb.positionals) {
        least += each.least;
        most = each.most == kAnyNumber ? SIZE_MAX : most == SIZE_MAX ? most : most + each.most;
        if (each.kind == ValueKind::Words && index < given.size()) {
            const std::vector<std::string> choices = choicesOf(each.kind, each.words);
            if (std::find(choices.begin(), choices.end(), given[index]) == choices.end())
                return unknownName(each.name, given[index], choices);
        }
        ++index;
    }
    if (given.size() < least)
        return "nothing to do: \"velor " + std::string(verb.name) + "\" needs " + verb.synopsis;
    if (given.size() > most)
        return "too many arguments, beginning with \"" + given[most] + "\"";
    return {};
}

bool asksFor(const std::vector<std::string>& arguments, std::string_view name, std::string_view letter) {
    for (const std::string& text : arguments) {
        if (text == "--")
            return false;
        if (text == name || (!letter.empty() && text == letter))
            return true;
    }
    return false;
}

}  // namespace

ParseResult parseCommandLine(std::vector<std::string> arguments) {
    ParseResult result;
    const std::size_t position = verbPosition(arguments);
    if (position == arguments.size()) {
        if (asksFor(arguments, "--version", "-V"))
            result.outcome = ParseResult::Outcome::ShowVersion;
        else if (arguments.empty() || asksFor(arguments, "--help", "-h"))
            result.outcome = ParseResult::Outcome::ShowHelp;
        else
            result.error = "nothing to do: no verb and no files are given";
        return result;
    }
    // A program that was started with nothing to do is a usage error only when something else was meant.
    const VerbSpec* verb = findVerb(arguments[position]);
    const bool shortForm = !verb && looksLikeFile(arguments[position]);
    if (verb) {
        arguments.erase(arguments.begin() + static_cast<std::ptrdiff_t>(position));
    } else if (shortForm) {
        verb = findVerb("convert");
    } else {
        result.error = unknownName("verb", arguments[position], verbNames());
        return result;
    }
    if (asksFor(arguments, "--help", "-h")) {
        result.outcome = ParseResult::Outcome::ShowHelp;
        result.helpVerb = verb;
        // Options come before the verb or behind its first argument.
        if (verb->topicHelp && position < arguments.size() && !arguments[position].starts_with('-'))
            result.helpTopic = arguments[position];
        return result;
    }
    result.error = VerbParser(*verb).parse(std::move(arguments), result.arguments);
    if (!result.error.empty()) {
        result.arguments.verb = verb;
        return result;
    }
    if (shortForm && !result.arguments.has("output") && !result.arguments.has("to")) {
        std::vector<std::string>& files = result.arguments.positionals;
        if (files.size() != 2) {
            result.error = "the short form is \"velor IN OUT\"; see \"velor convert --help\" for more";
            return result;
        }
        result.arguments.options["output"] = {files[1]};
        files.pop_back();
    }
    result.error = checkPositionals(*verb, result.arguments.positionals);
    if (result.error.empty())
        result.outcome = ParseResult::Outcome::Run;
    return result;
}

}  // namespace velor::cli
