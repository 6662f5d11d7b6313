#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition trimToSelection{};

}  // namespace velor::audio_processes
