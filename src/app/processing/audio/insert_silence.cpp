#include "app/processing/audio/processes.h"
#include "app/processing/insert_position.h"
#include "dsp/frame_edit.h"

namespace velor::audio_processes {

namespace {

// Hz; only damaged files claim more, and a second of such a rate would fill the memory.
constexpr std::uint32_t kHighestRate = 1 << 22;

constexpr ProcessParameter kParameters[] = {
    kInsertPosition,
    kInsertTime,
    {.key = "length",
     .label = "Length of the silence",
     .kind = ProcessValueKind::Number,
     .unit = "ms",
     .most = 86400000,
     .standard = 1000},
    {.key = "frames",
     .label = "Length in frames",
     .kind = ProcessValueKind::Whole,
     .unit = "frames",
     .most = 4294967295.0,
     .help = "Instead of the length in ms; 0 to use that."},
    {.key = "fade",
     .label = "Fade into and out of the silence",
     .kind = ProcessValueKind::Number,
     .unit = "ms",
     .most = 10000,
     .help = "Keeps the edges from clicking: within the silence the sound before it dies away and the one "
             "behind it comes up. 0 for silence throughout."},
};

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    const auto exact = static_cast<std::uint64_t>(job.settings.whole("frames"));
    if (!exact && waveform.sampleRate > kHighestRate)
        return processFailed("The sample rate is too high for a length in ms; say it in frames");
    const std::uint64_t length =
        exact ? exact : framesOfTime(job.settings.number("length"), waveform.sampleRate);
    if (length == 0)
        return ProcessOutcome::Unchanged;
    const std::uint32_t position = insertPosition(job);
    FrameEdit edit(waveform);
    edit.keep(0, position);
    edit.silence(length);
    edit.keep(position, waveform.frames);
    edit.fadeJoins(framesOfTime(job.settings.number("fade"), waveform.sampleRate));
    return applyFrameEdit(job.collection(), waveform, edit, job.ui) ? ProcessOutcome::Changed
                                                                    : ProcessOutcome::Failed;
}

}  // namespace

constinit const ProcessDefinition insertSilence{
    run, kParameters,
    "Inserts silence before the selection, at the cursor, or where the settings say. Loops behind it move "
    "with their frames, also where regions have loop points of their own; a loop around it gets longer."};

}  // namespace velor::audio_processes
