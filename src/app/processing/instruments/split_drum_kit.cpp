#include "app/processing/instruments/processes.h"
#include "items/instrument_split.h"
#include "items/item_scope.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "by",
     .label = "One instrument for each",
     .kind = ProcessValueKind::Choice,
     .words = "key|region|waveform",
     .help = "Neighbouring keys that play the same regions count as one key."},
    {.key = "spread",
     .label = "Spread over the whole keyboard",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help =
         "Every key plays the sound, at the pitch of that key. Off keeps it on the keys it has in the kit."},
    {.key = "keep",
     .label = "Keep the drum kit",
     .kind = ProcessValueKind::Switch,
     .help = "Otherwise it is removed."},
};

ProcessOutcome run(ProcessJob& job) {
    const int added = splitDrumKits(job.collection(), instrumentsOf(job.item),
                                    {.by = static_cast<DrumKitSplit::By>(job.settings.choice("by")),
                                     .wholeKeyboard = job.settings.flag("spread"),
                                     .keepKit = job.settings.flag("keep")});
    if (added < 0)
        return ProcessOutcome::Failed;
    return added > 0 ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition splitDrumKit{run, kParameters,
                                               "Makes a melodic instrument of each sound of a drum kit, on "
                                               "the first free patch numbers. On the keys that "
                                               "the kit has it on, each sounds as it did: root keys, tuning, "
                                               "loops and articulation stay. Songs that play "
                                               "the kit need it kept."};

}  // namespace velor::instrument_processes
