// Headerless mu-law of exponential type: a sign and seven bits of ln(1 + 255 |x|) / ln 256.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readExponentialLaw(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeExponentialLaw(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
