// Help, the manual page and the shell completions, all made from the option table.
#pragma once

#include <string>

namespace velor::cli {

struct VerbSpec;

// What "velor --help" prints.
std::string generalHelp();
// What "velor VERB --help" prints.
std::string verbHelp(const VerbSpec& verb);
// The manual page velor(1), roff with the man macros.
std::string manualPage();
// A completion script; empty for unknown shells.
std::string completionScript(const std::string& shell);

// Breaks text into lines of at most `width` columns, each after the first with `indent` blanks in front.
std::string wrapText(const std::string& text, std::size_t width, std::size_t indent);

}  // namespace velor::cli
