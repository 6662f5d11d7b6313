#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition mixWaveforms{};

}  // namespace velor::audio_processes
