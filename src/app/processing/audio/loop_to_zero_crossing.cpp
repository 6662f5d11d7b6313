#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition loopToZeroCrossing{};

}  // namespace velor::audio_processes
