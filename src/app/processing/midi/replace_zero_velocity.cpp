#include "app/processing/midi/processes.h"

namespace velor::midi_processes {

constinit const ProcessDefinition replaceZeroVelocity{};

}  // namespace velor::midi_processes
