#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition splitDrumKit{};

}  // namespace velor::instrument_processes
