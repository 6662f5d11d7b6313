#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition adjustKeyRanges{};

}  // namespace velor::instrument_processes
