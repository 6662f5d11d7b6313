#include "app/processing/instruments/processes.h"
#include "base/error.h"
#include "items/unused_items.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "regions",
     .label = "Remove regions that no note reaches",
     .kind = ProcessValueKind::Choice,
     .words = "none|drums|all",
     .help = "Of the instruments that stay: of none, of drum kits, or of all."},
    {.key = "waveforms",
     .label = "Remove waveforms that no region plays",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "And synthesis models. Off keeps all of them."},
};

ProcessOutcome run(ProcessJob& job) {
    Collection& collection = job.collection();
    if (job.item.kind() != ItemKind::Collection)
        return ProcessOutcome::Unchanged;
    if (collection.count(ItemKind::MidiSong) == 0)
        return processFailed("The collection holds no song");
    const UnusedItems unused =
        findUnused(collection, {.regions = static_cast<UnusedSearch::Regions>(job.settings.choice("regions")),
                                .waveforms = job.settings.flag("waveforms")});
    if (unused.count() == 0)
        return ProcessOutcome::Unchanged;
    if (job.ui.aborted())
        return cancelled();
    removeUnused(collection, unused);
    job.ui.report(formatText("Done: Removed %d instrument%s, %d region%s and %d waveform%s",
                             static_cast<int>(unused.instruments.size()),
                             pluralSuffix(unused.instruments.size()), static_cast<int>(unused.regions.size()),
                             pluralSuffix(unused.regions.size()), static_cast<int>(unused.waveforms.size()),
                             pluralSuffix(unused.waveforms.size())));
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition removeUnusedItems{run, kParameters,
                                                    "Removes the instruments that no song in the collection "
                                                    "plays, then the layers, regions and waveforms that "
                                                    "nothing is left to play. An instrument that stands in "
                                                    "for a missing patch of a song counts as played. The "
                                                    "songs sound the same with what is left."};

}  // namespace velor::instrument_processes
