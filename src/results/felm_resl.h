#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct felm_resl_circuit_files {
    input_file& data1;            // "t-volt-data1.tmp"
    input_file& data2;            // "t-volt-data2.tmp"
    input_file& circuit_solution; // "t-voltr-solution.tmp"
};

struct felm_resl_files {
    input_file& node_struct;           // "at-node-struct.tmp"
    input_file& felm_struct;           // "at-felm-struct.tmp"
    input_file* conductivities;        // "at-propsg-struct.tmp"; nullptr unless iopt_propsg is 1
    input_file* previous;              // "at-npresl-struct.tmp"; nullptr unless iopt_trans is 1
    input_file& solution;              // "t-femr-solution.tmp"
    output_file& table;                // "at-felm-resl.txt"
    output_file& results;              // "at-eresl-struct.tmp"
    felm_resl_circuit_files* circuits; // nullptr unless nvolte is above 0
};

// Writes flux density [T], field strength [A/m], current density [A/m2] and electric field [V/m] at the centre of every
// element, as a text table and as records, and lists the total current of each grad-fai condition [A].
//   planar        b = (dA/dy, -dA/dx);   axisymmetric  b = (-dA/dz, (1/r) d(rA)/dr)
//   always        h = t b - h0 with the magnetisation h0 = reluctivity times remanence;  e = -dA/dt, less the solution
//                 of the element's grad-fai condition (axisymmetric: that over r);  j = sigma e
//   nvolte        circuit-field unknowns, 0 without circuits
//   errors        the lists' own; no unknown, or more than maxdim; "node.nufai > ndim."; the time step; a Jacobian
//                 below eps_zero; "(r1)", "(r2)" of the solution; those of the circuit files; "nvolt <= 0."; "(w)"
void eat_calc_felm_resl(control cntl, felm_resl_files files, std::int32_t nvolte, std::FILE* log);

} // namespace tarnel
