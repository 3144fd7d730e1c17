// The terms above the diagonal as the passes of conjugate gradients take them: group of rows by group, in threes, term
// by term, the rows of the group side by side. Three is what a mesh of triangles has, so a pass meets hardly a branch
// that it cannot foresee. What a row does not fill is filled with couplings of -0 to spare places behind the last one,
// which hold +0: added or taken away, they leave every sum as it is, its sign too.
#pragma once

#include "solvers/row_order.h"

namespace tarnel
{

inline constexpr std::size_t rows_of_a_block = 512;
inline constexpr std::ptrdiff_t threes_ahead = 32;               // asked of memory before they are visited
inline constexpr std::size_t near_bytes = std::size_t{4} << 20U; // of terms that may stay in a cache between passes
inline constexpr std::size_t spare_places = 16;                  // of every vector, taken in turn: none is waited for

enum class terms_from { cache, memory };

struct coupling_pattern {
    std::size_t lanes = 1;               // rows of a group
    std::size_t places = 0;              // of the rows; a vector has spare_places more
    std::size_t threes = 0;              // of the groups, those of a group's rows counted once
    owned_array<std::int32_t> place;     // of each three's first row; -1 before the first, `places` behind the last
    owned_array<std::int32_t> unknown;   // place that each term couples. Before the first and behind the last there is
                                         // room to ask memory ahead, here and for the values
    terms_from from = terms_from::cache; // where a pass finds them
    owned_array<std::int32_t> reach;     // 1 + the last place that the rows up to each block's end couple, 0 for none
};

// errors  "Can't allocate (name)"
coupling_pattern make_coupling_pattern(std::FILE* log, const char* name, const matrix_rows& rows,
                                       const row_order& order);

// The values of the terms, as the pattern has them.
//   values  as rows.amatr
//   errors  "Can't allocate (name)"
owned_array<double> make_coupling_values(std::FILE* log, const char* name, const coupling_pattern& pattern,
                                         const matrix_rows& rows, const row_order& order, const double values[]);

// A vector of zeros by places.
//   errors  "Can't allocate (name)"
inline owned_array<double> vector_of_places(std::FILE* log, const char* name, const row_order& order)
{
    return zero_array<double>(log, name, order.places + spare_places);
}

// A three of a group in the couplings of a pass.
struct coupling_at {
    const std::int32_t* place;
    const std::int32_t* unknown;
    const double* value;
};

coupling_at first_group(const coupling_pattern& pattern, const double values[]);
coupling_at end_of_groups(const coupling_pattern& pattern, const double values[]);

// What a block of rows needs ready before it is visited: its own places and those that it couples, in whole `pieces`.
std::size_t reach_of(const coupling_pattern& pattern, std::size_t first, std::size_t pieces);

} // namespace tarnel
