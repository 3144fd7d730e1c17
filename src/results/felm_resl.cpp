#include "results/felm_resl.h"

#include "assembly/kernels.h"
#include "assembly/node_values.h"
#include "assembly/triangle.h"
#include "circuit/felm_struct_voltr.h"
#include "circuit/volt_files.h"
#include "common/by_element.h"
#include "common/element_table.h"
#include "common/look_ahead.h"
#include "common/number_text.h"
#include "common/record_list.h"
#include "common/records.h"
#include "results/solution.h"

namespace tarnel
{

// The natural derivatives of each element type at its centre.
struct centre_derivatives {
    natural_derivatives of[std::size(element_types)];
};

static void prepare_centres(centre_derivatives& prepared)
{
    for (std::size_t t = 0; t < std::size(element_types); ++t)
        set_natural_derivatives(element_types[t].code, element_types[t].centre_xi, element_types[t].centre_eta,
                                prepared.of[t]);
}

// A node as its elements see it; kept small, as they touch nodes all over the array.
struct field_point {
    double x, y; // [m]; axisymmetric r, z
    double aval; // potential [Wb/m]
};

struct field_points {
    number_index index;
    growing_array<field_point> ggg; // by place
    owned_array<double> avalp;      // potentials of the step before, by place
};

// What an element's field follows from, at its centre.
struct centre_gradient {
    double along_x, along_y; // dA/dx, dA/dy, or their axisymmetric kin [T]
    double det;              // of the Jacobian [m2]
    double radius;           // [m], 1 in the planar mode
};

static centre_gradient differentiate_triangle(const control& cntl, const felm_struct_record& felm,
                                              const element_type& type, const natural_derivatives d,
                                              const double coordinates[][3], const double a[], std::FILE* log)
{
    triangle_derivatives at;
    if (!set_triangle_derivatives(d, coordinates, cntl.eps_zero, at)) fail_jacobian(log, felm.noe);
    centre_gradient gradient = {0.0, 0.0, at.det, 1.0};
    if (cntl.iax == 1) gradient.radius = correct_triangle(type.centre_weight, coordinates, at.x, at.x);
    for (int k = 0; k < triangle_nodes; ++k) {
        gradient.along_y += a[k] * at.y[k];
        gradient.along_x += a[k] * at.x[k];
    }
    return gradient;
}

static centre_gradient differentiate(const control& cntl, const felm_struct_record& felm, const element_type& type,
                                     const natural_derivatives d, const double coordinates[][3], const double a[],
                                     std::FILE* log)
{
    double jacobian[3][3], inverse[3][3];
    global_derivatives g;
    centre_gradient gradient = {0.0, 0.0, 0.0, 1.0};
    set_jacobian(type.nodes, d, coordinates, jacobian);
    if (invert_jacobian(jacobian, cntl.eps_zero, gradient.det, inverse) != 0) fail_jacobian(log, felm.noe);
    set_global_derivatives(type.nodes, d, inverse, g);
    if (cntl.iax == 1) gradient.radius = correct_radial_column(type.nodes, type.centre_weight, coordinates, g);
    for (int k = 0; k < type.nodes; ++k) {
        gradient.along_y += a[k] * g[k][1];
        gradient.along_x += a[k] * g[k][0];
    }
    return gradient;
}

static void set_magnetic_field(const control& cntl, const felm_struct_record& felm, const centre_gradient& gradient,
                               felm_result_record& field)
{
    field.b[0] = cntl.iax == 1 ? -gradient.along_y : gradient.along_y;
    field.b[1] = cntl.iax == 1 ? gradient.along_x : -gradient.along_x;
    const double* t = felm.reluctivity;
    for (std::size_t i = 0; i < 3; ++i)
        field.h[i] = t[3 * i] * field.b[0] + t[3 * i + 1] * field.b[1] + t[3 * i + 2] * field.b[2] - felm.hb[i];
}

// Grad-fai conditions and the currents summed over their elements.
struct grad_currents {
    circuit_tables tables;
    owned_array<double> fsolr;                  // circuit-field unknowns, grad-fai conditions first
    owned_array<double> total_curr, total_gfai; // by place of the condition [A]
};

static grad_currents read_grad_currents(const control& cntl, felm_resl_circuit_files files, std::int32_t nvolte,
                                        std::FILE* log)
{
    grad_currents grads;
    grads.tables = t_rd_volt_files(cntl, nvolte, files.data1, files.data2, log);
    log_lines(log, "        Now, reading %s(fsolr) ===\n", files.circuit_solution.name);
    const auto nvolt = read_value<std::int32_t>(log, files.circuit_solution, "r:nvolt");
    if (nvolt <= 0)
        fail(log,
             "      Error. in %s(r:nvolt).\n"
             "             nvolt <= 0.\n",
             files.circuit_solution.name);
    grads.fsolr = read_circuit_unknowns(files.circuit_solution, nvolt, log);
    if (grads.tables.counts.nvoltg > nvolt) fail_in_file(log, files.circuit_solution.name, "r:fsolr");
    const std::size_t conditions = grads.tables.iu_grd.size;
    grads.total_curr = zero_array<double>(log, "total_curr", conditions);
    grads.total_gfai = zero_array<double>(log, "total_gfai", conditions);
    return grads;
}

// Place of the condition that acts on an element, -1 for none.
static std::int32_t acting_condition(const grad_currents* grads, std::int32_t nop)
{
    if (grads == nullptr || grads->tables.counts.nvoltg < 1) return -1;
    const circuit_property region = region_of(grads->tables, nop);
    if (region.iswvlt != -1 || region.ngrad <= 0 || grad_unknown(grads->tables, region.ngrad) <= 0) return -1;
    return place_of(grads->tables.grad_index, region.ngrad);
}

// Lists imposed and found currents of the conditions.
static void write_grad_currents(output_file& table, const grad_currents& grads, std::FILE* log)
{
    if (grads.tables.counts.nvoltg < 1) return;
    write_text(log, table, "\n\n    === check print total current for grad-fai condition ===\n\n");
    write_text(log, table, "        ngrad, total_curr, total_gfai ...\n");
    for (std::int32_t k = 0; k < grads.tables.grad_index.count; ++k) {
        const auto [number, place] = ascending_place(grads.tables.grad_index, k);
        if (grads.tables.iu_grd.values[static_cast<std::size_t>(place)] <= 0) continue;
        char row[120];
        char* at = put_int(put_text(row, "        "), number, 10);
        at = put_e15_5(put_text(at, " "), grads.total_curr[static_cast<std::size_t>(place)]);
        at = put_e15_5(put_text(at, " "), grads.total_gfai[static_cast<std::size_t>(place)]);
        at = put_text(at, " \n");
        write_bytes(log, table, row, static_cast<std::size_t>(at - row), "w");
    }
}

static felm_result_record evaluate(const control& cntl, const felm_struct_record& felm, const element_type& type,
                                   const natural_derivatives d, double sigma, const field_points& points,
                                   const std::size_t place[], grad_currents* grads, std::FILE* log)
{
    felm_result_record field;
    field.noe = felm.noe, field.type = felm.type, field.nop = felm.nop;
    double coordinates[most_nodes][3], a[most_nodes];
    for (std::int32_t k = 0; k < type.nodes; ++k) {
        const field_point& point = points.ggg.values[place[k]];
        coordinates[k][0] = point.x, coordinates[k][1] = point.y, coordinates[k][2] = 0.0;
        a[k] = point.aval;
    }
    const centre_gradient gradient = type.nodes == triangle_nodes
                                         ? differentiate_triangle(cntl, felm, type, d, coordinates, a, log)
                                         : differentiate(cntl, felm, type, d, coordinates, a, log);
    set_magnetic_field(cntl, felm, gradient, field);

    const bool conducts = felm.sigma > cntl.eps_zero || felm.iflg == 1;
    if (conducts && cntl.delta_t > cntl.eps_zero) {
        double change = 0.0;
        for (std::int32_t k = 0; k < type.nodes; ++k) change += (a[k] - points.avalp[place[k]]) * type.centre_weight[k];
        field.e[2] = -change / cntl.delta_t;
    }
    const std::int32_t condition = conducts ? acting_condition(grads, felm.nop) : -1;
    if (condition < 0) {
        if (conducts) field.j[2] = sigma * field.e[2];
        return field;
    }
    const auto at = static_cast<std::size_t>(condition);
    const double solved = grads->fsolr[static_cast<std::size_t>(grads->tables.iu_grd.values[at]) - 1];
    const double grad_fai = cntl.iax == 1 ? solved / gradient.radius : solved;
    field.e[2] -= grad_fai;
    field.j[2] = sigma * field.e[2];
    const double area = gradient.det * type.measure;
    grads->total_curr[at] += field.j[2] * area;
    grads->total_gfai[at] -= grad_fai * sigma * area;
    return field;
}

static void write_rows(output_file& table, const felm_result_record& field, std::FILE* log)
{
    write_made<320>(log, table, "w", [&](char* at) {
        at = put_int(put_text(at, "  "), field.noe, 10);
        at = put_int(put_text(at, " "), field.nop, 5);
        for (const double value : {field.b[0], field.b[1], field.j[2]}) at = put_e15_5(put_text(at, " "), value);
        at = put_text(at, " \n                  ");
        for (const double value : {field.h[0], field.h[1], field.e[2]}) at = put_e15_5(put_text(at, " "), value);
        return put_text(at, " \n");
    });
}

static field_points read_points(const control& cntl, felm_resl_files files, std::int32_t ndim, const double xvecr[],
                                std::FILE* log)
{
    field_points points;
    const std::size_t most = record_capacity(files.node_struct, sizeof(node_struct_record), cntl.maxnog);
    reserve(log, "ggg", points.ggg, most);
    reserve(log, "ggg", points.index.numbers, most);
    record_list list = node_list(files.node_struct, cntl.maxnog);
    for (node_struct_record copy; const node_struct_record* node = next_node(list, copy, ndim, log);) {
        const double aval = node_potential(node->nufai, node->fai0, node->acoef, xvecr);
        append(log, "ggg", points.ggg, {node->x, node->y, aval});
        add_number(log, "ggg", points.index, node->nog);
    }
    finish_index(log, "ggg", points.index);
    if (cntl.iopt_trans == 1) check_time_step(cntl, log);
    points.avalp = read_previous_potentials(cntl, files.previous, points.index, log);
    return points;
}

void eat_calc_felm_resl(control cntl, felm_resl_files files, std::int32_t nvolte, std::FILE* log)
{
    log_lines(log, "    === in func. eat_calc_felm_resl ===\n");
    const auto ndim = read_value<std::int32_t>(log, files.solution, "r1");
    if (ndim < 1 || ndim > cntl.maxdim)
        fail(log,
             "      Error. unknown no. over the limit, or, 0.\n"
             "             ndim = %d\n",
             ndim);
    const owned_array<double> xvecr = read_solution_values(files.solution, ndim, log);
    const field_points points = read_points(cntl, files, ndim, xvecr.get(), log);
    grad_currents read;
    if (nvolte > 0) read = read_grad_currents(cntl, *files.circuits, nvolte, log);
    grad_currents* grads = nvolte > 0 ? &read : nullptr;
    const char* columns = cntl.iax == 1 ? "      noe, nop, br, bz, jtheta / hr, hz, etheta / \n"
                                        : "      noe, nop, bx, by, jz / hx, hy, ez / \n";
    write_table_head(log, files.table, "    === element results ===\n\n", columns);

    centre_derivatives prepared;
    prepare_centres(prepared);
    record_list list = felm_list(files.felm_struct, cntl.maxfelm);
    for (felm_struct_record copy; const felm_struct_record* next = next_in_place(log, list, copy);) {
        const felm_struct_record& felm = *next;
        std::size_t ahead[looked_at];
        const std::size_t places = places_ahead<felm_struct_record>(list, points.index, 16, ahead);
        for (std::size_t k = 0; k < places; ++k) {
            ask_for(&points.ggg.values[ahead[k]].x);
            ask_for(&points.ggg.values[ahead[k]].aval);
        }
        const element_type& type = element_type_of(log, felm.type, felm.noe, "");
        const double sigma = conductivity_of(log, cntl, files.conductivities, felm);
        std::size_t place[most_nodes];
        find_nodes(cntl, points.index, "fem", felm.noe, type.nodes, felm.node, place, log);
        const felm_result_record field =
            evaluate(cntl, felm, type, prepared.of[&type - element_types], sigma, points, place, grads, log);
        write_rows(files.table, field, log);
        write_value(log, files.results, field, "w");
    }
    write_value(log, files.results, felm_result_record{}, "w");
    if (grads != nullptr) write_grad_currents(files.table, *grads, log);
    flush_output(log, files.table);
    flush_output(log, files.results);
}

} // namespace tarnel
