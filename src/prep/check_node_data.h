#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct check_node_files {
    input_file& nodes; // "t-nodes-struct.tmp"
    input_file& felms; // "t-felms-struct.tmp"
    input_file* belms; // "at-belm-struct.tmp"; nullptr unless iopt_belm is 1
};

// Checks that every node of a finite element is defined and that every node of a boundary element is used by a finite
// element; of several faults the one at the lowest node number is reported. Writes nothing but log lines.
//   errors  the lists' own; "node no. %d not defined."; "node no. %d is illegal." and its two lines
void eat_check_node_data(control cntl, check_node_files files, std::FILE* log);

} // namespace tarnel
