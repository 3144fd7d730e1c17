// The order in which conjugate gradients visit the unknowns. One row after another would have to wait for the row
// before, which it mostly couples; here four rows at a time stand side by side that have nothing to do with each other.
#pragma once

#include "common/arrays.h"
#include "common/matrix_rows.h"

#include <cstddef>
#include <cstdint>

namespace tarnel
{

inline constexpr std::size_t most_lanes = 4;

// The rows in groups of `lanes`, each row at a place of its own, group g at the places g lanes .. (g + 1) lanes - 1.
struct row_order {
    std::size_t lanes = 1;  // most_lanes, or 1 where too few rows are free of each other: place i is unknown i then
    std::size_t places = 0; // in whole eights for four lanes; some are empty
    owned_array<std::int32_t> place; // of each unknown
    owned_array<std::int32_t> row;   // the unknown at each place; ndim: none
};

// Couplings of a row in threes: one three at least, which is what most rows of a mesh of triangles have.
inline std::int64_t threes_for(std::int64_t couplings)
{
    return couplings > 3 ? (couplings + 2) / 3 : 1;
}

// Orders the rows of a pattern, upper triangle, so that every sum of a pass keeps its terms and their order: a row
// stands in a later group than every row above it that couples it, and two rows that couple the same unknown below
// them stand in groups of their own, in the order of the matrix. The order follows from the pattern alone. Rows of a
// group take equally many threes as far as such rows are at hand.
//   errors  "Can't allocate (name)"
row_order order_rows(std::FILE* log, const char* name, const matrix_rows& rows);

// The rows one by one as they stand, for which order_rows settles where more than a third of its places would be empty.
//   errors  "Can't allocate (name)"
row_order rows_as_they_stand(std::FILE* log, const char* name, std::size_t n);

} // namespace tarnel
