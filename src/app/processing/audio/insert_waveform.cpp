#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition insertWaveform{};

}  // namespace velor::audio_processes
