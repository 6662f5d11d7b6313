#include "app/processing/audio/processes.h"

#include "base/error.h"
#include "dsp/pitch_tuning.h"

namespace velor::audio_processes {

namespace {

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    DetectedPitch pitch;
    if (!detectPitch(waveform, pitch, &job.ui))
        return ProcessOutcome::Failed;
    job.measure("frequency", static_cast<double>(pitch.frequency), "Hz");
    // A tone above its key has a negative fine tune: that is what playing must add.
    job.report.measures.push_back({"tone", 0, {}, toneText(pitch.key, -pitch.cents, job.context.naming)});
    job.report.measures.push_back(
        {"tone that is set", 0, {}, toneText(waveform.rootKey, -waveform.fineTune, job.context.naming)});
    job.measure("off by", tuningDifference(waveform, pitch), "cents");
    return ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition calculateTuning{
    .run = run,
    .help =
        "Finds the fundamental pitch of each waveform and compares it with the root key and the fine tune "
        "that are "
        "set. Changes nothing.",
    .measures = true};

}  // namespace velor::audio_processes
