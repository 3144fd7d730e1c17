#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct felm_struct_files {
    input_file& felms;        // "t-felms-struct.tmp"
    input_file& properties;   // "at-prop-struct.tmp"
    input_file* tensors;      // "at-proptv-struct.tmp"; nullptr unless iopt_proptv is 1
    input_file* currents;     // "at-j0vect-struct.tmp"; nullptr unless iopt_j0vect is 1
    input_file& lcs;          // "t-lcs-struct.tmp"
    input_file& centres;      // "t-felm-cntr.tmp"
    output_file& felm_struct; // "at-felm-struct.tmp"
};

// Joins every element with its property into one record: reluctivity tensor [m/H], magnetisations and source current in
// global components at the element's centre, conductivity. Host tables override property values by element.
//   errors  the lists' own; a centre or table record of another element; a property or system that is not defined or
//           over the limit; "mu_tens is illegal."; "(w)"
void eat_set_felm_struct(control cntl, felm_struct_files files, std::FILE* log);

} // namespace tarnel
