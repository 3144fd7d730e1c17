// Element mathematics: shape functions, integration rules, Jacobian, and the integrals of one element for the magnetic
// vector potential. Kernels see plain arrays; what can fail is a result. Source of the formulas: Zienkiewicz and
// Taylor, The Finite Element Method, for shapes and rules; Silvester and Ferrari, Finite Elements for Electrical
// Engineers, for the integrals.
#pragma once

#include "common/element_table.h"
#include "common/records.h"

#include <algorithm>
#include <cstddef>

namespace tarnel
{

inline constexpr int most_points = 4; // of an integration rule

using shape_values = double[most_nodes];           // N_k
using natural_derivatives = double[most_nodes][3]; // (dN_k/dxi, dN_k/deta, 0)
using global_derivatives = double[most_nodes][3];  // (dN_k/dx, dN_k/dy, 0) [1/m]
using element_matrix = double[most_nodes][most_nodes];

struct integration_point {
    double weight, xi, eta;
};
struct integration_rule {
    int points;
    integration_point point[most_points];
};

// Three points of weight 1/6, exact to degree 2; xi and eta are the area coordinates L1 and L2.
integration_rule triangle_rule();
// Gauss rule of n = 1 or 4 points; any other n leaves `rule` as it is.
void quadrilateral_rule(int n, integration_rule& rule);
integration_rule rule_of(const element_type& type);

// Shape values and derivatives of an element type at a point; places beyond its nodes are 0.
void set_shape_values(std::int32_t code, double xi, double eta, shape_values values);
void set_natural_derivatives(std::int32_t code, double xi, double eta, natural_derivatives derivatives);

// J[a][b] = sum over nodes of dN/d(natural a) times coordinate b [m]; third row and column those of a plane problem.
inline void set_jacobian(int nodes, const natural_derivatives d, const double coordinates[][3], double j[3][3])
{
    for (int a = 0; a < 2; ++a)
        for (int b = 0; b < 2; ++b) {
            double sum = 0.0;
            for (int k = 0; k < nodes; ++k) sum += d[k][a] * coordinates[k][b];
            j[a][b] = sum;
        }
    j[0][2] = j[1][2] = j[2][0] = j[2][1] = 0.0;
    j[2][2] = 1.0;
}

inline double determinant(const double j[3][3])
{
    return j[0][0] * (j[1][1] * j[2][2] - j[2][1] * j[1][2]) + j[0][1] * (j[1][2] * j[2][0] - j[1][0] * j[2][2]) +
           j[0][2] * (j[2][1] * j[1][0] - j[1][1] * j[2][0]);
}

// The inverse by cofactors; the determinant [m2] is stored in any case.
//   returns 0, or 1 for a determinant below the tolerance (or a NaN), with the inverse unwritten
inline int invert_jacobian(const double j[3][3], double tolerance, double& det, double inverse[3][3])
{
    det = determinant(j);
    if (!(det >= tolerance)) return 1;
    inverse[0][0] = (j[1][1] * j[2][2] - j[1][2] * j[2][1]) / det;
    inverse[0][1] = (j[0][2] * j[2][1] - j[0][1] * j[2][2]) / det;
    inverse[0][2] = (j[0][1] * j[1][2] - j[0][2] * j[1][1]) / det;
    inverse[1][0] = (j[1][2] * j[2][0] - j[1][0] * j[2][2]) / det;
    inverse[1][1] = (j[0][0] * j[2][2] - j[0][2] * j[2][0]) / det;
    inverse[1][2] = (j[0][2] * j[1][0] - j[0][0] * j[1][2]) / det;
    inverse[2][0] = (j[1][0] * j[2][1] - j[1][1] * j[2][0]) / det;
    inverse[2][1] = (j[0][1] * j[2][0] - j[0][0] * j[2][1]) / det;
    inverse[2][2] = (j[0][0] * j[1][1] - j[0][1] * j[1][0]) / det;
    return 0;
}

// Says that an element is degenerate or clockwise, and ends the run.
[[noreturn]] inline void fail_jacobian(std::FILE* log, std::int32_t noe)
{
    fail(log,
         "      Error. Jacobian is illegal.\n"
         "             noe = %d \n",
         noe);
}

// G_k = inverse J times the natural derivatives, so that row k is (dN_k/dx, dN_k/dy, dN_k/dz); clears the other rows.
inline void set_global_derivatives(int nodes, const natural_derivatives d, const double inverse[3][3],
                                   global_derivatives g)
{
    std::fill(&g[0][0], &g[0][0] + std::size_t{3} * most_nodes, 0.0);
    for (int k = 0; k < nodes; ++k)
        for (int c = 0; c < 3; ++c)
            g[k][c] = 0.0 + d[k][0] * inverse[c][0] + d[k][1] * inverse[c][1] + d[k][2] * inverse[c][2];
}

// Axisymmetric mode: adds N_k / r to each radial derivative, so that with A = Atheta the curl is
// Bz = dA/dr + A/r = (1/r) d(rA)/dr.
//   returns the point's radius r [m]
inline double correct_radial_column(int nodes, const shape_values n, const double coordinates[][3],
                                    global_derivatives g)
{
    double radius = 0.0;
    for (int k = 0; k < nodes; ++k) radius += n[k] * coordinates[k][0];
    for (int k = 0; k < nodes; ++k) g[k][0] += n[k] / radius;
    return radius;
}

// Adds one point's share of the stiffness, the integral of curl(N_i) . t . curl(N_j), with curl(N) = (Gy, -Gx).
//   g   axisymmetric: dN/dr + N/r in column 0 [1/m]
//   t   3 x 3 reluctivity tensor by rows, in-plane block used, need not be symmetric [m/H]
//   dv  weight times det J, times r if axisymmetric [m2, m3]
//   k   [m/H, m2/H]; planar k times A [Wb/m] is a current [A]
inline void add_stiffness(int nodes, const global_derivatives g, const double t[9], double dv, element_matrix k)
{
    const double t00 = t[0], t01 = t[1], t10 = t[3], t11 = t[4];
    for (int i = 0; i < nodes; ++i)
        for (int j = 0; j < nodes; ++j)
            k[i][j] += dv * (t00 * g[i][1] * g[j][1] + t11 * g[i][0] * g[j][0] - t10 * g[i][0] * g[j][1] -
                             t01 * g[i][1] * g[j][0]);
}

// Adds one point's share of the right-hand side, dv (js N_k + s (hx Gy_k - hy Gx_k)), s = 1 planar, -1 axisymmetric.
//   js      source current density [A/m2]
//   hx, hy  magnetisation in the plane [A/m]
inline void add_sources(int nodes, const shape_values n, const global_derivatives g, double js, double hx, double hy,
                        double s, double dv, double f[])
{
    for (int k = 0; k < nodes; ++k) f[k] += dv * (js * n[k] + s * (hx * g[k][1] - hy * g[k][0]));
}

// Adds one point's share of the backward-Euler term: sigma N_i N_j dv / dt to the matrix, the same times the previous
// potentials to the right-hand side.
//   sigma  conductivity [S/m];  dt  time step [s];  previous  potentials of the step before [Wb/m]
template <std::size_t places>
void add_eddy_currents(int nodes, const shape_values n, double sigma, double dv, double dt, const double previous[],
                       double (*k)[places], double f[])
{
    for (int i = 0; i < nodes; ++i)
        for (int j = 0; j < nodes; ++j) {
            const double m = sigma * n[i] * n[j] * dv / dt;
            k[i][j] += m;
            f[i] += m * previous[j];
        }
}

} // namespace tarnel
