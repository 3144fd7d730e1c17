#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct felm_struct_voltr_files {
    input_file& lcs;              // "t-lcs-struct.tmp"
    input_file& node_struct;      // "at-node-struct.tmp"
    input_file& before;           // "at-felm-struct.org"
    output_file& felm_struct;     // "at-felm-struct.tmp"
    input_file& data1;            // "t-volt-data1.tmp"
    input_file& data2;            // "t-volt-data2.tmp"
    input_file& centres;          // "t-felm-cntr.tmp"
    input_file& circuit_solution; // "t-voltr-solution.tmp"
};

// Rewrites the element structure with the sources that the solved circuit currents drive: in a voltage region the
// element's own current density times the currents (iopt_j0vect 1: it is the pattern of a unit current), or the
// directions of its sources times their currents added to the current density (kind 1) or to the second magnetisation
// vector (kind 2). Other elements are copied.
//   nvolte  circuit-field unknowns, at least 1
//   errors  the lists' own; those of the circuit files; "nvolt is different."; another element's centre; "(w)"
void at_ch_felm_struct_voltr(control cntl, felm_struct_voltr_files files, std::int32_t nvolte, std::FILE* log);

// Reads the circuit unknowns that the field is coupled to from "t-voltr-solution.tmp", after its count.
//   errors  "(r:fsolr)", "Can't allocate (fsolr)"
owned_array<double> read_circuit_unknowns(input_file& in, std::int64_t count, std::FILE* log);

} // namespace tarnel
