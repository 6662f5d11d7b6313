// Sndtool files of early PC sound programs (.sndt).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readSndtool(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
