// The event stream of a Standard MIDI File track: reading it event by event, and writing one.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/byte_order.h"

namespace velor {

namespace midi {
inline constexpr std::uint8_t kNoteOff = 0x80, kNoteOn = 0x90, kController = 0xB0, kProgram = 0xC0,
                              kSysEx = 0xF0, kEscape = 0xF7, kMeta = 0xFF;
inline constexpr std::uint8_t kMetaSequence = 0x00, kMetaText = 0x01, kMetaCopyright = 0x02, kMetaName = 0x03,
                              kMetaInstrument = 0x04, kMetaMarker = 0x06, kMetaPort = 0x21,
                              kMetaEndOfTrack = 0x2F, kMetaTempo = 0x51;
inline constexpr std::uint8_t kDrumChannel = 9;
// Largest value of a variable-length quantity, so also the longest pause between two events in ticks.
inline constexpr std::uint32_t kMostDelta = 0x0FFFFFFF;
}  // namespace midi

struct MidiEvent {
    std::uint64_t tick = 0;   // since the start of the track
    std::uint8_t status = 0;  // 0x80-0xFF, running status resolved
    // 0-127. Files that hold larger bytes here are damaged or mean "as much as there is": those give 127.
    std::uint8_t data1 = 0, data2 = 0;
    std::uint8_t metaType = 0;   // of status 0xFF
    std::span<const Byte> data;  // of a meta event, an exclusive message (without the F0) or an escape (F7)

    std::uint8_t type() const { return status & 0xF0; }  // of a channel message
    std::uint8_t channel() const { return status & 0x0F; }
    bool isChannel() const { return status >= 0x80 && status < 0xF0; }
    // A note-on of velocity 0 is a note-off.
    bool isNoteOn() const { return type() == midi::kNoteOn && data2 != 0; }
    bool isNoteOff() const { return type() == midi::kNoteOff || (type() == midi::kNoteOn && data2 == 0); }
    bool isMeta(std::uint8_t which) const { return status == midi::kMeta && metaType == which; }
    bool isEndOfTrack() const { return isMeta(midi::kMetaEndOfTrack); }
    // Microseconds per quarter note; 0 when the event sets no usable tempo.
    std::uint32_t tempo() const;
};

// Walks raw event bytes, which must outlive it and may be anything: whatever they hold, each step moves on.
// - Running status is kept also after meta events and exclusive messages: many files count on it.
// - A data byte that no status has come before is skipped.
// - An event that the bytes end in is not delivered, so the events of a cut stream are the first ones of the
//   whole stream.
// - The end-of-track event is delivered and ends the walk, whatever comes behind it.
class MidiEventReader {
  public:
    explicit MidiEventReader(std::span<const Byte> events) : bytes_(events) {}

    // False at the end; `event` is then as it was.
    bool next(MidiEvent& event);
    // Where the bytes of the events delivered so far end.
    std::size_t position() const { return position_; }

  private:
    bool quantity(std::size_t& position, std::uint32_t& value) const;

    std::span<const Byte> bytes_;
    std::size_t position_ = 0;
    std::uint64_t tick_ = 0;
    std::uint8_t running_ = 0;
    bool ended_ = false;
};

struct MidiCounts {
    std::uint32_t events = 0;         // all, the end-of-track event included
    std::uint32_t channelEvents = 0;  // notes, controllers, programs …
    std::uint32_t notes = 0;          // note-ons
    std::uint64_t ticks = 0;          // time of the last event
    bool endOfTrack = false;          // the stream ends as it should
    std::size_t bytes = 0;            // up to the end of the last whole event
};
MidiCounts countMidiEvents(std::span<const Byte> events);

// Appends events to a stream, as compactly as the file standard allows: running status within unbroken runs
// of channel messages.
class MidiEventWriter {
  public:
    explicit MidiEventWriter(std::vector<Byte>& to) : to_(to) {}

    // Writes the event at event.tick, or at the tick of the event before when that is later. A pause too long
    // for one delta time is bridged with empty text events. System messages that files may not hold as such
    // are written as escapes.
    void add(const MidiEvent& event);
    void addMeta(std::uint64_t tick, std::uint8_t type, std::span<const Byte> data);
    void addEndOfTrack(std::uint64_t tick) { addMeta(tick, midi::kMetaEndOfTrack, {}); }
    // Events written, bridging ones included.
    std::uint32_t count() const { return count_; }

  private:
    void delta(std::uint64_t tick);
    void quantity(std::uint32_t value);
    void block(std::span<const Byte> data);

    std::vector<Byte>& to_;
    std::uint64_t tick_ = 0;
    std::uint32_t count_ = 0;
    std::uint8_t running_ = 0;
};

}  // namespace velor
