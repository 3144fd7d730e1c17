#include "results/felm_resl.h"

#include "assembly/kernels.h"
#include "assembly/node_values.h"
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

// Potentials now and a step before, by place.
struct potentials {
    owned_array<double> aval;
    owned_array<double> avalp;
};

static void set_magnetic_field(const control& cntl, const felm_struct_record& felm, int nodes,
                               const global_derivatives g, const double a[], felm_result_record& field)
{
    double along_y = 0.0, along_x = 0.0; // dA/dy, dA/dx, or their axisymmetric kin
    for (int k = 0; k < nodes; ++k) {
        along_y += a[k] * g[k][1];
        along_x += a[k] * g[k][0];
    }
    field.b[0] = cntl.iax == 1 ? -along_y : along_y;
    field.b[1] = cntl.iax == 1 ? along_x : -along_x;
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
                                   const natural_derivatives d, double sigma, const node_values& nodes,
                                   const potentials& potential, const std::size_t place[], grad_currents* grads,
                                   std::FILE* log)
{
    felm_result_record field;
    field.noe = felm.noe, field.type = felm.type, field.nop = felm.nop;
    double coordinates[most_nodes][3], a[most_nodes];
    for (std::int32_t k = 0; k < type.nodes; ++k) {
        const node_value& point = nodes.ggg.values[place[k]];
        coordinates[k][0] = point.x, coordinates[k][1] = point.y, coordinates[k][2] = point.z;
        a[k] = potential.aval[place[k]];
    }
    double jacobian[3][3], inverse[3][3], det;
    global_derivatives g;
    set_jacobian(type.nodes, d, coordinates, jacobian);
    if (invert_jacobian(jacobian, cntl.eps_zero, det, inverse) != 0) fail_jacobian(log, felm.noe);
    set_global_derivatives(type.nodes, d, inverse, g);
    double radius = 1.0;
    if (cntl.iax == 1) radius = correct_radial_column(type.nodes, type.centre_weight, coordinates, g);
    set_magnetic_field(cntl, felm, type.nodes, g, a, field);

    const bool conducts = felm.sigma > cntl.eps_zero || felm.iflg == 1;
    if (conducts && cntl.delta_t > cntl.eps_zero) {
        double change = 0.0;
        for (std::int32_t k = 0; k < type.nodes; ++k)
            change += (a[k] - potential.avalp[place[k]]) * type.centre_weight[k];
        field.e[2] = -change / cntl.delta_t;
    }
    const std::int32_t condition = conducts ? acting_condition(grads, felm.nop) : -1;
    if (condition < 0) {
        if (conducts) field.j[2] = sigma * field.e[2];
        return field;
    }
    const auto at = static_cast<std::size_t>(condition);
    const double solved = grads->fsolr[static_cast<std::size_t>(grads->tables.iu_grd.values[at]) - 1];
    const double gradient = cntl.iax == 1 ? solved / radius : solved;
    field.e[2] -= gradient;
    field.j[2] = sigma * field.e[2];
    const double area = det * type.measure;
    grads->total_curr[at] += field.j[2] * area;
    grads->total_gfai[at] -= gradient * sigma * area;
    return field;
}

static void write_rows(output_file& table, const felm_result_record& field, std::FILE* log)
{
    char rows[240];
    char* at = put_text(rows, "  ");
    at = put_int(at, field.noe, 10);
    at = put_int(put_text(at, " "), field.nop, 5);
    for (const double value : {field.b[0], field.b[1], field.j[2]}) at = put_e15_5(put_text(at, " "), value);
    at = put_text(at, " \n                  ");
    for (const double value : {field.h[0], field.h[1], field.e[2]}) at = put_e15_5(put_text(at, " "), value);
    at = put_text(at, " \n");
    write_bytes(log, table, rows, static_cast<std::size_t>(at - rows), "w");
}

static potentials find_potentials(const control& cntl, felm_resl_files files, const node_values& nodes,
                                  const owned_array<double>& xvecr, std::FILE* log)
{
    potentials potential;
    const std::size_t places = nodes.index.numbers.size;
    potential.aval = zero_array<double>(log, "aval", places);
    for (std::size_t k = 0; k < places; ++k) {
        const node_value& node = nodes.ggg.values[k];
        potential.aval[k] = node_potential(node.nufai, node.aval0, node.acoef, xvecr.get());
    }
    if (cntl.iopt_trans == 1) check_time_step(cntl, log);
    potential.avalp = read_previous_potentials(cntl, files.previous, nodes, log);
    return potential;
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
    const node_values nodes = read_node_values(cntl, files.node_struct, ndim, log);
    const potentials potential = find_potentials(cntl, files, nodes, xvecr, log);
    grad_currents read;
    if (nvolte > 0) read = read_grad_currents(cntl, *files.circuits, nvolte, log);
    grad_currents* grads = nvolte > 0 ? &read : nullptr;
    const char* columns = cntl.iax == 1 ? "      noe, nop, br, bz, jtheta / hr, hz, etheta / \n"
                                        : "      noe, nop, bx, by, jz / hx, hy, ez / \n";
    write_table_head(log, files.table, "    === element results ===\n\n", columns);

    centre_derivatives prepared;
    prepare_centres(prepared);
    record_list list = felm_list(files.felm_struct, cntl.maxfelm);
    for (felm_struct_record felm; next_record(log, list, felm);) {
        std::size_t ahead[looked_at];
        const std::size_t places = places_ahead<felm_struct_record>(list, nodes.index, 16, ahead);
        for (std::size_t k = 0; k < places; ++k) {
            ask_for(&nodes.ggg.values[ahead[k]]);
            ask_for(&potential.aval[ahead[k]]);
        }
        const element_type& type = element_type_of(log, felm.type, felm.noe, "");
        const double sigma = conductivity_of(log, cntl, files.conductivities, felm);
        std::size_t place[most_nodes];
        find_nodes(cntl, nodes.index, "fem", felm.noe, type.nodes, felm.node, place, log);
        const felm_result_record field =
            evaluate(cntl, felm, type, prepared.of[&type - element_types], sigma, nodes, potential, place, grads, log);
        write_rows(files.table, field, log);
        write_value(log, files.results, field, "w");
    }
    write_value(log, files.results, felm_result_record{}, "w");
    if (grads != nullptr) write_grad_currents(files.table, *grads, log);
    flush_output(log, files.table);
    flush_output(log, files.results);
}

} // namespace tarnel
