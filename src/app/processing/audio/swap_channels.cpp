#include <utility>

#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"

namespace velor::audio_processes {

namespace {

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (waveform.channels != 2)
        return ProcessOutcome::Unchanged;
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    return editSamples(job, {0, waveform.frames}, [](std::span<float> piece, std::uint32_t) {
        for (std::size_t i = 0; i + 1 < piece.size(); i += 2)
            std::swap(piece[i], piece[i + 1]);
    });
}

}  // namespace

constinit const ProcessDefinition swapChannels{
    .run = run,
    .help =
        "Exchanges left and right. Mono waveforms, loops, keys and the panning of regions stay as they "
        "are."};

}  // namespace velor::audio_processes
