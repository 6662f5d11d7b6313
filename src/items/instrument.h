// Instruments: how waveforms are laid out over keys and velocities.
#pragma once

#include "items/articulation.h"
#include "items/item.h"
#include "items/waveform.h"

namespace velor {

// An inclusive range of MIDI keys or velocities, 0..127.
struct MidiRange {
    std::uint8_t low = 0;
    std::uint8_t high = 127;

    bool contains(int value) const { return value >= low && value <= high; }
    // One 16-bit word, low bound in the low byte.
    std::uint16_t word() const { return static_cast<std::uint16_t>(low | high << 8); }
    static MidiRange fromWord(std::uint16_t word) {
        return {static_cast<std::uint8_t>(word & 0xFF), static_cast<std::uint8_t>(word >> 8)};
    }
    friend bool operator==(const MidiRange&, const MidiRange&) = default;
};

// Values that a region uses instead of its waveform's. Each counts only while its flag is set.
struct RegionOverrides {
    enum Flag : std::uint8_t {
        RootKey = 1,
        Looped = 2,
        LoopModeFlag = 4,
        LoopStart = 8,
        LoopEnd = 16,
        Tuning = 32,
        All = 63,
    };
    std::uint8_t flags = 0;
    std::uint8_t rootKey = 60;
    bool looped = false;
    LoopMode loopMode = LoopMode::None;
    std::uint32_t loopStart = 0;  // frames
    std::uint32_t loopEnd = 0;    // frames, exclusive
    float tuning = 0;             // cents, instead of the waveform's whole tuning

    bool has(Flag flag) const { return flags & flag; }
    friend bool operator==(const RegionOverrides&, const RegionOverrides&) = default;
};

// Links: the first of kind Waveform is what the region plays; a link of kind SynthModel makes it play that.
class Region final : public Item {
  public:
    MidiRange keys;
    MidiRange velocities;
    RegionOverrides overrides;
    Articulation articulation;

    // The first linked waveform, or nullptr.
    Waveform* waveform() const;
    bool playsSynthModel() const;
    // The override, else the waveform's root key, else 60.
    std::uint8_t rootKey() const;
    // Clears the overrides that merely repeat the waveform's own values.
    void dropRepeatedOverrides();

    void serialize(ByteWriter& to) const override;
    bool deserialize(ByteReader& from) override;
    std::size_t serializedSize() const override;
    void fixUp(FixUpLists& lists) override;
    std::string summary(const NoteNaming& naming) const override;

  private:
    friend class Collection;
    Region(Collection& owner, ItemId id) : Item(owner, id) {}
};

// Links: its regions, in order.
class Layer final : public Item {
  public:
    Articulation articulation;

    // Lowest low and highest high bound over the regions; 0..127 without regions.
    MidiRange keys() const;
    MidiRange velocities() const;

    void serialize(ByteWriter& to) const override;
    bool deserialize(ByteReader& from) override;
    std::size_t serializedSize() const override;
    void fixUp(FixUpLists& lists) override;
    std::string summary(const NoteNaming& naming) const override;

  private:
    friend class Collection;
    Layer(Collection& owner, ItemId id) : Item(owner, id) {}
};

// Program 0-127 in bits 0-6, bank LSB in 7-13, bank MSB in 14-20, drum kit in bit 21.
struct PatchNumber {
    std::uint32_t value = 0;

    static constexpr std::uint32_t kDrumBit = 1u << 21;
    constexpr PatchNumber() = default;
    constexpr explicit PatchNumber(std::uint32_t raw) : value(raw) {}
    constexpr PatchNumber(unsigned program, unsigned bankLsb, unsigned bankMsb, bool drum)
        : value((program & 127) | (bankLsb & 127) << 7 | (bankMsb & 127) << 14 | (drum ? kDrumBit : 0)) {}
    constexpr unsigned program() const { return value & 127; }
    constexpr unsigned bankLsb() const { return value >> 7 & 127; }
    constexpr unsigned bankMsb() const { return value >> 14 & 127; }
    constexpr bool drum() const { return value & kDrumBit; }
    friend constexpr bool operator==(PatchNumber, PatchNumber) = default;
};

// What is played for a patch that does not exist, in the order to try: the patch itself; without its bank
// LSB; without its bank MSB too; and for drums the first kit of that bank.
class PatchFallbacks {
  public:
    explicit constexpr PatchFallbacks(PatchNumber patch) {
        add(patch.value);
        add(patch.value & ~(127u << 7));
        add(patches_[count_ - 1].value & ~(127u << 14));
        if (patch.drum())
            add(patches_[count_ - 1].value & ~127u);
    }
    constexpr const PatchNumber* begin() const { return patches_; }
    constexpr const PatchNumber* end() const { return patches_ + count_; }

  private:
    constexpr void add(std::uint32_t value) {
        if (count_ == 0 || patches_[count_ - 1].value != value)
            patches_[count_++] = PatchNumber(value);
    }
    PatchNumber patches_[4];
    int count_ = 0;
};

// Links: its layers, in order.
class Instrument final : public Item {
  public:
    PatchNumber patch;
    Articulation articulation;

    // Regions over all layers; a missing layer counts as none.
    std::uint32_t regionCount() const;

    void serialize(ByteWriter& to) const override;
    bool deserialize(ByteReader& from) override;
    std::size_t serializedSize() const override;
    void fixUp(FixUpLists& lists) override;
    std::string summary(const NoteNaming& naming) const override;

  private:
    friend class Collection;
    Instrument(Collection& owner, ItemId id) : Item(owner, id) {}
};

}  // namespace velor
