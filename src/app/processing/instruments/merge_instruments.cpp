#include "app/processing/instruments/processes.h"

namespace velor::instrument_processes {

constinit const ProcessDefinition mergeInstruments{};

}  // namespace velor::instrument_processes
