// An assembled system as every solver reads it, and the solution as every solver writes it.
#pragma once

#include "common/control.h"
#include "common/matrix_rows.h"
#include "common/streams.h"

namespace tarnel
{

struct solver_files {
    input_file& index;     // "t-matrix-index.tmp"
    input_file& matrix;    // "t-femr-matrix.tmp"
    input_file& vector;    // "t-femr-vector.tmp", or that of a circuit edge
    output_file& solution; // "t-femr-solution.tmp", or that of a circuit edge
};

// Reads the number of unknowns at the head of a file and logs it.
//   errors  "(r1)"; "      Error. ndim over the limit.\n" outside 1 .. maxdim
std::int32_t read_ndim(const control& cntl, input_file& in, std::FILE* log);

// Reads an int32 that must equal `expected`.
//   errors  "(tag)" for a short read; "(tag)" and "             WHAT is different.\n" for another value
void read_equal(std::FILE* log, input_file& in, std::int32_t expected, const char* tag, const char* what);

enum class trailers { read, left }; // the counts that close the index and the matrix file

struct system_head {
    matrix_rows rows;       // with values
    std::int32_t ndim1 = 0; // trailer of the index file; 0 when left
};

// Reads index and matrix from their starts.
//   errors  those of read_ndim and read_index_rows; "(r4)" and "ndim1 > ndim" of the index; "(r1)" to "(r4)" of the
//           matrix, with "ndim", "nzero" or "ndim1 is different."
system_head read_matrix(const control& cntl, input_file& index, input_file& matrix, trailers ends, std::FILE* log);

// Reads a right-hand side of ndim values.
//   errors  "(r1)" and "ndim is different."; "(r2)"; "(r3)" and "ndim1 is different."; "Can't allocate (uvecr)"
owned_array<double> read_right_side(input_file& in, std::int32_t ndim, std::int32_t ndim1, std::FILE* log);

// Writes ndim and the unknowns' values [Wb/m].
//   errors  "(w1)", "(w2)"
void write_solution(output_file& out, std::int32_t ndim, const double values[], std::FILE* log);

// The sum of products, ascending.
inline double inner_product(std::size_t n, const double a[], const double b[])
{
    double sum = 0.0;
    for (std::size_t i = 0; i < n; ++i) sum += a[i] * b[i];
    return sum;
}

// Scales the system to a unit diagonal: slot 0 of each row takes d_i = 1 / sqrt(a_ii), a_ij becomes d_i a_ij d_j,
// b_i becomes d_i b_i.
//   errors  a diagonal below eps_zero, a negative one or a NaN too: "The global matrix is singular." and the row from 0
void scale_system(double eps_zero, matrix_rows& rows, double uvecr[], std::FILE* log);

} // namespace tarnel
