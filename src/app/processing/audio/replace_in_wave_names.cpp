#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition replaceInWaveNames{};

}  // namespace velor::audio_processes
