#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition moveArticulationLevel{};

}  // namespace velor::instrument_processes
