// AIFF writer: big-endian PCM with loop, root key and texts.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operation. Takes waveforms only.
bool writeAiff(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
