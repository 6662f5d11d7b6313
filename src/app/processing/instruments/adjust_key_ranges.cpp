#include "app/processing/instruments/processes.h"
#include "items/item_scope.h"
#include "items/key_ranges.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "shift",
     .label = "Shift keys by",
     .kind = ProcessValueKind::Whole,
     .unit = "semitones",
     .least = -127,
     .most = 127,
     .help = "Upwards for positive numbers."},
    {.key = "low",
     .label = "Lowest key",
     .kind = ProcessValueKind::Key,
     .most = 127,
     .help = "Ranges end here after the shift."},
    {.key = "high",
     .label = "Highest key",
     .kind = ProcessValueKind::Key,
     .most = 127,
     .standard = 127,
     .help = "Ranges end here after the shift."},
    {.key = "root",
     .label = "Shift root keys too",
     .kind = ProcessValueKind::Switch,
     .help =
         "The same sounds then move to other keys; without it the sounds are stretched to other pitches."},
    {.key = "velocity-shift",
     .label = "Shift velocities by",
     .kind = ProcessValueKind::Whole,
     .least = -127,
     .most = 127,
     .help = "Upwards for positive numbers."},
    {.key = "velocity-low",
     .label = "Lowest velocity",
     .kind = ProcessValueKind::Whole,
     .most = 127,
     .help = "Ranges end here after the shift."},
    {.key = "velocity-high",
     .label = "Highest velocity",
     .kind = ProcessValueKind::Whole,
     .most = 127,
     .standard = 127,
     .help = "Ranges end here after the shift."},
    {.key = "outside",
     .label = "Regions that lie outside",
     .kind = ProcessValueKind::Choice,
     .words = "nearest|remove|leave",
     .help =
         "Regions of which nothing is left keep the nearest key or velocity, are removed, or stay as they "
         "were."},
};

ProcessOutcome run(ProcessJob& job) {
    const ProcessSettings& set = job.settings;
    const auto number = [&](std::string_view key) { return static_cast<std::uint8_t>(set.whole(key)); };
    RangeAdjustment how;
    how.keys = {static_cast<int>(set.whole("shift")), {set.midiKey("low"), set.midiKey("high")}};
    how.velocities = {static_cast<int>(set.whole("velocity-shift")),
                      {number("velocity-low"), number("velocity-high")}};
    how.rootKeys = set.flag("root");
    how.outside = static_cast<OutsideRegions>(set.choice("outside"));
    if (how.keys.limits.low > how.keys.limits.high)
        return processFailed("The lowest key is above the highest");
    if (how.velocities.limits.low > how.velocities.limits.high)
        return processFailed("The lowest velocity is above the highest");
    if (how.keys.changesNothing() && how.velocities.changesNothing())
        return ProcessOutcome::Unchanged;
    return adjustRanges(job.collection(), ItemScope(job.item).regions, how) > 0 ? ProcessOutcome::Changed
                                                                                : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition adjustKeyRanges{
    run, kParameters,
    "Shifts the key and velocity ranges of regions and cuts them to limits. Root keys stay unless they are "
    "shifted along; the waveforms and their own root keys never change. A region that several layers share "
    "is "
    "changed once."};

}  // namespace velor::instrument_processes
