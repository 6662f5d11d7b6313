#include "items/key_ranges.h"

#include <algorithm>

#include "items/region_parameters.h"

namespace velor {

namespace {

// False when nothing of the range is left.
bool change(MidiRange& range, const RangeChange& how, OutsideRegions outside) {
    const int least = how.limits.low, most = std::max<int>(how.limits.low, how.limits.high);
    const int low = range.low + how.shift, high = range.high + how.shift;
    if ((high < least || low > most) && outside != OutsideRegions::Nearest)
        return false;
    range.low = static_cast<std::uint8_t>(std::clamp(low, least, most));
    range.high = static_cast<std::uint8_t>(std::clamp(high, least, most));
    return true;
}

void shiftRootKey(Region& region, int shift) {
    const Waveform* waveform = region.waveform();
    if (!waveform)
        return;
    RegionOverrides& own = region.overrides;
    const int wanted = region.rootKey() + shift;
    const int root = std::clamp(wanted, 0, 127);
    if (wanted != root) {
        // A root key that is too low makes the region sound higher by as many semitones.
        const float cents = own.has(RegionOverrides::Tuning) ? own.tuning : waveform->tuningCents();
        own.tuning = cents + 100.0f * static_cast<float>(root - wanted);
        own.flags |= RegionOverrides::Tuning;
    }
    own.rootKey = static_cast<std::uint8_t>(root);
    own.flags |= RegionOverrides::RootKey;
    if (own.rootKey == waveform->rootKey)
        own.flags &= static_cast<std::uint8_t>(~RegionOverrides::RootKey);
}

bool overlap(MidiRange a, MidiRange b) {
    return a.low <= b.high && b.low <= a.high;
}

}  // namespace

std::size_t adjustRanges(Collection& collection, const std::vector<Region*>& regions,
                         const RangeAdjustment& how) {
    std::size_t changed = 0;
    std::vector<ItemId> gone;
    for (Region* region : regions) {
        MidiRange keys = region->keys, velocities = region->velocities;
        if (!change(keys, how.keys, how.outside) || !change(velocities, how.velocities, how.outside)) {
            if (how.outside == OutsideRegions::Remove)
                gone.push_back(region->id());
            continue;
        }
        const bool root = how.rootKeys && how.keys.shift != 0 && region->waveform();
        if (keys == region->keys && velocities == region->velocities && !root)
            continue;
        region->keys = keys;
        region->velocities = velocities;
        if (root)
            shiftRootKey(*region, how.keys.shift);
        ++changed;
    }
    if (gone.empty())
        return changed;
    collection.removeAll(ItemKind::Region, gone);
    for (Layer* layer : collection.all<Layer>()) {
        std::vector<ItemId> left;
        for (const ItemId id : layer->links) {
            if (collection.find(id))
                left.push_back(id);
        }
        layer->links.assign(left);
    }
    return changed + gone.size();
}

std::size_t extendKeyRanges(const Layer& layer, const Articulation* above, GapRule rule, bool ends) {
    struct Neighbour {
        Region* region;
        bool onRelease;
        MidiRange keys;  // as they were
    };
    std::vector<Neighbour> all;
    for (Region* region : linkedItems<Region>(layer)) {
        float trigger = 0;
        if (!region->articulation.setting(parameter::Trigger, trigger) &&
            !layer.articulation.setting(parameter::Trigger, trigger) && above)
            above->setting(parameter::Trigger, trigger);
        const bool known = std::any_of(all.begin(), all.end(),
                                       [&](const Neighbour& other) { return other.region == region; });
        if (!known && region->keys.low <= region->keys.high && region->keys.high <= 127)
            all.push_back({region, static_cast<int>(trigger) == RegionTrigger::kRelease, region->keys});
    }
    std::size_t changed = 0;
    for (const Neighbour& each : all) {
        const int low = each.keys.low, high = each.keys.high;
        int below = -1, behind = 128;              // the nearest keys that neighbours play
        bool lowTaken = false, highTaken = false;  // the next key plays already
        for (const Neighbour& other : all) {
            if (&other == &each || other.onRelease != each.onRelease ||
                !overlap(other.region->velocities, each.region->velocities))
                continue;
            if (other.keys.high < low)
                below = std::max<int>(below, other.keys.high);
            if (other.keys.low > high)
                behind = std::min<int>(behind, other.keys.low);
            lowTaken = lowTaken || other.keys.contains(low - 1);
            highTaken = highTaken || other.keys.contains(high + 1);
        }
        MidiRange extended = each.keys;
        if (!lowTaken) {
            if (below < 0)
                extended.low = ends ? std::uint8_t{0} : extended.low;
            else if (rule == GapRule::Upper)
                extended.low = static_cast<std::uint8_t>(below + 1);
            else if (rule == GapRule::Middle)
                extended.low = static_cast<std::uint8_t>((below + low) / 2 + 1);
        }
        if (!highTaken) {
            if (behind > 127)
                extended.high = ends ? std::uint8_t{127} : extended.high;
            else if (rule == GapRule::Lower)
                extended.high = static_cast<std::uint8_t>(behind - 1);
            else if (rule == GapRule::Middle)
                extended.high = static_cast<std::uint8_t>((high + behind) / 2);
        }
        changed += each.region->keys != extended;
        each.region->keys = extended;
    }
    return changed;
}

}  // namespace velor
