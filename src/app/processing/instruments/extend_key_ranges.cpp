#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition extendKeyRanges{};

}  // namespace velor::instrument_processes
