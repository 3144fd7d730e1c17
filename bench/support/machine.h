// What the machine gives, measured beside the figures that are held against it.
#pragma once

#include <cstddef>
#include <filesystem>

namespace tarnel_bench
{

// Reading of an array of so many bytes again and again: the rate of the cache or memory that it fits in [byte/s].
double read_rate(std::size_t bytes);

// Plain calls of 64 KiB on a file of so many bytes that stays in the page cache; from the second turn on the file is
// there and is written anew, as in a run after a run [byte/s].
struct page_cache_rates {
    double write, read;
};
//   errors  std::runtime_error when the file cannot be written
page_cache_rates measure_page_cache(const std::filesystem::path& directory, std::size_t bytes);

} // namespace tarnel_bench
