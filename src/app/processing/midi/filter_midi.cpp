#include "app/processing/midi/processes.h"

namespace velor::midi_processes {

constinit const ProcessDefinition filterMidi{};

}  // namespace velor::midi_processes
