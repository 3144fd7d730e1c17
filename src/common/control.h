// The control record: limits, switches, geometry, solver choice and thresholds of one run. The driver fills it from
// "at-cntl-data.txt" and "t-dimension-data.txt" and every stage receives a copy.
#pragma once

#include <cstdint>

namespace tarnel
{

// Degrees are turned with the truncated factor 3.1415926 / 180 everywhere, so that coordinates come out the same in
// every stage and in the hosts that share these two constants.
inline constexpr double truncated_pi = 3.1415926;
inline constexpr double degrees_to_radians = 0.017453292222222222;

// Magnetic constant [H/m], truncated; the out-of-plane permeability of every element.
inline constexpr double vacuum_permeability = 1.25663704e-06;

struct control {
    std::int32_t iax = 0;          // 0 planar x-y (Az), 1 axisymmetric r-z (Atheta)
    std::int32_t maxnog = 0;       // largest node number, and node records read
    std::int32_t maxfelm = 0;      // largest finite element number, and element records read
    std::int32_t maxbelm = 0;      // largest boundary element number, and records read
    std::int32_t maxprp = 0;       // largest property number; also of local coordinate systems
    std::int32_t maxdim = 0;       // largest number of unknowns
    std::int32_t maxnzero = 0;     // largest number of stored terms of a matrix row
    std::int32_t maxedg = 0;       // largest number of pair records in the fixed conditions
    std::int32_t maxvlt = 0;       // circuit size limit; 0 without circuits
    std::int32_t iopt_prep = 0;    // 1: model preparation runs
    std::int32_t iopt_rdata = 0;   // 1: the text readers run
    std::int32_t iopt_proptv = 0;  // 1: permeability tensors by element
    std::int32_t iopt_propsg = 0;  // 1: conductivity by element
    std::int32_t iopt_h0vect = 0;  // 1: magnetisation by integration point
    std::int32_t iopt_j0vect = 0;  // 1: source current density by element
    std::int32_t iopt_belm = 0;    // 1: boundary elements
    std::int32_t iopt_trans = 0;   // 1: previous potentials for the time step
    std::int32_t itype_solv = 0;   // 0 skyline, 1 conjugate gradients, 2 Gauss-Seidel, 3 none
    std::int32_t iopt_solv = 0;    // option within the solver family
    std::int32_t itermax_solv = 0; // iteration limit
    double eps_solv = 0;           // convergence tolerance [1]
    double accel_solv = 0;         // diagonal of the incomplete factorisation, or relaxation factor [1]
    std::int32_t solv3_i1 = 0;     // parameters of solver family 3, carried only
    std::int32_t solv3_i2 = 0;
    double solv3_d = 0;
    double eps_zero = 1e-60; // below it a value counts as zero
    double delta_t = 0;      // time step [s]
    double pi = truncated_pi;
    double deg2rad = degrees_to_radians;
};

} // namespace tarnel
