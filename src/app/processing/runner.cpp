#include "app/processing/runner.h"

#include <algorithm>

#include "app/processing/part_progress.h"
#include "base/error.h"
#include "base/text.h"
#include "dsp/loop_crossfade.h"

namespace velor {

namespace {

// A waveform's state, to go back to. Samples are shared, which costs nothing as nobody writes to shared ones.
class WaveformState {
  public:
    explicit WaveformState(const Item& item) {
        if (item.kind() != ItemKind::Waveform)
            return;
        saved_ = keeper_.create<Waveform>(item.name());
        saved_->copyContentFrom(static_cast<const Waveform&>(item));
    }
    void restore(Collection& collection, ItemId id) const {
        if (Waveform* waveform = saved_ ? collection.find<Waveform>(id) : nullptr) {
            waveform->copyContentFrom(*saved_);
            waveform->setName(saved_->name());
        }
    }

  private:
    Collection keeper_;
    Waveform* saved_ = nullptr;
};

Item* findItem(const ProcessContext& context, ItemId id) {
    return id == context.collection->id() ? context.collection : context.collection->find(id);
}

}  // namespace

ProcessRun runProcess(const ProcessRow& row, const ProcessContext& context, const ProcessSettings& settings,
                      UserInterface& ui) {
    ProcessRun run;
    std::unique_ptr<ProcessState> state;
    for (std::size_t i = 0; i < context.items.size() && !run.cancelled; ++i) {
        const ItemId id = context.items[i];
        Item* item = findItem(context, id);
        if (!item)
            continue;
        if (ui.aborted()) {
            run.cancelled = true;
            break;
        }
        const std::string shown = displayText(item->name());
        ui.status(formatText("Working on %s%s", shown.c_str(), "..."));
        const double count = static_cast<double>(context.items.size());
        PartProgress itemInterface(ui, static_cast<double>(i) / count, static_cast<double>(i + 1) / count);
        itemInterface.progress(0);
        ProcessItemReport report;
        report.id = id;
        report.name = item->name();
        const WaveformState before(*item);
        ProcessJob job{context, *item, i, context.items.size(), settings, itemInterface, report, state};
        LastErrorText.clear();
        report.outcome =
            row.process->run
                ? row.process->run(job)
                : processFailed("\"" + std::string(row.name) + "\" is not supported in this build");
        if (report.outcome == ProcessOutcome::Failed) {
            before.restore(*context.collection, id);
            run.cancelled = ui.aborted();
            report.error = run.cancelled ? std::string(kProcessingCancelled) : LastErrorText;
            ++run.failed;
        } else if (report.outcome == ProcessOutcome::Changed) {
            ++run.changed;
        }
        itemInterface.progress(1);
        run.items.push_back(std::move(report));
    }
    if (run.cancelled)
        run.message = kProcessingCancelled;
    else if (run.changed > 0)
        run.message =
            formatText("Processed %d item%s", static_cast<int>(run.changed), pluralSuffix(run.changed));
    else
        run.message = "No items were modified";
    return run;
}

std::unique_ptr<Collection> previewProcess(const ProcessRow& row, const Waveform& waveform,
                                           const std::optional<FrameSelection>& selection,
                                           const ProcessSettings& settings, UserInterface& ui) {
    auto preview = std::make_unique<Collection>();
    Waveform* copy = preview->create<Waveform>(kPreviewName);
    copy->copyContentFrom(waveform);
    ProcessContext context;
    context.collection = preview.get();
    context.items = {copy->id()};
    context.selection = selection;
    const ProcessRun run = runProcess(row, context, settings, ui);
    if (run.cancelled || run.failed > 0) {
        if (run.cancelled)
            fail(kProcessingCancelled);
        else
            fail(run.items.front().error);
        return nullptr;
    }
    return preview;
}

std::string processItemsText(const ProcessContext& context) {
    std::size_t waveforms = 0;
    for (const ItemId id : context.items)
        waveforms += id.kind() == ItemKind::Waveform;
    const std::size_t count = context.items.size();
    if (count > 1 && waveforms == count && waveforms == context.collection->count(ItemKind::Waveform))
        return "All waveforms";
    if (count > 1 && waveforms == count)
        return formatText("%d waveforms", static_cast<int>(count));
    const bool oneKind = std::all_of(context.items.begin(), context.items.end(),
                                     [&](ItemId id) { return id.kind() == context.items.front().kind(); });
    if (count > 1 && !oneKind)
        return "multiple items";
    return count == 1
               ? displayText(findItem(context, context.items[0]) ? findItem(context, context.items[0])->name()
                                                                 : std::string())
               : formatText("%d items", static_cast<int>(count));
}

}  // namespace velor
