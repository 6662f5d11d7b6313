// A parsed command line.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace velor::cli {

struct VerbSpec;

class Arguments {
  public:
    const VerbSpec* verb = nullptr;
    std::vector<std::string> positionals;
    // Values by long option name, in the order given; a switch has one empty value.
    std::map<std::string, std::vector<std::string>, std::less<>> options;

    bool has(std::string_view option) const { return options.find(option) != options.end(); }
    // The value given last, or `fallback`.
    std::string value(std::string_view option, std::string_view fallback = {}) const;
    const std::vector<std::string>& values(std::string_view option) const;
    // For options of kind Whole and Number, which the parser has checked.
    long long whole(std::string_view option, long long fallback) const;
    double number(std::string_view option, double fallback) const;
};

// What came of reading a command line.
struct ParseResult {
    enum class Outcome { Run, ShowHelp, ShowVersion, Wrong };
    Outcome outcome = Outcome::Wrong;
    Arguments arguments;
    const VerbSpec* helpVerb = nullptr;  // nullptr: the general help
    std::string helpTopic;               // the verb's first argument, for verbs that explain theirs
    std::string error;                   // for Wrong
};

ParseResult parseCommandLine(std::vector<std::string> arguments);

// `unknown WHAT "NAME"; nearest: a, b, c`.
// What is not as it is shown in full may be meant by a short form: "pcm25" is near "PCM 24-bit".
std::string unknownName(std::string_view what, std::string_view name,
                        const std::vector<std::string>& candidates);

}  // namespace velor::cli
