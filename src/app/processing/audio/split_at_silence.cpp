#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition splitAtSilence{};

}  // namespace velor::audio_processes
