// Removing waveforms that repeat another one, and waveforms that nothing plays.
#include <cmath>
#include <cstring>
#include <map>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "base/error.h"
#include "formats/framework/fix_ups.h"

namespace velor {

namespace {

std::span<const Byte> sampleBytes(const Waveform& waveform) {
    const auto samples = waveform.samples();
    return {reinterpret_cast<const Byte*>(samples.data()), samples.size_bytes()};
}

// Loads samples for a look and lets them go again, so that a large bank is not held in memory as a whole.
class SampleLook {
  public:
    explicit SampleLook(Waveform& waveform) : waveform_(waveform), wasLoaded_(waveform.samplesLoaded()) {
        loaded_ = waveform.loadSamples();
    }
    ~SampleLook() {
        if (!wasLoaded_ && waveform_.source())
            waveform_.releaseSamples();
    }
    SampleLook(const SampleLook&) = delete;
    SampleLook& operator=(const SampleLook&) = delete;
    bool loaded() const { return loaded_; }

  private:
    Waveform& waveform_;
    bool wasLoaded_;
    bool loaded_ = false;
};

bool sameSamples(Waveform& a, Waveform& b) {
    if (a.buffer().get() != nullptr && a.buffer().get() == b.buffer().get())
        return true;
    const SampleLook lookA(a);
    const SampleLook lookB(b);
    if (!lookA.loaded() || !lookB.loaded() || a.samples().size() != b.samples().size())
        return false;
    return std::memcmp(sampleBytes(a).data(), sampleBytes(b).data(), sampleBytes(a).size()) == 0;
}

bool isWhole(double value) {
    return value == std::floor(value);
}

bool sameLoop(const Waveform& a, const Waveform& b) {
    return a.looped == b.looped && a.loopMode == b.loopMode && a.loopStart == b.loopStart &&
           a.loopEnd == b.loopEnd;
}

bool sameKeyAndLoop(const Waveform& a, const Waveform& b) {
    return a.rootKey == b.rootKey && a.tuningCents() == b.tuningCents() && sameLoop(a, b);
}

// True when a region can play `kept` exactly as it played `other`, by overriding what differs.
bool replaceable(const Waveform& kept, const Waveform& other) {
    return kept.gain == other.gain && kept.loopUntilRelease == other.loopUntilRelease &&
           kept.playThrough == other.playThrough &&
           (sameLoop(kept, other) || (isWhole(other.loopStart) && isWhole(other.loopEnd)));
}

void replaceInRegion(Region& region, const Waveform& kept, const Waveform& other) {
    RegionOverrides& own = region.overrides;
    const auto take = [&own](RegionOverrides::Flag flag, bool differs, auto& field, auto value) {
        if (differs && !own.has(flag)) {
            own.flags |= flag;
            field = static_cast<std::remove_reference_t<decltype(field)>>(value);
        }
    };
    take(RegionOverrides::RootKey, kept.rootKey != other.rootKey, own.rootKey, other.rootKey);
    take(RegionOverrides::Looped, kept.looped != other.looped, own.looped, other.looped);
    take(RegionOverrides::LoopModeFlag, kept.loopMode != other.loopMode, own.loopMode, other.loopMode);
    take(RegionOverrides::LoopStart, kept.loopStart != other.loopStart, own.loopStart, other.loopStart);
    take(RegionOverrides::LoopEnd, kept.loopEnd != other.loopEnd, own.loopEnd, other.loopEnd);
    take(RegionOverrides::Tuning, kept.tuningCents() != other.tuningCents(), own.tuning, other.tuningCents());
    region.links.replace(other.id(), kept.id());
}

int kiloSamples(std::uint64_t frames) {
    return static_cast<int>((frames + 512) / 1024);
}

std::unordered_map<ItemId, std::vector<Region*>> regionsByWaveform(const Collection& collection) {
    std::unordered_map<ItemId, std::vector<Region*>> users;
    for (Region* region : collection.all<Region>()) {
        for (const ItemId id : region->links) {
            if (id && id.kind() == ItemKind::Waveform)
                users[id].push_back(region);
        }
    }
    return users;
}

}  // namespace

std::string removeDuplicateWaveforms(Collection& collection, UserInterface& ui) {
    const auto users = regionsByWaveform(collection);
    using Shape = std::tuple<std::uint32_t, std::uint32_t, std::uint8_t>;
    std::map<Shape, std::vector<Waveform*>> shapes;
    for (Waveform* waveform : collection.all<Waveform>())
        shapes[{waveform->frames, waveform->sampleRate, waveform->channels}].push_back(waveform);

    std::vector<ItemId> gone;
    std::uint64_t framesFreed = 0;
    for (auto& [shape, group] : shapes) {
        if (group.size() < 2)
            continue;
        std::unordered_map<std::uint64_t, std::vector<Waveform*>> kept;  // by hash of the samples
        for (Waveform* waveform : group) {
            if (ui.aborted())
                break;
            std::uint64_t hash = 0;
            {
                const SampleLook look(*waveform);
                if (!look.loaded())
                    continue;
                hash = fnv1a64(sampleBytes(*waveform));
            }
            const auto found = users.find(waveform->id());
            Waveform* original = nullptr;
            for (Waveform* candidate : kept[hash]) {
                const bool alike = found == users.end() ? sameKeyAndLoop(*candidate, *waveform) &&
                                                              replaceable(*candidate, *waveform)
                                                        : replaceable(*candidate, *waveform);
                if (alike && sameSamples(*candidate, *waveform)) {
                    original = candidate;
                    break;
                }
            }
            if (!original) {
                kept[hash].push_back(waveform);
                continue;
            }
            if (found != users.end()) {
                for (Region* region : found->second)
                    replaceInRegion(*region, *original, *waveform);
            }
            gone.push_back(waveform->id());
            framesFreed += waveform->frames;
        }
    }
    if (gone.empty())
        return "Done: No duplicate waveforms found";
    collection.removeAll(ItemKind::Waveform, gone);
    return formatText("Done: Deleted %d duplicate waveform%s (%dK samples freed)",
                      static_cast<int>(gone.size()), pluralSuffix(gone.size()), kiloSamples(framesFreed));
}

std::string removeUnusedWaveforms(Collection& collection) {
    const auto users = regionsByWaveform(collection);
    std::vector<ItemId> gone;
    std::uint64_t framesFreed = 0;
    for (const Waveform* waveform : collection.all<Waveform>()) {
        if (!users.contains(waveform->id())) {
            gone.push_back(waveform->id());
            framesFreed += waveform->frames;
        }
    }
    if (gone.empty())
        return "No unused waveforms found";
    collection.removeAll(ItemKind::Waveform, gone);
    return formatText("Done: Deleted %d unused waveform%s (%dK samples freed)", static_cast<int>(gone.size()),
                      pluralSuffix(gone.size()), kiloSamples(framesFreed));
}

}  // namespace velor
