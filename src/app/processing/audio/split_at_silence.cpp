#include "app/processing/audio/processes.h"
#include "app/processing/part_progress.h"
#include "app/processing/silence_settings.h"
#include "base/error.h"
#include "base/text.h"
#include "dsp/frame_edit.h"

#include <algorithm>

namespace velor::audio_processes {

namespace {

enum Original : std::size_t { kAutomatic, kKeepOriginal, kRemoveOriginal };

constexpr std::size_t kMostParts = 9999;

constexpr ProcessParameter kParameters[] = {
    kSilenceThreshold,
    kSilenceMinimum,
    kShortestSound,
    kSilenceKeep,
    {.key = "fade",
     .label = "Fade in and out at the cuts",
     .kind = ProcessValueKind::Number,
     .unit = "ms",
     .most = 1000,
     .standard = 2,
     .help = "Keeps noise that is cut off from clicking. 0 for none."},
    {.key = "original",
     .label = "The split waveform",
     .kind = ProcessValueKind::Choice,
     .words = "auto|keep|remove",
     .help = "auto: is removed unless a region plays it; remove: regions that played it play its first "
             "part."},
};

// "name 1" … "name 9", "name 01" … "name 99", "name 001" …: all as long as the last, so that they sort.
std::string partName(const std::string& name, std::size_t number, std::size_t count) {
    const int digits = count < 10 ? 1 : count < 100 ? 2 : count < 1000 ? 3 : 4;
    return name + formatText(" %0*u", digits, static_cast<unsigned>(number));
}

struct Part {
    SampleBufferRef buffer;
    std::optional<LoopPoints> loop;
};

// The parts' sample data and the loop of the one that holds all of it.
bool buildParts(ProcessJob& job, const std::vector<FrameRange>& sounds, std::vector<Part>& parts) {
    const Waveform& waveform = job.waveform();
    const LoopPoints loop{waveform.loopStart, waveform.loopEnd};
    const std::uint64_t fade = framesOfTime(job.settings.number("fade"), waveform.sampleRate);
    for (const FrameRange& sound : sounds) {
        const double end = static_cast<double>(sound.first) + sound.count;
        FrameEdit edit(waveform);
        edit.keep(sound.first, sound.first + sound.count);
        edit.fadeEnds(fade);
        const double done = static_cast<double>(parts.size()) / static_cast<double>(sounds.size());
        PartProgress part(job.ui, 0.5 + 0.5 * done,
                          0.5 + 0.5 * done + 0.5 / static_cast<double>(sounds.size()));
        SampleBufferRef buffer = edit.build(part);
        if (!buffer)
            return false;
        const bool holds = loop.start >= sound.first && loop.end <= end;
        parts.push_back({std::move(buffer), holds ? edit.mapLoop(loop) : std::nullopt});
    }
    return true;
}

ProcessOutcome run(ProcessJob& job) {
    Waveform& waveform = job.waveform();
    Collection& collection = job.collection();
    if (!waveform.loadSamples())
        return ProcessOutcome::Failed;
    std::vector<FrameRange> sounds;
    PartProgress searching(job.ui, 0, 0.5);
    if (!findKeptSounds(job, waveform, sounds, searching))
        return ProcessOutcome::Failed;
    if (sounds.size() < 2)
        return ProcessOutcome::Unchanged;
    if (sounds.size() > kMostParts)
        return processFailed(
            formatText("This would make %u waveforms; choose a lower threshold or a longer silence",
                       static_cast<unsigned>(sounds.size())));
    std::vector<Part> parts;
    if (!buildParts(job, sounds, parts))
        return ProcessOutcome::Failed;

    std::vector<Region*> players;
    for (Region* region : collection.all<Region>()) {
        if (region->waveform() == &waveform)
            players.push_back(region);
    }
    std::vector<ItemId> created;
    for (Part& part : parts) {
        auto* split =
            collection.create<Waveform>(partName(waveform.name(), created.size() + 1, parts.size()));
        if (!split) {
            collection.removeAll(ItemKind::Waveform, created);
            return processFailed(kOutOfMemory);
        }
        split->copyContentFrom(waveform);
        split->replaceSamples(std::move(part.buffer));
        split->loopStart = part.loop ? part.loop->start : 0;
        split->loopEnd = part.loop ? part.loop->end : 0;
        if (split->looped && !part.loop)
            split->clearLoop();
        created.push_back(split->id());
    }
    // The parts take their places behind the original.
    std::vector<ItemId> order = collection.list(ItemKind::Waveform);
    order.resize(order.size() - created.size());
    order.insert(std::ranges::find(order, waveform.id()) + 1, created.begin(), created.end());
    collection.reorder(ItemKind::Waveform, std::move(order));

    const std::size_t original = job.settings.choice("original");
    if (original == kKeepOriginal)
        return ProcessOutcome::Changed;
    if (original == kAutomatic && !players.empty()) {
        job.ui.warn(
            {"\"" + displayText(job.report.name) + "\" is kept beside its parts: regions play it", "", 0});
        return ProcessOutcome::Changed;
    }
    FrameEdit first(waveform);
    first.keep(sounds[0].first, sounds[0].first + sounds[0].count);
    for (Region* region : players) {
        moveRegionLoop(*region, waveform, *collection.find<Waveform>(created[0]), first);
        region->links.replace(waveform.id(), created[0]);
    }
    collection.remove(waveform.id());
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition splitAtSilence{
    run, kParameters,
    "Makes a waveform of each sound between silent sections, named after the original with a number, with "
    "its "
    "root key, tuning, gain and texts. A loop goes to the part that holds all of it. A waveform that regions "
    "play is kept beside its parts unless you have it removed."};

}  // namespace velor::audio_processes
