#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition maximizeAmplitude{};

}  // namespace velor::audio_processes
