#include "app/processing/midi/processes.h"

namespace velor::midi_processes {

constinit const ProcessDefinition trimSong{};

}  // namespace velor::midi_processes
