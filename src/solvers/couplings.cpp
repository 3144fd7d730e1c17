#include "solvers/couplings.h"

#include <algorithm>

namespace tarnel
{

static std::int64_t threes_for(std::int64_t terms)
{
    return std::max<std::int64_t>(1, (terms + 2) / 3);
}

// Room for `count` threes that hold nothing but fillers.
static coupling_threes empty_threes(std::FILE* log, const char* name, std::int64_t count, std::int32_t ndim,
                                    double filler)
{
    const auto terms = static_cast<std::size_t>(count) * 3;
    coupling_threes threes{.count = count,
                           .opens = zero_array<std::uint8_t>(log, name, static_cast<std::size_t>(count)),
                           .unknown = empty_array<std::int32_t>(log, name, terms),
                           .value = empty_array<double>(log, name, terms)};
    std::fill(threes.unknown.get(), threes.unknown.get() + terms, ndim);
    std::fill(threes.value.get(), threes.value.get() + terms, filler);
    return threes;
}

coupling_threes couplings_above(std::FILE* log, const char* name, const matrix_rows& rows, const double values[],
                                threes_of_a_row order, double filler)
{
    std::int64_t count = 0;
    for (std::int32_t i = 0; i < rows.ndim; ++i) count += threes_for(terms_of(rows, i) - 1);
    coupling_threes threes = empty_threes(log, name, count, rows.ndim, filler);
    std::int64_t first = 0; // of the row's threes
    for (std::size_t i = 0; i < static_cast<std::size_t>(rows.ndim); ++i) {
        const std::int64_t begin = rows.start[i] + 1, terms = rows.start[i + 1] - begin, mine = threes_for(terms);
        threes.opens[static_cast<std::size_t>(first)] = 1;
        for (std::int64_t k = 0; k < terms; ++k) {
            const std::int64_t three = order == threes_of_a_row::ascend ? k / 3 : mine - 1 - k / 3;
            const auto to = static_cast<std::size_t>((first + three) * 3 + k % 3);
            threes.unknown[to] = rows.mindex[static_cast<std::size_t>(begin + k)];
            threes.value[to] = values[begin + k];
        }
        first += mine;
    }
    return threes;
}

coupling_threes couplings_below(std::FILE* log, const char* name, const matrix_rows& rows, const double values[],
                                double filler)
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    const owned_array<std::int64_t> next = zero_array<std::int64_t>(log, name, n); // term counts, then next places
    for (std::size_t i = 0; i < n; ++i)
        for (std::int64_t t = rows.start[i] + 1; t < rows.start[i + 1]; ++t)
            ++next[static_cast<std::size_t>(rows.mindex[static_cast<std::size_t>(t)])];
    std::int64_t count = 0;
    for (std::size_t j = 0; j < n; ++j) {
        const std::int64_t mine = threes_for(next[j]);
        next[j] = count * 3;
        count += mine;
    }
    coupling_threes threes = empty_threes(log, name, count, rows.ndim, filler);
    for (std::size_t j = 0; j < n; ++j) threes.opens[static_cast<std::size_t>(next[j] / 3)] = 1;
    for (std::size_t i = 0; i < n; ++i)
        for (std::int64_t t = rows.start[i] + 1; t < rows.start[i + 1]; ++t) {
            const auto j = static_cast<std::size_t>(rows.mindex[static_cast<std::size_t>(t)]);
            const auto to = static_cast<std::size_t>(next[j]++);
            threes.unknown[to] = static_cast<std::int32_t>(i);
            threes.value[to] = values[t];
        }
    return threes;
}

} // namespace tarnel
