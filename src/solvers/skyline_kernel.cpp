#include "solvers/skyline_kernel.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace tarnel
{

void add_products_portable(std::size_t n, const double* w, const double* u, double sums[tile_columns][tile_rows])
{
    for (std::size_t k = 0; k < n; ++k)
        for (std::size_t c = 0; c < tile_columns; ++c)
            for (std::size_t r = 0; r < tile_rows; ++r) sums[c][r] += w[k * tile_rows + r] * u[k * tile_columns + c];
}

#if defined(__x86_64__)

// Eight sums of four lanes each: a multiplication and an addition per entry and k, never fused.
[[gnu::target("avx2")]] static void add_products_avx2(std::size_t n, const double* w, const double* u,
                                                      double sums[tile_columns][tile_rows])
{
    __m256d s[tile_columns][2];
    for (int c = 0; c < tile_columns; ++c) {
        s[c][0] = _mm256_loadu_pd(sums[c]);
        s[c][1] = _mm256_loadu_pd(sums[c] + 4);
    }
    for (std::size_t k = 0; k < n; ++k, w += tile_rows, u += tile_columns) {
        const __m256d low = _mm256_loadu_pd(w), high = _mm256_loadu_pd(w + 4);
        for (int c = 0; c < tile_columns; ++c) {
            const __m256d factor = _mm256_broadcast_sd(u + c);
            s[c][0] = _mm256_add_pd(s[c][0], _mm256_mul_pd(low, factor));
            s[c][1] = _mm256_add_pd(s[c][1], _mm256_mul_pd(high, factor));
        }
    }
    for (int c = 0; c < tile_columns; ++c) {
        _mm256_storeu_pd(sums[c], s[c][0]);
        _mm256_storeu_pd(sums[c] + 4, s[c][1]);
    }
}

tile_product fastest_tile_product()
{
    return __builtin_cpu_supports("avx2") ? add_products_avx2 : add_products_portable;
}

#else

tile_product fastest_tile_product()
{
    return add_products_portable;
}

#endif

} // namespace tarnel
