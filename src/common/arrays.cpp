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
    if (bytes < large_array_bytes) return;
    const auto page = static_cast<std::uintptr_t>(sysconf(_SC_PAGESIZE));
    const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(array), within = (page - start % page) % page;
    // Advice: where the system does not know it, pages stay small.
    static_cast<void>(madvise(static_cast<char*>(array) + within, (bytes - within) / page * page, MADV_HUGEPAGE));
#endif
}

void keep_freed_memory()
{
    // glibc learns from what is freed: once an array of so many bytes was, those below it come from the heap, which
    // keeps twice as much at its end. No page of this one is touched. (The pointer is volatile, as a compiler may leave
    // an unused array out.)
    void* volatile array = std::malloc(large_array_bytes);
    std::free(array);
}

} // namespace tarnel
