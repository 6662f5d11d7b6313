#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition removeSilence{};

}  // namespace velor::audio_processes
