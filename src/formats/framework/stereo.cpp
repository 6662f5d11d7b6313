// Splitting stereo waveforms into two mono ones, and joining mono pairs.
#include <algorithm>
#include <unordered_map>

#include "base/error.h"
#include "base/text.h"
#include "formats/framework/fix_ups.h"
#include "formats/framework/stereo_pair_source.h"

namespace velor {

namespace {

constexpr std::uint16_t kPanPosition = 51;  // articulation parameter: -1 left … +1 right

// Region → the layer that holds it.
std::unordered_map<ItemId, Layer*> layersByRegion(const Collection& collection) {
    std::unordered_map<ItemId, Layer*> holders;
    for (Layer* layer : collection.all<Layer>()) {
        for (const ItemId id : layer->links)
            holders.emplace(id, layer);
    }
    return holders;
}

void pan(Region& region, float position) {
    const float own = region.articulation.get(kPanPosition, 0);
    region.articulation.set(kPanPosition, std::clamp(own + position, -1.0f, 1.0f));
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
    const auto layers = layersByRegion(collection);
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
            pan(*region, -1);
            pan(*other, 1);
            if (const auto holder = layers.find(region->id()); holder != layers.end())
                holder->second->links.add(other->id());
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

// True when the two regions differ in nothing but the side they play and are panned to. Anything between the
// middle and the far sides is a place of its own, which a stereo waveform could not keep.
bool mirror(const Region& left, const Region& right) {
    Articulation a = left.articulation;
    Articulation b = right.articulation;
    const float leftPan = a.get(kPanPosition, 0), rightPan = b.get(kPanPosition, 0);
    if ((leftPan != 0 || rightPan != 0) && (leftPan != -1 || rightPan != 1))
        return false;
    a.unset(kPanPosition);
    b.unset(kPanPosition);
    return left.keys == right.keys && left.velocities == right.velocities &&
           left.overrides == right.overrides && a == b;
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
    const auto layers = layersByRegion(collection);

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
            const auto match = std::find_if(rightUsers.begin(), rightUsers.end(),
                                            [&](const Region* other) { return mirror(*region, *other); });
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
            leftUsers[i]->articulation.unset(kPanPosition);
            goneRegions.push_back(partners[i]->id());
            if (const auto holder = layers.find(partners[i]->id()); holder != layers.end())
                holder->second->links.remove(partners[i]->id());
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
