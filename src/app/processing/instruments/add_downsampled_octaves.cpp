#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "app/processing/instruments/processes.h"
#include "base/error.h"
#include "dsp/octave_copy.h"
#include "items/instrument_copies.h"
#include "items/item_scope.h"

namespace velor::instrument_processes {

namespace {

constexpr ProcessParameter kParameters[] = {
    {.key = "octaves",
     .label = "Highest octave above the root key",
     .kind = ProcessValueKind::Whole,
     .least = 1,
     .most = 10,
     .standard = 10,
     .help = "Keys further up play the last copy."},
};

// Neighbouring keys of a region that play the same copy; 0 octaves is the waveform itself.
struct Part {
    MidiRange keys;
    int octaves = 0;
};

// A copy of a waveform: its name, octaves and loop say which.
using CopyKey = std::tuple<Waveform*, int, double, double, LoopMode, bool>;
struct Copy {
    Waveform* made = nullptr;  // in the workshop, then in the collection
    float addedCents = 0;
};

float tuningOf(const Region& region, const Waveform& waveform) {
    return region.overrides.has(RegionOverrides::Tuning) ? region.overrides.tuning : waveform.tuningCents();
}

// The octaves by which a key reads a waveform faster than its own rate.
int octavesAt(const ArticulationValues& values, const Region& region, const Waveform& waveform, int key) {
    const float semitones = static_cast<float>(key - region.rootKey()) * values[parameter::KeyToPitch] +
                            values[parameter::MasterTuning] + tuningOf(region, waveform) / 100;
    // A hundredth of a semitone below the octave is as good as there.
    return std::isfinite(semitones) ? static_cast<int>(std::clamp((semitones + 0.01f) / 12, 0.0f, 20.0f)) : 0;
}

std::vector<Part> partsOf(const ArticulationValues& values, const Region& region, const Waveform& waveform,
                          const RegionLoop& loop, int most) {
    std::vector<Part> parts;
    for (int key = region.keys.low; key <= region.keys.high && key < 128; ++key) {
        int octaves = std::min(octavesAt(values, region, waveform, key), most);
        while (octaves > 0 && !canTakeOctaves(waveform, loop, octaves))
            --octaves;
        const auto at = static_cast<std::uint8_t>(key);
        if (!parts.empty() && parts.back().octaves == octaves)
            parts.back().keys.high = at;
        else
            parts.push_back({{at, at}, octaves});
    }
    return parts;
}

// Makes a region play a copy at the pitch that it played the waveform at.
void play(Region& region, const Waveform& waveform, const Copy& copy, int octaves, float keyToPitch) {
    RegionOverrides& own = region.overrides;
    int root = region.rootKey();
    float tuning = tuningOf(region, waveform) + copy.addedCents;
    // A root key that is 12 keys higher is an octave only where each key is a semitone.
    if (keyToPitch == 1 && root + 12 * octaves <= 127)
        root += 12 * octaves;
    else
        tuning -= 1200.0f * static_cast<float>(octaves);
    region.links.replace(waveform.id(), copy.made->id());
    // The loop is the copy's own.
    own.flags = 0;
    if (root != copy.made->rootKey) {
        own.flags |= RegionOverrides::RootKey;
        own.rootKey = static_cast<std::uint8_t>(root);
    }
    // Below a thousandth of a cent is rounding.
    if (!(std::abs(tuning - copy.made->tuningCents()) < 0.001f)) {
        own.flags |= RegionOverrides::Tuning;
        own.tuning = tuning;
    }
}

ProcessOutcome run(ProcessJob& job) {
    Collection& collection = job.collection();
    const InstrumentLevels levels(collection);
    const auto most = static_cast<int>(job.settings.whole("octaves"));
    struct Plan {
        Region* region;
        Waveform* waveform;
        RegionLoop loop;
        float keyToPitch;
        std::vector<Part> parts;
    };
    std::vector<Plan> plans;
    std::map<CopyKey, Copy> copies;
    std::vector<CopyKey> order;
    const auto keyOf = [](const Plan& plan, int octaves) {
        return CopyKey{plan.waveform, octaves,        plan.loop.start,
                       plan.loop.end, plan.loop.mode, plan.loop.untilRelease};
    };
    for (Region* region : ItemScope(job.item).regions) {
        Waveform* waveform = region->waveform();
        if (!waveform || waveform->frames == 0)
            continue;
        const Layer* layer = levels.holders(*region).empty() ? nullptr : levels.holders(*region).front();
        const Instrument* instrument =
            layer && !levels.holders(*layer).empty() ? levels.holders(*layer).front() : nullptr;
        const ArticulationValues values =
            resolveArticulation(instrument ? &instrument->articulation : nullptr,
                                layer ? &layer->articulation : nullptr, &region->articulation);
        Plan plan{
            region, waveform, regionLoop(*waveform, region->overrides), values[parameter::KeyToPitch], {}};
        plan.parts = partsOf(values, *region, *waveform, plan.loop, most);
        if (std::all_of(plan.parts.begin(), plan.parts.end(),
                        [](const Part& part) { return part.octaves == 0; }))
            continue;
        for (const Part& part : plan.parts) {
            const CopyKey key = keyOf(plan, part.octaves);
            if (part.octaves > 0 && copies.try_emplace(key).second)
                order.push_back(key);
        }
        plans.push_back(std::move(plan));
    }
    if (plans.empty())
        return ProcessOutcome::Unchanged;

    // All that can fail happens in a collection apart.
    Collection workshop;
    for (std::size_t i = 0; i < order.size(); ++i) {
        if (job.ui.aborted())
            return cancelled();
        job.ui.progress(static_cast<double>(i) / static_cast<double>(order.size()));
        const auto& [waveform, octaves, start, end, mode, untilRelease] = order[i];
        Waveform& source = *waveform;
        const bool wasLoaded = source.samplesLoaded();
        const RegionLoop loop{end > start, mode, start, end, untilRelease};
        Copy& copy = copies[order[i]];
        copy.made = workshop.create<Waveform>(source.name() + formatText(" 1/%d", 1 << octaves));
        // Progress within one waveform is not shown: the list's own is fine enough.
        struct : UserInterface {
            UserInterface* whole;
            bool aborted() override { return whole->aborted(); }
        } quiet;
        quiet.whole = &job.ui;
        const bool made = makeOctaveCopy(*copy.made, source, loop, octaves, copy.addedCents, quiet);
        if (!wasLoaded && source.source())
            source.releaseSamples();
        if (!made)
            return job.ui.aborted() ? cancelled() : ProcessOutcome::Failed;
    }

    ListOrder waveforms(collection, ItemKind::Waveform);
    for (const CopyKey& key : order) {
        Copy& copy = copies[key];
        auto* kept = collection.create<Waveform>(copy.made->name());
        kept->copyContentFrom(*copy.made);
        copy.made = kept;
        waveforms.placeBehind(std::get<0>(key)->id(), {kept->id()});
    }
    waveforms.apply();
    std::unordered_map<ItemId, std::vector<ItemId>> added;  // by the region they were split from
    for (const Plan& plan : plans) {
        std::vector<Region*> regions{plan.region};
        for (std::size_t i = 1; i < plan.parts.size(); ++i) {
            regions.push_back(copyRegion(*plan.region));
            added[plan.region->id()].push_back(regions.back()->id());
        }
        for (std::size_t i = 0; i < plan.parts.size(); ++i) {
            regions[i]->keys = plan.parts[i].keys;
            if (plan.parts[i].octaves > 0)
                play(*regions[i], *plan.waveform, copies[keyOf(plan, plan.parts[i].octaves)],
                     plan.parts[i].octaves, plan.keyToPitch);
        }
    }
    for (Layer* layer : collection.all<Layer>()) {
        std::vector<ItemId> links;
        for (const ItemId id : layer->links) {
            links.push_back(id);
            if (const auto found = added.find(id); found != added.end())
                links.insert(links.end(), found->second.begin(), found->second.end());
        }
        if (links.size() != layer->links.count())
            layer->links.assign(links);
    }
    return ProcessOutcome::Changed;
}

}  // namespace

constinit const ProcessDefinition addDownsampledOctaves{
    run, kParameters,
    "For samplers that alias when a wave is played far above its root key: adds copies at half, a quarter … "
    "of "
    "the sample rate and lets the keys an octave, two octaves … above the root key play them. Every key "
    "sounds "
    "at the same pitch, and loops follow. Regions are split at the octaves; regions that play the same wave "
    "share the copies."};

}  // namespace velor::instrument_processes
