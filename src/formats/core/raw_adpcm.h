// Headerless ADPCM of voice cards and sound chips: Dialogic (OKI) .vox files and raw Yamaha ADPCM.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operations. The variant is the rate in Hz that the row stands for; 0: 8000 Hz.
bool readVox(Collection& collection, OpenFile& file, std::uint32_t variant);
// Mono. Fails for a waveform of another rate, as the file could not say so.
bool writeVox(Item& item, OpenFile& file, std::uint32_t variant);

// Mono, 44100 Hz unless the user says otherwise.
bool readYamahaAdpcm(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeYamahaAdpcm(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
