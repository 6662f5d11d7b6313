#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition trimAfterLoop{};

}  // namespace velor::audio_processes
