// Sound Designer I and II files (.sd, .dig, .sd2).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readSoundDesigner1(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeSoundDesigner1(Item& item, OpenFile& file, std::uint32_t variant);

// Sound Designer II as plain samples, what they mean in a resource fork: "._NAME" beside the file.
bool readSoundDesigner2(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeSoundDesigner2(Item& item, OpenFile& file, std::uint32_t variant);
// Sound Designer II with both forks in one file (MacBinary).
bool readSoundDesigner2Flat(Collection& collection, OpenFile& file, std::uint32_t variant);
bool writeSoundDesigner2Flat(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
