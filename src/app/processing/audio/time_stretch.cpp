#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition timeStretch{};

}  // namespace velor::audio_processes
