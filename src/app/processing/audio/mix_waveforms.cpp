#include <algorithm>
#include <cmath>
#include <limits>

#include "app/processing/adapted_waveform.h"
#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "app/processing/other_waveform.h"
#include "app/processing/part_progress.h"
#include "base/error.h"
#include "dsp/sample_blocks.h"
#include "items/region_loop.h"

namespace velor::audio_processes {

namespace {

enum Length : std::size_t { kFirst, kLongest, kShortest };
enum Channels : std::size_t { kMost, kAsFirst };

constexpr ProcessParameter kParameters[] = {
    {.key = "a",
     .label = "a:",
     .kind = ProcessValueKind::Number,
     .least = -1000,
     .most = 1000,
     .standard = 1,
     .help = "What the waveform itself is multiplied by."},
    {.key = "wave",
     .label = "wave2:",
     .kind = ProcessValueKind::Wave,
     .help = "The other waveform. It is resampled when its rate differs, and stays as it is."},
    {.key = "b",
     .label = "b:",
     .kind = ProcessValueKind::Number,
     .least = -1000,
     .most = 1000,
     .standard = 1,
     .help = "What the other waveform is multiplied by; negative numbers turn its polarity."},
    {.key = "c",
     .label = "c:",
     .kind = ProcessValueKind::Number,
     .least = -1,
     .most = 1,
     .help = "A constant that is added to every sample, full scale being 1."},
    {.key = "offset",
     .label = "wave2 begins at:",
     .kind = ProcessValueKind::Whole,
     .unit = "wavesamples",
     .least = -4294967295.0,
     .most = 4294967295.0,
     .help = "Frame of the waveform; a negative one leaves out as much of the other."},
    {.key = "length",
     .label = "Length:",
     .kind = ProcessValueKind::Choice,
     .words = "first|longest|shortest",
     .help = "Of the result: that of the waveform, until both have ended, or until one has."},
    {.key = "channels",
     .label = "Channels:",
     .kind = ProcessValueKind::Choice,
     .words = "most|first",
     .help = "\"most\" makes stereo when either is; \"first\" keeps the waveform's own, a stereo wave2 then "
             "counts with its mean."},
};

// What of two waveforms goes into the result.
struct Mix {
    std::span<const float> first, second;
    std::size_t firstChannels, channels;  // the second has those of the result
    std::int64_t offset;                  // of the second in frames of the first
    float a, b, c;

    static float sampleOf(std::span<const float> samples, std::size_t channels, std::int64_t frame,
                          std::size_t channel) {
        if (frame < 0 || static_cast<std::uint64_t>(frame) >= samples.size() / channels)
            return 0;
        return samples[static_cast<std::size_t>(frame) * channels + std::min(channel, channels - 1)];
    }
    float at(std::size_t frame, std::size_t channel) const {
        const auto place = static_cast<std::int64_t>(frame);
        return a * sampleOf(first, firstChannels, place, channel) +
               b * sampleOf(second, channels, place - offset, channel) + c;
    }
};

// Loops can not reach beyond what a shorter result has.
void limitLoops(Waveform& waveform) {
    const double frames = waveform.frames;
    if (waveform.looped && waveform.loopEnd > frames) {
        waveform.loopEnd = frames;
        if (!(waveform.loopStart < frames))
            waveform.clearLoop();
    }
    limitLoopOverrides(waveform);
}

std::int64_t resultFrames(std::size_t length, std::int64_t first, std::int64_t secondEnd) {
    switch (length) {
        case kLongest:
            return std::max(first, secondEnd);
        case kShortest:
            return std::max<std::int64_t>(0, std::min(first, secondEnd));
        default:
            return first;
    }
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    const ProcessSettings& set = job.settings;
    OtherWaveform other;
    if (!waveform.loadSamples() || !findOtherWaveform(job, set.text("wave"), other))
        return ProcessOutcome::Failed;
    const bool stereo =
        waveform.channels == 2 || (set.choice("channels") == kMost && other.waveform->channels == 2);
    const std::uint8_t channels = stereo ? 2 : 1;
    PartProgress adapting(job.ui, 0, 0.5);
    const SampleBufferRef second =
        adaptFrames(*other.waveform, waveform, channels, adapting, AdaptedLevel::AsIs);
    if (!second)
        return ProcessOutcome::Failed;
    const Mix mix{.first = std::as_const(waveform).samples(),
                  .second = std::as_const(*second.get()).samples(),
                  .firstChannels = waveform.channels,
                  .channels = channels,
                  .offset = set.whole("offset"),
                  .a = static_cast<float>(set.number("a")),
                  .b = static_cast<float>(set.number("b")),
                  .c = static_cast<float>(set.number("c"))};
    const std::int64_t frames =
        resultFrames(set.choice("length"), waveform.frames, mix.offset + second->frames());
    if (frames > std::numeric_limits<std::uint32_t>::max())
        return processFailed("The mixed waveform would be too long");
    SampleBufferRef made(SampleBuffer::create(static_cast<std::uint32_t>(frames),
                                              static_cast<std::uint8_t>(mix.channels),
                                              static_cast<float>(waveform.sampleRate)));
    if (!made)
        return processFailed(kOutOfMemory);
    if (!inBlocks(static_cast<std::size_t>(frames), job.ui, {0.5, 1},
                  [&](std::size_t first, std::size_t count) {
                      for (std::size_t i = first; i < first + count; ++i) {
                          for (std::size_t c = 0; c < mix.channels; ++c)
                              made->data()[i * mix.channels + c] = mix.at(i, c);
                      }
                  }))
        return ProcessOutcome::Failed;
    float first = 0, added = 0, after = 0;
    if (!findPeak(mix.first, job.ui, first) || !findPeak(mix.second, job.ui, added) ||
        !findPeak(made->samples(), job.ui, after))
        return ProcessOutcome::Failed;
    waveform.replaceSamples(std::move(made));
    limitLoops(waveform);
    warnAboveFullScale(job, std::max(first, added), after);
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition mixWaveforms{
    run, kParameters,
    "Makes a times the waveform plus b times another one plus c. Root key, tuning and loop stay those of the "
    "waveform; a loop that reaches beyond a shorter result ends with it. Sums above full scale are kept and "
    "reported."};

}  // namespace velor::audio_processes
