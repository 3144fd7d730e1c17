#pragma once

#include "assembly/edge_terms.h"
#include "common/control.h"
#include "common/matrix_rows.h"
#include "common/streams.h"

namespace tarnel
{

struct fem_matrix_files {
    input_file& node_struct;    // "at-node-struct.tmp"
    input_file& felm_struct;    // "at-felm-struct.tmp"
    input_file* conductivities; // "at-propsg-struct.tmp"; nullptr unless iopt_propsg is 1
    input_file* magnetisations; // "at-h0vect-struct.tmp"; nullptr unless iopt_h0vect is 1
    input_file* belms;          // "at-belm-struct.tmp"; nullptr unless iopt_belm is 1
    input_file* previous;       // "at-npresl-struct.tmp"; nullptr unless iopt_trans is 1
    input_file& index;          // "t-matrix-index.tmp"
    output_file& matrix;        // "t-femr-matrix.tmp"
    output_file& vector;        // "t-femr-vector.tmp"
    output_file& areas;         // "t-felm-vole.tmp"
    circuit_files* circuits;    // nullptr unless nvolte is above 0
};

// Assembles the global system: the upper triangle by rows in the order of the index, and the right-hand side; writes
// them and the cross-section area of every element [m2]; with circuits also a right-hand side for each edge.
//   nvolte  circuit edges, 0 without circuits
//   errors  the lists' own; no unknown, or more than maxdim; the time step; tables of other elements; a Jacobian below
//           eps_zero; "(r1)" to "(r3)" of the index, "(w1)" to "(w4)" of the results
void eat_calc_fem_matrix(control cntl, fem_matrix_files files, std::int32_t nvolte, std::FILE* log);

// Writes "t-femr-matrix.tmp": ndim, then count and values of each row, then ndim.
//   errors  a row without terms: "no. of non-zero term is 0." and its number from 0; "(w1)" to "(w4)"
void write_matrix(output_file& out, const matrix_rows& matrix, std::FILE* log);

// Writes a right-hand side: ndim, the values, ndim.
//   errors  "(w1)" to "(w3)"
void write_vector(output_file& out, std::int32_t ndim, const double values[], std::FILE* log);

} // namespace tarnel
