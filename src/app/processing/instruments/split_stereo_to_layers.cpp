#include <array>
#include <unordered_map>
#include <unordered_set>

#include "app/processing/instruments/processes.h"
#include "app/processing/part_progress.h"
#include "base/error.h"
#include "dsp/sample_blocks.h"
#include "items/instrument_copies.h"
#include "items/item_scope.h"
#include "items/stereo_sides.h"

namespace velor::instrument_processes {

namespace {

// One channel of a stereo waveform; empty with LastErrorText.
SampleBufferRef channelOf(const Waveform& stereo, std::size_t channel, UserInterface& ui) {
    SampleBufferRef mono(SampleBuffer::create(stereo.frames, 1, static_cast<float>(stereo.sampleRate)));
    if (!mono) {
        fail(kOutOfMemory);
        return {};
    }
    const std::span<const float> samples = stereo.samples();
    const bool done = inBlocks(stereo.frames, ui, {}, [&](std::size_t first, std::size_t count) {
        for (std::size_t i = first; i < first + count; ++i)
            mono->data()[i] = samples[2 * i + channel];
    });
    return done ? mono : SampleBufferRef();
}

struct Halves {
    Waveform* stereo = nullptr;
    SampleBufferRef left, right;
    // Filled in at the end.
    Waveform* leftWave = nullptr;
    Waveform* rightWave = nullptr;
};

// Decodes and divides the stereo waveforms: all that can fail or be cancelled.
bool divide(const std::vector<Waveform*>& waveforms, std::vector<Halves>& halves, UserInterface& ui) {
    for (std::size_t i = 0; i < waveforms.size(); ++i) {
        Waveform* const waveform = waveforms[i];
        const double count = static_cast<double>(waveforms.size());
        PartProgress lefts(ui, static_cast<double>(i) / count, (static_cast<double>(i) + 0.5) / count);
        PartProgress rights(ui, (static_cast<double>(i) + 0.5) / count, static_cast<double>(i + 1) / count);
        const bool wasLoaded = waveform->samplesLoaded();
        if (!waveform->loadSamples())
            return false;
        Halves made;
        made.stereo = waveform;
        made.left = channelOf(*waveform, 0, lefts);
        if (made.left)
            made.right = channelOf(*waveform, 1, rights);
        if (!wasLoaded && waveform->source())
            waveform->releaseSamples();
        if (!made.right)
            return false;
        halves.push_back(std::move(made));
        ui.progress(static_cast<double>(halves.size()) / static_cast<double>(waveforms.size()));
    }
    return true;
}

void install(Waveform& to, const Waveform& stereo, const SampleBufferRef& samples, const std::string& name) {
    to.copyContentFrom(stereo);
    to.replaceSamples(samples);
    to.setName(name);
}

void makeWaveforms(Collection& collection, Halves& halves, bool keepStereo) {
    const std::string name = halves.stereo->name();
    halves.rightWave = collection.create<Waveform>("");
    install(*halves.rightWave, *halves.stereo, halves.right, name + " R");
    halves.leftWave = keepStereo ? collection.create<Waveform>("") : halves.stereo;
    install(*halves.leftWave, *halves.stereo, halves.left, name + " L");
}

bool playsStereo(const Region& region) {
    const Waveform* waveform = region.waveform();
    return waveform && waveform->channels == 2;
}

// Instruments of which a stereo region plays at different pan positions at different places, or also outside
// of what is processed: they need regions of their own.
std::vector<Instrument*> instrumentsToCopy(const ItemScope& scope, const InstrumentLevels& levels) {
    const std::unordered_set<const Instrument*> inside(scope.instruments.begin(), scope.instruments.end());
    std::vector<Instrument*> found;
    for (Instrument* instrument : scope.instruments) {
        bool copy = false;
        for (const Layer* layer : linkedItems<Layer>(*instrument)) {
            const float here = panAbove({&instrument->articulation, &layer->articulation});
            for (const Region* region : linkedItems<Region>(*layer)) {
                if (!playsStereo(*region))
                    continue;
                for (const Layer* other : levels.holders(*region)) {
                    for (const Instrument* holder : levels.holders(*other))
                        copy = copy || !inside.contains(holder) ||
                               panAbove({&holder->articulation, &other->articulation}) != here;
                }
            }
        }
        if (copy)
            found.push_back(instrument);
    }
    return found;
}

// Gives the regions of stereo waveforms of a layer the left half, and their copies in a new layer the right
// one. Regions that two layers share are divided once.
class Divider {
  public:
    // `only`: the region to divide, nullptr for all.
    Divider(const InstrumentLevels& levels, const std::vector<Halves>& halves, const Region* only)
        : levels_(levels), only_(only) {
        for (const Halves& each : halves)
            halves_.emplace(each.stereo->id(), &each);
    }

