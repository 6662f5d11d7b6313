#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition fadeSelection{};

}  // namespace velor::audio_processes
