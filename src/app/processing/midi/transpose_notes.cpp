#include "app/processing/midi/processes.h"

namespace velor::midi_processes {

constinit const ProcessDefinition transposeNotes{};

}  // namespace velor::midi_processes
