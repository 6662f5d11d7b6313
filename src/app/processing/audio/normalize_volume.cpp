#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition normalizeVolume{};

}  // namespace velor::audio_processes
