#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition findVolume{};

}  // namespace velor::audio_processes
