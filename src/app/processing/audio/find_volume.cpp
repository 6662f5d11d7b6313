#include <cmath>

#include "app/processing/audio/level_measures.h"
#include "app/processing/audio/processes.h"
#include "app/processing/audio/sample_edit.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "with-gain",
     .label = "Include the waveform's gain setting",
     .kind = ProcessValueKind::Switch,
     .help = "Adds the gain that players apply to all levels; without it the samples alone count."},
};

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    const bool loud = waveform.sampleRate >= kLowestLoudnessRate;
    Levels levels;
    if (!measureLevels(waveform, {.truePeak = true, .rms = true, .loudness = loud}, job.ui, levels))
        return ProcessOutcome::Failed;
    const double gain = job.settings.flag("with-gain") ? static_cast<double>(waveform.gain) : 0;
    reportLevel(job, "peak", decibelsOfFactor(levels.peak) + gain, "dBFS");
    reportLevel(job, "true peak", decibelsOfFactor(levels.truePeak) + gain, "dBTP");
    reportLevel(job, "RMS level", decibelsOfFactor(levels.rms) + gain, "dBFS");
    if (!loud) {
        job.report.measures.push_back({"loudness", 0, {}, "not measured: the sample rate is too low"});
        return ProcessOutcome::Unchanged;
    }
    reportLevel(job, "loudness", levels.loudness.integrated + gain, "LUFS");
    reportLevel(job, "highest momentary loudness", levels.loudness.momentary + gain, "LUFS");
    reportLevel(job, "highest short-term loudness", levels.loudness.shortTerm + gain, "LUFS");
    if (levels.loudness.range)
        job.measure("loudness range", *levels.loudness.range, "LU");
    else
        job.report.measures.push_back({"loudness range", 0, {}, "too short or too quiet"});
    return ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition findVolume{
    .run = run,
    .parameters = kParameters,
    .help =
        "Measures peak, true peak (four times oversampled), RMS level (0 dB is a full-scale square, a sine "
        "has -3) and loudness after EBU R 128. A sound shorter than the 400 ms of the loudness meter counts "
        "as if silence followed, a looped one as if its loop went on. Changes nothing.",
    .measures = true};

}  // namespace velor::audio_processes
