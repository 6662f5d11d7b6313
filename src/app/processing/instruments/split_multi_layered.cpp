#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition splitMultiLayered{};

}  // namespace velor::instrument_processes
