#include "app/processing/audio/processes.h"
#include "dsp/frame_edit.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "fade",
     .label = "Fade in and out at the new ends",
     .kind = ProcessValueKind::Number,
     .unit = "ms",
     .most = 10000,
     .help = "Only at ends that were cut; 0 for none."},
};

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!job.context.selection)
        return processFailed("Nothing is selected");
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    const FrameSelection range = job.range();
    if (range.first == 0 && range.end == waveform.frames)
        return ProcessOutcome::Unchanged;
    FrameEdit edit(waveform);
    edit.keep(range.first, range.end);
    edit.fadeEnds(framesOfTime(job.settings.number("fade"), waveform.sampleRate));
    return applyFrameEdit(job.collection(), waveform, edit, job.ui) ? ProcessOutcome::Changed
                                                                    : ProcessOutcome::Failed;
}

}  // namespace

constinit const ProcessDefinition trimToSelection{
    run, kParameters,
    "Keeps the selected frames only. Loops move with their frames, a loop that reaches beyond the selection "
    "gets shorter and one outside of it is removed, also where regions have loop points of their own."};

}  // namespace velor::audio_processes
