#include "platform/memory.h"

#include "platform/win32/windows_header.h"
// After windows.h, which it needs.
#include <psapi.h>

namespace velor {

// Large pages need a privilege here that users do not have.
void adviseLargeBlock(void*, std::size_t) {}

std::size_t peakResidentBytes() {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    return ::GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters)
               ? counters.PeakWorkingSetSize
               : 0;
}

}  // namespace velor
