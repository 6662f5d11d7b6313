#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition sanitizeLoops{};

}  // namespace velor::audio_processes
