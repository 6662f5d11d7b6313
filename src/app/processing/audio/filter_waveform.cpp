#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition filterWaveform{};

}  // namespace velor::audio_processes
