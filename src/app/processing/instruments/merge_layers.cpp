#include "app/processing/instruments/processes.h"
#include "items/instrument_copies.h"
#include "items/instrument_merge.h"
#include "items/item_scope.h"

namespace velor::instrument_processes {

namespace {

std::vector<const Layer*> layersOf(const Instrument& instrument) {
    const std::vector<Layer*> layers = linkedItems<Layer>(instrument);
    return {layers.begin(), layers.end()};
}

// All listed layers, in the order of the list.
std::vector<const Layer*> listedLayers(const ProcessContext& context) {
    std::vector<const Layer*> layers;
    for (const ItemId id : context.items) {
        if (const auto* layer = context.collection->find<Layer>(id))
            layers.push_back(layer);
    }
    return layers;
}

ProcessOutcome run(ProcessJob& job) {
    Collection& collection = job.collection();
    const InstrumentLevels levels(collection);
    const HeldItems held(collection);
    bool merged = false;
    if (job.item.kind() == ItemKind::Layer) {
        // The listed layers of each instrument that holds this one. The other layers' turns find nothing
        // left.
        for (Instrument* instrument : levels.holders(static_cast<const Layer&>(job.item)))
            merged = velor::mergeLayers(levels, *instrument, listedLayers(job.context)) || merged;
    } else {
        for (Instrument* instrument : instrumentsOf(job.item))
            merged = velor::mergeLayers(levels, *instrument, layersOf(*instrument)) || merged;
    }
    if (!merged)
        return ProcessOutcome::Unchanged;
    held.removeReleased(collection);
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition mergeLayers{
    .run = run,
    .help =
        "Puts the regions of all layers of an instrument, or of the chosen ones, into a single layer. What "
        "the "
        "layers set differently goes to their regions, so that nothing sounds different; key ranges, root "
        "keys and loops stay."};

}  // namespace velor::instrument_processes
