#include "app/processing/instruments/processes.h"
#include "items/articulation_moves.h"

namespace velor::instrument_processes {

namespace {

ProcessOutcome run(ProcessJob& job) {
    int moved = 0;
    switch (job.item.kind()) {
        case ItemKind::Collection:
            moved = moveArticulation(job.collection());
            break;
        case ItemKind::Instrument:
            moved = moveArticulationUp(job.collection(), static_cast<Instrument&>(job.item));
            break;
        case ItemKind::Layer:
            moved = moveArticulationUp(static_cast<Layer&>(job.item));
            break;
        default:
            break;
    }
    return moved > 0 ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition moveUpArticulation{
    .run = run,
    .help =
        "Where all regions of a layer set a parameter to the same value it becomes the layer's, and what all "
        "layers agree in becomes the instrument's. Nothing sounds different. Layers and regions that are "
        "shared are left as they are."};

}  // namespace velor::instrument_processes
