// Converting in processes of their own: what makes one of them crash fails one file.
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "app/cli/convert_types.h"

namespace velor::cli {

class Arguments;
class Terminal;

// Runs every task in a worker, `request.jobs` at a time, and hands the results to `done` in the order of the
// tasks, each as soon as it and all before it are there.
void convertInWorkers(const Arguments& arguments, const ConvertRequest& request,
                      const std::vector<ConvertTask>& tasks, Terminal& terminal,
                      const std::function<void(const ConvertTask&, ConvertResult)>& done);

// True when this process is a worker; then its task, with the only input that it has, is filled in.
bool isWorker(const Arguments& arguments, std::string_view input, ConvertTask& task);

}  // namespace velor::cli
