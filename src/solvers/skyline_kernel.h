// The inner loops of the skyline factorisation, for a tile of entries side by side. Each entry has its own sum over
// ascending k, so the wide forms and their portable twin return the same bits.
#pragma once

#include <cstddef>

namespace tarnel
{

inline constexpr int tile_rows = 16;   // rows i of the factor, columns i of the left panel
inline constexpr int tile_columns = 8; // columns j

// One form of the loops. Columns u run upwards in memory, as they are stored: u[-k] is the term k rows below u[0].
struct tile_kernel {
    // sums[c][r] += w[k][r] * u[c][-k] for k = begin[c] .. n - 1, ascending; product and sum are rounded apart.
    //   w      n x 16, k by k
    //   u      eight columns; of one that does not begin, any n terms
    //   begin  first k of each, n or more: none; null: 0 for all
    void (*add_columns)(std::ptrdiff_t n, const double* w, const double* const u[tile_columns],
                        const std::ptrdiff_t begin[tile_columns], double sums[tile_columns][tile_rows]);

    // Rows of the tile itself, ascending: u[c][-r] = (u[c][-r] - sum) / pivots[r], the finished row entering the sums
    // of those below.
    //   rows  of the tile, at most 16;  w  rows x 16, w[r][s] = u_rs d_r;  pivots  one a row
    //   top   first row that each column has; `rows` or more: none; null: all sixteen rows of all columns
    void (*finish_rows)(int rows, const double* w, const double* pivots, double* const u[tile_columns],
                        const int top[tile_columns], const double sums[tile_columns][tile_rows]);

    // Packs the columns of a tile: w[k][c] = u[c][-k] pivots[k], zeros of any sign where k < begin[c], and
    // squares[c] += (u[c][-k] u[c][-k]) pivots[k], for k = 0 .. n - 1, ascending.
    //   w  n x 16, k by k
    void (*pack_columns)(std::ptrdiff_t n, const double* const u[tile_rows], const std::ptrdiff_t begin[tile_rows],
                         const double* pivots, double* w, double squares[tile_rows]);

    // The columns of a tile among themselves: rows and pivots of the tile, and its own rows of w. u[c][-r] for r < c as
    // in finish_rows; u[c][-c] = pivots[c] = u[c][-c] - squares[c], complete by then.
    //   columns  at most 16;  top  first row that each has;  sums  by column, then row
    //   returns  the columns done: all, or those before the first whose pivot is below eps_zero in magnitude or a NaN
    int (*factorise_tile)(int columns, double eps_zero, double* const u[tile_rows], const int top[tile_rows], double* w,
                          double* pivots, double squares[tile_rows], const double sums[tile_rows][tile_rows]);
};

extern const tile_kernel portable_tile_kernel;

// The forms that this processor has, widest first; the portable one is always the last.
struct tile_kernels {
    int count;
    const tile_kernel* form[3];
};
tile_kernels available_tile_kernels();

inline const tile_kernel& fastest_tile_kernel()
{
    return *available_tile_kernels().form[0];
}

} // namespace tarnel
