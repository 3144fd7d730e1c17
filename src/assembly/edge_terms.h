// What circuits add to the assembly: one right-hand side per circuit edge, the field's answer to a unit of that edge's
// unknown, and each edge's own terms of the circuit equations.
#pragma once

#include "assembly/kernels.h"
#include "assembly/scatter.h"
#include "circuit/volt_files.h"
#include "common/records.h"
#include "readers/lcs.h"

namespace tarnel
{

struct circuit_files {
    input_file& data1;   // "t-volt-data1.tmp"
    input_file& data2;   // "t-volt-data2.tmp"
    input_file& lcs;     // "t-lcs-struct.tmp"
    input_file& centres; // "t-felm-cntr.tmp"
    output_file& femdv;  // "t-voltr-femdv.tmp"
};

// A circuit edge that acts on an element.
enum class edge_kind { current_density, magnetisation, grad_fai };
struct element_edge {
    std::size_t edge; // from 0
    edge_kind kind;
    double nvect[3]; // global direction of a voltage source (nvect_vlt)
};

struct edge_terms {
    std::int32_t nvolte = 0, ndim = 0;
    circuit_tables tables;
    lcs_table systems;
    owned_array<double> vvectr;         // nvolte x ndim, global right-hand sides
    owned_array<double> svvecr;         // nvolte x 20, the element's; zero but for the edges that act on it
    owned_array<double> fdiagr;         // nvolte, diagonal terms
    owned_array<double> fvaddr;         // nvolte, terms of the step before
    growing_array<element_edge> acting; // on the element
    bool grad_region = false;           // the element's property is a grad-fai region
};

// Loads the circuit data and makes the arrays.
//   errors  those of t_rd_volt_files and t_rd_lcs_struct; "Can't allocate"
edge_terms load_edge_terms(const control& cntl, std::int32_t nvolte, std::int32_t ndim, circuit_files files,
                           std::FILE* log);

// Finds the edges that act on an element; reads its centre.
//   sigma   the element's conductivity [S/m]
//   errors  another element's centre; "lnon no. over the limit."; "sigma is 0 for grad-fai condition."
void find_acting_edges(const control& cntl, edge_terms& terms, const felm_struct_record& felm, double sigma,
                       input_file& centres, std::FILE* log);

// Source current density at a point: a grad-fai region of an axisymmetric model is given a total voltage, so that its
// density falls with the radius, js sigma / (2 pi r).
double source_at_point(const control& cntl, const edge_terms& terms, double js, double sigma, double radius);

// Adds one point's share.
//   n, g    shape values and derivatives;  dv  weight times det J, times r if axisymmetric [m2, m3]
//   radius  of the point [m], 1 in the planar mode
//   change  previous potential less constant term, by local node [Wb/m]
void add_edge_point(edge_terms& terms, bool axisymmetric, int nodes, const shape_values n, const global_derivatives g,
                    double dv, double radius, double sigma, const double change[]);

// Adds the element's right-hand sides into the global ones and clears them.
void scatter_edges(edge_terms& terms, int nodes, const local_nodes& local);

// Writes one file an edge, "t-femr-vector-%05d.tmp", in the layout of the main right-hand side.
//   header, trailer  the counts written before and after `header` values of each vector
//   errors           "Can't open ...", "(w1)" to "(w3)" with the file's own name
void write_edge_vectors(std::int32_t nvolte, std::int32_t header, std::int32_t trailer, const double vvectr[],
                        std::FILE* log);

// Writes "t-voltr-femdv.tmp": nvolte, then fdiagr and fvaddr of each edge.
//   errors  "(w1)" to "(w3)"
void write_edge_diagonals(output_file& out, const edge_terms& terms, std::FILE* log);

} // namespace tarnel
