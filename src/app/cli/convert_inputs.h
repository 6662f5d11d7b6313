// The road that convert, render, resample, process and their like share: plan the outputs, go through the
// files, say what came of it.
#pragma once

#include <string>
#include <vector>

#include "app/cli/convert_types.h"

namespace velor::cli {

class Arguments;

// Fills the rest of the request from the command line and runs it. `request` says what is not an option of
// every verb. Returns an ExitCode.
int convertInputs(const Arguments& arguments, std::vector<std::string> inputs, ConvertRequest request);

}  // namespace velor::cli
