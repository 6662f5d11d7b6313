// The identity of items: every item of a Collection is addressed by a 32-bit id.
#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <functional>

#include "base/hash.h"

namespace velor {

// Also a bit position in item-kind masks (see kindBit).
enum class ItemKind : std::uint8_t {
    Waveform = 0,
    SynthModel = 1,  // FM or LA model that can be rendered to waveforms
    Region = 2,
    Layer = 3,
    Instrument = 4,  // also a drum kit
    MidiTrack = 5,
    MidiSong = 6,
    Collection = 7,
};

inline constexpr int kItemKinds = 8;
// The kinds an item of a Collection can have (all but the Collection itself), in the order state files use.
inline constexpr std::array<ItemKind, 7> kContainedKinds{
    ItemKind::Waveform,   ItemKind::SynthModel, ItemKind::Region,  ItemKind::Layer,
    ItemKind::Instrument, ItemKind::MidiTrack,  ItemKind::MidiSong};

constexpr std::uint8_t kindBit(ItemKind kind) {
    return static_cast<std::uint8_t>(1u << static_cast<unsigned>(kind));
}
inline constexpr std::uint8_t kAllKinds = 0xFF;

// "Waveform", "SynthModel" … as shown in machine-readable output.
const char* kindName(ItemKind kind);

// Kind in bits 29-31, a serial that is unique among items of that kind in bits 0-28.
struct ItemId {
    static constexpr std::uint32_t kSerialMask = 0x1FFFFFFF;

    std::uint32_t value = 0xFFFFFFFF;

    constexpr ItemId() = default;
    constexpr explicit ItemId(std::uint32_t raw) : value(raw) {}
    constexpr ItemId(ItemKind kind, std::uint32_t serial)
        : value(static_cast<std::uint32_t>(kind) << 29 | (serial & kSerialMask)) {}

    // False for "no item".
    constexpr explicit operator bool() const { return value != 0xFFFFFFFF; }
    constexpr ItemKind kind() const { return static_cast<ItemKind>(value >> 29); }
    constexpr std::uint32_t serial() const { return value & kSerialMask; }
    // The id of another kind over the same serial.
    constexpr ItemId withKind(ItemKind kind) const { return ItemId(kind, serial()); }

    friend constexpr auto operator<=>(ItemId, ItemId) = default;
};

inline constexpr ItemId kNoItem{};
// Requests a fresh serial when an item is created.
inline constexpr std::uint32_t kFreshSerial = ItemId::kSerialMask;

}  // namespace velor

template <>
struct std::hash<velor::ItemId> {
    std::size_t operator()(velor::ItemId id) const noexcept {
        return static_cast<std::size_t>(velor::fnv1a64(id.value));
    }
};
