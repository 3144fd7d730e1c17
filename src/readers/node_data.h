#pragma once

#include "common/control.h"
#include "common/streams.h"

namespace tarnel
{

struct node_data_files {
    input_file& lcs;    // "t-lcs-struct.tmp"
    input_file& text;   // "t-node-data.txt"
    output_file& nodes; // "t-nodes-struct.tmp"
};

// Reads the nodes of the mesh, turns local coordinates into global ones [m] and writes one record a line, the end
// record last. A line holds number, local system (0 global), x, y, z; in a cylindrical system r, theta [deg], z.
//   errors  those of the data lines and of the local systems, no end line, "(w)"
void t_rd_node_data(control cntl, node_data_files files, std::FILE* log);

} // namespace tarnel
