// Wave-64 (.w64): the chunks of RIFF WAVE with 128-bit ids and 64-bit sizes, for files beyond 4 GiB. Layout
// after the published "Wave 64" file format description of its maker.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operations. Reading fails with "Not a Sonic Foundry/Sony Wave64 file" for anything else.
bool readWave64(Collection& collection, OpenFile& file, std::uint32_t variant);
// Writes PCM, 32-bit float and the laws. Loop, root key and fine tune go into a "smpl" chunk at the end,
// which is left out when there are none; programs that do not know it skip it.
bool writeWave64(Item& item, OpenFile& file, std::uint32_t variant);

}  // namespace velor
