// From the inputs of a command line to one task per file.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "app/cli/convert_types.h"

namespace velor::cli {

class Arguments;
class Terminal;

// Reads the request from the command line. Returns a usage message when it is wrong, else an empty text.
std::string readConvertRequest(const Arguments& arguments, ConvertRequest& request);

// A folder for things that last as long as the program; removed with all that is in it.
class TemporaryFolder {
  public:
    TemporaryFolder() = default;
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    // Makes the folder on first use. False with LastErrorText.
    bool make();
    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

// Finds the files, in a fixed order, and names their outputs. Inputs that can not be used become tasks with a
// problem, so that they are reported in their place. Standard input is stored in `spool`.
std::vector<ConvertTask> planTasks(const ConvertRequest& request, const std::vector<std::string>& inputs,
                                   TemporaryFolder& spool, Terminal& terminal);

}  // namespace velor::cli
