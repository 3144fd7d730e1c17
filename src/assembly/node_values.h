// Nodes as the assembly and the result stages see them: where they are and what their potential is made of.
#pragma once

#include "common/control.h"
#include "common/number_index.h"
#include "common/record_list.h"
#include "common/records.h"
#include "common/streams.h"

namespace tarnel
{

// What a potential is made of, constant term plus coefficient times unknown.
struct potential_terms {
    double aval0 = 0.0; // constant term [Wb/m]
    double acoef = 1.0; // coefficient of the unknown
};

// Kept small, as elements touch nodes all over the array.
struct node_value {
    double x, y;        // [m]; axisymmetric r, z
    std::int32_t nufai; // unknown number from 1; 0 or negative without one
    std::int32_t terms; // place among the terms, where those of plain unknowns stand at 0
};

struct node_values {
    number_index index;
    growing_array<node_value> ggg; // by place
    growing_array<potential_terms> terms;
};

inline const potential_terms& terms_of(const node_values& nodes, const node_value& node)
{
    return nodes.terms.values[static_cast<std::size_t>(node.terms)];
}

// Reads the next record of "at-node-struct.tmp".
//   returns nullptr at the end record
//   errors  the list's own; "      Error. node.nufai > ndim.  nog = %d \n"
const node_struct_record* next_node(record_list& list, node_struct_record& copy, std::int32_t ndim, std::FILE* log);

// Reads "at-node-struct.tmp".
//   errors  those of next_node
node_values read_node_values(const control& cntl, input_file& in, std::int32_t ndim, std::FILE* log);

// Checks the time step of a run with previous potentials.
//   errors  "      Error. time step(cntl.delta_t) is zero.\n", for a negative one too
void check_time_step(const control& cntl, std::FILE* log);

// Potentials of the step before, by place; 0 for nodes that "at-npresl-struct.tmp" does not name [Wb/m].
//   in      nullptr without previous potentials: zeros
//   errors  the list's own, "Can't allocate (avalp)"
owned_array<double> read_previous_potentials(const control& cntl, input_file* in, const number_index& nodes,
                                             std::FILE* log);

// Places of an element's nodes.
//   errors  a number outside 1 .. maxnog: the two lines of fail_connection with `kind`; a node that is not defined:
//           "      Error. node no. %d not defined.\n"
void find_nodes(const control& cntl, const number_index& index, const char* kind, std::int32_t element,
                std::int32_t count, const std::int32_t node[], std::size_t place[], std::FILE* log);

// The affine form of every potential: constant term plus coefficient times unknown.
inline double node_potential(std::int32_t nufai, double aval0, double acoef, const double solution[])
{
    return nufai >= 1 ? aval0 + acoef * solution[nufai - 1] : aval0;
}

} // namespace tarnel
