#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition reverseSelection{};

}  // namespace velor::audio_processes
