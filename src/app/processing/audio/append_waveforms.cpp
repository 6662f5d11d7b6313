#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

constinit const ProcessDefinition appendWaveforms{};

}  // namespace velor::audio_processes
