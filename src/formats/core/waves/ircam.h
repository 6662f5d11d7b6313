// IRCAM, BICSF and MTU sound files (.sf).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readIrcam(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeIrcam(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
