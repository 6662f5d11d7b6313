// SPPack speech files.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readSppack(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeSppack(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
