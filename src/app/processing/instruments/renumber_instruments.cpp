#include "app/processing/instruments/processes.h"
#include "items/patch_numbers.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "start",
     .label = "First program number",
     .kind = ProcessValueKind::Whole,
     .most = 127,
     .help = "Counted from 0, in the order of the list."},
    {.key = "keep-drums",
     .label = "Leave drum kits as they are",
     .kind = ProcessValueKind::Switch,
     .help = "Otherwise the drum kits are numbered too, apart from the other instruments."},
    {.key = "bank",
     .label = "Count further banks in",
     .kind = ProcessValueKind::Choice,
     .words = "msb|lsb",
     .help = "Where the number of the next bank goes when program 127 is reached: controller 0 or 32."},
};

ProcessOutcome run(ProcessJob& job) {
    if (job.item.kind() != ItemKind::Collection)
        return ProcessOutcome::Unchanged;
    const int changed = velor::renumberInstruments(
        job.collection(), {.start = static_cast<std::uint8_t>(job.settings.whole("start")),
                           .keepDrums = job.settings.flag("keep-drums"),
                           .bankInLsb = job.settings.choice("bank") == 1});
    if (changed < 0)
        return ProcessOutcome::Failed;
    return changed > 0 ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition renumberInstruments{
    run, kParameters,
    "Gives the instruments the program numbers 0, 1, 2 … in the order of the list and goes on in the next "
    "bank after 127. Drum kits are numbered apart. Songs that chose instruments by their old numbers will "
    "play "
    "others."};

}  // namespace velor::instrument_processes
