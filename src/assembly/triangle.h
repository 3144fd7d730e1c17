// The first-order triangle, of which most models are made: the operations of kernels.h in their order, without those
// that its shape makes needless. Its derivatives are the same at every point; third rows and columns, which are those
// of a plane, are left out. Values by node stand in four places, two pairs that share their instructions; the fourth
// holds nothing of meaning.
#pragma once

#include "assembly/kernels.h"

#include <cstring>

namespace tarnel
{

inline constexpr int triangle_nodes = 3, triangle_points = 3;
inline constexpr std::size_t triangle_places = 4;

using triangle_values = double[triangle_places];
using triangle_matrix = double[triangle_nodes][triangle_places];

typedef double pair_of_doubles [[gnu::vector_size(16)]];
using triangle_pairs = pair_of_doubles[2];
static_assert(sizeof(triangle_pairs) == sizeof(triangle_values));

struct triangle_derivatives {
    double det;           // of the Jacobian [m2]
    triangle_values x, y; // dN_k/dx, dN_k/dy [1/m]
};

// Derivatives from the natural ones, d, and the nodes' coordinates [m].
//   returns false for a determinant below the tolerance (or a NaN), with the derivatives unwritten
// What the inverse has in its third row and column only adds zeros to sums that begin at 0, which change no bit, or a
// NaN to one.
inline bool set_triangle_derivatives(const natural_derivatives d, const double coordinates[][3], double tolerance,
                                     triangle_derivatives& at)
{
    double j[3][3];
    set_jacobian(triangle_nodes, d, coordinates, j);
    at.det = determinant(j);
    if (!(at.det >= tolerance)) return false;
    const double xx = j[1][1] / at.det, xy = (0.0 - j[0][1]) / at.det;
    const double yx = (0.0 - j[1][0]) / at.det, yy = j[0][0] / at.det;
    for (std::size_t k = 0; k < triangle_nodes; ++k) {
        at.x[k] = 0.0 + d[k][0] * xx + d[k][1] * xy;
        at.y[k] = 0.0 + d[k][0] * yx + d[k][1] * yy;
    }
    at.x[3] = at.y[3] = 0.0;
    return true;
}

// The x derivatives in the axisymmetric mode, dN/dr + N/r.
//   returns the point's radius r [m]
inline double correct_triangle(const shape_values n, const double coordinates[][3], const triangle_values x,
                               triangle_values corrected)
{
    double radius = 0.0;
    for (std::size_t k = 0; k < triangle_nodes; ++k) radius += n[k] * coordinates[k][0];
    triangle_pairs of_n, of_x;
    std::memcpy(of_n, n, sizeof of_n);
    std::memcpy(of_x, x, sizeof of_x);
    for (std::size_t h = 0; h < 2; ++h) of_x[h] += of_n[h] / radius;
    std::memcpy(corrected, of_x, sizeof of_x);
    return radius;
}

inline void clear_triangle(triangle_matrix k, triangle_values f)
{
    const triangle_pairs zeros = {};
    for (std::size_t i = 0; i < triangle_nodes; ++i) std::memcpy(k[i], zeros, sizeof zeros);
    std::memcpy(f, zeros, sizeof zeros);
}

// One point's share of the stiffness, what add_stiffness adds.
inline void set_triangle_stiffness(const triangle_values gx, const triangle_values gy, const double t[9], double dv,
                                   triangle_matrix share)
{
    const double t00 = t[0], t01 = t[1], t10 = t[3], t11 = t[4];
    triangle_pairs x, y, row;
    std::memcpy(x, gx, sizeof x);
    std::memcpy(y, gy, sizeof y);
    for (std::size_t i = 0; i < triangle_nodes; ++i) {
        const double yy = t00 * gy[i], xx = t11 * gx[i], xy = t10 * gx[i], yx = t01 * gy[i];
        for (std::size_t h = 0; h < 2; ++h) row[h] = dv * (yy * y[h] + xx * x[h] - xy * y[h] - yx * x[h]);
        std::memcpy(share[i], row, sizeof row);
    }
}

inline void add_triangle_stiffness(const triangle_matrix share, triangle_matrix k)
{
    for (std::size_t i = 0; i < triangle_nodes; ++i) {
        triangle_pairs row, more;
        std::memcpy(row, k[i], sizeof row);
        std::memcpy(more, share[i], sizeof more);
        for (std::size_t h = 0; h < 2; ++h) row[h] += more[h];
        std::memcpy(k[i], row, sizeof row);
    }
}

// Adds one point's share of the right-hand side; parameters as in add_sources.
inline void add_triangle_sources(const shape_values n, const triangle_values gx, const triangle_values gy, double js,
                                 double hx, double hy, double s, double dv, triangle_values f)
{
    triangle_pairs of_n, x, y, sum;
    std::memcpy(of_n, n, sizeof of_n);
    std::memcpy(x, gx, sizeof x);
    std::memcpy(y, gy, sizeof y);
    std::memcpy(sum, f, sizeof sum);
    for (std::size_t h = 0; h < 2; ++h) sum[h] += dv * (js * of_n[h] + s * (hx * y[h] - hy * x[h]));
    std::memcpy(f, sum, sizeof sum);
}

} // namespace tarnel
