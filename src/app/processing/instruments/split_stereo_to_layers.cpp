#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition splitStereoToLayers{};

}  // namespace velor::instrument_processes
