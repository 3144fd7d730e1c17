#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct node_resl_files {
    input_file& node_struct; // "at-node-struct.tmp"
    input_file& solution;    // "t-femr-solution.tmp"
    output_file& table;      // "at-node-resl.txt"
    output_file& results;    // "at-nresl-struct.tmp"
};

// Writes the potential of every node that an element uses, Az or Atheta [Wb/m], as a text table and as records.
//   errors  the lists' own; "ndim <= 0."; "node.nufai > ndim."; "(r1)", "(r2)" of the solution; "(w)"
void eat_calc_node_resl(control cntl, node_resl_files files, std::FILE* log);

} // namespace tarnel
