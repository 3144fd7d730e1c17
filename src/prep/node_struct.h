#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct node_struct_files {
    input_file& nodes;        // "t-nodes-struct.tmp"
    input_file& felms;        // "t-felms-struct.tmp"
    input_file& conditions;   // "at-fixc-data.tmp"
    output_file& node_struct; // "at-node-struct.tmp"
};

// Numbers the unknowns 1 .. ndim in ascending node order over the nodes that elements use and that no condition fixes,
// gives dependent nodes the unknown of their independent node, and writes one record a node, ascending. A node's
// potential is fai0 + acoef times its unknown, or fai0 alone for a fixed node.
//   errors  the lists' and sections' own; a negative radius; more than maxdim unknowns; a dependent node with a zero
//           coefficient, or whose independent node has no unknown yet; "(w)"
void eat_set_node_struct(control cntl, node_struct_files files, std::FILE* log);

} // namespace tarnel
