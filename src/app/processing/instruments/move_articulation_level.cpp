#include "app/processing/instruments/processes.h"
#include "items/articulation_moves.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "to",
     .label = "Move articulation",
     .kind = ProcessValueKind::Choice,
     .words = "regions|up",
     .help =
         "Regions gives everything that instruments and layers set to the regions; up moves what all regions "
         "of a layer, or all layers of an instrument, agree in to the level above."},
};

bool moveDown(Item& item) {
    switch (item.kind()) {
        case ItemKind::Collection:
            return moveAllArticulationDown(static_cast<Collection&>(item)) > 0;
        case ItemKind::Instrument:
            return moveArticulationDown(static_cast<Instrument&>(item));
        case ItemKind::Layer:
            return moveArticulationDown(static_cast<Layer&>(item));
        default:
            return false;
    }
}

ProcessOutcome run(ProcessJob& job) {
    // Moving up is a process of its own too.
    if (job.settings.choice("to") == 1)
        return moveUpArticulation.run(job);
    return moveDown(job.item) ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition moveArticulationLevel{
    run, kParameters,
    "Moves volume, pan, envelopes, filters and all other articulation between instrument, layer and region "
    "without changing what is heard. Layers and regions that several instruments share are left as they "
    "are."};

}  // namespace velor::instrument_processes
