// What the system is told, and asked, about this program's memory.
#pragma once

#include <cstddef>

namespace velor {

// Says that a block of several megabytes will be walked from end to end, so that the system may back the
// aligned inside with large pages. A hint: it changes no byte and may do nothing.
void adviseLargeBlock(void* block, std::size_t size);

// Most memory that this program ever held in the machine at once, in bytes; 0 when the system does not tell.
std::size_t peakResidentBytes();

}  // namespace velor
