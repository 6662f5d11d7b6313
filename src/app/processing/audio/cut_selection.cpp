#include "app/processing/audio/processes.h"
#include "dsp/frame_edit.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "fade",
     .label = "Cross-fade where the cut was",
     .kind = ProcessValueKind::Number,
     .unit = "ms",
     .most = 10000,
     .help = "Keeps the cut from clicking: what was before it fades into what came after. 0 for none; a few "
             "milliseconds do."},
};

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!job.context.selection)
        return processFailed("Nothing is selected");
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    const FrameSelection range = job.range();
    if (range.first >= range.end)
        return ProcessOutcome::Unchanged;
    FrameEdit edit(waveform);
    edit.keep(0, range.first);
    edit.keep(range.end, waveform.frames);
    edit.fadeJoins(framesOfTime(job.settings.number("fade"), waveform.sampleRate));
    return applyFrameEdit(job.collection(), waveform, edit, job.ui) ? ProcessOutcome::Changed
                                                                    : ProcessOutcome::Failed;
}

}  // namespace

constinit const ProcessDefinition cutSelection{
    run, kParameters,
    "Takes the selected frames away; what follows them moves forward. Loops move with their frames, a loop "
    "that loses some of them gets shorter and one that loses all is removed, also where regions have loop "
    "points of their own."};

}  // namespace velor::audio_processes
