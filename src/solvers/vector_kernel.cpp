#include "solvers/vector_kernel.h"

#include "solvers/lanes.h"

#include <algorithm>
#include <cstring>

namespace tarnel
{

// One text for every processor, in vectors of its width: eight numbers are `count` of them.
template <class wide> inline constexpr std::size_t count_of = sum_parts * sizeof(double) / sizeof(wide);

template <class wide> [[gnu::always_inline]] static inline void load(wide (&to)[count_of<wide>], const double* from)
{
    std::memcpy(to, from, sizeof to);
}

template <class wide> [[gnu::always_inline]] static inline void store(double* to, const wide (&from)[count_of<wide>])
{
    std::memcpy(to, from, sizeof from);
}

template <class wide>
[[gnu::always_inline]] static inline void add_wide(part_sums& sums, const double a[], const double b[],
                                                   std::size_t first, std::size_t end)
{
    constexpr std::size_t count = count_of<wide>;
    wide s[count], ai[count], bi[count];
    load<wide>(s, sums.part);
    std::size_t i = first;
    for (; i + sum_parts <= end; i += sum_parts) {
        load<wide>(ai, a + i);
        load<wide>(bi, b + i);
#pragma GCC unroll 4
        for (std::size_t k = 0; k < count; ++k) s[k] += ai[k] * bi[k];
    }
    store<wide>(sums.part, s);
    for (std::size_t k = 0; i + k < end; ++k) sums.part[k] += a[i + k] * b[i + k];
}

template <class wide>
[[gnu::always_inline]] static inline void residual_wide(part_sums& sums, double alpha, double r[], const double q[],
                                                        double z[], std::size_t first, std::size_t end)
{
    constexpr std::size_t count = count_of<wide>;
    wide s[count], ri[count], qi[count];
    load<wide>(s, sums.part);
    std::size_t i = first;
    for (; i + sum_parts <= end; i += sum_parts) {
        load<wide>(ri, r + i);
        load<wide>(qi, q + i);
#pragma GCC unroll 4
        for (std::size_t k = 0; k < count; ++k) {
            ri[k] -= alpha * qi[k];
            s[k] += ri[k] * ri[k];
        }
        store<wide>(r + i, ri);
        store<wide>(z + i, ri);
    }
    store<wide>(sums.part, s);
    for (std::size_t k = 0; i + k < end; ++k) {
        z[i + k] = r[i + k] = r[i + k] - alpha * q[i + k];
        sums.part[k] += r[i + k] * r[i + k];
    }
}

template <class wide>
[[gnu::always_inline]] static inline void direction_wide(double alpha, double beta, double x[], double p[],
                                                         const double z[], double q[], std::size_t first,
                                                         std::size_t end)
{
    constexpr std::size_t count = count_of<wide>;
    wide xi[count], pi[count], zi[count];
    std::size_t i = first;
    for (; i + sum_parts <= end; i += sum_parts) {
        load<wide>(xi, x + i);
        load<wide>(pi, p + i);
        load<wide>(zi, z + i);
#pragma GCC unroll 4
        for (std::size_t k = 0; k < count; ++k) {
            xi[k] += alpha * pi[k];
            pi[k] = zi[k] + beta * pi[k];
        }
        store<wide>(x + i, xi);
        store<wide>(p + i, pi);
        store<wide>(q + i, pi);
    }
    for (; i < end; ++i) {
        x[i] = x[i] + alpha * p[i];
        q[i] = p[i] = z[i] + beta * p[i];
    }
}

// The unknowns before the first multiple of eight, and those behind the last, one by one.
static void relax_each(part_sums& change, part_sums& size, double omega, const double x[], double x0[],
                       std::size_t first, std::size_t end)
{
    for (std::size_t i = first; i < end; ++i) {
        const double d = x[i] - x0[i];
        change.part[i % sum_parts] += d * d;
        size.part[i % sum_parts] += x[i] * x[i];
        x0[i] = omega * x[i] + (1.0 - omega) * x0[i];
    }
}

template <class wide>
[[gnu::always_inline]] static inline void relax_wide(part_sums& change, part_sums& size, double omega, const double x[],
                                                     double x0[], std::size_t first, std::size_t end)
{
    constexpr std::size_t count = count_of<wide>;
    const std::size_t aligned = std::min(end, (first + sum_parts - 1) / sum_parts * sum_parts);
    relax_each(change, size, omega, x, x0, first, aligned);
    const double rest = 1.0 - omega;
    wide c[count], s[count], xi[count], x0i[count];
    load<wide>(c, change.part);
    load<wide>(s, size.part);
    std::size_t i = aligned;
    for (; i + sum_parts <= end; i += sum_parts) {
        load<wide>(xi, x + i);
        load<wide>(x0i, x0 + i);
#pragma GCC unroll 4
        for (std::size_t k = 0; k < count; ++k) {
            const wide d = xi[k] - x0i[k];
            c[k] += d * d;
            s[k] += xi[k] * xi[k];
            x0i[k] = omega * xi[k] + rest * x0i[k];
        }
        store<wide>(x0 + i, x0i);
    }
    store<wide>(change.part, c);
    store<wide>(size.part, s);
    relax_each(change, size, omega, x, x0, i, end);
}

static void add_products(part_sums& sums, const double a[], const double b[], std::size_t first, std::size_t end)
{
    add_wide<double>(sums, a, b, first, end);
}

static void update_residual(part_sums& sums, double alpha, double r[], const double q[], double z[], std::size_t first,
                            std::size_t end)
{
    residual_wide<double>(sums, alpha, r, q, z, first, end);
}

static void update_direction(double alpha, double beta, double x[], double p[], const double z[], double q[],
                             std::size_t first, std::size_t end)
{
    direction_wide<double>(alpha, beta, x, p, z, q, first, end);
}

static void relax(part_sums& change, part_sums& size, double omega, const double x[], double x0[], std::size_t first,
                  std::size_t end)
{
    relax_wide<double>(change, size, omega, x, x0, first, end);
}

const vector_kernel portable_vector_kernel = {add_products, update_residual, update_direction, relax};

#if TARNEL_LANES >= 4

typedef double four [[gnu::vector_size(32)]];

[[gnu::target("avx2")]] static void add_products_avx2(part_sums& sums, const double a[], const double b[],
                                                      std::size_t first, std::size_t end)
{
    add_wide<four>(sums, a, b, first, end);
}

[[gnu::target("avx2")]] static void update_residual_avx2(part_sums& sums, double alpha, double r[], const double q[],
                                                         double z[], std::size_t first, std::size_t end)
{
    residual_wide<four>(sums, alpha, r, q, z, first, end);
}

[[gnu::target("avx2")]] static void update_direction_avx2(double alpha, double beta, double x[], double p[],
                                                          const double z[], double q[], std::size_t first,
                                                          std::size_t end)
{
    direction_wide<four>(alpha, beta, x, p, z, q, first, end);
}

[[gnu::target("avx2")]] static void relax_avx2(part_sums& change, part_sums& size, double omega, const double x[],
                                               double x0[], std::size_t first, std::size_t end)
{
    relax_wide<four>(change, size, omega, x, x0, first, end);
}

#endif

#if TARNEL_LANES >= 8

typedef double eight [[gnu::vector_size(64)]];

[[gnu::target("avx512f")]] static void add_products_avx512(part_sums& sums, const double a[], const double b[],
                                                           std::size_t first, std::size_t end)
{
    add_wide<eight>(sums, a, b, first, end);
}

[[gnu::target("avx512f")]] static void update_residual_avx512(part_sums& sums, double alpha, double r[],
                                                              const double q[], double z[], std::size_t first,
                                                              std::size_t end)
{
    residual_wide<eight>(sums, alpha, r, q, z, first, end);
}

[[gnu::target("avx512f")]] static void update_direction_avx512(double alpha, double beta, double x[], double p[],
                                                               const double z[], double q[], std::size_t first,
                                                               std::size_t end)
{
    direction_wide<eight>(alpha, beta, x, p, z, q, first, end);
}

[[gnu::target("avx512f")]] static void relax_avx512(part_sums& change, part_sums& size, double omega, const double x[],
                                                    double x0[], std::size_t first, std::size_t end)
{
    relax_wide<eight>(change, size, omega, x, x0, first, end);
}

#endif

vector_kernels available_vector_kernels()
{
    vector_kernels kernels{};
#if TARNEL_LANES >= 8
    static constexpr vector_kernel avx512 = {add_products_avx512, update_residual_avx512, update_direction_avx512,
                                             relax_avx512};
    if (__builtin_cpu_supports("avx512f")) kernels.form[kernels.count++] = &avx512;
#endif
#if TARNEL_LANES >= 4
    static constexpr vector_kernel avx2 = {add_products_avx2, update_residual_avx2, update_direction_avx2, relax_avx2};
    if (__builtin_cpu_supports("avx2")) kernels.form[kernels.count++] = &avx2;
#endif
    kernels.form[kernels.count++] = &portable_vector_kernel;
    return kernels;
}

} // namespace tarnel
