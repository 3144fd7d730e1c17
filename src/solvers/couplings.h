// The terms above the diagonal in threes, row by row: three is what a mesh of triangles has, so a pass over all rows
// meets hardly a branch that it cannot foresee. A three that is not full is filled with couplings of -0 to the place
// behind the last unknown, which holds a one: added, they leave every sum as it is, its sign too.
#pragma once

#include "common/arrays.h"
#include "common/matrix_rows.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace tarnel
{

inline constexpr std::size_t rows_of_a_block = 512;
inline constexpr std::ptrdiff_t threes_ahead = 32; // asked of memory before they are visited

struct coupling_pattern {
    std::size_t n = 0;                 // unknowns
    std::int64_t count = 0;            // threes
    owned_array<std::uint8_t> opens;   // 1 where a three is the first of its row, and behind the last three
    owned_array<std::int32_t> unknown; // three a three, in the order of the matrix; n: nothing. Before the first and
                                       // behind the last there is room to ask memory ahead, here and for the values
    owned_array<std::int32_t> reach;   // 1 + the last unknown that the rows up to each block's end couple, 0 for none
};

// The threes that so many couplings of a row take: one at least.
inline std::int64_t threes_for(std::int64_t couplings)
{
    return std::max<std::int64_t>(1, (couplings + 2) / 3);
}

// errors  "Can't allocate (name)"
coupling_pattern make_coupling_pattern(std::FILE* log, const char* name, const matrix_rows& rows);

// The values of the terms, three a three.
//   values  as rows.amatr
//   errors  "Can't allocate (name)"
owned_array<double> make_coupling_values(std::FILE* log, const char* name, const coupling_pattern& pattern,
                                         const matrix_rows& rows, const double values[]);

// A place in the threes of a pass.
struct three_at {
    const std::uint8_t* opens;
    const std::int32_t* unknown;
    const double* value;
};

inline three_at first_three(const coupling_pattern& pattern, const double values[])
{
    return {pattern.opens.get(), pattern.unknown.get() + 3 * threes_ahead, values + 3 * threes_ahead};
}

inline three_at end_of_threes(const coupling_pattern& pattern, const double values[])
{
    const std::int64_t end = 3 * (threes_ahead + pattern.count);
    return {pattern.opens.get() + pattern.count, pattern.unknown.get() + end, values + end};
}

inline void step_on(three_at& t)
{
    ++t.opens;
    t.unknown += 3;
    t.value += 3;
}

inline void step_back(three_at& t)
{
    --t.opens;
    t.unknown -= 3;
    t.value -= 3;
}

// The processor finds the next threes by itself where they ascend and not where they descend, nor in the next page.
inline void ask_ahead(const three_at& t)
{
    __builtin_prefetch(t.unknown + 3 * threes_ahead);
    __builtin_prefetch(t.value + 3 * threes_ahead);
}

inline void ask_back(const three_at& t)
{
    __builtin_prefetch(t.unknown - 3 * threes_ahead);
    __builtin_prefetch(t.value - 3 * threes_ahead);
}

// What a block of rows needs ready before it is visited: its own unknowns and those that it couples, in whole `pieces`.
std::size_t reach_of(const coupling_pattern& pattern, std::size_t first, std::size_t pieces);

} // namespace tarnel
