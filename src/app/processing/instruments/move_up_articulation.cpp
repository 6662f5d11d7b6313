#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition moveUpArticulation{};

}  // namespace velor::instrument_processes
