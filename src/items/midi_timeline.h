// Songs as they sound: the events of all tracks in playing order, and their times in seconds.
#pragma once

#include <vector>

#include "items/instrument.h"
#include "items/midi_events.h"
#include "items/midi_song.h"

namespace velor {

// Ticks to seconds under a song's division. Bit 15 clear: ticks per quarter note, 120 quarters a minute until
// a tempo is set. Bit 15 set: the high byte is minus the frames per second (29 means 29.97), the low byte the
// ticks per frame, and tempos do not count. A division without ticks (0 in its low part) says nothing of the
// song's speed and is taken as 480 ticks per quarter note.
class MidiClock {
  public:
    explicit MidiClock(std::uint16_t division);
    // From `tick` on, which must not be earlier than that of the last call. 0 is no tempo and changes
    // nothing.
    void setTempo(std::uint64_t tick, std::uint32_t microsecondsPerQuarter);
    // For a tick not earlier than the last tempo's.
    double seconds(std::uint64_t tick) const {
        return seconds_ + static_cast<double>(tick - tick_) * secondsPerTick_;
    }

  private:
    double quarter_ = 0;  // ticks; 0 under SMPTE time
    double secondsPerTick_ = 0;
    double seconds_ = 0;  // at tick_
    std::uint64_t tick_ = 0;
};

// Hands out the events of several tracks in the order they take effect. Events of one track keep their order.
// Between tracks, events of the same tick come as: note-offs, then all but notes, then note-ons; equal ones
// by track. So a key that one track releases and another one strikes sounds, and programs and controllers are
// set for the notes they are meant for, whichever track they are in. In format 2 the tracks are patterns:
// each plays alone, in order of the sequence numbers (those without one last), from the end of the one
// before, and starts at 120 quarters a minute unless it says otherwise.
class MidiSongReader {
  public:
    explicit MidiSongReader(const MidiSong& song);
    explicit MidiSongReader(const MidiTrack& track);

    // `event.tick` is counted from the start of the song. End-of-track events are handed out too.
    bool next(MidiEvent& event, const MidiTrack*& track);

  private:
    struct Part {
        const MidiTrack* track;
        MidiEventReader reader;
        MidiEvent event;
        std::uint8_t phase = 0;
        bool playing = false;
    };
    void addPart(const MidiTrack& track);
    void advance(Part& part);
    bool later(std::size_t a, std::size_t b) const;
    void startPatterns();
    bool nextOfPattern(MidiEvent& event, const MidiTrack*& track);

    std::vector<Part> parts_;
    std::vector<std::size_t> heap_;  // indices of playing parts, the next to be heard on top
    bool patterns_ = false;
    std::size_t pattern_ = 0;
    std::uint64_t patternStart_ = 0;  // tick
    bool patternOpened_ = false;
    bool tempoChanged_ = false;  // away from 120
};

// A channel message and its time. `message` holds the status in its lowest byte, then data 1, data 2, and the
// port (0-based) in the highest.
struct TimelineEntry {
    double seconds;
    std::uint32_t message;
};

// Replaces `timeline` by the channel messages of the song in playing order. Its last entry is no message: it
// marks the end of the song, where the last of its tracks ends. False with "Failed processing MIDI" when no
// track holds an event.
bool buildTimeline(const MidiSong& song, std::vector<TimelineEntry>& timeline);
// The messages of one track, under the tempos of the song that holds it, up to the track's own end.
bool buildTimeline(const MidiTrack& track, std::vector<TimelineEntry>& timeline);

// Seconds to the end of the last track; 0 for a song without events.
double songSeconds(const MidiSong& song);
// The port that a track plays on: its own, else 0.
std::uint8_t portOf(const MidiTrack& track);
// How many ports of 16 channels playing the song takes: the highest port of a track with channel messages,
// plus 1; at least 1.
std::uint32_t portCount(const MidiSong& song);

// The patches that notes are really played with, each once, in order of first use. A bank chosen by
// controllers 0 and 32 takes effect with the next program change; before the first one a channel plays patch
// 0. The tenth channel of every port plays drum kits.
std::vector<PatchNumber> usedPatches(const MidiSong& song);
std::vector<PatchNumber> usedPatches(const MidiTrack& track);

}  // namespace velor
