#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition adjustVolume{};

}  // namespace velor::audio_processes
