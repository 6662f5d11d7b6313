#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition loopSelection{};

}  // namespace velor::audio_processes
