#include "items/midi_song_operations.h"

#include <algorithm>
#include <array>
#include <map>
#include <set>

#include "base/error.h"
#include "items/collection.h"
#include "items/midi_timeline.h"

namespace velor {

namespace {

std::vector<MidiTrack*> tracksOf(const MidiSong& song) {
    std::vector<MidiTrack*> tracks;
    for (const ItemId id : song.links) {
        if (auto* track = song.owner().find<MidiTrack>(id))
            tracks.push_back(track);
    }
    return tracks;
}

// The ports that channel messages go to.
std::set<std::uint8_t> portsOf(const MidiSong& song) {
    std::set<std::uint8_t> ports;
    for (const MidiTrack* track : tracksOf(song)) {
        if (countMidiEvents(track->events).channelEvents > 0)
            ports.insert(portOf(*track));
    }
    return ports;
}

// A track in the making.
struct NewTrack {
    std::vector<Byte> events;
    MidiEventWriter writer{events};
    std::string name;
    std::int32_t port = -1;
    std::int32_t channel = -1;

    NewTrack() = default;
    NewTrack(const NewTrack&) = delete;
    NewTrack& operator=(const NewTrack&) = delete;
};

// Tracks by where they come in the new song.
using NewTracks = std::map<std::uint32_t, NewTrack>;

NewTrack& trackAt(NewTracks& tracks, std::uint32_t place, std::uint8_t port) {
    const auto [at, added] = tracks.try_emplace(place);
    NewTrack& track = at->second;
    if (added && port > 0) {
        track.port = port;
        track.writer.addMeta(0, midi::kMetaPort, std::array<Byte, 1>{port});
    }
    return track;
}

// Sorts all events but port and end-of-track ones into new tracks, which all end with the song. `change` may
// alter an event before it is written, `placeOf` says where it goes.
template <typename Change, typename Place>
void distribute(const MidiSong& song, NewTracks& tracks, const Change& change, const Place& placeOf) {
    MidiSongReader reader(song);
    MidiEvent event;
    const MidiTrack* from = nullptr;
    std::uint64_t end = 0;
    while (reader.next(event, from)) {
        end = event.tick;
        if (event.isEndOfTrack() || event.isMeta(midi::kMetaPort) || !change(event, *from))
            continue;
        placeOf(event, *from).writer.add(event);
    }
    for (auto& [place, track] : tracks)
        track.writer.addEndOfTrack(end);
}

void replaceTracks(MidiSong& song, NewTracks& tracks, std::uint16_t format) {
    Collection& owner = song.owner();
    // By id: a damaged song may link to a track twice.
    for (const ItemId id : song.links) {
        if (!owner.find<MidiTrack>(id))
            continue;
        const auto holds = [&](const MidiSong* other) { return other != &song && other->links.contains(id); };
        if (std::ranges::none_of(owner.all<MidiSong>(), holds))
            owner.remove(id);
    }
    song.links.clear();
    song.format = format;
    for (auto& [place, track] : tracks) {
        auto* created = owner.create<MidiTrack>(track.name);
        if (!created)
            continue;
        created->events = std::move(track.events);
        created->eventCount = track.writer.count();
        created->port = track.port;
        created->channel = track.channel;
        song.links.add(created->id());
    }
}

// The name of the track that takes all, as a reader of the file would find it.
std::string nameOfWhole(const MidiSong& song) {
    return song.name().empty() ? "Master Track" : song.name();
}

}  // namespace

MidiSong* copySong(const MidiSong& song, Collection& into) {
    auto* copy = into.create<MidiSong>(song.name());
    if (!copy)
        return nullptr;
    copy->format = song.format;
    copy->division = song.division;
    copy->artist = song.artist;
    copy->product = song.product;
    copy->copyright = song.copyright;
    copy->comment = song.comment;
    copy->engineer = song.engineer;
    for (const MidiTrack* track : tracksOf(song)) {
        auto* newTrack = into.create<MidiTrack>(track->name());
        if (!newTrack)
            return nullptr;
        newTrack->events = track->events;
        newTrack->eventCount = track->eventCount;
        newTrack->port = track->port;
        newTrack->channel = track->channel;
        newTrack->sequenceNumber = track->sequenceNumber;
        copy->links.add(newTrack->id());
    }
    return copy;
}

std::uint32_t normaliseSong(MidiSong& song) {
    std::uint32_t changed = 0;
    for (MidiTrack* track : tracksOf(song)) {
        const MidiCounts counts = countMidiEvents(track->events);
        track->eventCount = counts.events;
        if (counts.endOfTrack && counts.bytes == track->events.size())
            continue;
        ++changed;
        track->events.resize(counts.bytes);
        if (counts.endOfTrack)
            continue;
        track->events.insert(track->events.end(), {0, midi::kMeta, midi::kMetaEndOfTrack, 0});
        ++track->eventCount;
    }
    return changed;
}

void convertToSingleSequence(MidiSong& song) {
    if (song.format != 2)
        return;
    const std::set<std::uint8_t> ports = portsOf(song);
    const std::uint8_t mainPort = ports.empty() ? 0 : *ports.begin();
    NewTracks tracks;
    trackAt(tracks, mainPort, mainPort).name = nameOfWhole(song);
    distribute(
        song, tracks,
        [](MidiEvent& event, const MidiTrack&) {
            if (event.isMeta(midi::kMetaName))
                event.metaType = midi::kMetaMarker;
            return !event.isMeta(midi::kMetaSequence);
        },
        [&](const MidiEvent& event, const MidiTrack& from) -> NewTrack& {
            const std::uint8_t port = event.isChannel() ? portOf(from) : mainPort;
            NewTrack& track = trackAt(tracks, port, port);
            if (port != mainPort)
                track.name = formatText("Port %d", port + 1);
            return track;
        });
    replaceTracks(song, tracks, tracks.size() > 1 ? 1 : 0);
}

bool convertToFormat0(MidiSong& song) {
    const std::set<std::uint8_t> ports = portsOf(song);
    if (ports.size() > 1)
        return fail("A song that uses several MIDI ports does not fit into one track");
    convertToSingleSequence(song);
    if (song.format == 0 && song.links.count() == 1)
        return true;
    NewTracks tracks;
    NewTrack& whole = trackAt(tracks, 0, ports.empty() ? 0 : *ports.begin());
    whole.name = nameOfWhole(song);
    const auto old = tracksOf(song);
    distribute(
        song, tracks,
        [&](MidiEvent& event, const MidiTrack& from) {
            const bool first = &from == old.front();
            if (event.isMeta(midi::kMetaName) && !first)
                event.metaType = midi::kMetaInstrument;
            return first || !event.isMeta(midi::kMetaSequence);
        },
        [&](const MidiEvent&, const MidiTrack&) -> NewTrack& { return whole; });
    replaceTracks(song, tracks, 0);
    return true;
}

void convertToFormat1(MidiSong& song) {
    convertToSingleSequence(song);
    if (song.format == 1)
        return;
    NewTracks tracks;
    NewTrack& control = trackAt(tracks, 0, 0);
    control.name = "Control Track";
    control.channel = -2;
    distribute(
        song, tracks, [](const MidiEvent&, const MidiTrack&) { return true; },
        [&](const MidiEvent& event, const MidiTrack& from) -> NewTrack& {
            if (!event.isChannel())
                return control;
            const std::uint8_t port = portOf(from);
            NewTrack& track = trackAt(tracks, 1u + port * 16u + event.channel(), port);
            track.channel = event.channel();
            return track;
        });
    int number = 1;
    for (auto& [place, track] : tracks) {
        if (place > 0)
            track.name = formatText("Track %02d", ++number);
    }
    replaceTracks(song, tracks, 1);
}

}  // namespace velor
