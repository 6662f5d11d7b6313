// Sun/NeXT/DEC audio (.au, .snd).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readAu(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeAu(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
