#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition nameFromFile{};

}  // namespace velor::audio_processes
