#include "app/processing/instruments/processes.h"
#include "items/item_scope.h"
#include "items/key_ranges.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "gaps",
     .label = "Close gaps",
     .kind = ProcessValueKind::Choice,
     .words = "middle|lower|upper",
     .help =
         "Up to the middle between two regions, by extending the lower one, or by extending the upper one."},
    {.key = "ends",
     .label = "Extend to the ends of the keyboard",
     .kind = ProcessValueKind::Switch,
     .standard = 1,
     .help = "The lowest region down to key 0, the highest up to key 127."},
};

ProcessOutcome run(ProcessJob& job) {
    const ItemScope scope(job.item);
    const InstrumentLevels levels(job.collection());
    const auto rule = static_cast<GapRule>(job.settings.choice("gaps"));
    const bool ends = job.settings.flag("ends");
    std::size_t changed = 0;
    for (const Layer* layer : scope.layers) {
        const auto& holders = levels.holders(*layer);
        changed += velor::extendKeyRanges(*layer, holders.empty() ? nullptr : &holders.front()->articulation,
                                          rule, ends);
    }
    return changed > 0 ? ProcessOutcome::Changed : ProcessOutcome::Unchanged;
}

}  // namespace

constinit const ProcessDefinition extendKeyRanges{
    run, kParameters,
    "Extends the key ranges of regions so that every key plays something: in each layer, between regions "
    "whose "
    "velocity ranges meet. Keys and velocities that play already stay as they are, and so do root keys."};

}  // namespace velor::instrument_processes
