#include "app/processing/audio/channel_edit.h"

#include "app/processing/audio/sample_edit.h"
#include "base/error.h"
#include "dsp/sample_blocks.h"

namespace velor {

ProcessOutcome changeChannels(ProcessJob& job, std::uint8_t channels, const ChannelWork& work) {
    Waveform& waveform = job.waveform();
    const std::span<const float> from = std::as_const(waveform).samples();
    const std::size_t oldChannels = waveform.channels;
    SampleBufferRef made(
        SampleBuffer::create(waveform.frames, channels, static_cast<float>(waveform.sampleRate)));
    if (!made)
        return processFailed(kOutOfMemory);
    if (!inBlocks(waveform.frames, job.ui, {}, [&](std::size_t first, std::size_t count) {
            work(from.subspan(first * oldChannels, count * oldChannels),
                 made->samples().subspan(first * channels, count * channels));
        }))
        return ProcessOutcome::Failed;
    float before = 0, after = 0;
    if (!findPeak(from, job.ui, before) || !findPeak(made->samples(), job.ui, after))
        return ProcessOutcome::Failed;
    waveform.replaceSamples(std::move(made));
    warnAboveFullScale(job, before, after);
    return ProcessOutcome::Changed;
}

}  // namespace velor
