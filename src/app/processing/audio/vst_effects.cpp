#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

// A host for plug-ins is not a part of this build.
constinit const ProcessDefinition vstEffects{.help = "Runs the waveform through VST plug-in effects."};

}  // namespace velor::audio_processes
