// SoundFont 2 banks.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operation: presets become instruments, their zones layers, the zones of the instruments they name
// regions, samples waveforms. Samples stay in the file until they are needed. False with LastErrorText.
bool readSoundFont(Collection& collection, OpenFile& file, std::uint32_t variant);

// The same for a bank that lies in another file: `offset` is the place of its "RIFF", `size` the bytes from
// there on that belong to it. The collection keeps its name.
bool readSoundFontForm(Collection& collection, OpenFile& file, std::uint64_t offset, std::uint64_t size);

}  // namespace velor
