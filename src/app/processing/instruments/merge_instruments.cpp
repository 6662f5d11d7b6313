#include "app/processing/instruments/processes.h"
#include "base/error.h"
#include "items/instrument_merge.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "as",
     .label = "Merge them as",
     .kind = ProcessValueKind::Choice,
     .words = "layers|velocities|keys",
     .help =
         "Layers sound together; velocities gives each instrument a share of the velocities, softest first; "
         "keys gives each a zone of the keyboard, lowest first."},
    {.key = "low",
     .label = "Key zones from",
     .kind = ProcessValueKind::Key,
     .most = 127,
     .help = "The zones are shared out between these two keys; the lowest zone reaches down to key 0."},
    {.key = "high",
     .label = "Key zones to",
     .kind = ProcessValueKind::Key,
     .most = 127,
     .standard = 127,
     .help = "The highest zone reaches up to key 127."},
};

// All of a listed collection, else the listed instruments.
std::vector<Instrument*> instrumentsToMerge(const ProcessContext& context) {
    std::vector<Instrument*> instruments;
    for (const ItemId id : context.items) {
        if (id == context.collection->id())
            return context.collection->all<Instrument>();
        if (auto* instrument = context.collection->find<Instrument>(id))
            instruments.push_back(instrument);
    }
    return instruments;
}

ProcessOutcome run(ProcessJob& job) {
    const std::vector<Instrument*> instruments = instrumentsToMerge(job.context);
    if (instruments.size() < 2)
        return ProcessOutcome::Unchanged;
    InstrumentMerge merge;
    merge.how = static_cast<InstrumentMerge::How>(job.settings.choice("as"));
    if (merge.how == InstrumentMerge::How::Keys)
        merge.zones = {job.settings.midiKey("low"), job.settings.midiKey("high")};
    const int outside = velor::mergeInstruments(job.collection(), instruments, merge);
    if (outside < 0)
        return ProcessOutcome::Failed;
    if (outside > 0)
        job.ui.warn({formatText("%d region%s outside the key zone of the instrument and %s left out", outside,
                                outside == 1 ? " lies" : "s lie", outside == 1 ? "was" : "were"),
                     {},
                     0});
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition mergeInstruments{
    run, kParameters,
    "Makes one instrument of all that are listed, or of all in the collection. It keeps the patch and name "
    "of "
    "the first; the articulation of each goes to its layers, so that it sounds as before. Key zones keep the "
    "pitch, and leave out regions that lie outside of them."};

}  // namespace velor::instrument_processes
