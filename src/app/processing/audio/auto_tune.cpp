#include "app/processing/audio/processes.h"

#include "base/error.h"
#include "dsp/pitch_tuning.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "by",
     .label = kTunePageText,
     .kind = ProcessValueKind::Choice,
     .words = "key|fine|rate",
     .help =
         "key: root key and fine tune become those of the pitch that is found. fine: only the fine tune, so "
         "that "
         "what remains is a whole number of semitones. rate: the sample rate, so that root key and fine tune "
         "become right."},
};

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    DetectedPitch pitch;
    if (!detectPitch(waveform, pitch, &job.ui))
        return ProcessOutcome::Failed;
    job.measure("frequency", static_cast<double>(pitch.frequency), "Hz");
    const int difference = tuningDifference(waveform, pitch);
    job.measure("tuning adjusted by", difference, "cents");
    if (difference == 0)
        return ProcessOutcome::Unchanged;
    return tuneTo(waveform, pitch, static_cast<TuneBy>(job.settings.choice("by")))
               ? ProcessOutcome::Changed
               : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition autoTuneProcess{run, kParameters,
                                                  "Finds the fundamental pitch of each waveform and tunes "
                                                  "the waveform by it. The samples stay as they are."};

}  // namespace velor::audio_processes
