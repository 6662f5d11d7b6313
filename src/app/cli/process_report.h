// What a process found and changed, as text.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "app/cli/process_items.h"

namespace velor::cli {

// Gathers the results of a run over files. Text comes as one block for each file: a table with a line for
// each item when the process measured a few things, a list under the item's name when it measured many; below
// that what it changed.
std::string processReport(std::string_view file, const ProcessResult& result);

// "frames 44100 -> 22050"
std::string changeText(const FieldChange& change);
// "-3.2 dB", "C4 plus 3 cents"
std::string measureText(const ProcessMeasure& measure);

}  // namespace velor::cli
