// Completion scripts for shells. All four follow one plan: find the verb among the words so far; after an
// option that takes a value offer its values, files or folders; after a dash offer the verb's options; else
// what the verb takes.
#include <algorithm>

#include "app/cli/help_text.h"
#include "app/cli/option_table.h"

namespace velor::cli {

namespace {

std::string replaceAll(std::string text, std::string_view from, std::string_view to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

// 'text' for bash and zsh.
std::string shellQuote(const std::string& text) {
    return '\'' + replaceAll(text, "'", "'\\''") + '\'';
}
// 'text' for fish.
std::string fishQuote(const std::string& text) {
    return '\'' + replaceAll(replaceAll(text, "\\", "\\\\"), "'", "\\'") + '\'';
}
// 'text' for PowerShell.
std::string powerQuote(const std::string& text) {
    return '\'' + replaceAll(text, "'", "''") + '\'';
}

std::string joined(const std::vector<std::string>& values, std::string (*quote)(const std::string&),
                   const char* separator = " ") {
    std::string text;
    for (const std::string& value : values)
        text += (text.empty() ? "" : separator) + quote(value);
    return text;
}

template <typename Visit>
void forEachVerb(Visit visit) {
    for (const VerbSpec& verb : verbTable()) {
        if (!verb.hidden)
            visit(verb);
    }
}

// The verb's own options and those of every verb.
template <typename Visit>
void forEachOption(const VerbSpec& verb, Visit visit) {
    for (const std::span<const OptionSpec> options : {verb.options, commonOptions()}) {
        for (const OptionSpec& option : options) {
            if (!option.hidden)
                visit(option);
        }
    }
}

std::vector<std::string> verbNames() {
    return choicesOf(ValueKind::Verb, "");
}

// The fixed words that a verb takes in its place, for example those of "settings".
std::vector<std::string> positionalWords(const VerbSpec& verb) {
    std::vector<std::string> words;
    for (const PositionalSpec& each : verb.positionals) {
        for (std::string& word : choicesOf(each.kind, each.words))
            words.push_back(std::move(word));
    }
    return words;
}

bool takesFiles(const VerbSpec& verb) {
    return std::any_of(verb.positionals.begin(), verb.positionals.end(),
                       [](const PositionalSpec& each) { return each.kind == ValueKind::File; });
}

std::string optionPattern(const VerbSpec& verb, const OptionSpec& option) {
    std::string pattern = std::string(verb.name) + ":--" + option.name;
    if (option.letter)
        pattern += '|' + std::string(verb.name) + ":-" + option.letter;
    return pattern;
}

std::vector<std::string> optionWords(const VerbSpec& verb) {
    std::vector<std::string> words;
    forEachOption(verb, [&](const OptionSpec& option) {
        words.push_back("--" + std::string(option.name));
        if (option.letter)
            words.push_back(std::string("-") + option.letter);
    });
    return words;
}

std::string bashScript() {
    const std::vector<std::string> verbs = verbNames();
    std::string verbPattern;
    for (const std::string& verb : verbs)
        verbPattern += (verbPattern.empty() ? "" : "|") + verb;
    std::string script =
        "# bash completion for velor\n"
        "_velor_offer() {\n"
        "    local each\n"
        "    for each in \"$@\"; do\n"
        "        [[ ${each,,} == \"${_velor_word,,}\"* ]] && COMPREPLY+=(\"$(printf '%q' \"$each\")\")\n"
        "    done\n"
        "}\n"
        "_velor_paths() {\n"
        "    local each\n"
        "    compopt -o filenames 2>/dev/null\n"
        "    while IFS= read -r each; do COMPREPLY+=(\"$each\"); done < <(compgen \"$1\" -- "
        "\"$_velor_word\")\n"
        "}\n"
        "_velor() {\n"
        "    local _velor_word=\"${COMP_WORDS[COMP_CWORD]}\" before=\"\" verb=\"\" i\n"
        "    COMPREPLY=()\n"
        "    ((COMP_CWORD > 0)) && before=\"${COMP_WORDS[COMP_CWORD - 1]}\"\n"
        "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
        "        case \"${COMP_WORDS[i]}\" in\n"
        "            " +
        verbPattern +
        ") verb=\"${COMP_WORDS[i]}\"; break ;;\n"
        "        esac\n"
        "    done\n"
        "    case \"$verb:$before\" in\n";
    forEachVerb([&](const VerbSpec& verb) {
        forEachOption(verb, [&](const OptionSpec& option) {
            if (!option.argument)
                return;
            std::string action = ":";
            if (option.kind == ValueKind::File)
                action = "_velor_paths -f";
            else if (option.kind == ValueKind::Folder)
                action = "_velor_paths -d";
            else if (const auto choices = choicesOf(option.kind, option.words); !choices.empty())
                action = "_velor_offer " + joined(choices, shellQuote);
            script += "        " + optionPattern(verb, option) + ") " + action + "; return ;;\n";
        });
    });
    script +=
        "    esac\n"
        "    case \"$verb:$_velor_word\" in\n"
        "        :*) _velor_offer " +
        joined(verbs, shellQuote) + "; _velor_paths -f ;;\n";
    forEachVerb([&](const VerbSpec& verb) {
        script += "        " + std::string(verb.name) + ":-*) _velor_offer " +
                  joined(optionWords(verb), shellQuote) + " ;;\n";
        std::string action;
        if (const auto words = positionalWords(verb); !words.empty())
            action += "_velor_offer " + joined(words, shellQuote) + " ";
        if (takesFiles(verb))
            action += (action.empty() ? "" : "; ") + std::string("_velor_paths -f ");
        if (!action.empty())
            script += "        " + std::string(verb.name) + ":*) " + action + ";;\n";
    });
    return script + "    esac\n}\ncomplete -F _velor velor\n";
}

std::string zshScript() {
    const std::vector<std::string> verbs = verbNames();
    std::string verbPattern;
    for (const std::string& verb : verbs)
        verbPattern += (verbPattern.empty() ? "" : "|") + verb;
    std::string script =
        "#compdef velor\n"
        "_velor() {\n"
        "    local verb before=$words[CURRENT-1] i\n"
        "    local -a offered\n"
        "    for ((i = 2; i < CURRENT; i++)); do\n"
        "        case $words[i] in\n"
        "            (" +
        verbPattern +
        ") verb=$words[i]; break ;;\n"
        "        esac\n"
        "    done\n"
        "    case \"$verb:$before\" in\n";
    forEachVerb([&](const VerbSpec& verb) {
        forEachOption(verb, [&](const OptionSpec& option) {
            if (!option.argument)
                return;
            std::string action = ":";
            if (option.kind == ValueKind::File)
                action = "_files";
            else if (option.kind == ValueKind::Folder)
                action = "_files -/";
            else if (const auto choices = choicesOf(option.kind, option.words); !choices.empty())
                action = "compadd -- " + joined(choices, shellQuote);
            script += "        (" + optionPattern(verb, option) + ") " + action + "; return ;;\n";
        });
    });
    script += "    esac\n    case \"$verb:$PREFIX\" in\n        (:*)\n            offered=(";
    forEachVerb([&](const VerbSpec& verb) {
        script += "\n                " + shellQuote(std::string(verb.name) + ":" + verb.summary);
    });
    script += ")\n            _describe verb offered; _files ;;\n";
    forEachVerb([&](const VerbSpec& verb) {
        script += "        (" + std::string(verb.name) + ":-*)\n            offered=(";
        forEachOption(verb, [&](const OptionSpec& option) {
            script += "\n                " + shellQuote("--" + std::string(option.name) + ":" + option.help);
            if (option.letter)
                script += ' ' + shellQuote(std::string("-") + option.letter + ":" + option.help);
        });
        script += ")\n            _describe option offered ;;\n";
        std::string action;
        if (const auto words = positionalWords(verb); !words.empty())
            action += "compadd -- " + joined(words, shellQuote) + " ";
        if (takesFiles(verb))
            action += (action.empty() ? "" : "; ") + std::string("_files ");
        if (!action.empty())
            script += "        (" + std::string(verb.name) + ":*) " + action + ";;\n";
    });
    return script +
           "    esac\n}\n"
           "if [[ $funcstack[1] == _velor ]]; then _velor \"$@\"; else compdef _velor velor; fi\n";
}

std::string fishScript() {
    std::string script =
        "# fish completion for velor\n"
        "complete -c velor -f -n __fish_use_subcommand -a '(__fish_complete_path)'\n";
    forEachVerb([&](const VerbSpec& verb) {
        script += "complete -c velor -f -n __fish_use_subcommand -a " + std::string(verb.name) + " -d " +
                  fishQuote(verb.summary) + "\n";
        const std::string condition = " -n '__fish_seen_subcommand_from " + std::string(verb.name) + "'";
        if (const auto words = positionalWords(verb); !words.empty())
            script +=
                "complete -c velor -f" + condition + " -a " + fishQuote(joined(words, fishQuote)) + "\n";
        else if (takesFiles(verb))
            script += "complete -c velor -F" + condition + "\n";
        forEachOption(verb, [&](const OptionSpec& option) {
            script += "complete -c velor" + condition + " -l " + option.name;
            if (option.letter)
                script += std::string(" -s ") + option.letter;
            if (option.argument) {
                const auto choices = choicesOf(option.kind, option.words);
                if (!choices.empty())
                    script += " -x -a " + fishQuote(joined(choices, fishQuote));
                else if (option.kind == ValueKind::Folder)
                    script += " -x -a '(__fish_complete_directories)'";
                else
                    script += option.kind == ValueKind::File ? " -r -F" : " -x";
            }
            script += " -d " + fishQuote(option.help) + "\n";
        });
    });
    return script;
}

std::string powerShellScript() {
    std::string script =
        "# PowerShell completion for velor\n"
        "Register-ArgumentCompleter -Native -CommandName velor, velor.exe -ScriptBlock {\n"
        "    param($word, $commandAst, $cursor)\n"
        "    $verbs = @(" +
        joined(verbNames(), powerQuote, ", ") +
        ")\n"
        "    $options = @{\n";
    forEachVerb([&](const VerbSpec& verb) {
        script += "        " + powerQuote(verb.name) + " = @(" + joined(optionWords(verb), powerQuote, ", ") +
                  ")\n";
    });
    script += "    }\n    $words = @{\n";
    forEachVerb([&](const VerbSpec& verb) {
        if (const auto words = positionalWords(verb); !words.empty())
            script += "        " + powerQuote(verb.name) + " = @(" + joined(words, powerQuote, ", ") + ")\n";
    });
    script += "    }\n    $values = @{\n";
    forEachVerb([&](const VerbSpec& verb) {
        forEachOption(verb, [&](const OptionSpec& option) {
            const auto choices = choicesOf(option.kind, option.words);
            if (option.argument && !choices.empty())
                script += "        " + powerQuote(std::string(verb.name) + ":--" + option.name) + " = @(" +
                          joined(choices, powerQuote, ", ") + ")\n";
        });
    });
    return script +
           "    }\n"
           "    $before = @($commandAst.CommandElements | Where-Object { $_.Extent.EndOffset -lt $cursor } "
           "|\n"
           "        ForEach-Object { $_.Extent.Text.Trim('\"', \"'\") })\n"
           "    $verb = $before | Select-Object -Skip 1 | Where-Object { $verbs -contains $_ } |\n"
           "        Select-Object -First 1\n"
           "    $last = if ($before.Count -gt 1) { $before[-1] } else { '' }\n"
           "    $offered = if (-not $verb) { $verbs }\n"
           "        elseif ($values.ContainsKey(\"${verb}:$last\")) { $values[\"${verb}:$last\"] }\n"
           "        elseif ($word.StartsWith('-')) { $options[$verb] }\n"
           "        else { $words[$verb] }\n"
           "    $typed = $word.Trim('\"', \"'\")\n"
           "    $offered | Where-Object { $_ -and $_.StartsWith($typed, 'OrdinalIgnoreCase') } | "
           "ForEach-Object {\n"
           "        $text = if ($_ -match \"[\\s'()]\") { \"'\" + $_.Replace(\"'\", \"''\") + \"'\" } else { "
           "$_ }\n"
           "        [System.Management.Automation.CompletionResult]::new($text, $_, 'ParameterValue', $_)\n"
           "    }\n"
           "}\n";
}

}  // namespace

std::string completionScript(const std::string& shell) {
    if (shell == "bash")
        return bashScript();
    if (shell == "zsh")
        return zshScript();
    if (shell == "fish")
        return fishScript();
    return shell == "powershell" ? powerShellScript() : std::string();
}

}  // namespace velor::cli
