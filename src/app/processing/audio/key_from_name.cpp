#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition keyFromName{};

}  // namespace velor::audio_processes
