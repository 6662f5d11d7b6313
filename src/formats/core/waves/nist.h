// NIST SPHERE speech files (.nist, .sph).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readNist(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
