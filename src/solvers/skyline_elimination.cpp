#include "solvers/skyline_elimination.h"

#include "solvers/lanes.h"

#include <algorithm>

#if TARNEL_LANES > 1
#include <immintrin.h>
#endif

namespace tarnel
{

static void eliminate_columns_portable(std::int32_t first, std::int32_t count, const column_terms columns[], double x[])
{
    double sums[columns_together] = {};
    std::int32_t common = 0; // first row that all columns have
    for (std::int32_t c = 0; c < count; ++c) common = std::max(common, std::min(columns[c].top, first));
    for (std::int32_t c = 0; c < count; ++c)
        for (std::int32_t i = columns[c].top; i < common; ++i) sums[c] += columns[c].terms[first + c - i] * x[i];
    if (count == columns_together) {
        for (std::int32_t i = common; i < first; ++i)
            for (std::int32_t c = 0; c < columns_together; ++c) sums[c] += columns[c].terms[first + c - i] * x[i];
    } else {
        for (std::int32_t c = 0; c < count; ++c)
            for (std::int32_t i = common; i < first; ++i) sums[c] += columns[c].terms[first + c - i] * x[i];
    }
    for (std::int32_t c = 0; c < count; ++c) {
        const std::int32_t j = first + c;
        for (std::int32_t i = std::max(first, columns[c].top); i < j; ++i) sums[c] += columns[c].terms[j - i] * x[i];
        x[j] -= sums[c];
    }
}

// One text for every processor: each form compiles it for its own width.
[[gnu::always_inline]] static inline void eliminate_rows_above(std::int32_t first, std::int32_t count,
                                                               const column_terms columns[], double x[])
{
    std::int32_t common = 0;
    for (std::int32_t c = 0; c < count; ++c) common = std::max(common, std::min(columns[c].top, first));
    double xj[columns_together] = {};
    for (std::int32_t c = count - 1; c >= 0; --c) {
        const std::int32_t j = first + c;
        xj[c] = x[j];
        for (std::int32_t i = std::max(first, columns[c].top); i < j; ++i) x[i] -= columns[c].terms[j - i] * xj[c];
        for (std::int32_t i = columns[c].top; i < common; ++i) x[i] -= columns[c].terms[j - i] * xj[c];
    }
    if (count == columns_together && common < first) {
        const double* above[columns_together]; // the terms of row first - 1, those of the rows above it behind them
        for (std::int32_t c = 0; c < columns_together; ++c) above[c] = columns[c].terms + c + 1;
        double* row = x + (first - 1);
        for (std::ptrdiff_t k = 0; k < first - common; ++k) {
            double xi = row[-k];
            for (std::int32_t c = columns_together - 1; c >= 0; --c) xi -= above[c][k] * xj[c];
            row[-k] = xi;
        }
        return;
    }
    for (std::int32_t c = count - 1; c >= 0; --c)
        for (std::int32_t i = common; i < first; ++i) x[i] -= columns[c].terms[first + c - i] * xj[c];
}

static void eliminate_rows_above_portable(std::int32_t first, std::int32_t count, const column_terms columns[],
                                          double x[])
{
    eliminate_rows_above(first, count, columns, x);
}

const elimination_kernel portable_elimination = {eliminate_columns_portable, eliminate_rows_above_portable};

#if TARNEL_LANES >= 4

constexpr std::int32_t near_terms = columns_together - 1; // of a column, which its own set's unknowns may meet

// The sum of a column over its terms k = from, ..., to, counted from the diagonal.
[[gnu::target("avx2"), gnu::always_inline]] static inline double
add_terms(double sum, std::ptrdiff_t from, std::ptrdiff_t to, const double* terms, const double* xj)
{
    for (std::ptrdiff_t k = from; k >= to; --k) sum += terms[k] * xj[-k];
    return sum;
}

// The terms k, ..., k - 3 of four columns: sums[c] += terms[c][k] row[c - k].
[[gnu::target("avx2"), gnu::always_inline]] static inline __m256d
add_four_columns(__m256d sums, std::ptrdiff_t k, const double* const terms[4], const double* row)
{
    const __m256d a = _mm256_loadu_pd(terms[0] + k - 3), b = _mm256_loadu_pd(terms[1] + k - 3);
    const __m256d c = _mm256_loadu_pd(terms[2] + k - 3), d = _mm256_loadu_pd(terms[3] + k - 3);
    const __m256d ab_even = _mm256_unpacklo_pd(a, b), ab_odd = _mm256_unpackhi_pd(a, b);
    const __m256d cd_even = _mm256_unpacklo_pd(c, d), cd_odd = _mm256_unpackhi_pd(c, d);
    const __m256d turned[4] = {
        _mm256_permute2f128_pd(ab_odd, cd_odd, 0x31), _mm256_permute2f128_pd(ab_even, cd_even, 0x31),
        _mm256_permute2f128_pd(ab_odd, cd_odd, 0x20), _mm256_permute2f128_pd(ab_even, cd_even, 0x20)};
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) sums = _mm256_add_pd(sums, _mm256_mul_pd(turned[i], _mm256_loadu_pd(row + i - k)));
    return sums;
}

