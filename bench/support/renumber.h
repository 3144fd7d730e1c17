// Node numbers that keep neighbours close: the bandwidth of the matrix, and with it the reach of every sweep over it.
#pragma once

#include "support/msh_file.h"

namespace tarnel_bench
{

// Renumbers the nodes by reverse Cuthill-McKee: breadth first from a node at the rim, neighbours of few neighbours
// first, the whole order reversed. Triangles keep their order.
//   source  Cuthill and McKee 1969; the reversal, George 1971; the start, George and Liu 1979
void renumber_nodes(mesh& of);

// Most neighbours of a node, itself included: no row of the matrix has more terms.
std::size_t longest_row(const mesh& of);

} // namespace tarnel_bench
