// Converts one input.
#pragma once

#include <set>
#include <string>

#include "app/cli/convert_types.h"

namespace velor::cli {

class Terminal;

// Reads the task's input and writes what the request asks for. `written` holds the pathKey()s of this run's
// outputs, so that no input overwrites what another one gave.
ConvertResult convertFile(const ConvertTask& task, const ConvertRequest& request, TerminalInterface& ui,
                          Terminal& terminal, std::set<std::string>& written);

}  // namespace velor::cli
