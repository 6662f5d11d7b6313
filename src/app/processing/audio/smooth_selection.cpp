#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition smoothSelection{};

}  // namespace velor::audio_processes
