// What is known about one input file before and after reading it.
#pragma once

#include <string>
#include <vector>

#include "formats/framework/format_table.h"

namespace velor::cli {

struct FileReport {
    std::string path;  // as the user gave it
    bool ok = false;
    std::string error;
    Identification type;
    std::vector<std::string> warnings;
};

}  // namespace velor::cli
