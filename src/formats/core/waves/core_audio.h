// Apple Core Audio files (.caf).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readCoreAudio(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeCoreAudio(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
