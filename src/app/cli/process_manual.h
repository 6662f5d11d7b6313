// The processes explained: help, lists and the manual's page, all from the catalogues.
#pragma once

#include <string>
#include <string_view>

#include "app/processing/catalogue.h"

namespace velor::cli {

// What "velor process NAME --help" prints; for an unknown name a line with the nearest ones.
std::string processHelp(std::string_view name);
// What a setting is, with its values and default unless that is left out, and what it does.
std::string settingHelp(const ProcessParameter& parameter, bool values = true);
// What "velor process --list" prints.
std::string processList();
// docs/processes.md
std::string processManual();

// Every name that a process can be called by: "cross-fade-loop", and with its flavour where two share a name.
std::vector<std::string> processNames();

// The message for a name that is none, with the nearest ones.
std::string unknownProcess(std::string_view name);

// "waveforms that are looped": when the process is offered.
std::string_view offeredFor(const ProcessRow& row);

}  // namespace velor::cli
