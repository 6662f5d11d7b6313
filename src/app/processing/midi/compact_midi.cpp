#include "app/processing/midi/processes.h"

namespace velor::midi_processes {

constinit const ProcessDefinition compactMidi{};

}  // namespace velor::midi_processes
