#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition convertToMono{};

}  // namespace velor::audio_processes
