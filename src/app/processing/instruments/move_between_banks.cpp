#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition moveBetweenBanks{};

}  // namespace velor::instrument_processes
