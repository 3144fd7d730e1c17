#include "common/arrays.h"

#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace tarnel
{

void prefer_large_pages([[maybe_unused]] void* array, [[maybe_unused]] std::size_t bytes)
{
#if defined(__linux__)
    constexpr std::size_t least_bytes = std::size_t{4} << 20U; // holds a whole page of 2 MiB wherever it starts
    if (bytes < least_bytes) return;
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(array), within = (page - start % page) % page;
    // Advice: where the system does not know it, pages stay small.
    static_cast<void>(madvise(static_cast<char*>(array) + within, (bytes - within) / page * page, MADV_HUGEPAGE));
#endif
}

} // namespace tarnel
