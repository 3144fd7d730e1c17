#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct voltr_files {
    input_file& data2;     // "t-volt-data2.tmp"
    input_file& matrix;    // "t-voltr-matrix.tmp"
    input_file& vector;    // "t-voltr-vector.tmp"
    input_file* femdv;     // "t-voltr-femdv.tmp"; nullptr unless nvolte is above 0
    input_file& previous;  // "t-voltp-solution.tmp"
    output_file& solution; // "t-voltr-solution.tmp"
    output_file& report;   // "t-voltr-result.txt"
};

// Solves the circuit equations with the field eliminated, iterating over the diodes, corrects the field solution by the
// circuit unknowns and writes the circuit solution, the charges and a report.
//   (F + H S^-1 V) c = u2 - H S^-1 u1,  rows of circuit-field unknowns scaled by the unknown's factor;
//   field x + sum of c_j x_j, charges q_k + c_k dt
//   nvolte  circuit-field unknowns, whose field solutions are in the numbered files
//   errors  those of the circuit files; counts that differ; "the full-matrix is singular."; writes
void t_solve_voltr(control cntl, voltr_files files, std::int32_t nvolte, std::FILE* log);

// Gaussian elimination in natural order without a search for pivots; f (n x n by rows) and the right-hand side are
// overwritten, the solution in the latter. Each entry's subtractions come in ascending order of the pivots.
//   errors  a pivot below eps_zero in magnitude, or a NaN: "the full-matrix is singular." and its row from 0
void solve_full_matrix(std::size_t n, double f[], double b[], double eps_zero, std::FILE* log);

} // namespace tarnel
