#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition formatNames{};

}  // namespace velor::instrument_processes
