// What a process found and changed, as text.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "app/cli/process_items.h"

namespace velor::cli {

struct FileResult {
    std::string file;  // as messages name it
    ProcessResult result;
};

// A block for a file: a table with a line for each item when the process measured a few things, a list under
// the item's name when it measured many; below that the changes of at most `mostChanges` items.
std::string processReport(const FileResult& each, std::size_t mostChanges);
// The same for a process that only measures, over all files: one table where that is possible.
std::string measuresReport(std::span<const FileResult> results);

// "frames 44100 -> 22050"
std::string changeText(const FieldChange& change);
// "-3.2 dB", "C4 plus 3 cents"
std::string measureText(const ProcessMeasure& measure);

}  // namespace velor::cli
