#include "items/midi_song.h"

#include "base/error.h"
#include "items/collection.h"
#include "items/midi_events.h"

namespace velor {

std::size_t MidiTrack::serializedSize() const {
    return Item::serializedSize() + 5 * 4 + events.size();
}

void MidiTrack::serialize(ByteWriter& to) const {
    Item::serialize(to);
    to.u32(eventCount);
    to.write(port);
    to.write(channel);
    to.write(sequenceNumber);
    to.u32(static_cast<std::uint32_t>(events.size()));
    to.bytes(events);
}

bool MidiTrack::deserialize(ByteReader& from) {
    if (!Item::deserialize(from))
        return false;
    eventCount = from.u32();
    port = from.s32();
    channel = from.s32();
    sequenceNumber = from.s32();
    const auto bytes = from.bytes(from.u32());
    events.assign(bytes.begin(), bytes.end());
    return from.ok();
}

void MidiTrack::fixUp(FixUpLists& lists) {
    Item::fixUp(lists);
    eventCount = countMidiEvents(events).events;
    const auto within = [&lists](std::int32_t& number, std::int32_t low, std::int32_t high) {
        if (number >= low && number <= high)
            return;
        number = -1;
        ++lists.clampedRanges;
    };
    within(port, -1, 255);
    within(channel, -2, 15);
    within(sequenceNumber, -1, 0xFFFF);
}

std::string MidiTrack::summary(const NoteNaming&) const {
    return formatText("Midi track with %d events", static_cast<int>(eventCount));
}

std::size_t MidiSong::serializedSize() const {
    std::size_t size = Item::serializedSize() + 2 + 2;
    for (const auto* each : {&artist, &product, &copyright, &comment, &engineer})
        size += textSize(*each);
    return size;
}

void MidiSong::serialize(ByteWriter& to) const {
    Item::serialize(to);
    to.u16(format);
    to.u16(division);
    for (const auto* each : {&artist, &product, &copyright, &comment, &engineer})
        writeText(to, *each);
}

bool MidiSong::deserialize(ByteReader& from) {
    if (!Item::deserialize(from))
        return false;
    format = from.u16();
    division = from.u16();
    bool complete = from.ok();
    for (auto* each : {&artist, &product, &copyright, &comment, &engineer})
        complete = complete && readText(from, *each);
    return complete;
}

void MidiSong::fixUp(FixUpLists& lists) {
    dropBadLinks(kindBit(ItemKind::MidiTrack), lists);
}

std::string MidiSong::summary(const NoteNaming&) const {
    std::uint32_t events = 0;
    for (const ItemId id : links) {
        if (const auto* track = owner().find<MidiTrack>(id))
            events += track->eventCount;
    }
    return formatText("MIDI song with %d track%c and %d events", static_cast<int>(links.count()),
                      links.count() == 1 ? ' ' : 's', static_cast<int>(events));
}

}  // namespace velor
