#include "formats/core/midi_file.h"

#include <algorithm>
#include <array>
#include <vector>

#include "base/byte_reader.h"
#include "base/byte_writer.h"
#include "base/error.h"
#include "items/midi_events.h"

namespace velor {

namespace {

constexpr std::uint64_t kChunkHeader = 8;
constexpr std::uint64_t kSongHeader = 6;
constexpr std::uint32_t kSmallestTrack = 5;  // bytes; below that there is room for an end-of-track event only
constexpr std::uint32_t kMostTracks = 65535;
constexpr std::uint32_t kMostChunks = 1u << 20;
constexpr std::string_view kNoMidi = "Invalid or corrupt Midi file";

std::string textOf(const MidiEvent& event) {
    return ByteReader(event.data).text(event.data.size());
}

bool holdsNotes(const std::vector<Byte>& events) {
    MidiEventReader reader(events);
    for (MidiEvent event; reader.next(event);) {
        if (event.isNoteOn() || event.isNoteOff())
            return true;
    }
    return false;
}

class MidiReader {
  public:
    MidiReader(Collection& collection, OpenFile& file) : collection_(collection), file_(file) {}

    MidiSong* read(std::uint64_t offset, std::uint64_t end) {
        for (std::uint32_t chunks = 0; offset < end && end - offset >= kChunkHeader; ++chunks) {
            if (chunks >= kMostChunks) {
                file_.warn("Warning: too many chunks - the rest is not read", {}, offset);
                break;
            }
            std::array<Byte, kChunkHeader + kSongHeader> head{};
            const auto there = static_cast<std::size_t>(std::min<std::uint64_t>(head.size(), end - offset));
            if (!file_.read(offset, std::span(head).first(there)))
                break;
            ByteReader reader(std::span<const Byte>(head).first(there), ByteOrder::Big);
            const std::uint32_t id = reader.id();
            const std::uint32_t size = reader.u32();
            offset += kChunkHeader;
            if (id == fourCc("MThd") && there == head.size()) {
                if (!startSong(reader))
                    return nullptr;
            } else if (id == fourCc("MTrk") && !readTrack(offset, size, end)) {
                break;
            }
            offset += size;
        }
        if (!first_) {
            fail(kNoMidi);
            return nullptr;
        }
        finishSong();
        return first_;
    }

  private:
    bool startSong(ByteReader& header) {
        if (song_) {  // several songs in one file: each counts its own tracks
            finishSong();
            trackNumber_ = 0;
        }
        song_ = collection_.create<MidiSong>(file_.stem());
        if (!song_)
            return fail(kOutOfMemory);
        song_->format = header.u16();
        header.u16();  // the number of tracks is often wrong: those that are there count
        song_->division = header.u16();
        leadingTrack_ = false;
        if (!first_)
            first_ = song_;
        return true;
    }

    // The name of a track that says none itself. Files of format 0 and 1 count tracks from 1 as long as the
    // leading one has a name of its own kind.
    std::string provisionalName(int number) {
        if (song_->format == 0 || (song_->format == 1 && number == 0)) {
            leadingTrack_ = true;
            return song_->format == 0 ? "Master Track" : "Control Track";
        }
        return formatText("Track %02d", leadingTrack_ ? number + 1 : number);
    }

    bool readTrack(std::uint64_t offset, std::uint32_t size, std::uint64_t end) {
        const int number = trackNumber_++;
        if (!song_)
            return true;
        if (song_->links.count() >= kMostTracks) {
            file_.warn("Warning: more tracks than a song can have - the rest is not read", "MTrk", offset);
            return false;
        }
        std::string name = provisionalName(number);
        if (size < kSmallestTrack)
            return true;
        const auto there = static_cast<std::size_t>(std::min<std::uint64_t>(size, end - offset));
        if (there < size)
            file_.warn("Warning: track truncated - will read what events there are", "MTrk", offset);
        if (there == 0)
            return true;
        std::vector<Byte> events(there);
        if (!file_.read(offset, events))
            return false;
        const bool isControl = song_->format == 1 && number == 0 && !holdsNotes(events);
        if (song_->format == 1 && number == 0 && !isControl) {
            name = "Track 01";
            leadingTrack_ = false;
        }
        auto* track = collection_.create<MidiTrack>(name);
        if (!track)
            return false;
        track->events = std::move(events);
        track->eventCount = countMidiEvents(track->events).events;
        song_->links.add(track->id());
        if (song_->format == 2)
            track->sequenceNumber = number;
        if (isControl)
            track->channel = -2;
        scanTrack(*track, isControl);
        return true;
    }

