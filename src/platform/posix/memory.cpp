#include "platform/memory.h"

#include <sys/mman.h>
#include <sys/resource.h>

#include <cstdint>

namespace velor {

void adviseLargeBlock(void* block, std::size_t size) {
#ifdef MADV_HUGEPAGE
    // The size of a large page on the machines this runs on. On one with larger pages the hint is refused or
    // less useful, never wrong.
    constexpr std::uintptr_t kLargePage = std::uintptr_t{2} << 20;
    const auto start = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (start + kLargePage - 1) & ~(kLargePage - 1);
    const std::uintptr_t last = (start + size) & ~(kLargePage - 1);
    if (first >= start && last > first)
        ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
    (void)block;
    (void)size;
#endif
}

std::size_t peakResidentBytes() {
    rusage usage{};
    if (::getrusage(RUSAGE_SELF, &usage) != 0)
        return 0;
#ifdef __APPLE__
    return static_cast<std::size_t>(usage.ru_maxrss);
#else
    return static_cast<std::size_t>(usage.ru_maxrss) * 1024;
#endif
}

}  // namespace velor
