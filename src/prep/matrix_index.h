#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct matrix_index_files {
    input_file& node_struct; // "at-node-struct.tmp"
    input_file& felms;       // "t-felms-struct.tmp"
    output_file& index;      // "t-matrix-index.tmp"
};

// Writes the pattern of the upper triangle: for each unknown, from 0, the ascending unknowns not below it that share an
// element with it, itself first.
//   errors  the lists' own; no unknown, or more than maxdim; a row of more than maxnzero terms; a row without terms;
//           "(w1)" to "(w4)"
void eat_set_matrix_index(control cntl, matrix_index_files files, std::FILE* log);

} // namespace tarnel
