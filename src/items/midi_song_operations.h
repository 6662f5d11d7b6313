// What can be done to a whole song: copying, tidying up, changing between the three formats.
#pragma once

#include "items/midi_song.h"

namespace velor {

class Collection;

// A copy of the song and its tracks in another collection (or the same one).
MidiSong* copySong(const MidiSong& song, Collection& into);

// Gives every track a whole stream: an event cut off by the end of the file and whatever stands behind the
// end-of-track event go, and a missing end-of-track event is added at the time of the last event. Everything
// else stays byte for byte: no event is moved, merged or re-encoded, notes that overlap or never end stay as
// they are. Counts are set anew. Returns how many tracks changed.
std::uint32_t normaliseSong(MidiSong& song);

// The conversions replace the song's tracks by new ones and write their events compactly. What sounds, and
// when, stays. Exclusive messages and meta events stay too, but where a track ends or which port it uses is
// written anew. Tracks that the song no longer holds leave the collection.

// A song of format 2 becomes one of format 0: its patterns one after the other (see MidiSongReader for order
// and tempo), the name of each pattern as a marker at its start. Patterns that use several ports give a
// format 1 song with one track for each. Other formats stay as they are.
void convertToSingleSequence(MidiSong& song);
// Everything in one track. The track names that then no longer are any become instrument name events. Fails
// with one sentence for songs that use several ports, since a track has one only; the song is then unchanged.
bool convertToFormat0(MidiSong& song);
// A control track with all that is no channel message, then one track for each channel of each port, in that
// order. A song of format 1 stays as it is.
void convertToFormat1(MidiSong& song);

}  // namespace velor
