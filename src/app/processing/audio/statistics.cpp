#include <algorithm>
#include <cmath>

#include "app/processing/audio/level_measures.h"
#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"
#include "base/error.h"
#include "dsp/signal_statistics.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "silence",
     .label = "Silence is below:",
     .kind = ProcessValueKind::Number,
     .unit = "dBFS",
     .least = -200,
     .standard = -72,
     .help = "For the silence at start and end."},
    {.key = "levels",
     .label = "True peak and loudness too",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "Takes longer than everything else."},
};

void reportText(ProcessJob& job, std::string what, std::string text) {
    job.report.measures.push_back({std::move(what), 0, {}, std::move(text)});
}

void reportChannel(ProcessJob& job, const ChannelStatistics& channel, const std::string& of) {
    job.measure("highest sample" + of, static_cast<double>(channel.highest), "");
    job.measure("frame of the highest" + of, channel.highestAt, "");
    job.measure("lowest sample" + of, static_cast<double>(channel.lowest), "");
    job.measure("frame of the lowest" + of, channel.lowestAt, "");
    job.measure("DC offset" + of, 100 * channel.mean, "%");
    reportLevel(job, ("RMS level" + of).c_str(), decibelsOfFactor(channel.rms), "dBFS");
    const double peak = std::max(static_cast<double>(channel.highest), -static_cast<double>(channel.lowest));
    if (channel.rms > 0)
        job.measure("crest factor" + of, decibelsOfFactor(peak / channel.rms), "dB");
    job.measure("samples at full scale" + of, channel.fullScale, "");
    job.measure("longest run at full scale" + of, channel.longestFullScale, "");
    job.measure("zero crossings" + of, channel.zeroCrossings, "");
    if (channel.notNumbers > 0)
        job.measure("samples that are no numbers" + of, channel.notNumbers, "");
    if (channel.infinities > 0)
        job.measure("infinite samples" + of, channel.infinities, "");
}

void reportAll(ProcessJob& job, const SignalStatistics& found) {
    const Waveform& waveform = job.waveform();
    const auto seconds = [&](std::uint32_t frames) {
        return waveform.sampleRate ? static_cast<double>(frames) / waveform.sampleRate : 0;
    };
    job.measure("frames", waveform.frames, "");
    job.measure("duration", waveform.durationSeconds(), "s");
    job.measure("sample rate", waveform.sampleRate, "Hz");
    job.measure("channels", waveform.channels, "");
    if (found.bits == kNeedsFloat)
        reportText(job, "bits used", "floating point");
    else
        job.measure("bits used", found.bits, "");
    static constexpr const char* kSides[] = {" left", " right"};
    for (std::size_t c = 0; c < waveform.channels; ++c)
        reportChannel(job, found.channels[c], waveform.channels == 1 ? "" : kSides[c]);
    if (waveform.channels == 2)
        job.measure("correlation of the channels", found.correlation, "");
    job.measure("silence at the start", seconds(found.silenceBefore), "s");
    job.measure("silence at the end", seconds(found.silenceAfter), "s");
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    SignalStatistics found;
    const auto silence = static_cast<float>(factorOfDecibels(job.settings.number("silence")));
    if (!measureStatistics(waveform.samples(), waveform.channels, fullScaleOf(waveform), silence, job.ui,
                           found, 0, 0.4))
        return ProcessOutcome::Failed;
    reportAll(job, found);
    if (!job.settings.flag("levels"))
        return ProcessOutcome::Unchanged;
    const bool loud = waveform.sampleRate >= kLowestLoudnessRate;
    Levels levels;
    if (!measureLevels(waveform, {.truePeak = true, .loudness = loud}, job.ui, levels, 0.4, 1))
        return ProcessOutcome::Failed;
    reportLevel(job, "true peak", decibelsOfFactor(levels.truePeak), "dBTP");
    if (loud)
        reportLevel(job, "loudness", levels.loudness.integrated, "LUFS");
    return ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition statistics{
    .run = run,
    .parameters = kParameters,
    .help =
        "Counts and measures the samples: extremes and their frames, DC offset, RMS level and crest factor "
        "of each channel, samples at full scale, zero crossings, the bits that are really used, silence "
        "at both ends, how alike the channels are, loudness. Changes nothing.",
    .measures = true};

}  // namespace velor::audio_processes
