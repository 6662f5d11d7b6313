#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition addDownsampledOctaves{};

}  // namespace velor::instrument_processes
