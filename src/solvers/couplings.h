// The couplings of a symmetric matrix in threes, row by row: three is what a mesh of triangles has above the diagonal,
// so a pass over all rows meets hardly a branch that it cannot foresee. A three that is not full is filled with
// couplings to the place behind the last unknown, which holds a one, by a zero that leaves every sum as it is, its sign
// too: -0 where the product is added, +0 where it is subtracted.
#pragma once

#include "common/arrays.h"
#include "common/matrix_rows.h"

#include <cstdint>

namespace tarnel
{

struct coupling_threes {
    std::int64_t count = 0;
    owned_array<std::uint8_t> opens;   // 1 where a three is the first stored one of its row; a row has at least one
    owned_array<std::int32_t> unknown; // three a three; ndim: nothing
    owned_array<double> value;
};

// In which order the threes of a row are stored; within each, terms ascend.
enum class threes_of_a_row { ascend, descend };

// The terms right of the diagonal, row by row, in the order of the matrix.
//   values  as rows.amatr
//   filler  -0.0 or +0.0
//   errors  "Can't allocate (name)"
coupling_threes couplings_above(std::FILE* log, const char* name, const matrix_rows& rows, const double values[],
                                threes_of_a_row order, double filler);

// The same terms by columns: those of unknown j with the rows before it, ascending.
coupling_threes couplings_below(std::FILE* log, const char* name, const matrix_rows& rows, const double values[],
                                double filler);

} // namespace tarnel
