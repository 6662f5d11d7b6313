// Splitting stereo waveforms into two mono ones, and joining mono pairs.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <unordered_map>

#include "base/error.h"
#include "base/text.h"
#include "formats/framework/fix_ups.h"
#include "formats/framework/stereo_pair_source.h"
#include "items/instrument_levels.h"
#include "items/region_parameters.h"

namespace velor {

namespace {

using parameter::MasterVolume;
using parameter::PanPosition;  // -1 left … +1 right

constexpr float kLeft = -1, kMiddle = 0, kRight = 1;

// The levels above a region. Of a region that sounds at several places it is the first.
struct Above {
    const Articulation* instrument = nullptr;
    const Articulation* layer = nullptr;
};

Above levelsAbove(const InstrumentLevels& levels, const Region& region) {
    const auto& layers = levels.holders(region);
    if (layers.empty())
        return {};
    const auto& instruments = levels.holders(*layers.front());
    return {instruments.empty() ? nullptr : &instruments.front()->articulation,
            &layers.front()->articulation};
}

ArticulationValues played(const Above& above, const Region& region) {
    return resolveArticulation(above.instrument, above.layer, &region.articulation);
}

// Makes a region play at a pan position whatever its layer and its instrument add.
void panTo(const Above& above, Region& region, float position) {
    float added = 0;
    for (const Articulation* level : {above.instrument, above.layer}) {
        float value = 0;
        if (level && level->setting(PanPosition, value))
            added += value;
    }
    if (position == added)
        region.articulation.unset(PanPosition);
    else
        region.articulation.set(PanPosition, position - added);
}

// How much softer than its loudest, in dB, one side of a stereo waveform plays at a pan position: the nearer
// side as it is, the farther one along the constant-power curve.
float balanceLevel(float pan, bool right) {
    const double angle = (static_cast<double>(pan) + 1) * std::numbers::pi / 4;
    const double gain = std::numbers::sqrt2 * (right ? std::sin(angle) : std::cos(angle));
    if (gain > 1 - 1e-6)
        return 0;
    const float silent = articulationParameter(MasterVolume)->minimum;
    return gain > 1e-6 ? std::max(static_cast<float>(20 * std::log10(gain)), silent) : silent;
}

// Turns a region of a stereo waveform into one of its halves.
void takeSide(const Above& above, Region& region, float pan, bool right) {
    panTo(above, region, right ? kRight : kLeft);
    if (const float level = balanceLevel(pan, right); level != 0) {
        float own = 0;
        region.articulation.setting(MasterVolume, own);
        region.articulation.set(MasterVolume, own + level);
    }
}

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
        right->installBuffer(std::move(rightBuffer));
        left->setName(left->name() + " L");
        left->installBuffer(std::move(leftBuffer));
        for (Region* region : users[left->id()]) {
            auto* other = collection.create<Region>(region->name());
            other->keys = region->keys;
            other->velocities = region->velocities;
            other->overrides = region->overrides;
            other->articulation = region->articulation;
            other->links = region->links;
            other->links.replace(left->id(), right->id());
            const Above above = levelsAbove(levels, *region);
            const float pan = played(above, *region)[PanPosition];
            takeSide(above, *region, pan, false);
            takeSide(above, *other, pan, true);
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

// Loads both halves and interleaves them in the left one; the right one stays as it is.
bool joinSamples(Waveform& left, Waveform& right) {
    if (!left.loadSamples() || !right.loadSamples())
        return false;
    SampleBufferRef stereo(SampleBuffer::create(left.frames, 2, static_cast<float>(left.sampleRate)));
    if (!stereo || right.samples().size() != left.samples().size())
        return false;
    for (std::size_t i = 0; i < left.frames; ++i) {
        stereo->data()[2 * i] = left.samples()[i];
        stereo->data()[2 * i + 1] = right.samples()[i];
    }
    left.installBuffer(std::move(stereo));
    return true;
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
    ArticulationValues a = played(levelsAbove(levels, left), left);
    ArticulationValues b = played(levelsAbove(levels, right), right);
    const float leftPan = a[PanPosition], rightPan = b[PanPosition];
    a[PanPosition] = b[PanPosition] = 0;
    return a == b &&
           ((leftPan == kMiddle && rightPan == kMiddle) || (leftPan == kLeft && rightPan == kRight));
}

}  // namespace

std::string mergeStereoWaveforms(Collection& collection, UserInterface& ui) {
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
    std::unordered_map<ItemId, std::vector<Region*>> users;
    for (Region* region : collection.all<Region>()) {
        if (Waveform* waveform = region->waveform())
            users[waveform->id()].push_back(region);
    }
    const InstrumentLevels levels(collection);

    std::vector<ItemId> goneWaveforms, goneRegions;
    int merged = 0;
    for (const std::string& base : order) {
        // Two sounds of one name are not told apart reliably; leave them.
        if (lefts[base].size() != 1 || rights[base].size() != 1 || ui.aborted())
            continue;
        Waveform* left = lefts[base].front();
        Waveform* right = rights[base].front();
        if (!formPair(*left, *right))
            continue;
        auto& leftUsers = users[left->id()];
        auto rightUsers = users[right->id()];
        std::vector<Region*> partners;
        for (Region* region : leftUsers) {
            const auto match = std::find_if(rightUsers.begin(), rightUsers.end(), [&](const Region* other) {
                return mirror(levels, *region, *other);
            });
            if (match == rightUsers.end())
                break;
            partners.push_back(*match);
            rightUsers.erase(match);
        }
        if (partners.size() != leftUsers.size() || !rightUsers.empty())
            continue;  // one half also sounds without the other
        if (auto pair = stereoPairSource(*left, *right)) {
            left->channels = 2;
            left->setSource(std::move(pair));
        } else if (!joinSamples(*left, *right)) {
            continue;
        }
        left->setName(shownNames[left->id()]);
        for (std::size_t i = 0; i < leftUsers.size(); ++i) {
            panTo(levelsAbove(levels, *leftUsers[i]), *leftUsers[i], kMiddle);
            goneRegions.push_back(partners[i]->id());
            for (Layer* layer : levels.holders(*partners[i]))
                layer->links.remove(partners[i]->id());
        }
        goneWaveforms.push_back(right->id());
        ++merged;
    }
    if (merged == 0)
        return {};
    collection.removeAll(ItemKind::Waveform, goneWaveforms);
    collection.removeAll(ItemKind::Region, goneRegions);
    return formatText("Done: Merged %d mono waveforms into %d stereo waveform%s", 2 * merged, merged,
                      pluralSuffix(static_cast<unsigned>(merged)));
}

}  // namespace velor
