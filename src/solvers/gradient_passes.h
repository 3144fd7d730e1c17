// The three passes of an iteration of conjugate gradients. Each goes once through its part of the matrix, block of rows
// by block of rows, and takes along what the vectors need, so that an iteration moves no byte twice. The operations on
// each unknown are those of the plain formulas, in their order. The unknowns stand at the places of a row_order. Inner
// products are summed in eight parts, the unknown at place i in part i mod 8, in the order of the pass.
#pragma once

#include "solvers/row_kernel.h"

namespace tarnel
{

// The vectors of the iteration, by places: of an empty place the number is 0, and 1 that of the pivots.
struct gradient_vectors {
    owned_array<double> x; // solution
    owned_array<double> p; // direction
    owned_array<double> q; // A p, then what the factors make of the residual
    owned_array<double> r; // residual
    const vector_kernel* kernel = &fastest_vector_kernel();
};

// (a, b) over so many places.
double inner_product_by_parts(const vector_kernel& kernel, std::size_t places, const double a[], const double b[]);

// Where the preconditioned residual z stands: in the place of q, or it is r itself without a factor.
inline double* residual_for(gradient_vectors& v, const double factor[])
{
    return factor != nullptr ? v.q.get() : v.r.get();
}

// z = r, then z_j = z_j - z_i u_ij for all i < j, ascending i.
//   factor  values of the unit upper factor u, or null
void first_forward_pass(gradient_vectors& v, const coupling_pattern& pattern, const double factor[]);

// r = r - alpha q and the same substitution; q holds A p on entry.
//   returns (r, r)
double forward_pass(gradient_vectors& v, const coupling_pattern& pattern, const double factor[], double alpha);

// z_i = z_i / d_i - sum over j > i of u_ij z_j, ascending j, from the last row on.
//   pivots  d; null: ones
//   returns (r, z)
double backward_pass(gradient_vectors& v, const coupling_pattern& pattern, const double factor[],
                     const double pivots[]);

// p = z, q = A p with a unit diagonal.
//   returns (p, q)
double first_product_pass(gradient_vectors& v, const coupling_pattern& pattern, const double a[], const double z[]);

// x = x + alpha p, p = z + beta p, q = A p.
//   returns (p, q)
double product_pass(gradient_vectors& v, const coupling_pattern& pattern, const double a[], const double z[],
                    double alpha, double beta);

} // namespace tarnel
