// The global matrix: upper triangle by rows, diagonal first, in flat arrays. Reading its pattern is shared by the
// assembly and every solver.
#pragma once

#include "common/arrays.h"
#include "common/streams.h"

#include <cstdint>

namespace tarnel
{

struct matrix_rows {
    std::int32_t ndim = 0;
    owned_array<std::int64_t> start;  // ndim + 1 places: row i holds the terms start[i] .. start[i + 1] - 1
    owned_array<std::int32_t> mindex; // column of each term, from 0
    owned_array<double> amatr;        // value of each term
};

inline std::int32_t terms_of(const matrix_rows& matrix, std::int32_t row)
{
    return static_cast<std::int32_t>(matrix.start[static_cast<std::size_t>(row) + 1] -
                                     matrix.start[static_cast<std::size_t>(row)]);
}

// Reads the row counts and columns that follow the header of "t-matrix-index.tmp"; values are zeros. Arrays follow
// what the file can hold, whatever its counts promise.
//   errors  "(r2)", "(r3)"; a count outside 1 .. maxnzero: "no. of non-zero term %d is over the limit." and the row
//           from 0; with `check` a column outside the upper triangle: "(r3)"; "Can't allocate" nozerot, mindex, amatr
enum class column_check { none, inside };
void read_index_rows(std::FILE* log, input_file& in, std::int32_t maxnzero, column_check check, matrix_rows& matrix);

} // namespace tarnel
