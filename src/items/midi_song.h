// MIDI songs and their tracks.
#pragma once

#include <vector>

#include "items/item.h"

namespace velor {

// Events stay the raw event stream of a Standard MIDI File (delta times, running status allowed).
class MidiTrack final : public Item {
  public:
    std::vector<Byte> events;
    std::uint32_t eventCount = 0;      // of the events that can be read, the end-of-track event included
    std::int32_t port = -1;            // -1: not set
    std::int32_t channel = -1;         // 0-15; -1: not set, -2: the control track of a format 1 song
    std::int32_t sequenceNumber = -1;  // -1: not set

    void serialize(ByteWriter& to) const override;
    bool deserialize(ByteReader& from) override;
    std::size_t serializedSize() const override;
    // Counts the events anew.
    void fixUp(FixUpLists& lists) override;
    std::string summary(const NoteNaming& naming) const override;

  private:
    friend class Collection;
    MidiTrack(Collection& owner, ItemId id) : Item(owner, id) {}
};

// Links: its tracks, in order.
class MidiSong final : public Item {
  public:
    std::uint16_t format = 1;      // 0 single track, 1 multi track, 2 patterns
    std::uint16_t division = 480;  // ticks per quarter note, or SMPTE frames and ticks per frame
    std::string artist, product, copyright, comment, engineer;

    void serialize(ByteWriter& to) const override;
    bool deserialize(ByteReader& from) override;
    std::size_t serializedSize() const override;
    void fixUp(FixUpLists& lists) override;
    std::string summary(const NoteNaming& naming) const override;

  private:
    friend class Collection;
    MidiSong(Collection& owner, ItemId id) : Item(owner, id) {}
};

}  // namespace velor
