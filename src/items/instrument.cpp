#include "items/instrument.h"

#include <algorithm>
#include <cmath>

#include "base/error.h"
#include "items/collection.h"

namespace velor {

// ---- Region ----

Waveform* Region::waveform() const {
    return owner().find<Waveform>(links.firstOf(ItemKind::Waveform));
}

bool Region::playsSynthModel() const {
    return static_cast<bool>(links.firstOf(ItemKind::SynthModel));
}

std::uint8_t Region::rootKey() const {
    if (overrides.has(RegionOverrides::RootKey))
        return overrides.rootKey;
    const Waveform* wave = waveform();
    return wave ? wave->rootKey : std::uint8_t{60};
}

void Region::dropRepeatedOverrides() {
    const Waveform* wave = waveform();
    if (!wave)
        return;
    const auto dropIf = [this](RegionOverrides::Flag flag, bool repeats) {
        if (repeats)
            overrides.flags &= static_cast<std::uint8_t>(~flag);
    };
    dropIf(RegionOverrides::RootKey, overrides.rootKey == wave->rootKey);
    dropIf(RegionOverrides::Looped, overrides.looped == wave->looped);
    dropIf(RegionOverrides::LoopModeFlag, overrides.loopMode == wave->loopMode);
    dropIf(RegionOverrides::LoopStart, overrides.loopStart == wave->loopStart);
    dropIf(RegionOverrides::LoopEnd, overrides.loopEnd == wave->loopEnd);
    dropIf(RegionOverrides::Tuning, overrides.tuning == wave->tuningCents());
}

std::size_t Region::serializedSize() const {
    return Item::serializedSize() + 2 + 2 + 1 + 1 + 1 + 1 + 4 + 4 + 4 + articulation.serializedSize();
}

void Region::serialize(ByteWriter& to) const {
    Item::serialize(to);
    to.u16(keys.word());
    to.u16(velocities.word());
    to.u8(overrides.flags);
    to.u8(overrides.rootKey);
    to.u8(overrides.looped);
    to.u8(static_cast<std::uint8_t>(overrides.loopMode));
    to.u32(overrides.loopStart);
    to.u32(overrides.loopEnd);
    to.f32(overrides.tuning);
    articulation.serialize(to);
}

bool Region::deserialize(ByteReader& from) {
    if (!Item::deserialize(from))
        return false;
    keys = MidiRange::fromWord(from.u16());
    velocities = MidiRange::fromWord(from.u16());
    overrides.flags = from.u8() & RegionOverrides::All;
    overrides.rootKey = from.u8();
    overrides.looped = from.u8() != 0;
    overrides.loopMode = static_cast<LoopMode>(from.u8() & 3);
    overrides.loopStart = from.u32();
    overrides.loopEnd = from.u32();
    overrides.tuning = from.f32();
    return articulation.deserialize(from) && from.ok();
}

void Region::fixUp(FixUpLists& lists) {
    dropBadLinks(kindBit(ItemKind::Waveform) | kindBit(ItemKind::SynthModel), lists);
    const auto before = std::pair(keys, velocities);
    for (MidiRange* range : {&keys, &velocities}) {
        range->low = std::min<std::uint8_t>(range->low, 127);
        range->high = std::min<std::uint8_t>(range->high, 127);
        if (range->low > range->high)
            std::swap(range->low, range->high);
    }
    overrides.rootKey = std::min<std::uint8_t>(overrides.rootKey, 127);
    lists.clampedRanges += before != std::pair(keys, velocities);
    articulation.fixUp();
}

std::string Region::summary(const NoteNaming& naming) const {
    std::string text = formatText("Region with key range: %s..%s, velocity range: %d..%d",
                                  noteName(keys.low, naming).c_str(), noteName(keys.high, naming).c_str(),
                                  velocities.low, velocities.high);
    if (!playsSynthModel()) {
        text += formatText(", root key: %s%s", noteName(rootKey(), naming).c_str(),
                           overrides.has(RegionOverrides::RootKey) ? " (override)" : "");
    }
    return text;
}

// ---- Layer ----

namespace {

MidiRange rangeOverRegions(const Layer& layer, MidiRange Region::*range) {
    MidiRange whole{127, 0};
    bool any = false;
    for (const ItemId id : layer.links) {
        if (const auto* region = layer.owner().find<Region>(id)) {
            whole.low = std::min(whole.low, (region->*range).low);
            whole.high = std::max(whole.high, (region->*range).high);
            any = true;
        }
    }
    return any ? whole : MidiRange{};
}

}  // namespace

MidiRange Layer::keys() const {
    return rangeOverRegions(*this, &Region::keys);
}

MidiRange Layer::velocities() const {
    return rangeOverRegions(*this, &Region::velocities);
}

std::size_t Layer::serializedSize() const {
    return Item::serializedSize() + articulation.serializedSize();
}

void Layer::serialize(ByteWriter& to) const {
    Item::serialize(to);
    articulation.serialize(to);
}

bool Layer::deserialize(ByteReader& from) {
    return Item::deserialize(from) && articulation.deserialize(from);
}

void Layer::fixUp(FixUpLists& lists) {
    dropBadLinks(kindBit(ItemKind::Region), lists);
    articulation.fixUp();
}

std::string Layer::summary(const NoteNaming& naming) const {
    const MidiRange keyRange = keys();
    const MidiRange velocityRange = velocities();
    return formatText("Layer with %d region%s, key range: %s..%s, velocity range: %d..%d",
                      static_cast<int>(links.count()), pluralSuffix(links.count()),
                      noteName(keyRange.low, naming).c_str(), noteName(keyRange.high, naming).c_str(),
                      velocityRange.low, velocityRange.high);
}

// ---- Instrument ----

std::uint32_t Instrument::regionCount() const {
    std::uint32_t total = 0;
    for (const ItemId id : links) {
        if (const auto* layer = owner().find<Layer>(id))
            total += layer->links.count();
    }
    return total;
}

std::size_t Instrument::serializedSize() const {
    return Item::serializedSize() + 4 + articulation.serializedSize();
}

void Instrument::serialize(ByteWriter& to) const {
    Item::serialize(to);
    to.u32(patch.value);
    articulation.serialize(to);
}

bool Instrument::deserialize(ByteReader& from) {
    if (!Item::deserialize(from))
        return false;
    patch = PatchNumber(from.u32());
    return articulation.deserialize(from) && from.ok();
}

void Instrument::fixUp(FixUpLists& lists) {
    dropBadLinks(kindBit(ItemKind::Layer), lists);
    articulation.fixUp();
}

std::string Instrument::summary(const NoteNaming&) const {
    const std::uint32_t regions = regionCount();
    return formatText("%s %d:%d:%d with %d layer%s and %d region%s", patch.drum() ? "Drum kit" : "Instrument",
                      static_cast<int>(patch.bankMsb()), static_cast<int>(patch.bankLsb()),
                      static_cast<int>(patch.program()), static_cast<int>(links.count()),
                      pluralSuffix(links.count()), static_cast<int>(regions), pluralSuffix(regions));
}

}  // namespace velor
