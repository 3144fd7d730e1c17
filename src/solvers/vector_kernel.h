// Passes over vectors, wide. Inner products are summed in eight parts, unknown i in part i mod 8, ascending: the wide
// forms and their portable twin return the same bits.
#pragma once

#include <cstddef>

namespace tarnel
{

inline constexpr std::size_t sum_parts = 8;

struct part_sums {
    double part[sum_parts] = {};
};

inline double total(const part_sums& s)
{
    return ((s.part[0] + s.part[1]) + (s.part[2] + s.part[3])) + ((s.part[4] + s.part[5]) + (s.part[6] + s.part[7]));
}

// One form of the passes over the unknowns [first, end); `first` is a multiple of eight where there are sums.
struct vector_kernel {
    // sums of a_i b_i
    void (*add_products)(part_sums& sums, const double a[], const double b[], std::size_t first, std::size_t end);
    // r = r - alpha q, z = r, sums of r r; z may be q or r
    void (*update_residual)(part_sums& sums, double alpha, double r[], const double q[], double z[], std::size_t first,
                            std::size_t end);
    // x = x + alpha p, p = z + beta p, q = p; q may be z
    void (*update_direction)(double alpha, double beta, double x[], double p[], const double z[], double q[],
                             std::size_t first, std::size_t end);
    // sums of (x - x0)^2 and of x^2, then x0 = omega x + (1 - omega) x0; any `first`
    void (*relax)(part_sums& change, part_sums& size, double omega, const double x[], double x0[], std::size_t first,
                  std::size_t end);
};

extern const vector_kernel portable_vector_kernel;

// The forms that this processor has, widest first; the portable one is always the last.
struct vector_kernels {
    int count;
    const vector_kernel* form[3];
};
vector_kernels available_vector_kernels();

inline const vector_kernel& fastest_vector_kernel()
{
    return *available_vector_kernels().form[0];
}

} // namespace tarnel
