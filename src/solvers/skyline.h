#pragma once

#include "solvers/linear_system.h"

namespace tarnel
{

// Factorises the matrix by columns, out of core: splits the columns into blocks that fit the work array of
// "t-skylin.txt" and leaves each block of the LDLT in the file that it names.
//   errors  those of the system's reading and of the work files; a column without terms; a band wider than the work
//           array; more blocks than names; a pivot below eps_zero: "The global matrix is singular."
//   memory  the sparse matrix, one block (at most the work array and 8 bytes a column), a group of columns (about a
//           quarter of the work array, at most 64 columns, at least 16 columns of nband values), and vectors of ndim
//           values
void t_real_mtsolv_skylin1(control cntl, input_file& index, input_file& matrix, std::FILE* log);

// Solves for one right-hand side with the factor that t_real_mtsolv_skylin1 left, block by block: forward, pivots,
// backward; writes the solution.
//   errors  "(r1)", "(r2)" of the right-hand side; "ndim over the limit."; those of the work files; "(w1)", "(w2)"
//   memory  some columns of a block, and vectors of ndim values; of a block that comes through a pipe, all columns
void t_real_mtsolv_skylin2(control cntl, input_file& vector, output_file& solution, std::FILE* log);

} // namespace tarnel
