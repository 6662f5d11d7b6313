#include <unordered_set>

#include "app/processing/instruments/processes.h"
#include "formats/framework/fix_ups.h"
#include "items/item_scope.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "by",
     .label = "Find pairs by",
     .kind = ProcessValueKind::Choice,
     .words = "both|names|panning",
     .help =
         "Names that end in L and R, left and right; or regions that play hard left and hard right on the "
         "same keys and velocities."},
    {.key = "centred",
     .label = "Also pairs that play in the middle",
     .kind = ProcessValueKind::Switch,
     .help =
         "Pairs by name whose regions are not panned. They sound wider than before, and at the level of the "
         "stereo recording."},
};

// Layers that had nothing but right halves.
void removeEmptied(Collection& collection, const std::vector<Layer*>& filled) {
    std::vector<ItemId> gone;
    for (const Layer* layer : filled) {
        if (layer->links.empty())
            gone.push_back(layer->id());
    }
    if (gone.empty())
        return;
    collection.removeAll(ItemKind::Layer, gone);
    for (Instrument* instrument : collection.all<Instrument>()) {
        std::vector<ItemId> left;
        for (const ItemId id : instrument->links) {
            if (collection.find(id))
                left.push_back(id);
        }
        instrument->links.assign(left);
    }
}

ProcessOutcome run(ProcessJob& job) {
    const std::size_t by = job.settings.choice("by");
    StereoPairing how{.byName = by != 2, .byPanning = by != 1, .centred = job.settings.flag("centred")};
    std::unordered_set<const Waveform*> listed;
    if (job.item.kind() != ItemKind::Collection) {
        const ItemScope scope(job.item);
        listed.insert(scope.waveforms.begin(), scope.waveforms.end());
        how.only = [&](const Waveform& left) { return listed.contains(&left); };
    }
    std::vector<Layer*> filled;
    for (Layer* layer : job.collection().all<Layer>()) {
        if (!layer->links.empty())
            filled.push_back(layer);
    }
    const int merged = mergeStereoPairs(job.collection(), how, job.ui);
    if (merged < 0)
        return cancelled();
    removeEmptied(job.collection(), filled);
    return merged > 0 ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition mergeMonoPairs{run, kParameters,
                                                 "Makes a stereo waveform of each pair of mono ones that "
                                                 "belong together: of the same length, rate, root key, "
                                                 "tuning, gain and loop, whose regions differ in nothing but "
                                                 "the side. It takes the place of the left one, "
                                                 "the regions of the right one go, and it sounds the same."};

}  // namespace velor::instrument_processes
