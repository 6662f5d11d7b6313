#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition statistics{};

}  // namespace velor::audio_processes
