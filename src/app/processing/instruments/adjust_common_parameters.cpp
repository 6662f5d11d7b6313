#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition adjustCommonParameters{};

}  // namespace velor::instrument_processes
