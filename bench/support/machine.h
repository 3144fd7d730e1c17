// What the machine gives, measured beside the figures that are held against it.
#pragma once

#include <cstddef>
#include <filesystem>

namespace tarnel_bench
{

// The shortest time that a piece of work takes within so many seconds [s].
double learn_calm(double seconds);

// Waits until that piece takes hardly longer than at its best, before something is measured: who shares the
// processor's core slows it down by half, for a tenth of a second or for minutes. Its best is what
// TARNEL_BENCH_CALM says, which learn_calm gave, or the shortest so far. A process waits no longer than its
// patience in all [s].
//   returns whether the moment is calm
bool await_calm(double patience = 120);

// Whether the moment is calm, without waiting.
bool is_calm();

// Takes a turn, which returns its figures, in a calm moment: again when that has passed at its end, three times in all.
template <class turn> auto in_calm(turn take)
{
    constexpr int most = 3;
    for (int taken = 1;; ++taken) {
        await_calm();
        auto figures = take();
        if (taken == most || is_calm()) return figures;
    }
}

// Reading of an array of so many bytes again and again: the rate of the cache or memory that it fits in [byte/s].
double read_rate(std::size_t bytes);

// Plain calls of 64 KiB on a file of so many bytes that stays in the page cache; from the second turn on the file is
// there, and is emptied before it is written or written over [byte/s].
enum class old_file { emptied, written_over };
struct page_cache_rates {
    double write, read;
};
//   errors  std::runtime_error when the file cannot be written
page_cache_rates measure_page_cache(const std::filesystem::path& directory, std::size_t bytes,
                                    old_file before = old_file::emptied);

} // namespace tarnel_bench
