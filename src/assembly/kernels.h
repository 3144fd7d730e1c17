// Element mathematics: shape functions, integration rules, Jacobian, and the integrals of one element for the magnetic
// vector potential. Kernels see plain arrays; what can fail is a result. Source of the formulas: Zienkiewicz and
// Taylor, The Finite Element Method, for shapes and rules; Silvester and Ferrari, Finite Elements for Electrical
// Engineers, for the integrals.
#pragma once

#include "common/element_table.h"
#include "common/records.h"

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
void set_jacobian(int nodes, const natural_derivatives derivatives, const double coordinates[][3],
                  double jacobian[3][3]);

// The inverse by cofactors; the determinant [m2] is stored in any case.
//   returns 0, or 1 for a determinant below the tolerance (or a NaN), with the inverse unwritten
int invert_jacobian(const double jacobian[3][3], double tolerance, double& determinant, double inverse[3][3]);

// Says that an element is degenerate or clockwise, and ends the run.
[[noreturn]] inline void fail_jacobian(std::FILE* log, std::int32_t noe)
{
    fail(log,
         "      Error. Jacobian is illegal.\n"
         "             noe = %d \n",
         noe);
}

// G_k = inverse J times the natural derivatives, so that row k is (dN_k/dx, dN_k/dy, dN_k/dz); clears the other rows.
void set_global_derivatives(int nodes, const natural_derivatives derivatives, const double inverse[3][3],
                            global_derivatives global);

// Axisymmetric mode: adds N_k / r to each radial derivative, so that with A = Atheta the curl is
// Bz = dA/dr + A/r = (1/r) d(rA)/dr.
//   returns the point's radius r [m]
double correct_radial_column(int nodes, const shape_values n, const double coordinates[][3], global_derivatives g);

// Adds one point's share of the stiffness, the integral of curl(N_i) . t . curl(N_j), with curl(N) = (Gy, -Gx).
//   g   axisymmetric: dN/dr + N/r in column 0 [1/m]
//   t   3 x 3 reluctivity tensor by rows, in-plane block used, need not be symmetric [m/H]
//   dv  weight times det J, times r if axisymmetric [m2, m3]
//   k   [m/H, m2/H]; planar k times A [Wb/m] is a current [A]
void add_stiffness(int nodes, const global_derivatives g, const double t[9], double dv, element_matrix k);

// Adds one point's share of the right-hand side, dv (js N_k + s (hx Gy_k - hy Gx_k)), s = 1 planar, -1 axisymmetric.
//   js      source current density [A/m2]
//   hx, hy  magnetisation in the plane [A/m]
void add_sources(int nodes, const shape_values n, const global_derivatives g, double js, double hx, double hy, double s,
                 double dv, double f[]);

// Adds one point's share of the backward-Euler term: sigma N_i N_j dv / dt to the matrix, the same times the previous
// potentials to the right-hand side.
//   sigma  conductivity [S/m];  dt  time step [s];  previous  potentials of the step before [Wb/m]
void add_eddy_currents(int nodes, const shape_values n, double sigma, double dv, double dt, const double previous[],
                       element_matrix k, double f[]);

} // namespace tarnel
