// Sounder files of early PC sound programs (.sndr).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readSounder(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