// The columns go down side by side, each at the same distance from its diagonal, until they may meet unknowns of their
// own set. Shorter columns go alone; in their places the tallest one goes along for nothing.
[[gnu::target("avx2")]] static void eliminate_columns_avx2(std::int32_t first, std::int32_t count,
                                                           const column_terms columns[], double x[])
{
    constexpr std::int32_t most_alone = 16; // terms by which a column that goes along may be shorter than the tallest
    double* row = x + first;
    std::int32_t reach[columns_together]; // terms above the diagonal
    std::int32_t tallest = 0;
    for (std::int32_t c = 0; c < count; ++c) {
        reach[c] = first + c - columns[c].top;
        if (reach[c] > reach[tallest]) tallest = c;
    }
    if (count < columns_together || reach[tallest] <= 2 * near_terms) {
        for (std::int32_t c = 0; c < count; ++c) row[c] -= add_terms(0.0, reach[c], 1, columns[c].terms, row + c);
        return;
    }
    const std::int32_t tall = std::max(near_terms, reach[tallest] - most_alone);
    std::int32_t all = std::min(reach[tallest], first); // the first unknown is as far up as any column goes
    for (std::int32_t c = 0; c < columns_together; ++c)
        if (reach[c] >= tall) all = std::min(all, reach[c]);
    const std::int32_t together = near_terms + (all - near_terms) / 4 * 4;
    const double* terms[columns_together];
    double alone[columns_together], sums[columns_together];
    for (std::int32_t c = 0; c < columns_together; ++c) {
        const bool along = reach[c] >= tall;
        terms[c] = columns[along ? c : tallest].terms;
        alone[c] = add_terms(0.0, reach[c], along ? together + 1 : near_terms + 1, columns[c].terms, row + c);
    }
    __m256d left = _mm256_loadu_pd(alone), right = _mm256_loadu_pd(alone + 4);
    for (std::ptrdiff_t k = together; k > near_terms; k -= 4) {
        left = add_four_columns(left, k, terms, row);
        right = add_four_columns(right, k, terms + 4, row + 4);
    }
    _mm256_storeu_pd(sums, left);
    _mm256_storeu_pd(sums + 4, right);
    for (std::int32_t c = 0; c < columns_together; ++c)
        row[c] -= add_terms(reach[c] >= tall ? sums[c] : alone[c], std::min(near_terms, reach[c]), 1, columns[c].terms,
                            row + c);
}

[[gnu::target("avx2")]] static void eliminate_rows_above_avx2(std::int32_t first, std::int32_t count,
                                                              const column_terms columns[], double x[])
{
    eliminate_rows_above(first, count, columns, x);
}

#endif

elimination_kernels available_eliminations()
{
    elimination_kernels kernels{};
#if TARNEL_LANES >= 4
    static constexpr elimination_kernel avx2 = {eliminate_columns_avx2, eliminate_rows_above_avx2};
    if (__builtin_cpu_supports("avx2")) kernels.form[kernels.count++] = &avx2;
#endif
    kernels.form[kernels.count++] = &portable_elimination;
    return kernels;
}

} // namespace tarnel
