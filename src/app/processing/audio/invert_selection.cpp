#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"

namespace velor::audio_processes {

namespace {

ProcessOutcome run(ProcessJob& job) {
    if (!job.waveform().loadSamples())
        return ProcessOutcome::Failed;
    return editSamples(job, chosenFrames(job), [](std::span<float> piece, std::uint32_t) {
        for (float& sample : piece)
            sample = -sample;
    });
}

}  // namespace

constinit const ProcessDefinition invertSelection{
    .run = run,
    .help =
        "Turns the polarity of the selection, or of the whole waveform when nothing is selected. It "
        "sounds the same alone and cancels what it is mixed with. Loops, keys and regions stay as they "
        "are."};

}  // namespace velor::audio_processes
