// Headerless 24-bit stereo of DVD sound tracks; the row's extension names the rate.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readDvd24(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
