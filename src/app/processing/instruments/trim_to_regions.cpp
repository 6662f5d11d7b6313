#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition trimToRegions{};

}  // namespace velor::instrument_processes
