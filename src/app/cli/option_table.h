// Every verb with its options, as data. The parser, the help texts, the man page and the shell completions
// are all made from this table, so an option exists in all of them or in none.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace velor::cli {

class Arguments;

// What the value of an option or positional argument is: decides how it is checked and completed.
enum class ValueKind {
    Text,
    File,
    Folder,
    Words,           // one of a fixed list
    Whole,           // a whole number from 1 on
    Number,          // a number from 0 on
    Encoding,        // a sample encoding by name
    ReadExtension,   // an extension that some row reads
    WriteExtension,  // an extension that some row writes
    WriteType,       // the description of a row that writes
    Setting,         // the key of a setting
    Process,         // the name of a process
    Verb,
};

struct OptionSpec {
    const char* name;                // long name without the dashes
    char letter = 0;                 // short form, 0 for none
    const char* argument = nullptr;  // what help calls the value; nullptr for a switch
    const char* help = "";
    ValueKind kind = ValueKind::Text;
    const char* words = "";  // for ValueKind::Words, separated by '|'
    bool repeatable = false;
    bool hidden = false;
};

struct PositionalSpec {
    const char* name;
    const char* help;
    ValueKind kind = ValueKind::File;
    const char* words = "";
    unsigned least = 0;
    unsigned most = 1;
};

inline constexpr unsigned kAnyNumber = ~0u;

struct VerbSpec {
    const char* name;
    const char* summary;   // one line, for the list of verbs
    const char* synopsis;  // what follows the verb
    const char* text;      // a paragraph or two; lines are broken by whoever shows it
    std::span<const OptionSpec> options;
    std::span<const PositionalSpec> positionals;
    std::span<const char* const> examples;
    int (*run)(const Arguments& arguments);
    bool hidden = false;
    // The help on one of the things that the verb's first argument names; nullptr when there is none.
    std::string (*topicHelp)(std::string_view topic) = nullptr;
};

std::span<const VerbSpec> verbTable();
// Options that every verb takes.
std::span<const OptionSpec> commonOptions();

// nullptr for unknown names.
const VerbSpec* findVerb(std::string_view name);
// Looks among the verb's own options and the common ones; nullptr when there is none of that name.
const OptionSpec* findOption(const VerbSpec& verb, std::string_view name);

// The values that a kind offers, for completion and for "nearest" lists; empty for free text, files and
// numbers.
std::vector<std::string> choicesOf(ValueKind kind, const char* words);

}  // namespace velor::cli
