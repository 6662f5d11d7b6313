// RIFF-MIDI (.rmi): a Standard MIDI file in a RIFF form "RMID", with texts and possibly with instruments.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operations. Reading fails with "Not a RIFF-RMID file" for anything else and with the MIDI reader's word
// when there is no song inside.
bool readRiffMidi(Collection& collection, OpenFile& file, std::uint32_t variant);
// Writes the song and its texts, without instruments (variant 0).
bool writeRiffMidi(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
