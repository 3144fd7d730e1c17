#include "solvers/gradient_passes.h"

#include <algorithm>

namespace tarnel
{

double inner_product_by_parts(const vector_kernel& kernel, std::size_t n, const double a[], const double b[])
{
    part_sums sums;
    kernel.add_products(sums, a, b, 0, n);
    return total(sums);
}

// Rows [first, end) of the forward substitution; `at` moves on to the row behind them.
static void substitute_forward(three_at& at, const std::uint8_t* opens_end, double q[], std::size_t first,
                               std::size_t end)
{
    three_at t = at;
    std::size_t i = first - 1; // the row's first three opens it
    for (; t.opens != opens_end; step_on(t)) {
        if (i + *t.opens == end) break;
        i += *t.opens;
        ask_ahead(t);
        const double qi = q[i], u0 = t.value[0], u1 = t.value[1], u2 = t.value[2];
        double *q0 = q + t.unknown[0], *q1 = q + t.unknown[1], *q2 = q + t.unknown[2];
        *q0 -= qi * u0;
        *q1 -= qi * u1;
        *q2 -= qi * u2;
    }
    at = t;
}

static double forward_blocks(gradient_vectors& v, const coupling_pattern& pattern, const double factor[], bool update,
                             double alpha)
{
    double* r = v.r.get();
    double* q = v.q.get();
    part_sums sums;
    three_at at = factor != nullptr ? first_three(pattern, factor) : three_at{};
    const std::uint8_t* opens_end = pattern.opens.get() + pattern.count;
    q[pattern.n] = 1.0;
    std::size_t ready = 0; // unknowns whose r is new
    for (std::size_t first = 0; first < pattern.n; first += rows_of_a_block) {
        const std::size_t reach = reach_of(pattern, first, sum_parts);
        if (update)
            v.kernel->update_residual(sums, alpha, r, q, ready, reach);
        else
            std::copy(r + ready, r + reach, q + ready);
        ready = reach;
        if (factor != nullptr)
            substitute_forward(at, opens_end, q, first, std::min(first + rows_of_a_block, pattern.n));
    }
    return total(sums);
}

void first_forward_pass(gradient_vectors& v, const coupling_pattern& pattern, const double factor[])
{
    forward_blocks(v, pattern, factor, false, 0.0);
}

double forward_pass(gradient_vectors& v, const coupling_pattern& pattern, const double factor[], double alpha)
{
    return forward_blocks(v, pattern, factor, true, alpha);
}

// The sum over a row whose last three stands before `at`, which moves back to the end of the row before.
static double sum_of_row(three_at& at, const double q[])
{
    step_back(at);
    ask_back(at);
    if (*at.opens == 1) [[likely]] {
        // (0 + a) + b = a + (b + 0), signed zeros included; the term that is there last comes in as late as it can.
        const double sum = q[at.unknown[0]] * at.value[0] + (q[at.unknown[1]] * at.value[1] + 0.0);
        return sum + q[at.unknown[2]] * at.value[2];
    }
    const std::uint8_t* last = at.opens;
    while (*at.opens == 0) step_back(at);
    double sum = 0.0;
    for (std::ptrdiff_t k = 0; k < 3 * (last - at.opens + 1); ++k) sum += q[at.unknown[k]] * at.value[k];
    return sum;
}

// The divisions and the sum of r q run beside the substitution, which waits for one row after another.
template <bool divide>
static double substitute_backward(gradient_vectors& v, const coupling_pattern& pattern, const double factor[],
                                  const double pivots[])
{
    const double* r = v.r.get();
    double* q = v.q.get();
    part_sums sums;
    three_at at = end_of_threes(pattern, factor);
    q[pattern.n] = 1.0;
    for (std::size_t i = pattern.n; i-- > 0;) {
        double qi = q[i];
        if (divide) qi = qi / pivots[i];
        qi = qi - sum_of_row(at, q);
        q[i] = qi;
        sums.part[i % sum_parts] += r[i] * qi;
    }
    return total(sums);
}

double backward_pass(gradient_vectors& v, const coupling_pattern& pattern, const double factor[], const double pivots[])
{
    return pivots != nullptr ? substitute_backward<true>(v, pattern, factor, pivots)
                             : substitute_backward<false>(v, pattern, factor, pivots);
}

// Rows [first, end) of the product; q holds p and the couplings with the rows before them on entry.
static void multiply_rows(three_at& at, const std::uint8_t* opens_end, const double p[], double q[], std::size_t first,
                          std::size_t end)
{
    three_at t = at;
    std::size_t i = first - 1;
    for (; t.opens != opens_end; step_on(t)) {
        if (i + *t.opens == end) break;
        i += *t.opens;
        ask_ahead(t);
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

static double multiply_blocks(gradient_vectors& v, const coupling_pattern& pattern, const double a[], bool update,
                              double alpha, double beta)
{
    double* p = v.p.get();
    double* q = v.q.get();
    part_sums sums;
    three_at at = first_three(pattern, a);
    const std::uint8_t* opens_end = at.opens + pattern.count;
    p[pattern.n] = q[pattern.n] = 1.0;
    std::size_t ready = 0; // unknowns whose p is new
    for (std::size_t first = 0; first < pattern.n; first += rows_of_a_block) {
        const std::size_t end = std::min(first + rows_of_a_block, pattern.n), reach = reach_of(pattern, first, 1);
        if (update)
            v.kernel->update_direction(alpha, beta, v.x.get(), p, q, ready, reach);
        else
            std::copy(q + ready, q + reach, p + ready);
        ready = reach;
        multiply_rows(at, opens_end, p, q, first, end);
        v.kernel->add_products(sums, p, q, first, end);
    }
    return total(sums);
}

double first_product_pass(gradient_vectors& v, const coupling_pattern& pattern, const double a[])
{
    return multiply_blocks(v, pattern, a, false, 0.0, 0.0);
}

double product_pass(gradient_vectors& v, const coupling_pattern& pattern, const double a[], double alpha, double beta)
{
    return multiply_blocks(v, pattern, a, true, alpha, beta);
}

} // namespace tarnel
