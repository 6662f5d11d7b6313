// Recordings of Creative Labs Nomad players (.nvf): G.721 at 8 kHz.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readNomad(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeNomad(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
