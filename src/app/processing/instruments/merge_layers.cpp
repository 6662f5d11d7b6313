#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition mergeLayers{};

}  // namespace velor::instrument_processes
