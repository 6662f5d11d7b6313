#include <algorithm>
#include <array>
#include <cmath>

#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "base/error.h"
#include "dsp/filter_design.h"
#include "dsp/sample_blocks.h"
#include "dsp/waveform_filter.h"

namespace velor::audio_processes {

namespace {

enum Method : std::size_t { kMean, kHighPass };

constexpr ProcessParameter kParameters[] = {
    {.key = "method",
     .label = "Method:",
     .kind = ProcessValueKind::Choice,
     .words = "mean|high-pass",
     .help =
         "\"mean\" takes the mean of each channel from all of its frames, \"high-pass\" follows an offset "
         "that drifts."},
    {.key = "frequency",
     .label = "Frequency of the high-pass:",
     .kind = ProcessValueKind::Number,
     .unit = "Hz",
     .least = 0.1,
     .most = 200,
     .standard = 5,
     .help = "Sound below it goes with the offset. Not used for the mean."},
};

using Means = std::array<double, 2>;

bool findMeans(const Waveform& waveform, UserInterface& ui, Means& means) {
    const std::span<const float> samples = waveform.samples();
    const std::size_t channels = waveform.channels;
    means = {};
    if (!inBlocks(waveform.frames, ui, {0, 0.3}, [&](std::size_t first, std::size_t count) {
            Means sums{};
            for (std::size_t i = first; i < first + count; ++i) {
                for (std::size_t c = 0; c < channels; ++c)
                    sums[c] += static_cast<double>(finiteOrZero(samples[i * channels + c]));
            }
            for (std::size_t c = 0; c < channels; ++c)
                means[c] += sums[c];
        }))
        return false;
    for (double& mean : means)
        mean /= std::max(1.0, static_cast<double>(waveform.frames));
    return true;
}

void subtract(std::span<float> samples, std::size_t channels, const Means& means) {
    for (std::size_t i = 0; i < samples.size(); i += channels) {
        for (std::size_t c = 0; c < channels; ++c)
            samples[i + c] = static_cast<float>(static_cast<double>(samples[i + c]) - means[c]);
    }
}

// The mean goes first: to the filter the offset would be a step where the sound begins. One of the second
// order has no more phase shift in the bass than it must.
ProcessOutcome highPass(ProcessJob& job, const Means& means) {
    constexpr unsigned kOrder = 2;
    Waveform& waveform = job.waveform();
    const double rate = waveform.sampleRate, frequency = job.settings.number("frequency");
    if (!canDesign(frequency, rate))
        return processFailed(formatText("A high-pass at %g Hz does not fit a sample rate of %u Hz", frequency,
                                        static_cast<unsigned>(waveform.sampleRate)));
    SampleBufferRef copy = editableCopy(waveform, waveform.frames, job.ui);
    if (!copy)
        return ProcessOutcome::Failed;
    float before = 0, after = 0;
    const std::size_t channels = waveform.channels;
    if (!findPeak(copy->samples(), job.ui, before) ||
        !inBlocks(waveform.frames, job.ui, {0.3, 0.4}, [&](std::size_t first, std::size_t count) {
            subtract(copy->samples().subspan(first * channels, count * channels), channels, means);
        }))
        return ProcessOutcome::Failed;
    constexpr double kBlendSeconds = 0.02;
    const WaveformFilter filter{
        .sections = designButterworth(FilterKind::HighPass, kOrder, frequency, rate),
        .loop = periodicLoop(waveform),
        .blend = static_cast<std::size_t>(kBlendSeconds * rate),
    };
    if (!filterFrames(copy->samples(), waveform.channels, filter, job.ui, 0.4) ||
        !findPeak(copy->samples(), job.ui, after))
        return ProcessOutcome::Failed;
    waveform.replaceSamples(std::move(copy));
    warnAboveFullScale(job, before, after);
    return ProcessOutcome::Changed;
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    Means means;
    if (!findMeans(waveform, job.ui, means))
        return ProcessOutcome::Failed;
    const std::size_t channels = waveform.channels;
    if (waveform.frames == 0)
        return ProcessOutcome::Unchanged;
    for (std::size_t c = 0; c < channels; ++c)
        job.measure(channels == 1 ? "offset" : c == 0 ? "offset left" : "offset right", 100 * means[c], "%");
    if (job.settings.choice("method") == kHighPass)
        return highPass(job, means);
    // Less than half a step of the waveform's own samples is no offset that they could do without.
    const double step = std::ldexp(1.0, -std::clamp<int>(waveform.bits, 8, 24));
    if (std::all_of(means.begin(), means.begin() + static_cast<std::ptrdiff_t>(channels),
                    [=](double mean) { return std::fabs(mean) < step; }))
        return ProcessOutcome::Unchanged;
    return editSamples(
        job, {0, waveform.frames},
        [&](std::span<float> piece, std::uint32_t) { subtract(piece, channels, means); }, 0.3);
}

}  // namespace

constinit const ProcessDefinition removeDc{
    run, kParameters,
    "Takes away what shifts the whole sound off zero, which costs headroom and clicks where a note begins "
    "and ends. Reports the offset in per cent of full scale. Waveforms without one stay as they are; loops "
    "stay seamless, keys and regions are not touched."};

}  // namespace velor::audio_processes
