// SoundFont 2 banks.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operation: presets become instruments, their zones layers, the zones of the instruments they name
// regions, samples waveforms. Samples stay in the file until they are needed. False with LastErrorText.
bool readSoundFont(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
