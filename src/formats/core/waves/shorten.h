// Shorten lossless files (.shn), versions 1 to 3.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Makes the waveform decode the Shorten stream at `position`, up to the end of the file. A WAVE or AIFF
// header in it sets rate and frames; else they keep what the caller has set, and frames of 0 are counted.
bool attachShorten(Waveform& waveform, OpenFile& file, std::uint64_t position);

bool readShorten(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
