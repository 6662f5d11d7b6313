// Waveforms as variables of MATLAB files, levels 4 and 5 (.mat).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readMatlab(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeMatlab(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
