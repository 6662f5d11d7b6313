// Amiga samples: 8SVX and 16SV forms of IFF (.iff, .svx).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readAmigaSample(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeAmigaSample(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
