// Losslessly packed samples of a sampler (.ncw).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readKontaktWave(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
