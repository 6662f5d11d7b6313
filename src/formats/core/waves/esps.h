// ESPS sampled data files.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readEsps(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
