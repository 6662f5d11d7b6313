#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition enableLoops{};

}  // namespace velor::audio_processes
