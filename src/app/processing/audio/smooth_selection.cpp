#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "dsp/sample_blocks.h"
#include "dsp/smoothing.h"

namespace velor::audio_processes {

namespace {

enum Where : std::size_t { kAll, kEdges };

constexpr ProcessParameter kParameters[] = {
    {.key = "width",
     .label = "Width:",
     .kind = ProcessValueKind::Whole,
     .unit = "wavesamples",
     .least = 3,
     .most = 20001,
     .standard = 9,
     .help = "How many neighbours make one sample, itself in the middle; even numbers count as the next odd "
             "one. Sound with periods below the width goes."},
    {.key = "shape",
     .label = "Shape:",
     .kind = ProcessValueKind::Choice,
     .standard = 1,
     .words = "average|hann",
     .help =
         "\"average\" weighs all neighbours alike; \"hann\" weighs near ones more and leaves less of what "
         "is above its cutoff."},
    {.key = "where",
     .label = "Smooth:",
     .kind = ProcessValueKind::Choice,
     .words = "selection|edges",
     .help =
         "\"selection\" smooths all of it and blends into the untouched sound at its edges; \"edges\" only "
         "the surroundings of its first and last frame, to take away clicks there."},
};

// How much of the smoothed sound each frame of the range gets: a raised cosine over `blend` frames at each
// end.
float shareWithin(double at, double frames, double blend) {
    const double edge = std::min(at, frames - 1 - at) + 0.5;
    return edge >= blend ? 1 : static_cast<float>(0.5 - 0.5 * std::cos(std::numbers::pi * edge / blend));
}

struct Smoother {
    ProcessJob& job;
    std::size_t reach;
    SmoothingShape shape;

    // Blends the smoothed frames first..end into `to`. False when the user aborts.
    bool run(SampleBuffer& to, std::size_t first, std::size_t end, double blend) const {
        const Waveform& waveform = job.waveform();
        const std::size_t channels = waveform.channels;
        const auto frames = static_cast<double>(end - first);
        std::vector<float> smoothed;
        return inBlocks(end - first, job.ui, {}, [&](std::size_t at, std::size_t count) {
            smoothed.resize(count);
            for (unsigned c = 0; c < channels; ++c) {
                smooth(waveform.samples(), waveform.channels, c, first + at, smoothed, reach, shape);
                for (std::size_t i = 0; i < count; ++i) {
                    float& sample = to.data()[(first + at + i) * channels + c];
                    const float old = finiteOrZero(sample);
                    const float share = shareWithin(static_cast<double>(at + i), frames, blend);
                    sample = old + share * (smoothed[i] - old);
                }
            }
        });
    }
};

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    const FrameSelection range = chosenFrames(job);
    if (range.first >= range.end)
        return ProcessOutcome::Unchanged;
    SampleBufferRef copy = editableCopy(waveform, waveform.frames, job.ui);
    if (!copy)
        return ProcessOutcome::Failed;
    const auto reach = static_cast<std::size_t>(job.settings.whole("width")) / 2;
    const Smoother smoother{job, reach, static_cast<SmoothingShape>(job.settings.choice("shape"))};
    const double width = static_cast<double>(2 * reach + 1);
    bool done = false;
    if (job.settings.choice("where") == kAll) {
        const double blend = std::min(width, 0.5 * (range.end - range.first));
        done = smoother.run(*copy.get(), range.first, range.end, blend);
    } else {
        // Around both ends; where they meet it is one piece.
        const std::size_t whole = 2 * reach + 1, frames = waveform.frames;
        const auto before = [=](std::size_t at) { return at > whole ? at - whole : 0; };
        const auto after = [=](std::size_t at) { return std::min(frames, at + whole); };
        const bool meet = after(range.first) >= before(range.end);
        done = smoother.run(*copy.get(), before(range.first), after(meet ? range.end : range.first), width) &&
               (meet || smoother.run(*copy.get(), before(range.end), after(range.end), width));
    }
    if (!done)
        return ProcessOutcome::Failed;
    waveform.replaceSamples(std::move(copy));
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition smoothSelection{
    run, kParameters,
    "Replaces each sample within the selection by a mean of its neighbours, which dulls the sound and takes "
    "clicks and steps away. Nothing jumps at the selection's edges. Loops, keys and regions stay as they "
    "are."};

}  // namespace velor::audio_processes
