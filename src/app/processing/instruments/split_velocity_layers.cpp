#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition splitVelocityLayers{};

}  // namespace velor::instrument_processes
