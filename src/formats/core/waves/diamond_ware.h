// DiamondWare Digitized sounds (.dwd).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readDiamondWare(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeDiamondWare(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
