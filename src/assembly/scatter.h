// Adding an element into the global system, with the elimination of fixed and dependent nodes on the way.
#pragma once

#include "assembly/kernels.h"
#include "assembly/node_values.h"
#include "assembly/triangle.h"
#include "common/matrix_rows.h"

#include <algorithm>
#include <bit>
#include <cstring>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tarnel
{

// What the global system knows of an element's nodes, by local node.
struct local_nodes {
    double aval0[most_nodes];         // constant term of the potential [Wb/m]
    double acoef[most_nodes];         // coefficient of the unknown
    std::int32_t unknown[most_nodes]; // from 0; negative without one
};

// Gathers the nodes at the given places.
void set_local_nodes(const node_values& nodes, std::int32_t count, const std::size_t place[], local_nodes& local);

// Where a row holds a column: the first such term, or the row's end when there is none.
inline std::size_t find_term(const matrix_rows& matrix, std::int32_t row, std::int32_t column)
{
    const auto last = static_cast<std::size_t>(matrix.start[static_cast<std::size_t>(row) + 1]);
    auto t = static_cast<std::size_t>(matrix.start[static_cast<std::size_t>(row)]);
#if defined(__SSE2__)
    // Eight at a time, as long as the array holds eight: which of them it is, is no branch.
    const auto all = static_cast<std::size_t>(matrix.start[static_cast<std::size_t>(matrix.ndim)]);
    const __m128i wanted = _mm_set1_epi32(column);
    for (; t + 8 <= all; t += 8) {
        __m128i four, next_four;
        std::memcpy(&four, &matrix.mindex[t], sizeof four);
        std::memcpy(&next_four, &matrix.mindex[t + 4], sizeof next_four);
        const __m128i equal = _mm_packs_epi32(_mm_cmpeq_epi32(four, wanted), _mm_cmpeq_epi32(next_four, wanted));
        const auto found = static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(equal, equal))) | 0x100U;
        const std::size_t at = t + static_cast<std::size_t>(std::countr_zero(found));
        if (at < t + 8 || t + 8 >= last) return std::min(at, last);
    }
#endif
    while (t < last && matrix.mindex[t] != column) ++t;
    return t;
}

inline void add_term(matrix_rows& matrix, std::int32_t row, std::int32_t column, double value)
{
    const std::size_t t = find_term(matrix, row, column);
    if (t < static_cast<std::size_t>(matrix.start[static_cast<std::size_t>(row) + 1])) matrix.amatr[t] += value;
}

// Adds an element's matrix k and right-hand side f to the rows and the global right-hand side. With every potential
// A = aval0 + acoef a:  f_j -= sum_i k_ji aval0_i;  uvecr[g_i] += acoef_i f_i;  row g_j, column g_i (g_j <= g_i)
// += acoef_i acoef_j k_ij. A column that is not in the row's list is passed over.
//   k  n rows of n values or more [m/H, m2/H];  f  n places, changed [A, A m]
template <std::size_t places>
void scatter_element(int n, const double (*k)[places], double f[], const local_nodes& local, matrix_rows& matrix,
                     double uvecr[])
{
    for (int j = 0; j < n; ++j) {
        double known = 0.0;
        for (int i = 0; i < n; ++i) known += k[j][i] * local.aval0[i];
        f[j] -= known;
    }
    for (int i = 0; i < n; ++i) {
        const std::int32_t gi = local.unknown[i];
        if (gi < 0) continue;
        uvecr[gi] += local.acoef[i] * f[i];
        for (int j = 0; j < n; ++j) {
            const std::int32_t gj = local.unknown[j];
            if (gj >= 0 && gj <= gi) add_term(matrix, gj, gi, local.acoef[i] * local.acoef[j] * k[i][j]);
        }
    }
}

// The same for a triangle of three nodes. Where it has three unknowns each of its terms has a place of its own, so that
// their order is free: which of two nodes has the larger unknown is then no branch.
inline void scatter_triangle(const triangle_matrix k, triangle_values f, const local_nodes& local, matrix_rows& matrix,
                             double uvecr[])
{
    const std::int32_t* g = local.unknown;
    if (g[0] < 0 || g[1] < 0 || g[2] < 0 || g[0] == g[1] || g[0] == g[2] || g[1] == g[2])
        return scatter_element(triangle_nodes, k, f, local, matrix, uvecr);
    for (int j = 0; j < triangle_nodes; ++j) {
        double known = 0.0;
        for (int i = 0; i < triangle_nodes; ++i) known += k[j][i] * local.aval0[i];
        uvecr[g[j]] += local.acoef[j] * (f[j] - known);
        add_term(matrix, g[j], g[j], local.acoef[j] * local.acoef[j] * k[j][j]);
    }
    for (int j = 0; j < triangle_nodes; ++j) {
        const int i = (j + 1) % triangle_nodes;
        const bool turned = g[j] > g[i];
        const double value = turned ? k[j][i] : k[i][j];
        add_term(matrix, turned ? g[i] : g[j], turned ? g[j] : g[i], local.acoef[i] * local.acoef[j] * value);
    }
}

} // namespace tarnel
