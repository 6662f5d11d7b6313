// SampleVision samples (.smp).
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

bool readSampleVision(Collection& collection, OpenFile& file, std::uint32_t variant);

}  // namespace velor
