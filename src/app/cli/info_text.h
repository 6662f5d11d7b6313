// What is in a file, for people.
#pragma once

#include <string>

#include "app/cli/file_report.h"
#include "items/collection.h"

namespace velor::cli {

// Lines with line ends. `collection` is nullptr when the file could not be read; `tree` adds layers and
// regions, `settings` besides it what each level of an instrument sets.
std::string infoText(const FileReport& report, const Collection* collection, const NoteNaming& naming,
                     bool tree, bool settings = false);

// "Microsoft wave (100 %)", "Unknown file type".
std::string typeText(const FileReport& report);

}  // namespace velor::cli
