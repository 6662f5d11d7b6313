#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition renumberInstruments{};

}  // namespace velor::instrument_processes
