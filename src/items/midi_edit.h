// Changing the events of a song: tracks as lists of events, and back.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "base/user_interface.h"
#include "items/collection.h"
#include "items/midi_events.h"
#include "items/midi_timeline.h"

namespace velor {

// The events of one track while they are being changed. Their data lie in the track, which must not change
// meanwhile, or in the writer's own storage.
struct MidiTrackEdit {
    MidiTrack* track = nullptr;
    std::vector<MidiEvent>
        events;  // times need not rise: stored() sorts them, keeping the order of equal ones
};

// An edit of a song or of a single track. Nothing changes before store().
class MidiEdit {
  public:
    // The tracks of a song, or the track alone.
    explicit MidiEdit(Item& item);

    std::vector<MidiTrackEdit> tracks;
    // The song; of a single track the one that holds it, nullptr when none does.
    MidiSong* song() const { return song_; }
    bool wholeSong() const { return whole_; }
    // Whether the tracks are patterns of their own times (format 2).
    bool patterns() const { return song_ && song_->format == 2; }

    // Decodes the tracks; false with "Processing was cancelled" when the user aborted.
    bool load(UserInterface& ui);

    // The place of an event.
    struct Place {
        std::uint32_t track = 0, event = 0;
    };
    // All events in the order they are heard (see MidiSongReader); the tracks of format 2 one by one. Only
    // as long as the lists are as they were loaded.
    std::vector<Place> playingOrder() const;
    // Calls use(event) for the events that set the time of what is edited, in that order: those of the edit;
    // for a single track all of its song, unless that holds patterns.
    template <typename Use>
    void eachInTime(std::span<const Place> order, Use&& use) const {
        if (whole_ || !song_ || patterns()) {
            for (const Place place : order)
                use(at(place));
            return;
        }
        MidiSongReader reader(*song_);
        MidiEvent event;
        const MidiTrack* track = nullptr;
        while (reader.next(event, track))
            use(event);
    }
    const MidiEvent& at(Place place) const { return tracks[place.track].events[place.event]; }
    MidiEvent& at(Place place) { return tracks[place.track].events[place.event]; }

    // Writes the tracks: sorted by time, with running status, and one end-of-track event, at its time or at
    // that of the last event. A track whose events are as they were keeps its bytes, unless all are to be
    // written anew. How many tracks changed; -1 with LastErrorText when the user aborted or a time is too
    // late, and nothing has changed then.
    int store(UserInterface& ui, bool writeAll = false);

  private:
    MidiSong* song_ = nullptr;
    bool whole_ = false;
};

// No song is as long: more ticks would only blow up a damaged file's pauses.
inline constexpr std::uint64_t kMostSongTicks = std::uint64_t{midi::kMostDelta} * 256;

inline constexpr std::uint8_t kMetaLyrics = 0x05, kMetaTimeSignature = 0x58, kMetaKeySignature = 0x59;

// A channel message.
MidiEvent channelMessage(std::uint64_t tick, unsigned status, unsigned data1, unsigned data2 = 0);

// Ticks and seconds of a song, both ways.
class MidiTempoMap {
  public:
    MidiTempoMap(const MidiEdit& edit, std::span<const MidiEdit::Place> order);
    double seconds(double tick) const;
    double tick(double seconds) const;

  private:
    struct Part {
        double tick, seconds, secondsPerTick;
    };
    std::vector<Part> parts_;
};

// Numbers and ranges like "1, 7, 64-69": marks them in `chosen`, whose size is the number of values; the
// first one is called `first`. An empty text chooses all. False for anything else.
bool parseNumberList(std::string_view text, unsigned first, std::vector<bool>& chosen);

}  // namespace velor
