#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition mergeMonoPairs{};

}  // namespace velor::instrument_processes
