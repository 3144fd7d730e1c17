#include "solvers/gradient_passes.h"

#include <algorithm>

namespace tarnel
{

double inner_product_by_parts(const vector_kernel& kernel, std::size_t places, const double a[], const double b[])
{
    part_sums sums;
    kernel.add_products(sums, a, b, 0, places);
    return total(sums);
}

static double forward_blocks(gradient_vectors& v, const coupling_pattern& pattern, const double factor[], bool update,
                             double alpha)
{
    double* r = v.r.get();
    double* z = residual_for(v, factor);
    const row_kernel& rows = row_kernel_for(*v.kernel, pattern);
    part_sums sums;
    coupling_at at = factor != nullptr ? first_group(pattern, factor) : coupling_at{};
    std::size_t ready = 0; // places whose r is new
    for (std::size_t first = 0; first < pattern.places; first += rows_of_a_block) {
        const std::size_t reach = reach_of(pattern, first, sum_parts);
        if (update)
            v.kernel->update_residual(sums, alpha, r, v.q.get(), z, ready, reach);
        else if (factor != nullptr)
            std::copy(r + ready, r + reach, z + ready);
        ready = reach;
        if (factor != nullptr) rows.substitute_forward(at, z, std::min(first + rows_of_a_block, pattern.places));
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

double backward_pass(gradient_vectors& v, const coupling_pattern& pattern, const double factor[], const double pivots[])
{
    part_sums sums;
    row_kernel_for(*v.kernel, pattern)
        .substitute_backward(sums, end_of_groups(pattern, factor), pivots, v.r.get(), v.q.get(), pattern.places);
    return total(sums);
}

static double multiply_blocks(gradient_vectors& v, const coupling_pattern& pattern, const double a[], const double z[],
                              bool update, double alpha, double beta)
{
    double* p = v.p.get();
    double* q = v.q.get();
    const row_kernel& rows = row_kernel_for(*v.kernel, pattern);
    part_sums sums;
    coupling_at at = first_group(pattern, a);
    std::size_t ready = 0; // places whose p is new
    for (std::size_t first = 0; first < pattern.places; first += rows_of_a_block) {
        const std::size_t end = std::min(first + rows_of_a_block, pattern.places), reach = reach_of(pattern, first, 1);
        if (update)
            v.kernel->update_direction(alpha, beta, v.x.get(), p, z, q, ready, reach);
        else
            for (std::size_t i = ready; i < reach; ++i) q[i] = p[i] = z[i];
        ready = reach;
        rows.multiply(at, p, q, end);
        v.kernel->add_products(sums, p, q, first, end);
    }
    return total(sums);
}

double first_product_pass(gradient_vectors& v, const coupling_pattern& pattern, const double a[], const double z[])
{
    return multiply_blocks(v, pattern, a, z, false, 0.0, 0.0);
}

double product_pass(gradient_vectors& v, const coupling_pattern& pattern, const double a[], const double z[],
                    double alpha, double beta)
{
    return multiply_blocks(v, pattern, a, z, true, alpha, beta);
}

} // namespace tarnel
