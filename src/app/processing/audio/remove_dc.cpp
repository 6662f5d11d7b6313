#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition removeDc{};

}  // namespace velor::audio_processes
