#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition nameFromKey{};

}  // namespace velor::audio_processes
