// Samples as numbers in text files (.txt).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readTextAudio(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeTextAudio(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
