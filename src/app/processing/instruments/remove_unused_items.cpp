#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition removeUnusedItems{};

}  // namespace velor::instrument_processes
