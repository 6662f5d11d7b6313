#include "app/processing/audio/processes.h"
#include "app/processing/name_replacement.h"

namespace velor::audio_processes {

constinit const ProcessDefinition replaceInWaveNames{
    [](ProcessJob& job) { return replaceInName(job.item, job.settings); }, kReplaceParameters,
    "Searches for a text in the names of the waveforms and replaces it wherever it is found, also by regular "
    "expressions. Nothing but names changes."};

}  // namespace velor::audio_processes
