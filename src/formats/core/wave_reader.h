// RIFF WAVE reader.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operation: adds the file's waveform to the collection. The sample data stay in the file until they are
// needed; only chunk headers, texts and loops are read.
bool readWave(Collection& collection, OpenFile& file, std::uint32_t variant);

// Reads a WAVE image that lies between two positions of any file: a whole "RIFF" chunk, or a bare list of
// chunks ("fmt ", "data" …) as in the wave pool of DLS banks. `name` is what the waveform is called unless
// the image names it. Adds one waveform and stores it in `result`; on failure nothing is added and `result`
// is nullptr. False with LastErrorText.
bool readWaveImage(Collection& collection, OpenFile& file, std::uint64_t start, std::uint64_t end,
                   std::string_view name, Waveform*& result);

}  // namespace velor
