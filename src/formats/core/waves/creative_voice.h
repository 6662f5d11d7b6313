// Creative Voice files of Sound Blaster cards (.voc).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readCreativeVoice(Collection& collection, OpenFile& file, std::uint32_t variant);
// Variant 1 writes the older form (version 1.10), which knows 8-bit samples only.
bool writeCreativeVoice(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
