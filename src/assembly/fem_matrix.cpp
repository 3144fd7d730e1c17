#include "assembly/fem_matrix.h"

#include "assembly/boundary.h"
#include "assembly/kernels.h"
#include "assembly/node_values.h"
#include "assembly/scatter.h"
#include "assembly/triangle.h"
#include "common/by_element.h"
#include "common/element_table.h"
#include "common/look_ahead.h"
#include "common/record_list.h"

#include <algorithm>
#include <iterator>

namespace tarnel
{

// An element type at its integration points.
struct type_points {
    integration_rule rule;
    shape_values n[most_points];
    natural_derivatives d[most_points];
};

struct all_type_points {
    type_points of[std::size(element_types)];
};

static void prepare_points(all_type_points& prepared)
{
    for (std::size_t t = 0; t < std::size(element_types); ++t) {
        type_points& points = prepared.of[t];
        points.rule = rule_of(element_types[t]);
        for (int p = 0; p < points.rule.points; ++p) {
            const integration_point& at = points.rule.point[p];
            set_shape_values(element_types[t].code, at.xi, at.eta, points.n[p]);
            set_natural_derivatives(element_types[t].code, at.xi, at.eta, points.d[p]);
        }
    }
}

// What an element is made of, at its integration points.
struct element_material {
    const double* reluctivity;               // 3 x 3 [m/H]
    double js;                               // source current density [A/m2]
    double sigma;                            // conductivity [S/m]
    double hx[most_points], hy[most_points]; // magnetisation [A/m]
};

static element_material read_material(const control& cntl, fem_matrix_files files, const felm_struct_record& felm,
                                      std::FILE* log)
{
    element_material material;
    material.reluctivity = felm.reluctivity;
    material.js = felm.j0vec[2];
    material.sigma = conductivity_of(log, cntl, files.conductivities, felm);
    for (int p = 0; p < most_points; ++p) {
        material.hx[p] = felm.hb[0] + felm.hvec[0];
        material.hy[p] = felm.hb[1] + felm.hvec[1];
    }
    if (cntl.iopt_h0vect == 1) {
        const auto by_point = read_record_of<magnetisation_record>(log, *files.magnetisations, felm.noe);
        for (int p = 0; p < most_points && by_point.use == 1; ++p) {
            material.hx[p] += by_point.hx[p + 1];
            material.hy[p] += by_point.hy[p + 1];
        }
    }
    return material;
}

struct element_system {
    element_matrix k; // [m/H, m2/H]
    double f[most_nodes];
    double area; // [m2]
};

static void clear(int nodes, element_system& element)
{
    for (int i = 0; i < nodes; ++i) {
        element.f[i] = 0.0;
        for (int j = 0; j < nodes; ++j) element.k[i][j] = 0.0;
    }
    element.area = 0.0;
}

// An element's nodes as its integrals see them, by local node.
struct element_nodes {
    int count;
    double coordinates[most_nodes][3]; // [m]
    double previous[most_nodes];       // potential of the step before [Wb/m]
    double change[most_nodes];         // the same less the constant term
};

// Derivatives at an integration point.
struct point_derivatives {
    double det; // of the Jacobian [m2]
    global_derivatives g;
};

static void differentiate(const control& cntl, const felm_struct_record& felm, int count, const double coordinates[][3],
                          const natural_derivatives d, point_derivatives& at, std::FILE* log)
{
    double jacobian[3][3], inverse[3][3];
    set_jacobian(count, d, coordinates, jacobian);
    if (invert_jacobian(jacobian, cntl.eps_zero, at.det, inverse) != 0) fail_jacobian(log, felm.noe);
    set_global_derivatives(count, d, inverse, at.g);
}

static void integrate_element(const control& cntl, const felm_struct_record& felm, const element_nodes& nodes,
                              const type_points& points, const element_material& material, edge_terms* edges,
                              element_system& element, std::FILE* log)
{
    const bool axisymmetric = cntl.iax == 1;
    const double s = axisymmetric ? -1.0 : 1.0;
    const int count = nodes.count;
    clear(count, element);
    point_derivatives at;
    for (int p = 0; p < points.rule.points; ++p) {
        const shape_values& n = points.n[p];
        differentiate(cntl, felm, count, nodes.coordinates, points.d[p], at, log);
        double dv = points.rule.point[p].weight * at.det;
        element.area += dv;
        double radius = 1.0, js = material.js;
        if (axisymmetric) {
            radius = correct_radial_column(count, n, nodes.coordinates, at.g);
            dv *= radius;
        }
        if (edges != nullptr) js = source_at_point(cntl, *edges, js, material.sigma, radius);
        add_stiffness(count, at.g, material.reluctivity, dv, element.k);
        add_sources(count, n, at.g, js, material.hx[p], material.hy[p], s, dv, element.f);
        if (cntl.delta_t > cntl.eps_zero)
            add_eddy_currents(count, n, material.sigma, dv, cntl.delta_t, nodes.previous, element.k, element.f);
        if (edges != nullptr)
            add_edge_point(*edges, axisymmetric, count, n, at.g, dv, radius, material.sigma, nodes.change);
    }
}

// A triangle of three nodes.
struct triangle_system {
    triangle_matrix k; // [m/H, m2/H]
    triangle_values f;
    double area; // [m2]
};

static void add_triangle_edges(edge_terms& edges, bool axisymmetric, const shape_values n, const double gx[],
                               const double gy[], double dv, double radius, double sigma, const double change[])
{
    if (edges.acting.size == 0) return;
    global_derivatives g = {};
    for (int k = 0; k < triangle_nodes; ++k) g[k][0] = gx[k], g[k][1] = gy[k];
    add_edge_point(edges, axisymmetric, triangle_nodes, n, g, dv, radius, sigma, change);
}

static void integrate_triangle(const control& cntl, const felm_struct_record& felm, const element_nodes& nodes,
                               const type_points& points, const element_material& material, edge_terms* edges,
                               triangle_system& element, std::FILE* log)
{
    const bool axisymmetric = cntl.iax == 1, eddies = cntl.delta_t > cntl.eps_zero;
    const double s = axisymmetric ? -1.0 : 1.0;
    triangle_derivatives at;
    if (!set_triangle_derivatives(points.d[0], nodes.coordinates, cntl.eps_zero, at)) fail_jacobian(log, felm.noe);
    triangle_values corrected;
    triangle_matrix share;
    clear_triangle(element.k, element.f);
    element.area = 0.0;
    for (int p = 0; p < triangle_points; ++p) {
        const shape_values& n = points.n[p];
        double dv = points.rule.point[p].weight * at.det; // the weights are the same
        element.area += dv;
        const double* gx = at.x;
        double radius = 1.0, js = material.js;
        if (axisymmetric) {
            radius = correct_triangle(n, nodes.coordinates, at.x, corrected);
            dv *= radius;
            gx = corrected;
        }
        if (edges != nullptr) js = source_at_point(cntl, *edges, js, material.sigma, radius);
        if (axisymmetric || p == 0) set_triangle_stiffness(gx, at.y, material.reluctivity, dv, share);
        add_triangle_stiffness(share, element.k);
        add_triangle_sources(n, gx, at.y, js, material.hx[p], material.hy[p], s, dv, element.f);
        if (eddies)
            add_eddy_currents(triangle_nodes, n, material.sigma, dv, cntl.delta_t, nodes.previous, element.k,
                              element.f);
        if (edges != nullptr)
            add_triangle_edges(*edges, axisymmetric, n, gx, at.y, dv, radius, material.sigma, nodes.change);
    }
}

static void gather_nodes(const node_values& nodes, const owned_array<double>& avalp, bool needs_previous,
                         std::int32_t count, const std::size_t place[], element_nodes& gathered)
{
    gathered.count = count;
    for (std::int32_t k = 0; k < count; ++k) {
        const node_value& point = nodes.ggg.values[place[k]];
        gathered.coordinates[k][0] = point.x;
        gathered.coordinates[k][1] = point.y;
        gathered.coordinates[k][2] = 0.0;
        gathered.previous[k] = needs_previous ? avalp[place[k]] : 0.0;
        gathered.change[k] = needs_previous ? avalp[place[k]] - terms_of(nodes, point).aval0 : 0.0;
    }
}

// Asks for what elements further on touch: nodes, then starts of rows, then terms, each when the one before has come.
static void look_ahead(const record_list& list, const node_values& nodes, const double avalp[],
                       const matrix_rows& matrix, const double uvecr[])
{
    const auto terms = static_cast<std::size_t>(matrix.start[static_cast<std::size_t>(matrix.ndim)]);
    std::size_t place[looked_at];
    std::size_t count = places_ahead<felm_struct_record>(list, nodes.index, 36, place);
    for (std::size_t k = 0; k < count; ++k) {
        ask_for(&nodes.ggg.values[place[k]].x);
        ask_for(&nodes.ggg.values[place[k]].nufai);
        if (avalp != nullptr) ask_for(&avalp[place[k]]);
    }
    count = places_ahead<felm_struct_record>(list, nodes.index, 24, place);
    for (std::size_t k = 0; k < count; ++k)
        if (const std::int32_t nufai = nodes.ggg.values[place[k]].nufai; nufai >= 1) {
            ask_for(&matrix.start[static_cast<std::size_t>(nufai) - 1]);
            ask_for(&uvecr[nufai - 1]);
        }
    count = places_ahead<felm_struct_record>(list, nodes.index, 12, place);
    for (std::size_t k = 0; k < count; ++k)
        if (const std::int32_t nufai = nodes.ggg.values[place[k]].nufai; nufai >= 1) {
            const std::size_t first = static_cast<std::size_t>(matrix.start[static_cast<std::size_t>(nufai) - 1]);
            const std::size_t further = std::min(first + 7, terms - 1); // a row has two lines of memory often
            ask_for(&matrix.mindex[first]);
            ask_for(&matrix.mindex[further]);
            ask_for(&matrix.amatr[first]);
            ask_for(&matrix.amatr[further]);
        }
}

static void assemble_elements(const control& cntl, fem_matrix_files files, const node_values& nodes,
                              const owned_array<double>& avalp, matrix_rows& matrix, double uvecr[], edge_terms* edges,
                              std::FILE* log)
{
    all_type_points prepared;
    prepare_points(prepared);
    element_system element;
    triangle_system triangle;
    element_nodes gathered;
    const bool needs_previous = cntl.delta_t > cntl.eps_zero || edges != nullptr;
    record_list list = felm_list(files.felm_struct, cntl.maxfelm);
    for (felm_struct_record copy; const felm_struct_record* next = next_in_place(log, list, copy);) {
        const felm_struct_record& felm = *next;
        look_ahead(list, nodes, needs_previous ? avalp.get() : nullptr, matrix, uvecr);
        const element_type& type = element_type_of(log, felm.type, felm.noe, "");
        if (felm.nop < 0 || felm.nop > cntl.maxprp) fail(log, "      Error. prop no. over the limit.\n");
        const element_material material = read_material(cntl, files, felm, log);
        std::size_t place[most_nodes];
        find_nodes(cntl, nodes.index, "fem", felm.noe, type.nodes, felm.node, place, log);
        const type_points& points = prepared.of[&type - element_types];
        local_nodes local;
        set_local_nodes(nodes, type.nodes, place, local);
        gather_nodes(nodes, avalp, needs_previous, type.nodes, place, gathered);
        if (edges != nullptr) find_acting_edges(cntl, *edges, felm, material.sigma, files.circuits->centres, log);
        double area = 0.0;
        if (type.code == 203) {
            integrate_triangle(cntl, felm, gathered, points, material, edges, triangle, log);
            scatter_triangle(triangle.k, triangle.f, local, matrix, uvecr);
            area = triangle.area;
        } else {
            integrate_element(cntl, felm, gathered, points, material, edges, element, log);
            scatter_element(type.nodes, element.k, element.f, local, matrix, uvecr);
            area = element.area;
        }
        if (edges != nullptr) scatter_edges(*edges, type.nodes, local);
        write_value(log, files.areas, felm.noe, "w1");
        write_value(log, files.areas, area, "w2");
    }
    write_value(log, files.areas, std::int32_t{0}, "w1");
    flush_output(log, files.areas);
}

void write_matrix(output_file& out, const matrix_rows& matrix, std::FILE* log)
{
    write_value(log, out, matrix.ndim, "w1");
    for (std::int32_t i = 0; i < matrix.ndim; ++i) {
        const std::int32_t terms = terms_of(matrix, i);
        if (terms < 1)
            fail(log,
                 "      Error. no. of non-zero term is 0.\n"
                 "             no. of unknown = %d \n",
                 i);
        write_value(log, out, terms, "w2");
        write_values(log, out, &matrix.amatr[static_cast<std::size_t>(matrix.start[static_cast<std::size_t>(i)])],
                     static_cast<std::size_t>(terms), "w3");
    }
    write_value(log, out, matrix.ndim, "w4");
    flush_output(log, out);
}

void write_vector(output_file& out, std::int32_t ndim, const double values[], std::FILE* log)
{
    write_value(log, out, ndim, "w1");
    write_values(log, out, values, static_cast<std::size_t>(ndim), "w2");
    write_value(log, out, ndim, "w3");
    flush_output(log, out);
}

void eat_calc_fem_matrix(control cntl, fem_matrix_files files, std::int32_t nvolte, std::FILE* log)
{
    log_lines(log, "    === in func. eat_calc_fem_matrix ===\n");
    matrix_rows matrix;
    matrix.ndim = read_value<std::int32_t>(log, files.index, "r1");
    log_lines(log, "      ndim = %d \n", matrix.ndim);
    if (matrix.ndim < 1 || matrix.ndim > cntl.maxdim) fail(log, "      Error. unknown no. over the limit, or, 0.\n");
    const node_values nodes = read_node_values(cntl, files.node_struct, matrix.ndim, log);
    if (cntl.iopt_trans == 1) check_time_step(cntl, log);
    const owned_array<double> avalp = read_previous_potentials(cntl, files.previous, nodes.index, log);
    read_index_rows(log, files.index, cntl.maxnzero, column_check::none, matrix);
    const owned_array<double> uvecr = zero_array<double>(log, "uvecr", static_cast<std::size_t>(matrix.ndim));
    edge_terms edges;
    if (nvolte > 0) edges = load_edge_terms(cntl, nvolte, matrix.ndim, *files.circuits, log);
    edge_terms* acting = nvolte > 0 ? &edges : nullptr;
    assemble_elements(cntl, files, nodes, avalp, matrix, uvecr.get(), acting, log);
    if (cntl.iopt_belm == 1) add_boundary_elements(cntl, *files.belms, nodes, matrix, uvecr.get(), log);
    write_matrix(files.matrix, matrix, log);
    write_vector(files.vector, matrix.ndim, uvecr.get(), log);
    if (nvolte <= 0) return;
    write_edge_vectors(nvolte, matrix.ndim, matrix.ndim, edges.vvectr.get(), log);
    write_edge_diagonals(files.circuits->femdv, edges, log);
}

} // namespace tarnel
