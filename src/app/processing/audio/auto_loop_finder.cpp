#include "app/processing/audio/processes.h"

#include "base/error.h"
#include "dsp/loop_finder.h"

namespace velor::audio_processes {

namespace {

constexpr LoopFinderOptions kStandard;

constexpr ProcessParameter kParameters[] = {
    {.key = "until-release",
     .label = kLoopFinderSwitches[0],
     .kind = ProcessValueKind::Switch,
     .help = "The loop ends when the key is released and what follows it is heard."},
    {.key = "high-pass",
     .label = kLoopFinderSwitches[1],
     .kind = ProcessValueKind::Switch,
     .help = "Takes away rumble that would make two periods differ."},
    {.key = "crossfade",
     .label = kLoopFinderSwitches[2],
     .kind = ProcessValueKind::Switch,
     .help = "Over the longest possible length."},
    {.key = "cut",
     .label = kLoopFinderSwitches[3],
     .kind = ProcessValueKind::Switch,
     .help = "Not together with until-release."},
    {.key = "fractional",
     .label = kLoopFinderSwitches[4],
     .kind = ProcessValueKind::Switch,
     .help = "Places the start between two frames. Not every file type keeps that."},
    {.key = "loop-tuning",
     .label = kLoopFinderSwitches[5],
     .kind = ProcessValueKind::Switch,
     .help = "Sets the further tuning so that a loop of no whole number of periods is in tune."},
    {.key = "search-from",
     .label = kLoopRangeLabel,
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .most = 100,
     .standard = 100.0 * static_cast<double>(kStandard.rangeStart),
     .help = "Where the search begins, of the waveform's length."},
    {.key = "search-to",
     .label = "Loop search range (end):",
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .most = 100,
     .standard = 95,
     .help = "Where the search ends."},
    {.key = "minimum",
     .label = kLoopMinimumLabel,
     .kind = ProcessValueKind::Number,
     .unit = "%",
     .most = 100,
     .standard = 5,
     .help = "Of the waveform's length."},
    {.key = "skip-looped",
     .label = kLoopSkipLabel,
     .kind = ProcessValueKind::Switch,
     .help = "Leaves waveforms alone that have a loop."},
};

float share(const ProcessSettings& settings, std::string_view key) {
    return static_cast<float>(settings.number(key) / 100);
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    const ProcessSettings& set = job.settings;
    if (waveform.looped && set.flag("skip-looped"))
        return ProcessOutcome::Unchanged;
    const LoopFinderOptions options{
        .breakOnRelease = set.flag("until-release"),
        .highPass = set.flag("high-pass"),
        .crossfade = set.flag("crossfade"),
        .cutAfterEnd = set.flag("cut"),
        .fractionalStart = set.flag("fractional"),
        .loopTuning = set.flag("loop-tuning"),
        .rangeStart = share(set, "search-from"),
        .rangeEnd = share(set, "search-to"),
        .minimumLength = share(set, "minimum"),
    };
    FoundLoop found;
    if (!findLoop(waveform, options, job.ui, &found))
        return ProcessOutcome::Failed;
    job.measure("similarity", static_cast<double>(found.similarity), "");
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition autoLoopFinder{
    run, kParameters,
    "Chooses loop start and end at zero crossings whose surroundings are most alike, a whole number of "
    "periods apart when "
    "the waveform has a pitch. The similarity it reports is 1 for a loop that can not be heard."};

}  // namespace velor::audio_processes
