// Songs made event by event for tests, apart from the code under test.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "items/collection.h"
#include "items/midi_timeline.h"

namespace velor::test {

using Stream = std::vector<Byte>;

inline Stream joined(std::initializer_list<Stream> parts) {
    Stream all;
    for (const Stream& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}
// Behind a delta time of fewer than 128 ticks.
inline Stream meta(int delta, int type, const std::string& data) {
    Stream bytes{static_cast<Byte>(delta), 0xFF, static_cast<Byte>(type), static_cast<Byte>(data.size())};
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}
inline Stream endOfTrack(int delta = 0) {
    return meta(delta, 0x2F, "");
}
inline Stream tempo(int delta, unsigned microseconds) {
    return meta(delta, 0x51,
                {static_cast<char>(microseconds >> 16), static_cast<char>(microseconds >> 8),
                 static_cast<char>(microseconds)});
}

inline MidiTrack* addTrack(MidiSong& song, Stream events, int port = -1, int sequence = -1) {
    auto* track = song.owner().create<MidiTrack>("track");
    track->events = std::move(events);
    track->port = port;
    track->sequenceNumber = sequence;
    song.links.add(track->id());
    return track;
}
inline MidiSong* addSong(Collection& collection, int format, int division,
                         std::initializer_list<Stream> tracks) {
    auto* song = collection.create<MidiSong>("song");
    song->format = static_cast<std::uint16_t>(format);
    song->division = static_cast<std::uint16_t>(division);
    for (const Stream& track : tracks)
        addTrack(*song, track);
    return song;
}

// "tick:bytes" for each event, data in full: "0:90 3c 40|96:ff 2f".
inline std::string textOf(std::span<const Byte> events) {
    std::string text;
    const auto byte = [&text](unsigned value) {
        char digits[4];
        std::snprintf(digits, sizeof digits, " %02x", value);
        text += digits;
    };
    MidiEventReader reader(events);
    for (MidiEvent event; reader.next(event);) {
        text += (text.empty() ? "" : "|") + std::to_string(event.tick) + ':';
        byte(event.status);
        if (event.status == 0xFF)
            byte(event.metaType);
        if (event.isChannel()) {
            byte(event.data1);
            if (event.type() != 0xC0 && event.type() != 0xD0)
                byte(event.data2);
        }
        for (const Byte each : event.data)
            byte(each);
    }
    return text;
}

// "seconds:status data port" for each message, the end as "seconds:end".
inline std::string textOf(const std::vector<TimelineEntry>& timeline) {
    std::string text;
    for (std::size_t i = 0; i < timeline.size(); ++i) {
        const std::uint32_t message = timeline[i].message;
        char line[64];
        if (i + 1 == timeline.size())
            std::snprintf(line, sizeof line, "%.6g:end", timeline[i].seconds);
        else
            std::snprintf(line, sizeof line, "%.6g:%02x %02x %02x.%u ", timeline[i].seconds, message & 0xFF,
                          message >> 8 & 0xFF, message >> 16 & 0xFF, message >> 24);
        text += line;
    }
    return text;
}

}  // namespace velor::test
