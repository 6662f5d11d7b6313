// Splitting stereo waveforms into two mono ones, and joining mono pairs.
#include <algorithm>
#include <map>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

#include "base/error.h"
#include "base/text.h"
#include "formats/framework/fix_ups.h"
#include "formats/framework/stereo_pair_source.h"
#include "items/instrument_levels.h"
#include "items/region_parameters.h"
#include "items/stereo_sides.h"

namespace velor {

namespace {

using parameter::PanPosition;  // -1 left … +1 right

SampleBufferRef takeChannel(const Waveform& stereo, std::size_t channel) {
    SampleBufferRef mono(SampleBuffer::create(stereo.frames, 1, static_cast<float>(stereo.sampleRate)));
    if (mono) {
        const auto samples = stereo.samples();
        for (std::size_t i = 0; i < stereo.frames; ++i)
            mono->data()[i] = samples[2 * i + channel];
    }
    return mono;
}

}  // namespace

std::string splitStereoWaveforms(Collection& collection, UserInterface& ui) {
    std::unordered_map<ItemId, std::vector<Region*>> users;
    for (Region* region : collection.all<Region>()) {
        if (Waveform* waveform = region->waveform())
            users[waveform->id()].push_back(region);
    }
    const InstrumentLevels levels(collection);
    int split = 0;
    for (Waveform* left : collection.all<Waveform>()) {
        if (left->channels != 2 || ui.aborted() || !left->loadSamples())
            continue;
        SampleBufferRef leftBuffer = takeChannel(*left, 0);
        SampleBufferRef rightBuffer = takeChannel(*left, 1);
        if (!leftBuffer || !rightBuffer)
            continue;
        auto* right = collection.create<Waveform>(left->name() + " R");
        right->copyContentFrom(*left);
        right->replaceSamples(std::move(rightBuffer));
        left->setName(left->name() + " L");
        left->replaceSamples(std::move(leftBuffer));
        for (Region* region : users[left->id()]) {
            auto* other = collection.create<Region>(region->name());
            other->keys = region->keys;
            other->velocities = region->velocities;
            other->overrides = region->overrides;
            other->articulation = region->articulation;
            other->links = region->links;
            other->links.replace(left->id(), right->id());
            const LevelsAbove above = levelsAbove(levels, *region);
            const float pan = playedBelow(above, *region)[PanPosition];
            takeStereoSide(above, *region, pan, false);
            takeStereoSide(above, *other, pan, true);
            for (Layer* layer : levels.holders(*region))
                layer->links.add(other->id());
        }
        ++split;
    }
    if (split == 0)
        return {};
    return formatText("Done: Split %d stereo waveform%s into %d mono waveforms", split,
                      pluralSuffix(static_cast<unsigned>(split)), 2 * split);
}

namespace {

// The endings by which files of one sound's halves are told apart, longest first.
struct SideEnding {
    std::string_view left;
    std::string_view right;
};
constexpr SideEnding kSideEndings[] = {{" left", " right"},   {"_left", "_right"},   {"-left", "-right"},
                                       {"(left)", "(right)"}, {"[left]", "[right]"}, {"(l)", "(r)"},
                                       {"[l]", "[r]"},        {" l", " r"},          {"_l", "_r"},
                                       {"-l", "-r"},          {".l", ".r"}};

// 0 no ending, 1 left, 2 right; `base` is the lower-case name without the side, `shown` as written.
int sideOf(const std::string& name, std::string& base, std::string& shown) {
    const std::string lower = lowerAscii(trim(name));
    for (const SideEnding& ending : kSideEndings) {
        for (int side = 1; side <= 2; ++side) {
            const std::string_view text = side == 1 ? ending.left : ending.right;
            if (lower.size() > text.size() && lower.ends_with(text)) {
                base = lower.substr(0, lower.size() - text.size()) + std::string(ending.left);
                shown = std::string(trim(name).substr(0, lower.size() - text.size()));
                return side;
            }
        }
    }
    return 0;
}

bool formPair(const Waveform& left, const Waveform& right) {
    return left.frames == right.frames && left.sampleRate == right.sampleRate &&
           left.rootKey == right.rootKey && left.tuningCents() == right.tuningCents() &&
           left.gain == right.gain && left.looped == right.looped && left.loopMode == right.loopMode &&
           left.loopStart == right.loopStart && left.loopEnd == right.loopEnd &&
           left.loopUntilRelease == right.loopUntilRelease;
}

constexpr std::size_t kBlock = 1 << 17;  // frames between two looks at the abort flag: below a millisecond

// Loads both halves and interleaves them. Empty when that fails, with LastErrorText, or is aborted.
SampleBufferRef joinSamples(Waveform& left, Waveform& right, UserInterface& ui, bool& aborted) {
    if (!left.loadSamples() || !right.loadSamples())
        return {};
    SampleBufferRef stereo(SampleBuffer::create(left.frames, 2, static_cast<float>(left.sampleRate)));
    if (!stereo || right.samples().size() != left.samples().size()) {
        fail(stereo ? kReadFailed : kOutOfMemory);
        return {};
    }
    for (std::size_t at = 0; at < left.frames; at += kBlock) {
        aborted = ui.aborted();
        if (aborted)
            return {};
        for (std::size_t i = at; i < std::min<std::size_t>(left.frames, at + kBlock); ++i) {
            stereo->data()[2 * i] = left.samples()[i];
            stereo->data()[2 * i + 1] = right.samples()[i];
        }
    }
    return stereo;
}

const Instrument* instrumentOf(const InstrumentLevels& levels, const Region& region) {
    const auto& layers = levels.holders(region);
    if (layers.empty() || levels.holders(*layers.front()).empty())
        return nullptr;
    return levels.holders(*layers.front()).front();
}

// True when wherever one of the regions sounds the other does too: in the same layers, or in two layers that
// nothing but their one instrument holds.
bool soundTogether(const InstrumentLevels& levels, const Region& left, const Region& right) {
    const auto& leftLayers = levels.holders(left);
    const auto& rightLayers = levels.holders(right);
    if (leftLayers == rightLayers)
        return true;
    return leftLayers.size() == 1 && rightLayers.size() == 1 && !levels.shared(*leftLayers[0]) &&
           !levels.shared(*rightLayers[0]) && instrumentOf(levels, left) == instrumentOf(levels, right);
}

// The trigger settings that a region plays with.
std::array<int, 3> triggersOf(const InstrumentLevels& levels, const Region& region) {
    const auto& layers = levels.holders(region);
    const Layer* layer = layers.empty() ? nullptr : layers.front();
    const Instrument* instrument = instrumentOf(levels, region);
    return {regionSetting(instrument, layer, region, parameter::Trigger),
            regionSetting(instrument, layer, region, parameter::PedalCondition),
            regionSetting(instrument, layer, region, parameter::ExclusiveClass)};
}

// True when the two regions differ in nothing but the side they play and are panned to, whatever level of
// their instrument says so. Anything between the middle and the far sides is a place of its own, which a
// stereo waveform could not keep.
bool mirror(const InstrumentLevels& levels, const Region& left, const Region& right) {
    if (left.keys != right.keys || left.velocities != right.velocities || left.overrides != right.overrides ||
        !soundTogether(levels, left, right) || triggersOf(levels, left) != triggersOf(levels, right))
        return false;
    ArticulationValues a = playedBelow(levelsAbove(levels, left), left);
    ArticulationValues b = playedBelow(levelsAbove(levels, right), right);
    const float leftPan = a[PanPosition], rightPan = b[PanPosition];
    a[PanPosition] = b[PanPosition] = 0;
    return a == b && ((leftPan == kPanMiddle && rightPan == kPanMiddle) ||
                      (leftPan == kPanLeft && rightPan == kPanRight));
}

}  // namespace

namespace {

using RegionsOf = std::unordered_map<ItemId, std::vector<Region*>>;

struct WavePair {
    Waveform* left;
    Waveform* right;
    std::string name;
};

// Pairs by the endings of their names. Two sounds of one name are not told apart reliably and left out.
std::vector<WavePair> pairsByName(const Collection& collection) {
    std::unordered_map<std::string, std::vector<Waveform*>> lefts;
    std::unordered_map<std::string, std::vector<Waveform*>> rights;
    std::unordered_map<ItemId, std::string> shownNames;
    std::vector<std::string> order;
    for (Waveform* waveform : collection.all<Waveform>()) {
        std::string base, shown;
        const int side = waveform->channels == 1 ? sideOf(waveform->name(), base, shown) : 0;
        if (side == 1) {
            if (lefts[base].empty())
                order.push_back(base);
            lefts[base].push_back(waveform);
            shownNames[waveform->id()] = shown;
        } else if (side == 2) {
            rights[base].push_back(waveform);
        }
    }
    std::vector<WavePair> pairs;
    for (const std::string& base : order) {
        if (lefts[base].size() == 1 && rights[base].size() == 1)
            pairs.push_back(
                {lefts[base].front(), rights[base].front(), shownNames[lefts[base].front()->id()]});
    }
    return pairs;
}

// Waveforms whose regions play on the far sides together: the first region of each left one says with which.
std::vector<WavePair> pairsByPanning(const Collection& collection, const InstrumentLevels& levels,
                                     const RegionsOf& users) {
    const auto panOf = [&](const Region& region) {
        return playedBelow(levelsAbove(levels, region), region)[PanPosition];
    };
    // Regions on the right by the instrument that plays them, and by their ranges.
    using Place = std::tuple<const Instrument*, std::uint16_t, std::uint16_t>;
    const auto placeOf = [&](const Region& region) {
        return Place{instrumentOf(levels, region), region.keys.word(), region.velocities.word()};
    };
    std::map<Place, std::vector<Region*>> rights;
    for (Region* region : collection.all<Region>()) {
        const Waveform* waveform = region->waveform();
        if (waveform && waveform->channels == 1 && panOf(*region) == kPanRight)
            rights[placeOf(*region)].push_back(region);
    }
    std::vector<WavePair> pairs;
    std::unordered_set<const Waveform*> taken;
    for (Waveform* left : collection.all<Waveform>()) {
        const auto found = users.find(left->id());
        if (left->channels != 1 || found == users.end() || taken.contains(left))
            continue;
        const Region& region = *found->second.front();
        if (panOf(region) != kPanLeft)
            continue;
        Waveform* partner = nullptr;
        int partners = 0;
        for (const Region* other : rights[placeOf(region)]) {
            Waveform* right = other->waveform();
            if (right == left || taken.contains(right) || !formPair(*left, *right) ||
                !mirror(levels, region, *other))
                continue;
            partners += right != partner;
            partner = right;
        }
        // With two to choose from nobody knows which belong together.
        if (partners != 1)
            continue;
        taken.insert(left);
        taken.insert(partner);
        std::string base, shown;
        pairs.push_back({left, partner, sideOf(left->name(), base, shown) == 1 ? shown : left->name()});
    }
    return pairs;
}

bool anyCentred(const InstrumentLevels& levels, const std::vector<Region*>& regions) {
    return std::any_of(regions.begin(), regions.end(), [&](const Region* region) {
        return playedBelow(levelsAbove(levels, *region), *region)[PanPosition] == kPanMiddle;
    });
}

}  // namespace

int mergeStereoPairs(Collection& collection, const StereoPairing& how, UserInterface& ui) {
    RegionsOf users;
    for (Region* region : collection.all<Region>()) {
        if (Waveform* waveform = region->waveform())
            users[waveform->id()].push_back(region);
    }
    const InstrumentLevels levels(collection);
    std::vector<WavePair> pairs;
    if (how.byName)
        pairs = pairsByName(collection);
    if (how.byPanning) {
        std::unordered_set<const Waveform*> named;
        for (const WavePair& pair : pairs) {
            named.insert(pair.left);
            named.insert(pair.right);
        }
        for (WavePair& pair : pairsByPanning(collection, levels, users)) {
            if (!named.contains(pair.left) && !named.contains(pair.right))
                pairs.push_back(std::move(pair));
        }
    }

    struct Merge {
        const WavePair* pair;
        std::vector<Region*> lefts, rights;
        std::shared_ptr<const WaveformSource> source;
        SampleBufferRef samples;
    };
    std::vector<Merge> merges;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        ui.progress(static_cast<double>(i) / static_cast<double>(pairs.size()));
        if (ui.aborted())
            return -1;
        Waveform& left = *pairs[i].left;
        Waveform& right = *pairs[i].right;
        if (!formPair(left, right) || (how.only && !how.only(left)))
            continue;
        Merge merge{&pairs[i], users[left.id()], {}, {}, {}};
        auto rightUsers = users[right.id()];
        if (!how.centred && anyCentred(levels, merge.lefts))
            continue;
        for (const Region* region : merge.lefts) {
            const auto match = std::find_if(rightUsers.begin(), rightUsers.end(), [&](const Region* other) {
                return mirror(levels, *region, *other);
            });
            if (match == rightUsers.end())
                break;
            merge.rights.push_back(*match);
            rightUsers.erase(match);
        }
        if (merge.rights.size() != merge.lefts.size() || !rightUsers.empty())
            continue;  // one half also sounds without the other
        merge.source = stereoPairSource(left, right);
        if (!merge.source) {
            bool aborted = false;
            merge.samples = joinSamples(left, right, ui, aborted);
            if (aborted)
                return -1;
            if (!merge.samples) {
                ui.warn({"The pair \"" + displayText(pairs[i].name) + "\" stays as it is: " + LastErrorText,
                         {},
                         0});
                continue;
            }
        }
        merges.push_back(std::move(merge));
    }
    std::vector<ItemId> goneWaveforms, goneRegions;
    for (Merge& merge : merges) {
        Waveform& left = *merge.pair->left;
        if (merge.source) {
            left.channels = 2;
            left.setSource(std::move(merge.source));
        } else {
            left.replaceSamples(std::move(merge.samples));
        }
        left.setName(merge.pair->name);
        for (std::size_t i = 0; i < merge.lefts.size(); ++i) {
            panTo(levelsAbove(levels, *merge.lefts[i]), *merge.lefts[i], kPanMiddle);
            goneRegions.push_back(merge.rights[i]->id());
            for (Layer* layer : levels.holders(*merge.rights[i]))
                layer->links.remove(merge.rights[i]->id());
        }
        goneWaveforms.push_back(merge.pair->right->id());
    }
    collection.removeAll(ItemKind::Waveform, goneWaveforms);
    collection.removeAll(ItemKind::Region, goneRegions);
    return static_cast<int>(merges.size());
}

std::string mergeStereoWaveforms(Collection& collection, UserInterface& ui) {
    const int merged = mergeStereoPairs(collection, {}, ui);
    if (merged <= 0)
        return {};
    return formatText("Done: Merged %d mono waveforms into %d stereo waveform%s", 2 * merged, merged,
                      pluralSuffix(static_cast<unsigned>(merged)));
}

}  // namespace velor
