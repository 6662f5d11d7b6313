// Audio Visual Research samples of the Atari ST (.avr).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readAvr(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
