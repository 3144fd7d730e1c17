// The inner loops of the substitution with a skyline factor: a few columns meet the unknowns side by side. Every sum
// and every unknown keeps the order of its formula, so the wide form and its portable twin return the same bits.
//   source  Jennings and McKeown, Matrix Computation (profile storage, forward and backward substitution)
#pragma once

#include <cstdint>

namespace tarnel
{

inline constexpr std::int32_t columns_together = 8;

struct column_terms {
    std::int32_t top;    // row of the topmost term
    const double* terms; // the diagonal first, going up: that of row i of column j at terms[j - i]
};

// One form of the loops, for `count` columns j = first, first + 1, ..., at most columns_together.
struct elimination_kernel {
    // x_j -= sum of u_ij x_i, i ascending from the top of each column; rows before `first` are final.
    void (*columns)(std::int32_t first, std::int32_t count, const column_terms columns[], double x[]);

    // x_i -= u_ij x_j from the last column to the first: each row meets the columns in descending order.
    void (*rows_above)(std::int32_t first, std::int32_t count, const column_terms columns[], double x[]);
};

extern const elimination_kernel portable_elimination;

// The forms that this processor has, widest first; the portable one is always the last.
struct elimination_kernels {
    int count;
    const elimination_kernel* form[2];
};
elimination_kernels available_eliminations();

inline const elimination_kernel& fastest_elimination()
{
    return *available_eliminations().form[0];
}

} // namespace tarnel
