// The three passes of an iteration of conjugate gradients. Each goes once through its part of the matrix, block of rows
// by block of rows, and takes along what the vectors need, so that an iteration moves no byte twice. The operations on
// each unknown are those of the plain formulas, in their order. Inner products are summed in eight parts, unknown i in
// part i mod 8, in the order of the pass.
#pragma once

#include "solvers/couplings.h"
#include "solvers/vector_kernel.h"

#include <cstddef>
#include <cstdint>

namespace tarnel
{

inline constexpr std::size_t rows_of_a_block = 512;

// The vectors of the iteration; p and q have n + 1 places, the last for the fillers of the couplings.
struct gradient_vectors {
    std::size_t n = 0;
    owned_array<double> x; // solution
    owned_array<double> p; // direction
    owned_array<double> q; // A p, then the preconditioned residual
    owned_array<double> r; // residual
    const vector_kernel* kernel = &fastest_vector_kernel();
};

// (a, b)
double inner_product_by_parts(const gradient_vectors& v, const double a[], const double b[]);

// q = r, q_j -= u_ij q_i for all i < j, ascending.
//   below  couplings_below of the unit upper factor, filler +0; null: q stays r
void first_forward_pass(gradient_vectors& v, const coupling_threes* below);

// r = r - alpha q and the same substitution; q holds A p on entry.
//   returns (r, r)
double forward_pass(gradient_vectors& v, const coupling_threes* below, double alpha);

// q_i = q_i / d_i - sum over j > i of u_ij q_j, ascending j, from the last row on.
//   above   couplings_above of the factor, descending, filler -0
//   pivots  d; null: ones
//   returns (r, q)
double backward_pass(gradient_vectors& v, const coupling_threes& above, const double pivots[]);

// The matrix of products with the reach of its blocks: 1 + the last unknown that the rows up to the block's end couple.
struct product_matrix {
    coupling_threes above; // ascending, filler -0
    owned_array<std::int32_t> reach;
};
//   errors  "Can't allocate (name)"
product_matrix make_product_matrix(std::FILE* log, const char* name, const matrix_rows& rows, const double values[]);

// p = q, q = A p with a unit diagonal.
//   returns (p, q)
double first_product_pass(gradient_vectors& v, const product_matrix& a);

// x = x + alpha p, p = q + beta p, q = A p.
//   returns (p, q)
double product_pass(gradient_vectors& v, const product_matrix& a, double alpha, double beta);

} // namespace tarnel
