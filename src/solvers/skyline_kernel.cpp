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

// A multiplication and an addition per entry and k, never fused. Half of the columns at a time: their eight sums of
// four lanes stay in registers.
[[gnu::target("avx2")]] static void add_products_avx2(std::size_t n, const double* w, const double* u,
                                                      double sums[tile_columns][tile_rows])
{
    constexpr int half = tile_columns / 2;
    for (int first = 0; first < tile_columns; first += half) {
        __m256d s[half][2];
        for (int c = 0; c < half; ++c) {
            s[c][0] = _mm256_loadu_pd(sums[first + c]);
            s[c][1] = _mm256_loadu_pd(sums[first + c] + 4);
        }
        const double* wk = w;
        const double* uk = u + first;
        for (std::size_t k = 0; k < n; ++k, wk += tile_rows, uk += tile_columns) {
            const __m256d low = _mm256_loadu_pd(wk), high = _mm256_loadu_pd(wk + 4);
            for (int c = 0; c < half; ++c) {
                const __m256d factor = _mm256_broadcast_sd(uk + c);
                s[c][0] = _mm256_add_pd(s[c][0], _mm256_mul_pd(low, factor));
                s[c][1] = _mm256_add_pd(s[c][1], _mm256_mul_pd(high, factor));
            }
        }
        for (int c = 0; c < half; ++c) {
            _mm256_storeu_pd(sums[first + c], s[c][0]);
            _mm256_storeu_pd(sums[first + c] + 4, s[c][1]);
        }
    }
}

[[gnu::target("avx512f")]] static void add_products_avx512(std::size_t n, const double* w, const double* u,
                                                           double sums[tile_columns][tile_rows])
{
    __m512d s[tile_columns];
    for (int c = 0; c < tile_columns; ++c) s[c] = _mm512_loadu_pd(sums[c]);
    for (std::size_t k = 0; k < n; ++k, w += tile_rows, u += tile_columns) {
        const __m512d column = _mm512_loadu_pd(w);
        for (int c = 0; c < tile_columns; ++c) s[c] = _mm512_add_pd(s[c], _mm512_mul_pd(column, _mm512_set1_pd(u[c])));
    }
    for (int c = 0; c < tile_columns; ++c) _mm512_storeu_pd(sums[c], s[c]);
}

tile_products available_tile_products()
{
    tile_products products{};
    if (__builtin_cpu_supports("avx512f")) products.form[products.count++] = add_products_avx512;
    if (__builtin_cpu_supports("avx2")) products.form[products.count++] = add_products_avx2;
    products.form[products.count++] = add_products_portable;
    return products;
}

#else

tile_products available_tile_products()
{
    return {1, {add_products_portable}};
}

#endif

} // namespace tarnel
