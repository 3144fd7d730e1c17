#include "solvers/gradient_passes.h"

#include <algorithm>

namespace tarnel
{

double inner_product_by_parts(const gradient_vectors& v, const double a[], const double b[])
{
    part_sums sums;
    v.kernel->add_products(sums, a, b, 0, v.n);
    return total(sums);
}

// A place in the threes of a pass.
struct three_at {
    const std::uint8_t* opens;
    const std::int32_t* unknown;
    const double* value;
};

static three_at first_three(const coupling_threes& threes)
{
    return {threes.opens.get(), threes.unknown.get(), threes.value.get()};
}

// Rows [first, end) of the forward substitution; `at` moves on to the row behind them.
static void substitute_forward(three_at& at, const std::uint8_t* opens_end, double q[], std::size_t first,
                               std::size_t end)
{
    three_at t = at;
    std::size_t i = first - 1; // the row's first three opens it
    for (; t.opens != opens_end; ++t.opens, t.unknown += 3, t.value += 3) {
        if (i + *t.opens == end) break;
        i += *t.opens;
        double qi = q[i];
        qi -= q[t.unknown[0]] * t.value[0];
        qi -= q[t.unknown[1]] * t.value[1];
        qi -= q[t.unknown[2]] * t.value[2];
        q[i] = qi;
    }
    at = t;
}

static double forward_blocks(gradient_vectors& v, const coupling_threes* below, bool update, double alpha)
{
    double* r = v.r.get();
    double* q = v.q.get();
    part_sums sums;
    three_at at = below != nullptr ? first_three(*below) : three_at{};
    const std::uint8_t* opens_end = below != nullptr ? at.opens + below->count : nullptr;
    q[v.n] = 1.0;
    for (std::size_t first = 0; first < v.n; first += rows_of_a_block) {
        const std::size_t end = std::min(first + rows_of_a_block, v.n);
        if (update) {
            v.kernel->update_residual(sums, alpha, r, q, first, end);
        } else {
            std::copy(r + first, r + end, q + first);
        }
        if (below != nullptr) substitute_forward(at, opens_end, q, first, end);
    }
    return total(sums);
}

void first_forward_pass(gradient_vectors& v, const coupling_threes* below)
{
    forward_blocks(v, below, false, 0.0);
}

double forward_pass(gradient_vectors& v, const coupling_threes* below, double alpha)
{
    return forward_blocks(v, below, true, alpha);
}

// The divisions and the sum of r q run beside the substitution, which waits for one row after another.
template <bool divide>
static double backward_rows(gradient_vectors& v, const coupling_threes& above, const double pivots[])
{
    const double* r = v.r.get();
    double* q = v.q.get();
    part_sums sums;
    three_at t = first_three(above);
    t = {t.opens + above.count, t.unknown + 3 * above.count, t.value + 3 * above.count};
    q[v.n] = 1.0;
    for (std::size_t i = v.n; i-- > 0;) {
        double qi = q[i];
        if (divide) qi = qi / pivots[i];
        --t.opens;
        t.unknown -= 3;
        t.value -= 3;
        // (0 + a) + b = a + (b + 0), signed zeros included; the term that is there last comes in as late as it can.
        double sum = q[t.unknown[0]] * t.value[0] + (q[t.unknown[1]] * t.value[1] + 0.0);
        sum += q[t.unknown[2]] * t.value[2];
        while (*t.opens == 0) [[unlikely]]
            {
                --t.opens;
                t.unknown -= 3;
                t.value -= 3;
                sum += q[t.unknown[0]] * t.value[0];
                sum += q[t.unknown[1]] * t.value[1];
                sum += q[t.unknown[2]] * t.value[2];
            }
        qi = qi - sum;
        q[i] = qi;
        sums.part[i % sum_parts] += r[i] * qi;
    }
    return total(sums);
}

double backward_pass(gradient_vectors& v, const coupling_threes& above, const double pivots[])
{
    return pivots != nullptr ? backward_rows<true>(v, above, pivots) : backward_rows<false>(v, above, pivots);
}

product_matrix make_product_matrix(std::FILE* log, const char* name, const matrix_rows& rows, const double values[])
{
    product_matrix a{.above = couplings_above(log, name, rows, values, threes_of_a_row::ascend, -0.0), .reach = {}};
    const auto n = static_cast<std::size_t>(rows.ndim);
    a.reach = zero_array<std::int32_t>(log, name, n / rows_of_a_block + 1);
    std::int32_t last = 0;
    for (std::size_t first = 0; first < n; first += rows_of_a_block) {
        const std::int64_t end = rows.start[std::min(first + rows_of_a_block, n)];
        for (std::int64_t t = rows.start[first]; t < end; ++t)
            last = std::max(last, rows.mindex[static_cast<std::size_t>(t)]);
        a.reach[first / rows_of_a_block] = last + 1;
    }
    return a;
}

// Rows [first, end) of the product; q holds p and the couplings with the rows before them on entry.
static void multiply_rows(three_at& at, const std::uint8_t* opens_end, const double p[], double q[], std::size_t first,
                          std::size_t end)
{
    three_at t = at;
    std::size_t i = first - 1;
    for (; t.opens != opens_end; ++t.opens, t.unknown += 3, t.value += 3) {
        if (i + *t.opens == end) break;
        i += *t.opens;
        const double pi = p[i], a0 = t.value[0], a1 = t.value[1], a2 = t.value[2];
        double *q0 = q + t.unknown[0], *q1 = q + t.unknown[1], *q2 = q + t.unknown[2];
        double qi = q[i];
        qi += a0 * p[t.unknown[0]];
        qi += a1 * p[t.unknown[1]];
        qi += a2 * p[t.unknown[2]];
        q[i] = qi;
        *q0 += a0 * pi;
        *q1 += a1 * pi;
        *q2 += a2 * pi;
    }
    at = t;
}

static double multiply_blocks(gradient_vectors& v, const product_matrix& a, bool update, double alpha, double beta)
{
    double* x = v.x.get();
    double* p = v.p.get();
    double* q = v.q.get();
    part_sums sums;
    three_at at = first_three(a.above);
    const std::uint8_t* opens_end = at.opens + a.above.count;
    p[v.n] = q[v.n] = 1.0;
    std::size_t ready = 0; // unknowns whose p is new
    for (std::size_t first = 0; first < v.n; first += rows_of_a_block) {
        const std::size_t end = std::min(first + rows_of_a_block, v.n);
        const std::size_t reach = std::max(end, static_cast<std::size_t>(a.reach[first / rows_of_a_block]));
        if (update) {
            v.kernel->update_direction(alpha, beta, x, p, q, ready, reach);
        } else if (ready < reach) {
            std::copy(q + ready, q + reach, p + ready);
        }
        ready = std::max(ready, reach);
        multiply_rows(at, opens_end, p, q, first, end);
        v.kernel->add_products(sums, p, q, first, end);
    }
    return total(sums);
}

double first_product_pass(gradient_vectors& v, const product_matrix& a)
{
    return multiply_blocks(v, a, false, 0.0, 0.0);
}

double product_pass(gradient_vectors& v, const product_matrix& a, double alpha, double beta)
{
    return multiply_blocks(v, a, true, alpha, beta);
}

} // namespace tarnel
