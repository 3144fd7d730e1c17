#include "solvers/gradient_passes.h"

#include <algorithm>

namespace tarnel
{

constexpr std::size_t parts = 8;

struct part_sums {
    double part[parts] = {};
};

static double total(const part_sums& s)
{
    return ((s.part[0] + s.part[1]) + (s.part[2] + s.part[3])) + ((s.part[4] + s.part[5]) + (s.part[6] + s.part[7]));
}

// Adds the products of the unknowns [first, end), ascending; `first` is a multiple of the number of parts.
static void add_ascending(part_sums& sums, const double a[], const double b[], std::size_t first, std::size_t end)
{
    part_sums s = sums;
    std::size_t i = first;
    for (; i + parts <= end; i += parts)
        for (std::size_t k = 0; k < parts; ++k) s.part[k] += a[i + k] * b[i + k];
    for (std::size_t k = 0; i + k < end; ++k) s.part[k] += a[i + k] * b[i + k];
    sums = s;
}

static void add_descending(part_sums& sums, const double a[], const double b[], std::size_t first, std::size_t end)
{
    part_sums s = sums;
    std::size_t i = first + (end - first) / parts * parts;
    for (std::size_t k = 0; i + k < end; ++k) s.part[k] += a[i + k] * b[i + k];
    while (i > first) {
        i -= parts;
        for (std::size_t k = 0; k < parts; ++k) s.part[k] += a[i + k] * b[i + k];
    }
    sums = s;
}

double inner_product_by_parts(std::size_t n, const double a[], const double b[])
{
    part_sums sums;
    add_ascending(sums, a, b, 0, n);
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
            for (std::size_t i = first; i < end; ++i) {
                r[i] = r[i] - alpha * q[i];
                q[i] = r[i];
            }
            add_ascending(sums, r, r, first, end);
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

// Rows [first, end) of the backward substitution; `at` moves back to the end of the row before them.
static void substitute_backward(three_at& at, double q[], std::size_t first, std::size_t end)
{
    three_at t = at;
    for (std::size_t i = end; i-- > first;) {
        const double qi = q[i];
        double sum = 0.0;
        do {
            --t.opens;
            t.unknown -= 3;
            t.value -= 3;
            sum += q[t.unknown[0]] * t.value[0];
            sum += q[t.unknown[1]] * t.value[1];
            sum += q[t.unknown[2]] * t.value[2];
        } while (*t.opens == 0);
        q[i] = qi - sum;
    }
    at = t;
}

double backward_pass(gradient_vectors& v, const coupling_threes* above, const double pivots[])
{
    const double* r = v.r.get();
    double* q = v.q.get();
    part_sums sums;
    three_at at{};
    if (above != nullptr) {
        at = first_three(*above);
        at = {at.opens + above->count, at.unknown + 3 * above->count, at.value + 3 * above->count};
    }
    q[v.n] = 1.0;
    for (std::size_t block = (v.n + rows_of_a_block - 1) / rows_of_a_block; block-- > 0;) {
        const std::size_t first = block * rows_of_a_block, end = std::min(first + rows_of_a_block, v.n);
        if (pivots != nullptr)
            for (std::size_t i = first; i < end; ++i) q[i] = q[i] / pivots[i];
        if (above != nullptr) substitute_backward(at, q, first, end);
        add_descending(sums, r, q, first, end);
    }
    return total(sums);
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
        const double pi = p[i];
        const std::int32_t j[3] = {t.unknown[0], t.unknown[1], t.unknown[2]};
        q[j[0]] += t.value[0] * pi;
        q[j[1]] += t.value[1] * pi;
        q[j[2]] += t.value[2] * pi;
        double qi = q[i];
        qi += t.value[0] * p[j[0]];
        qi += t.value[1] * p[j[1]];
        qi += t.value[2] * p[j[2]];
        q[i] = qi;
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
            for (std::size_t i = ready; i < reach; ++i) {
                x[i] = x[i] + alpha * p[i];
                p[i] = q[i] + beta * p[i];
                q[i] = p[i];
            }
        } else if (ready < reach) {
            std::copy(q + ready, q + reach, p + ready);
        }
        ready = std::max(ready, reach);
        multiply_rows(at, opens_end, p, q, first, end);
        add_ascending(sums, p, q, first, end);
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
