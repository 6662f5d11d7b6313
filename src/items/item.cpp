#include "items/item.h"

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <vector>

#include "base/error.h"
#include "items/collection.h"

namespace velor {

const char* kindName(ItemKind kind) {
    static constexpr const char* kNames[kItemKinds] = {"Waveform",   "SynthModel", "Region",   "Layer",
                                                       "Instrument", "MidiTrack",  "MidiSong", "Collection"};
    return kNames[static_cast<std::size_t>(kind)];
}

std::string noteName(std::uint8_t note, const NoteNaming& naming) {
    static constexpr const char* kNames[12] = {"C",  "C#", "D",  "D#", "E",  "F",
                                               "F#", "G",  "G#", "A",  "A#", "B"};
    if (!naming.names)
        return formatText("%d", note);
    return formatText("%s%d", kNames[note % 12], note / 12 - 5 + naming.octaveOfMiddleC);
}

std::string timeText(double seconds) {
    if (!(seconds > 0))
        seconds = 0;
    const auto total = static_cast<unsigned long long>(std::min(seconds, 1e15) * 1000 + 0.5);
    const unsigned long long minutes = total / 60000;
    const unsigned rest = static_cast<unsigned>(total % 60000);
    if (minutes < 60)
        return formatText("%llu:%02u.%03u", minutes, rest / 1000, rest % 1000);
    return formatText("%llu:%02llu:%02u.%03u", minutes / 60, minutes % 60, rest / 1000, rest % 1000);
}

void Item::setName(std::string_view name) {
    name_.assign(name.substr(0, name.find('\0')));
}

void Item::setNameFormatted(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::vector<char> text(length > 0 ? static_cast<std::size_t>(length) + 1 : 1);
    std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    setName(text.data());
}

void Item::writeText(ByteWriter& to, std::string_view text) {
    to.u32(static_cast<std::uint32_t>(text.size()));
    to.text(text, text.size());
}

bool Item::readText(ByteReader& from, std::string& text) {
    const std::uint32_t length = from.u32();
    const auto bytes = from.bytes(length);
    text.assign(bytes.begin(), bytes.end());
    return from.ok();
}

std::size_t Item::serializedSize() const {
    return 4 + textSize(name_) + 4 + std::size_t{links.count()} * 4;
}

void Item::serialize(ByteWriter& to) const {
    to.u32(id_.value);
    writeText(to, name_);
    to.u32(links.count());
    for (const ItemId id : links)
        to.u32(id.value);
}

bool Item::deserialize(ByteReader& from) {
    std::string name;
    if (!readText(from, name))
        return false;
    setName(name);
    const std::uint32_t count = from.u32();
    if (count > from.remaining() / 4)
        return false;
    links.clear();
    for (std::uint32_t i = 0; i < count; ++i)
        links.add(ItemId(from.u32()));
    return from.ok();
}

void Item::fixUp(FixUpLists&) {}

void Item::dropBadLinks(std::uint8_t allowedKinds, FixUpLists& lists) {
    std::vector<ItemId> kept;
    for (const ItemId id : links) {
        if (id && (allowedKinds & kindBit(id.kind())) && owner_->find(id))
            kept.push_back(id);
    }
    if (kept.size() != links.count()) {
        lists.danglingLinks += links.count() - static_cast<std::uint32_t>(kept.size());
        links.assign(kept);
    }
}

}  // namespace velor
