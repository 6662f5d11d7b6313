#include <numbers>

#include "app/processing/audio/channel_edit.h"
#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

namespace {

enum Level : std::size_t { kSamePeak, kSamePower };

constexpr ProcessParameter kParameters[] = {
    {.key = "level",
     .label = "Level:",
     .kind = ProcessValueKind::Choice,
     .words = "same-peak|same-power",
     .help = "\"same-peak\" copies the channel as it is, which two loudspeakers play with twice the power; "
             "\"same-power\" lowers both by 3 dB."},
};

ProcessOutcome run(ProcessJob& job) {
    if (job.waveform().channels != 1)
        return ProcessOutcome::Unchanged;
    if (!job.waveform().loadSamples())
        return ProcessOutcome::Failed;
    const float gain =
        job.settings.choice("level") == kSamePower ? static_cast<float>(std::numbers::sqrt2 / 2) : 1.0f;
    return changeChannels(job, 2, [=](std::span<const float> from, std::span<float> to) {
        for (std::size_t i = 0; i < from.size(); ++i)
            to[2 * i] = to[2 * i + 1] = gain * from[i];
    });
}

}  // namespace

constinit const ProcessDefinition convertToStereo{
    run, kParameters,
    "Makes two equal channels of one. Stereo waveforms, loops, keys and regions stay as they are."};

}  // namespace velor::audio_processes
