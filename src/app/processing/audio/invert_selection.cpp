#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition invertSelection{};

}  // namespace velor::audio_processes
