// How a Windows command line becomes arguments, and back: a Windows program gets one text and splits it
// itself. Works on any system. All texts are UTF-8.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velor {

struct CommandArgument {
    std::string text;
    bool wildcard = false;  // has a * or ? outside quotation marks
};

// Splits by the rules of Microsoft's C start-up code: blanks part arguments, quotation marks hold them
// together, 2n backslashes and a quotation mark stand for n backslashes and an end of quoting, one more for a
// literal mark. The first argument, the program, has no escapes.
std::vector<CommandArgument> splitWindowsCommandLine(std::string_view line);

// `argument` in such a form that splitting gives it back unchanged; not for the program's name, which no form
// can carry when it holds a quotation mark.
std::string quoteWindowsArgument(std::string_view argument);

// The files and folders that a pattern names, in the order of their names; * stands for any text and ? for
// any one character of a name, in any part of the path, without regard to ASCII case. Empty when nothing
// fits.
std::vector<std::string> expandWildcards(std::string_view pattern);

// True when the whole name fits the pattern.
bool matchesWildcards(std::string_view name, std::string_view pattern);

}  // namespace velor
