// AIFF, AIFC and MAUD reader.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operation: adds the file's waveform to the collection. The sample data stay in the file until they are
// needed.
bool readAiff(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
