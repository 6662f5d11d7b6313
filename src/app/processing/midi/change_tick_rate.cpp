#include "app/processing/midi/processes.h"

namespace velor::midi_processes {

constinit const ProcessDefinition changeTickRate{};

}  // namespace velor::midi_processes
