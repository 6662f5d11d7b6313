// Sound Tools HCOM: Huffman-coded 8-bit Macintosh sounds.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readHcom(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
