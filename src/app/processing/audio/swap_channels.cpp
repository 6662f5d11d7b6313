#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition swapChannels{};

}  // namespace velor::audio_processes
