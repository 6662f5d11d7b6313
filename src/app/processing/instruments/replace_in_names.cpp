#include "app/processing/instruments/processes.h"
#include "app/processing/name_replacement.h"
#include "items/item_scope.h"

namespace velor::instrument_processes {

namespace {

ProcessOutcome run(ProcessJob& job) {
    const ItemScope scope(job.item);
    std::vector<Item*> items;
    const auto add = [&](const auto& some) { items.insert(items.end(), some.begin(), some.end()); };
    add(scope.instruments);
    add(scope.layers);
    add(scope.regions);
    add(scope.waveforms);
    add(scope.songs);
    add(scope.tracks);
    std::vector<std::string> before;
    ProcessOutcome outcome = ProcessOutcome::Unchanged;
    for (std::size_t i = 0; i < items.size() && outcome != ProcessOutcome::Failed; ++i) {
        before.push_back(items[i]->name());
        if (job.ui.aborted())
            outcome = cancelled();
        else if (const ProcessOutcome one = replaceInName(*items[i], job.settings);
                 one != ProcessOutcome::Unchanged)
            outcome = one;
        job.ui.progress(static_cast<double>(i + 1) / static_cast<double>(items.size()));
    }
    if (outcome == ProcessOutcome::Failed) {
        for (std::size_t i = 0; i < before.size(); ++i)
            items[i]->setName(before[i]);
    }
    return outcome;
}

}  // namespace

constinit const ProcessDefinition replaceInNames{
    run, kReplaceParameters,
    "Replaces text in the names of instruments, layers, regions, waveforms, songs and tracks: of the chosen "
    "items and of everything below them. Nothing but names changes."};

}  // namespace velor::instrument_processes
