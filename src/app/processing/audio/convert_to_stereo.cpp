#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition convertToStereo{};

}  // namespace velor::audio_processes
