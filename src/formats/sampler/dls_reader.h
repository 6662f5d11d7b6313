// DLS banks, level 1 and 2.
#pragma once

#include "formats/framework/open_file.h"
#include "items/collection.h"

namespace velor {

// Row operation: instruments with one layer each, their regions, and the waves. Sample data stay in the file
// until they are needed. False with LastErrorText.
bool readDls(Collection& collection, OpenFile& file, std::uint32_t variant);

// The same for a bank that lies in another file: `offset` is the place of its "RIFF", `size` the bytes from
// there on that belong to it. The collection keeps its name.
bool readDlsForm(Collection& collection, OpenFile& file, std::uint64_t offset, std::uint64_t size);

}  // namespace velor
