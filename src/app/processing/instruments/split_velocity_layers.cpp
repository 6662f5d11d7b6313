#include "app/processing/instruments/processes.h"
#include "items/instrument_split.h"
#include "items/item_scope.h"

namespace velor::instrument_processes {

namespace {

ProcessOutcome run(ProcessJob& job) {
    const ItemScope scope(job.item);
    const InstrumentLevels levels(job.collection());
    std::size_t added = 0;
    for (Layer* layer : scope.layers)
        added += velor::splitVelocityLayers(levels, *layer);
    return added > 0 ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition splitVelocityLayers{
    .run = run,
    .help =
        "Gives each velocity range of a layer a layer of its own, with the same articulation. Regions with "
        "their loops and root keys stay as they are, and nothing sounds different."};

}  // namespace velor::instrument_processes