    // Takes names, texts and numbers from the events at the very start. Empty texts say nothing.
    void scanTrack(MidiTrack& track, bool isControl) {
        bool nameEvent = false, named = false, numbered = false;
        const bool wantsChannel = song_->format == 1 && !isControl;
        MidiEventReader reader(track.events);
        for (MidiEvent event; reader.next(event) && event.tick == 0 && !event.isEndOfTrack();) {
            if (event.isChannel()) {
                if (wantsChannel && track.channel == -1)
                    track.channel = event.channel();
            } else if (event.isMeta(midi::kMetaPort)) {
                if (track.port == -1 && !event.data.empty())
                    track.port = event.data[0];
            } else if (event.isMeta(midi::kMetaSequence)) {
                if (!numbered && event.data.size() == 2)
                    track.sequenceNumber = loadBe<std::uint16_t>(event.data.data());
                numbered = numbered || event.data.size() == 2;
            } else if (const std::string text = textOf(event); event.status != midi::kMeta || text.empty()) {
                continue;
            } else if (event.isMeta(midi::kMetaName) && !nameEvent) {
                nameEvent = named = true;
                track.setName(text);
                if (isControl)
                    song_->setName(text);
            } else if (event.isMeta(midi::kMetaText)) {
                if (isControl && song_->comment.empty()) {
                    song_->comment = text;
                } else if (!named) {
                    named = true;
                    track.setName(text);
                }
            } else if (event.isMeta(midi::kMetaCopyright) && isControl && song_->copyright.empty()) {
                song_->copyright = text;
            }
        }
        if (!named && song_->format == 2)
            unnamedPatterns_.push_back(track.id());
    }

    // Every pattern has a sequence number by now, its own or its place in the file.
    void finishSong() {
        for (const ItemId id : unnamedPatterns_) {
            if (auto* track = collection_.find<MidiTrack>(id))
                track->setNameFormatted("Pattern %02d", track->sequenceNumber);
        }
        unnamedPatterns_.clear();
        if (song_->links.empty())
            file_.warn("Warning: the song has no tracks", "MThd");
    }

    Collection& collection_;
    OpenFile& file_;
    MidiSong* first_ = nullptr;
    MidiSong* song_ = nullptr;
    int trackNumber_ = 0;        // over all track chunks
    bool leadingTrack_ = false;  // the song has a "Master Track" or "Control Track"
    std::vector<ItemId> unnamedPatterns_;
};

}  // namespace

MidiSong* readMidiPart(Collection& collection, OpenFile& file, std::uint64_t offset, std::uint64_t size) {
    const std::uint64_t there = file.size() > offset ? file.size() - offset : 0;
    return MidiReader(collection, file).read(offset, offset + std::min(size, there));
}

bool readMidi(Collection& collection, OpenFile& file, std::uint32_t) {
    return readMidiPart(collection, file, 0, file.size()) != nullptr;
}

MidiSong* songToWrite(Item& item) {
    switch (item.kind()) {
        case ItemKind::MidiSong:
            return static_cast<MidiSong*>(&item);
        case ItemKind::MidiTrack:
            return item.owner().songHolding(static_cast<MidiTrack&>(item));
        default:
            return nullptr;
    }
}

namespace {

std::vector<const MidiTrack*> tracksOf(const MidiSong& song) {
    std::vector<const MidiTrack*> tracks;
    for (const ItemId id : song.links) {
        if (const auto* track = song.owner().find<MidiTrack>(id))
            tracks.push_back(track);
    }
    return tracks;
}

}  // namespace

std::uint64_t midiImageSize(const MidiSong& song) {
    const auto tracks = tracksOf(song);
    std::uint64_t size = kChunkHeader + kSongHeader;
    bool fits = tracks.size() <= kMostTracks;
    for (const MidiTrack* track : tracks) {
        size += kChunkHeader + track->events.size();
        fits = fits && track->events.size() <= UINT32_MAX;
    }
    if (fits)
        return size;
    fail("The song has more or longer tracks than a MIDI file can hold");
    return 0;
}

bool writeMidiImage(const MidiSong& song, OpenFile& file) {
    const auto tracks = tracksOf(song);
    std::array<Byte, kChunkHeader + kSongHeader> header{};
    ByteWriter to(header, ByteOrder::Big);
    to.id(fourCc("MThd"));
    to.u32(kSongHeader);
    to.u16(song.format);
    to.u16(static_cast<std::uint16_t>(tracks.size()));
    to.u16(song.division);
    if (!file.write(header))
        return false;
    for (const MidiTrack* track : tracks) {
        std::array<Byte, kChunkHeader> chunk{};
        ByteWriter head(chunk, ByteOrder::Big);
        head.id(fourCc("MTrk"));
        head.u32(static_cast<std::uint32_t>(track->events.size()));
        if (!file.write(chunk) || !file.write(track->events))
            return false;
    }
    return true;
}

bool writeMidi(Item& item, OpenFile& file, std::uint32_t) {
    const MidiSong* song = songToWrite(item);
    if (!song)
        return fail(kCannotSaveItem);
    return midiImageSize(*song) > 0 && writeMidiImage(*song, file);
}

}  // namespace velor
