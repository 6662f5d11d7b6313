#include "app/processing/audio/processes.h"

#include <algorithm>

namespace velor::audio_processes {

namespace {

enum State : std::size_t { kOn, kOff, kToggle };
enum Regions : std::size_t { kKeepRegions, kSameRegions, kClearRegions };

constexpr ProcessParameter kParameters[] = {
    {.key = "loops",
     .label = "Loops",
     .kind = ProcessValueKind::Choice,
     .words = "on|off|toggle",
     .help = "Where a loop is switched off its points stay and come back with it; a waveform without points "
             "loops as a whole."},
    {.key = "mode",
     .label = "Loop mode",
     .kind = ProcessValueKind::Choice,
     .words = "keep|none|forward|backward|alternating",
     .help =
         "Of loops that are on afterwards. keep: as it was, forward where there was none; none: no loop."},
    {.key = "until-release",
     .label = "Loop until the key is released",
     .kind = ProcessValueKind::Choice,
     .words = "keep|off|on",
     .help = "on: after the release of the key what follows the loop is played."},
    {.key = "regions",
     .label = "Regions that switch loops themselves",
     .kind = ProcessValueKind::Choice,
     .words = "keep|same|clear",
     .help = "keep: stay as they are; same: are switched like their waveform; clear: use what their waveform "
             "says from now on."},
};

bool hasLoopPoints(const Waveform& waveform) {
    return waveform.loopStart >= 0 && waveform.loopEnd > waveform.loopStart &&
           waveform.loopStart < waveform.frames;
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    const ProcessSettings& settings = job.settings;
    bool changed = false;
    const auto set = [&](auto& value, auto wanted) {
        changed |= value != wanted;
        value = wanted;
    };
    const std::size_t state = settings.choice("loops");
    const std::size_t mode = settings.choice("mode");
    bool on = state == kOn || (state == kToggle && !waveform.looped);
    if (mode == 1 || waveform.frames == 0)
        on = false;
    if (on) {
        if (mode >= 2)
            set(waveform.loopMode, static_cast<LoopMode>(mode - 1));
        else if (waveform.loopMode == LoopMode::None)
            set(waveform.loopMode, LoopMode::Forward);
        if (!hasLoopPoints(waveform)) {
            set(waveform.loopStart, 0.0);
            set(waveform.loopEnd, static_cast<double>(waveform.frames));
        }
        set(waveform.loopEnd, std::min<double>(waveform.loopEnd, waveform.frames));
    }
    set(waveform.looped, on);
    if (const std::size_t until = settings.choice("until-release"))
        set(waveform.loopUntilRelease, until == 2);
    const std::size_t regions = settings.choice("regions");
    for (Region* region : job.collection().all<Region>()) {
        RegionOverrides& own = region->overrides;
        if (regions == kKeepRegions || region->waveform() != &waveform)
            continue;
        if (regions == kClearRegions) {
            set(own.flags, static_cast<std::uint8_t>(
                               own.flags & ~(RegionOverrides::Looped | RegionOverrides::LoopModeFlag)));
            continue;
        }
        if (own.has(RegionOverrides::Looped))
            set(own.looped, on);
        if (own.has(RegionOverrides::LoopModeFlag) && on && (mode >= 2 || own.loopMode == LoopMode::None))
            set(own.loopMode, waveform.loopMode);
    }
    return changed ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition enableLoops{
    run, kParameters,
    "Switches loops on or off without touching samples or loop points. A waveform that has no loop points "
    "loops from its first frame to its last. Regions that have their own loop switch keep it unless you "
    "choose "
    "otherwise."};

}  // namespace velor::audio_processes
