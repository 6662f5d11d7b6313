// The command line: one program, one verb per job.
#pragma once

#include <string>
#include <vector>

namespace velor::cli {

// What the program tells its caller.
enum ExitCode : int {
    kExitDone = 0,
    kExitFailed = 1,  // some or all of the work failed
    kExitUsage = 2,   // the command line itself was wrong; nothing was done
    kExitInterrupted = 130,
};

// Runs one command line (UTF-8, without the program's own name) and returns the exit code.
int runCommandLine(std::vector<std::string> arguments);

// "velor 12.6"
inline constexpr const char* kVersionLine = "velor " VELOR_VERSION;

}  // namespace velor::cli