    void divide(Layer& layer) {
        Layer* rights = nullptr;
        for (const ItemId id : std::vector<ItemId>(layer.links.begin(), layer.links.end())) {
            Region* right = rightOf(id, layer);
            if (!right)
                continue;
            if (!rights) {
                rights = layer.owner().create<Layer>(layer.name().empty() ? "R" : layer.name() + " R");
                rights->articulation = layer.articulation;
            }
            rights->links.add(right->id());
        }
        if (rights)
            addLayersBehind(levels_, layer, std::array{rights->id()});
    }

  private:
    Region* rightOf(ItemId id, const Layer& layer) {
        if (const auto known = rights_.find(id); known != rights_.end())
            return known->second;
        Region* right = nullptr;
        auto* region = layer.owner().find<Region>(id);
        const Waveform* waveform = region && (!only_ || region == only_) ? region->waveform() : nullptr;
        if (const auto found = waveform ? halves_.find(waveform->id()) : halves_.end();
            found != halves_.end()) {
            const Halves& halves = *found->second;
            const LevelsAbove above = levelsAbove(levels_, *region);
            const float pan = playedBelow(above, *region)[parameter::PanPosition];
            right = copyRegion(*region);
            right->links.replace(halves.stereo->id(), halves.rightWave->id());
            region->links.replace(halves.stereo->id(), halves.leftWave->id());
            takeStereoSide(above, *region, pan, false);
            takeStereoSide(above, *right, pan, true);
        }
        // A left half that took the place of the stereo waveform is not divided again.
        rights_.emplace(id, right);
        return right;
    }

    const InstrumentLevels& levels_;
    const Region* only_;
    std::unordered_map<ItemId, const Halves*> halves_;
    std::unordered_map<ItemId, Region*> rights_;  // nullptr for regions that are not divided
};

ProcessOutcome run(ProcessJob& job) {
    Collection& collection = job.collection();
    std::vector<Waveform*> stereo;
    {
        const ItemScope scope(job.item);
        std::unordered_set<const Waveform*> known;
        for (const Region* region : scope.regions) {
            Waveform* waveform = region->waveform();
            if (playsStereo(*region) && waveform->frames > 0 && known.insert(waveform).second)
                stereo.push_back(waveform);
        }
    }
    if (stereo.empty())
        return ProcessOutcome::Unchanged;
    std::vector<Halves> halves;
    if (!divide(stereo, halves, job.ui))
        return ProcessOutcome::Failed;

    if (job.item.kind() == ItemKind::Collection || job.item.kind() == ItemKind::Instrument) {
        const HeldItems held(collection);
        {
            const InstrumentLevels levels(collection);
            for (Instrument* instrument : instrumentsToCopy(ItemScope(job.item), levels))
                giveOwnLevels(levels, *instrument);
        }
        held.removeReleased(collection);
    }
    const InstrumentLevels levels(collection);
    std::vector<Layer*> layers = ItemScope(job.item).layers;
    const Region* only = nullptr;
    if (job.item.kind() == ItemKind::Region) {
        only = static_cast<const Region*>(&job.item);
        layers = levels.holders(*only);
    }
    // A waveform that something outside of these layers plays too stays beside its halves.
    std::unordered_set<const Region*> inside;
    for (const Layer* layer : layers) {
        for (const Region* region : linkedItems<Region>(*layer)) {
            if (!only || region == only)
                inside.insert(region);
        }
    }
    std::unordered_set<const Waveform*> playedOutside;
    for (const Region* region : collection.all<Region>()) {
        if (!inside.contains(region))
            playedOutside.insert(region->waveform());
    }
    ListOrder order(collection, ItemKind::Waveform);
    for (Halves& each : halves) {
        makeWaveforms(collection, each, playedOutside.contains(each.stereo));
        std::vector<ItemId> added{each.rightWave->id()};
        if (each.leftWave != each.stereo)
            added.insert(added.begin(), each.leftWave->id());
        order.placeBehind(each.stereo->id(), added);
    }
    order.apply();
    Divider divider(levels, halves, only);
    for (Layer* layer : layers)
        divider.divide(*layer);
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition splitStereoToLayers{
    .run = run,
    .help =
        "Makes two mono waveforms of each stereo one that regions play, with the same root key, tuning and "
        "loop. The left one stays in its layer, panned hard left, the right one goes to a new layer, panned "
        "hard right; both are as loud as the pan position had them. For samplers that play mono only."};

}  // namespace velor::instrument_processes
