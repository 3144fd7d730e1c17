// Boundary elements: a given tangential field on lines of the model's edge.
#pragma once

#include "assembly/node_values.h"
#include "assembly/scatter.h"

namespace tarnel
{

// Shape values and derivatives dN/dxi of a boundary element, ends first, then the middle node.
//   code  102 or 103
void set_line_shapes(std::int32_t code, double xi, double values[3], double derivatives[3]);

// Reads "at-belm-struct.tmp" and adds each boundary element's right-hand side, the line integral of s (H . tangent) N_k
// (times r in the axisymmetric mode; s = 1 planar, -1 axisymmetric), H in [A/m].
//   errors  the list's own; "boundary element type no. is illegal."; node numbers as in find_nodes
void add_boundary_elements(const control& cntl, input_file& in, const node_values& nodes, matrix_rows& matrix,
                           double uvecr[], std::FILE* log);

} // namespace tarnel
