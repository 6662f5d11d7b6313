#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition cutSelection{};

}  // namespace velor::audio_processes
