#include "app/processing/midi/processes.h"

namespace velor::midi_processes {

constinit const ProcessDefinition convertMidiFormat{};

}  // namespace velor::midi_processes
