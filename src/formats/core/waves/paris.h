// Ensoniq PARIS audio files (.paf).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readParis(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeParis(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
