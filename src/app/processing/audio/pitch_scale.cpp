#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition pitchScale{};

}  // namespace velor::audio_processes
