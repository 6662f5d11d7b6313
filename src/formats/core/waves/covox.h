// Covox 8-bit samples (.v8).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readCovox(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
