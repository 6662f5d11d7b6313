#include "app/processing/midi/processes.h"

namespace velor::midi_processes {

constinit const ProcessDefinition fixMidiCompatibility{};

}  // namespace velor::midi_processes
