#include "app/processing/instruments/processes.h"
#include "items/instrument_split.h"
#include "items/item_scope.h"

namespace velor::instrument_processes {

namespace {

ProcessOutcome run(ProcessJob& job) {
    const int added = velor::splitMultiLayered(job.collection(), instrumentsOf(job.item));
    if (added < 0)
        return ProcessOutcome::Failed;
    return added > 0 ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition splitMultiLayered{
    .run = run,
    .help =
        "Makes each layer of an instrument an instrument of its own, with the same articulation and the next "
        "free patch numbers. The first layer keeps the name and the patch. Regions, loops and root keys stay "
        "as they are."};

}  // namespace velor::instrument_processes
