// The inner loop of the skyline factorisation: sums of products for a tile of entries side by side. Each entry has its
// own sum over ascending k, so the wide form and its portable twin return the same bits.
#pragma once

#include <cstddef>

namespace tarnel
{

inline constexpr int tile_rows = 8;    // rows i of the factor, columns i of the left panel
inline constexpr int tile_columns = 8; // columns j

// sums[c][r] += w[k][r] * u[k][c] for k = 0 .. n - 1, ascending; product and sum are rounded apart.
//   w  n x 8, k by k;  u  n x 8, k by k
using tile_product = void (*)(std::size_t n, const double* w, const double* u, double sums[tile_columns][tile_rows]);

void add_products_portable(std::size_t n, const double* w, const double* u, double sums[tile_columns][tile_rows]);

// The forms that this processor has, widest first; the portable one is always the last.
struct tile_products {
    int count;
    tile_product form[3];
};
tile_products available_tile_products();

inline tile_product fastest_tile_product()
{
    return available_tile_products().form[0];
}

} // namespace tarnel
