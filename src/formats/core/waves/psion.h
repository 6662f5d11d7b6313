// Sounds of Psion organisers (.wve, .prc): A-law at 8 kHz.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readPsion(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
