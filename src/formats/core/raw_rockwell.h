// Rockwell ADPCM without a header.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operations. The variant argument is the width of a code in bits; 0: the reader asks for it, the writer
// takes it from the chosen encoding. The writer takes waveforms of 8000 Hz.
bool readRawRockwell(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeRawRockwell(Item& item, OpenFile& file, std::uint32_t variant);

// Forgets the answers that the reader remembers.
void resetRockwellAnswers();

}  // namespace velor
