#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition insertSilence{};

}  // namespace velor::audio_processes
