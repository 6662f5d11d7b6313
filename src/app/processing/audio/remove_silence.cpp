#include "app/processing/audio/processes.h"
#include "app/processing/part_progress.h"
#include "app/processing/silence_settings.h"
#include "base/text.h"
#include "dsp/frame_edit.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    kSilenceThreshold,
    kSilenceMinimum,
    kShortestSound,
    kSilenceKeep,
    {.key = "start", .label = "Remove it at the start", .kind = ProcessValueKind::Switch, .standard = 1},
    {.key = "inside", .label = "Remove it inside", .kind = ProcessValueKind::Switch, .standard = 1},
    {.key = "end", .label = "Remove it at the end", .kind = ProcessValueKind::Switch, .standard = 1},
    {.key = "fade",
     .label = "Fade where silence was removed",
     .kind = ProcessValueKind::Number,
     .unit = "ms",
     .most = 1000,
     .standard = 2,
     .help = "Keeps noise that is cut off from clicking. 0 for none."},
};

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    const ProcessSettings& settings = job.settings;
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    std::vector<FrameRange> sounds;
    PartProgress searching(job.ui, 0, 0.5);
    if (!findKeptSounds(job, waveform, sounds, searching))
        return ProcessOutcome::Failed;
    if (sounds.empty()) {
        if (waveform.frames > 0)
            job.ui.warn(
                {"\"" + displayText(job.report.name) + "\" is silent throughout and stays as it is", "", 0});
        return ProcessOutcome::Unchanged;
    }
    FrameEdit edit(waveform);
    std::uint32_t from = settings.flag("start") ? sounds.front().first : 0;
    if (settings.flag("inside")) {
        for (std::size_t i = 0; i + 1 < sounds.size(); ++i) {
            edit.keep(from, sounds[i].first + sounds[i].count);
            from = sounds[i + 1].first;
        }
    }
    edit.keep(from, settings.flag("end") ? sounds.back().first + sounds.back().count : waveform.frames);
    if (edit.changesNothing())
        return ProcessOutcome::Unchanged;
    const std::uint64_t fade = framesOfTime(settings.number("fade"), waveform.sampleRate);
    edit.fadeJoins(fade);
    edit.fadeEnds(fade);
    PartProgress building(job.ui, 0.5, 1);
    return applyFrameEdit(job.collection(), waveform, edit, building) ? ProcessOutcome::Changed
                                                                      : ProcessOutcome::Failed;
}

}  // namespace

constinit const ProcessDefinition removeSilence{
    run, kParameters,
    "Takes silent sections away, at the ends, between sounds, or both, but for a little beside each sound. "
    "Loops move with their frames and lose the silence that was in them, also where regions have loop points "
    "of their own. Waveforms that are silent throughout stay as they are."};

}  // namespace velor::audio_processes
