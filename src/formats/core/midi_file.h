// Standard MIDI files (.mid), after the Standard MIDI Files 1.0 document: chunks with big-endian sizes and no
// pad bytes. Tracks keep their event bytes as they are.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operations. Reading fails with "Invalid or corrupt Midi file" when there is no header chunk.
bool readMidi(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeMidi(Item& item, OpenFile& file, std::uint32_t variant);

// Reads the song within a part of the file, for files that hold one among other things. nullptr with
// LastErrorText. A part with several header chunks gives a song for each, the first of which is returned.
MidiSong* readMidiPart(Collection& collection, OpenFile& file, std::uint64_t offset, std::uint64_t size);

// The song to write for an item: itself, or the song that holds the track. nullptr when there is none.
MidiSong* songToWrite(Item& item);
// Writes a song as a whole Standard MIDI file. midiImageSize() is the number of bytes that makes; 0 with
// LastErrorText when the song has more or longer tracks than a file can hold.
std::uint64_t midiImageSize(const MidiSong& song);
bool writeMidiImage(const MidiSong& song, OpenFile& file);

}  // namespace velor
