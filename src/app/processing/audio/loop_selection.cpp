#include "app/processing/audio/processes.h"

namespace velor::audio_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "mode",
     .label = "Loop mode",
     .kind = ProcessValueKind::Choice,
     .words = "keep|forward|backward|alternating",
     .help = "keep: that of the loop there is, forward when there is none."},
    {.key = "until-release",
     .label = "Loop until the key is released",
     .kind = ProcessValueKind::Choice,
     .words = "keep|off|on"},
    {.key = "clear-regions",
     .label = "Make all regions play this loop",
     .kind = ProcessValueKind::Switch,
     .help = "Removes the loop points, modes and switches that regions set for themselves."},
};

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    if (!job.context.selection)
        return processFailed("Nothing is selected");
    if (!waveform.loadSamples())  // the frame count is certain only then
        return ProcessOutcome::Failed;
    const FrameSelection range = job.range();
    if (range.first >= range.end)
        return processFailed("The selection holds no frames of the waveform");
    bool changed = false;
    const auto set = [&](auto& value, auto wanted) {
        changed |= value != wanted;
        value = wanted;
    };
    const std::size_t mode = job.settings.choice("mode");
    if (mode > 0)
        set(waveform.loopMode, static_cast<LoopMode>(mode));
    else if (!waveform.looped || waveform.loopMode == LoopMode::None)
        set(waveform.loopMode, LoopMode::Forward);
    set(waveform.looped, true);
    set(waveform.loopStart, static_cast<double>(range.first));
    set(waveform.loopEnd, static_cast<double>(range.end));
    if (const std::size_t until = job.settings.choice("until-release"))
        set(waveform.loopUntilRelease, until == 2);
    if (job.settings.flag("clear-regions")) {
        constexpr std::uint8_t kLoopFlags = RegionOverrides::Looped | RegionOverrides::LoopModeFlag |
                                            RegionOverrides::LoopStart | RegionOverrides::LoopEnd;
        for (Region* region : job.collection().all<Region>()) {
            if (region->waveform() == &waveform)
                set(region->overrides.flags,
                    static_cast<std::uint8_t>(region->overrides.flags & ~kLoopFlags));
        }
    }
    return changed ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition loopSelection{
    run, kParameters,
    "Makes the selected frames the waveform's loop; the samples stay as they are. Regions with loop points "
    "of "
    "their own keep them unless you ask for this loop everywhere."};

}  // namespace velor::audio_processes
