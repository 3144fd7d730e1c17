#include "solvers/skyline_kernel.h"

#include "solvers/lanes.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#if TARNEL_LANES > 1
#include <immintrin.h>
#endif

namespace tarnel
{

// One text for every processor: each form compiles it for its own width.
#define TARNEL_EVERY_WIDTH [[gnu::always_inline]] static inline

// Terms k = begin .. n - 1 of one column.
TARNEL_EVERY_WIDTH void add_one_column(std::ptrdiff_t begin, std::ptrdiff_t n, const double* w, const double* u,
                                       double sums[tile_rows])
{
    double s[tile_rows];
    std::copy(sums, sums + tile_rows, s);
    for (std::ptrdiff_t k = begin; k < n; ++k)
        for (int r = 0; r < tile_rows; ++r) s[r] += w[k * tile_rows + r] * u[-k];
    std::copy(s, s + tile_rows, sums);
}

// The rows are worked on with their columns side by side; `whole`: every column has every row of a full tile.
template <bool whole>
TARNEL_EVERY_WIDTH void finish_each_row(int rows, const double* w, const double* pivots, double* const u[tile_columns],
                                        const int top[tile_columns], const double sums[tile_columns][tile_rows])
{
    double sum[tile_rows][tile_columns], term[tile_rows][tile_columns];
    const int last = whole ? tile_rows : rows;
    for (int c = 0; c < tile_columns; ++c)
        for (int r = 0; r < last; ++r) {
            sum[r][c] = sums[c][r];
            term[r][c] = whole || r >= top[c] ? u[c][-r] : 0.0;
        }
    for (int r = 0; r < last; ++r, w += tile_rows) {
        for (int c = 0; c < tile_columns; ++c) term[r][c] = (term[r][c] - sum[r][c]) / pivots[r];
        if (!whole)
            for (int c = 0; c < tile_columns; ++c) term[r][c] = r >= top[c] ? term[r][c] : 0.0;
        for (int s = r + 1; s < last; ++s)
            for (int c = 0; c < tile_columns; ++c) sum[s][c] += w[s] * term[r][c];
    }
    for (int c = 0; c < tile_columns; ++c)
        for (int r = whole ? 0 : std::max(top[c], 0); r < last; ++r) u[c][-r] = term[r][c];
}

// A few rows at a time, so that they are turned in cache.
TARNEL_EVERY_WIDTH void pack_each_row(std::ptrdiff_t n, const double* const u[tile_rows],
                                      const std::ptrdiff_t begin[tile_rows], const double* pivots, double* w,
                                      double squares[tile_rows])
{
    constexpr std::ptrdiff_t rows_at_a_time = 32;
    for (std::ptrdiff_t from = 0; from < n; from += rows_at_a_time) {
        const std::ptrdiff_t end = std::min(from + rows_at_a_time, n);
        double terms[rows_at_a_time][tile_rows] = {};
        for (int c = 0; c < tile_rows; ++c)
            for (std::ptrdiff_t k = std::max(from, begin[c]); k < end; ++k) terms[k - from][c] = u[c][-k];
        for (std::ptrdiff_t k = from; k < end; ++k, w += tile_rows)
            for (int c = 0; c < tile_rows; ++c) {
                const double term = terms[k - from][c];
                w[c] = term * pivots[k];
                squares[c] += term * term * pivots[k];
            }
    }
}

// Eight numbers side by side, in as many registers as they need.
typedef double eight [[gnu::vector_size(64)]];

// The rows are worked on with their columns side by side. Above a column's top its terms and sums are zeros and stay
// so; what comes of it at and left of the diagonal is not used.
TARNEL_EVERY_WIDTH int factorise_each_row(int columns, double eps_zero, double* const u[tile_rows],
                                          const int top[tile_rows], double* w, double* pivots,
                                          double squares[tile_rows], const double sums[tile_rows][tile_rows])
{
    eight sum[tile_rows][2] = {}, term[tile_rows][2] = {}; // by row, then column
    for (int c = 0; c < columns; ++c)
        for (int r = std::max(top[c], 0); r < c; ++r) {
            sum[r][c / 8][c % 8] = sums[c][r];
            term[r][c / 8][c % 8] = u[c][-r];
        }
    for (int r = 0; r < columns; ++r) {
        const double pivot = u[r][-r] - squares[r];
        if (!(std::fabs(pivot) >= eps_zero)) return r;
        pivots[r] = u[r][-r] = pivot;
        eight s[2] = {sum[r][0], sum[r][1]};
        for (int k = 0; k < r; ++k) {
            const double factor = w[static_cast<std::ptrdiff_t>(k) * tile_rows + r];
            s[0] += factor * term[k][0];
            s[1] += factor * term[k][1];
        }
        for (int half = 0; half < 2; ++half) {
            const eight row = (term[r][half] - s[half]) / pivot;
            const eight packed = row * pivot;
            const std::ptrdiff_t first = std::ptrdiff_t{8} * half;
            eight square;
            std::memcpy(&square, squares + first, sizeof square);
            square += row * row * pivot;
            std::memcpy(squares + first, &square, sizeof square);
            std::memcpy(w + std::ptrdiff_t{r} * tile_rows + first, &packed, sizeof packed);
            term[r][half] = row;
        }
    }
    for (int c = 0; c < columns; ++c)
        for (int r = std::max(top[c], 0); r < c; ++r) u[c][-r] = term[r][c / 8][c % 8];
    return columns;
}

static void add_columns_portable(std::ptrdiff_t n, const double* w, const double* const u[tile_columns],
                                 const std::ptrdiff_t begin[tile_columns], double sums[tile_columns][tile_rows])
{
    for (int c = 0; c < tile_columns; ++c) add_one_column(begin != nullptr ? begin[c] : 0, n, w, u[c], sums[c]);
}

static void finish_rows_portable(int rows, const double* w, const double* pivots, double* const u[tile_columns],
                                 const int top[tile_columns], const double sums[tile_columns][tile_rows])
{
    if (top == nullptr)
        finish_each_row<true>(rows, w, pivots, u, top, sums);
    else
        finish_each_row<false>(rows, w, pivots, u, top, sums);
}

static void pack_columns_portable(std::ptrdiff_t n, const double* const u[tile_rows],
                                  const std::ptrdiff_t begin[tile_rows], const double* pivots, double* w,
                                  double squares[tile_rows])
{
    pack_each_row(n, u, begin, pivots, w, squares);
}

static int factorise_tile_portable(int columns, double eps_zero, double* const u[tile_rows], const int top[tile_rows],
                                   double* w, double* pivots, double squares[tile_rows],
                                   const double sums[tile_rows][tile_rows])
{
    return factorise_each_row(columns, eps_zero, u, top, w, pivots, squares, sums);
}

const tile_kernel portable_tile_kernel = {add_columns_portable, finish_rows_portable, pack_columns_portable,
                                          factorise_tile_portable};

#if TARNEL_LANES >= 4

// The first k that every column has, of those that begin.
TARNEL_EVERY_WIDTH std::ptrdiff_t all_begun(std::ptrdiff_t n, const std::ptrdiff_t begin[], int columns)
{
    std::ptrdiff_t last = 0;
    for (int c = 0; c < columns; ++c)
        if (begin[c] < n) last = std::max(last, begin[c]);
    return last;
}

// A multiplication and an addition per entry and k, never fused. Eight rows of four columns at a time: their sums stay
// in registers. A column is worked on alone until all have begun.
[[gnu::target("avx2")]] static void add_columns_avx2(std::ptrdiff_t n, const double* w,
                                                     const double* const u[tile_columns],
                                                     const std::ptrdiff_t begin[tile_columns],
                                                     double sums[tile_columns][tile_rows])
{
    constexpr int rows = 8, columns = 4;
    for (int first = 0; first < tile_columns; first += columns)
        for (int row = 0; row < tile_rows; row += rows) {
            __m256d s[columns][2];
#pragma GCC unroll 4
            for (int c = 0; c < columns; ++c) {
                s[c][0] = _mm256_loadu_pd(sums[first + c] + row);
                s[c][1] = _mm256_loadu_pd(sums[first + c] + row + 4);
            }
            const double* wk = w + row;
            const double* uk[columns] = {u[first], u[first + 1], u[first + 2], u[first + 3]};
            const std::ptrdiff_t together = begin != nullptr ? all_begun(n, begin + first, columns) : 0;
            if (together > 0)
#pragma GCC unroll 4
                for (int c = 0; c < columns; ++c)
                    for (std::ptrdiff_t k = begin[first + c]; k < together; ++k) {
                        const __m256d factor = _mm256_broadcast_sd(uk[c] - k);
                        s[c][0] = _mm256_add_pd(s[c][0], _mm256_mul_pd(_mm256_loadu_pd(wk + k * tile_rows), factor));
                        s[c][1] =
                            _mm256_add_pd(s[c][1], _mm256_mul_pd(_mm256_loadu_pd(wk + k * tile_rows + 4), factor));
                    }
            wk += together * tile_rows;
            for (std::ptrdiff_t k = -together; k > -n; --k, wk += tile_rows) {
                const __m256d low = _mm256_loadu_pd(wk), high = _mm256_loadu_pd(wk + 4);
#pragma GCC unroll 4
                for (int c = 0; c < columns; ++c) {
                    const __m256d factor = _mm256_broadcast_sd(uk[c] + k);
                    s[c][0] = _mm256_add_pd(s[c][0], _mm256_mul_pd(low, factor));
                    s[c][1] = _mm256_add_pd(s[c][1], _mm256_mul_pd(high, factor));
                }
            }
#pragma GCC unroll 4
            for (int c = 0; c < columns; ++c)
                if (begin == nullptr || begin[first + c] < n) {
                    _mm256_storeu_pd(sums[first + c] + row, s[c][0]);
                    _mm256_storeu_pd(sums[first + c] + row + 4, s[c][1]);
                }
        }
}

[[gnu::target("avx2")]] static void finish_rows_avx2(int rows, const double* w, const double* pivots,
                                                     double* const u[tile_columns], const int top[tile_columns],
                                                     const double sums[tile_columns][tile_rows])
{
    if (top == nullptr)
        finish_each_row<true>(rows, w, pivots, u, top, sums);
    else
        finish_each_row<false>(rows, w, pivots, u, top, sums);
}

[[gnu::target("avx2")]] static void pack_columns_avx2(std::ptrdiff_t n, const double* const u[tile_rows],
                                                      const std::ptrdiff_t begin[tile_rows], const double* pivots,
                                                      double* w, double squares[tile_rows])
{
    pack_each_row(n, u, begin, pivots, w, squares);
}

[[gnu::target("avx2")]] static int factorise_tile_avx2(int columns, double eps_zero, double* const u[tile_rows],
                                                       const int top[tile_rows], double* w, double* pivots,
                                                       double squares[tile_rows],
                                                       const double sums[tile_rows][tile_rows])
{
    return factorise_each_row(columns, eps_zero, u, top, w, pivots, squares, sums);
}

#endif

#if TARNEL_LANES >= 8

// Both halves of the rows take each factor from memory as an operand of their own multiplication: a factor shared in a
// register is slower by a third. The empty statement keeps the compiler from sharing it. A column is worked on alone
// until all have begun.
[[gnu::target("avx512f")]] static void add_columns_avx512(std::ptrdiff_t n, const double* w,
                                                          const double* const u[tile_columns],
                                                          const std::ptrdiff_t begin[tile_columns],
                                                          double sums[tile_columns][tile_rows])
{
    __m512d low[tile_columns], high[tile_columns];
    const double* column[tile_columns];
#pragma GCC unroll 8
    for (int c = 0; c < tile_columns; ++c) {
        low[c] = _mm512_loadu_pd(sums[c]);
        high[c] = _mm512_loadu_pd(sums[c] + 8);
        column[c] = u[c];
    }
    const std::ptrdiff_t together = begin != nullptr ? all_begun(n, begin, tile_columns) : 0;
    if (together > 0)
#pragma GCC unroll 8
        for (int c = 0; c < tile_columns; ++c)
            for (std::ptrdiff_t k = begin[c]; k < together; ++k) {
                const __m512d factor = _mm512_set1_pd(column[c][-k]);
                low[c] = _mm512_add_pd(low[c], _mm512_mul_pd(_mm512_loadu_pd(w + k * tile_rows), factor));
                high[c] = _mm512_add_pd(high[c], _mm512_mul_pd(_mm512_loadu_pd(w + k * tile_rows + 8), factor));
            }
    w += together * tile_rows;
    for (std::ptrdiff_t k = -together; k > -n; --k, w += tile_rows) {
        const __m512d w_low = _mm512_loadu_pd(w), w_high = _mm512_loadu_pd(w + 8);
#pragma GCC unroll 8
        for (int c = 0; c < tile_columns; ++c)
            low[c] = _mm512_add_pd(low[c], _mm512_mul_pd(w_low, _mm512_set1_pd(column[c][k])));
        std::ptrdiff_t again = k;
        asm("" : "+r"(again));
#pragma GCC unroll 8
        for (int c = 0; c < tile_columns; ++c)
            high[c] = _mm512_add_pd(high[c], _mm512_mul_pd(w_high, _mm512_set1_pd(column[c][again])));
    }
#pragma GCC unroll 8
    for (int c = 0; c < tile_columns; ++c)
        if (begin == nullptr || begin[c] < n) {
            _mm512_storeu_pd(sums[c], low[c]);
            _mm512_storeu_pd(sums[c] + 8, high[c]);
        }
}

// Eight by eight numbers turned: lane c of row r to lane r of row c.
[[gnu::target("avx512f"), gnu::always_inline]] static inline void turn(__m512d row[8])
{
    __m512d pair[8], four[8];
    for (int r = 0; r < 8; r += 2) {
        pair[r] = __builtin_shufflevector(row[r], row[r + 1], 0, 8, 2, 10, 4, 12, 6, 14);
        pair[r + 1] = __builtin_shufflevector(row[r], row[r + 1], 1, 9, 3, 11, 5, 13, 7, 15);
    }
    for (int r = 0; r < 8; r += 4)
        for (int i = r; i < r + 2; ++i) {
            four[i] = __builtin_shufflevector(pair[i], pair[i + 2], 0, 1, 4, 5, 8, 9, 12, 13);
            four[i + 2] = __builtin_shufflevector(pair[i], pair[i + 2], 2, 3, 6, 7, 10, 11, 14, 15);
        }
    for (int i = 0; i < 4; ++i) {
        row[i] = __builtin_shufflevector(four[i], four[i + 4], 0, 1, 4, 5, 8, 9, 12, 13);
        row[i + 4] = __builtin_shufflevector(four[i], four[i + 4], 2, 3, 6, 7, 10, 11, 14, 15);
    }
}

// Sixteen rows of a tile in eight columns; unless `whole`, what stands above a column's top is another column's and is
// neither read nor written, and counts as zero.
template <bool whole>
[[gnu::target("avx512f")]] static void finish_tile_avx512(const double* w, const double* pivots,
                                                          double* const u[tile_columns], const int top[tile_columns],
                                                          const double sums[tile_columns][tile_rows])
{
    __m512d sum[tile_rows];
    for (int c = 0; c < tile_columns; ++c) {
        sum[c] = _mm512_loadu_pd(sums[c]);
        sum[c + 8] = _mm512_loadu_pd(sums[c] + 8);
    }
    turn(sum);
    turn(sum + 8);
    long long top_of_lane[tile_columns] = {};
    if (!whole) std::copy(top, top + tile_columns, top_of_lane);
    const __m512i tops = _mm512_loadu_si512(top_of_lane);
#pragma GCC unroll 2
    for (int first = 0; first < tile_rows; first += 8) {
        __mmask8 below[tile_columns]; // of each column, in the order of its memory: row first + 7 comes first
        __m512d term[8];              // of the rows backwards, as the columns store them
        for (int c = 0; c < tile_columns; ++c) {
            const int rows = whole ? 8 : std::clamp(first + 8 - top[c], 0, 8);
            below[c] = static_cast<__mmask8>((1U << static_cast<unsigned>(rows)) - 1U);
            term[c] = whole ? _mm512_loadu_pd(u[c] - first - 7) : _mm512_maskz_loadu_pd(below[c], u[c] - first - 7);
        }
        turn(term);
#pragma GCC unroll 8
        for (int r = first; r < first + 8; ++r, w += tile_rows) {
            __m512d& row = term[first + 7 - r];
            row = _mm512_div_pd(_mm512_sub_pd(row, sum[r]), _mm512_set1_pd(pivots[r]));
            if (!whole) row = _mm512_maskz_mov_pd(_mm512_cmple_epi64_mask(tops, _mm512_set1_epi64(r)), row);
#pragma GCC unroll 16
            for (int s = r + 1; s < tile_rows; ++s)
                sum[s] = _mm512_add_pd(sum[s], _mm512_mul_pd(row, _mm512_set1_pd(w[s])));
        }
        turn(term);
        for (int c = 0; c < tile_columns; ++c) {
            if (whole)
                _mm512_storeu_pd(u[c] - first - 7, term[c]);
            else
                _mm512_mask_storeu_pd(u[c] - first - 7, below[c], term[c]);
        }
    }
}

[[gnu::target("avx512f")]] static void finish_rows_avx512(int rows, const double* w, const double* pivots,
                                                          double* const u[tile_columns], const int top[tile_columns],
                                                          const double sums[tile_columns][tile_rows])
{
    if (top == nullptr)
        finish_tile_avx512<true>(w, pivots, u, top, sums);
    else if (rows == tile_rows)
        finish_tile_avx512<false>(w, pivots, u, top, sums);
    else
        finish_rows_portable(rows, w, pivots, u, top, sums);
}

// Eight rows at a time, the last eight ending with row n - 1.
[[gnu::target("avx512f")]] static void pack_columns_avx512(std::ptrdiff_t n, const double* const u[tile_rows],
                                                           const std::ptrdiff_t begin[tile_rows], const double* pivots,
                                                           double* w, double squares[tile_rows])
{
    const std::ptrdiff_t together = *std::max_element(begin, begin + tile_rows);
    for (int first = 0; first < tile_rows; first += 8) {
        __m512d square = _mm512_loadu_pd(squares + first);
        for (std::ptrdiff_t k = n - (n + 7) / 8 * 8; k < n; k += 8) {
            __m512d term[8]; // of the rows backwards, as the columns store them
            for (int c = 0; c < 8; ++c) {
                const double* terms = u[first + c] - k - 7;
                const auto rows = static_cast<unsigned>(std::clamp<std::ptrdiff_t>(k + 8 - begin[first + c], 0, 8));
                term[c] = k >= together ? _mm512_loadu_pd(terms)
                                        : _mm512_maskz_loadu_pd(static_cast<__mmask8>((1U << rows) - 1U), terms);
            }
            turn(term);
#pragma GCC unroll 8
            for (int r = 0; r < 8; ++r) {
                if (k + r < 0) continue;
                const __m512d row = term[7 - r], pivot = _mm512_set1_pd(pivots[k + r]);
                _mm512_storeu_pd(w + (k + r) * tile_rows + first, _mm512_mul_pd(row, pivot));
                square = _mm512_add_pd(square, _mm512_mul_pd(_mm512_mul_pd(row, row), pivot));
            }
        }
        _mm512_storeu_pd(squares + first, square);
    }
}

[[gnu::target("avx512f")]] static int factorise_tile_avx512(int columns, double eps_zero, double* const u[tile_rows],
                                                            const int top[tile_rows], double* w, double* pivots,
                                                            double squares[tile_rows],
                                                            const double sums[tile_rows][tile_rows])
{
    return factorise_each_row(columns, eps_zero, u, top, w, pivots, squares, sums);
}

#endif

tile_kernels available_tile_kernels()
{
    tile_kernels kernels{};
#if TARNEL_LANES >= 8
    static constexpr tile_kernel avx512 = {add_columns_avx512, finish_rows_avx512, pack_columns_avx512,
                                           factorise_tile_avx512};
    if (__builtin_cpu_supports("avx512f")) kernels.form[kernels.count++] = &avx512;
#endif
#if TARNEL_LANES >= 4
    static constexpr tile_kernel avx2 = {add_columns_avx2, finish_rows_avx2, pack_columns_avx2, factorise_tile_avx2};
    if (__builtin_cpu_supports("avx2")) kernels.form[kernels.count++] = &avx2;
#endif
    kernels.form[kernels.count++] = &portable_tile_kernel;
    return kernels;
}

} // namespace tarnel
