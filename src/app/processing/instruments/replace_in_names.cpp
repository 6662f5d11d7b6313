#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition replaceInNames{};

}  // namespace velor::instrument_processes
