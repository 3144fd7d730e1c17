// Passes over rows in groups, four sums side by side or one: the wide form and its portable twin return the same bits.
#pragma once

#include "solvers/couplings.h"
#include "solvers/vector_kernel.h"

namespace tarnel
{

// One form of the passes. Unknowns stand at their places; a factor is unit upper triangular, u.
struct row_kernel {
    // q_j = q_j - q_i u_ij for the rows i from `at` on to the place `end`, ascending; `at` moves on to it
    void (*substitute_forward)(coupling_at& at, double q[], std::size_t end);
    // q_i = q_i / d_i - sum over j of u_ij q_j, from the last place on; sums of r q
    //   end     behind the last group
    //   pivots  d; null: ones
    void (*substitute_backward)(part_sums& sums, coupling_at end, const double pivots[], const double r[], double q[],
                                std::size_t places);
    // q_i = q_i + a_ij p_j and q_j = q_j + a_ij p_i for the rows i from `at` on, as above
    void (*multiply)(coupling_at& at, const double p[], double q[], std::size_t end);
};

// The form for the groups of a pattern that goes with a kernel for vectors.
const row_kernel& row_kernel_for(const vector_kernel& kernel, const coupling_pattern& pattern);

} // namespace tarnel
