#include "circuit/felm_struct_voltr.h"

#include "circuit/edge_files.h"
#include "circuit/volt_files.h"
#include "common/by_element.h"
#include "common/element_table.h"
#include "common/record_list.h"
#include "common/records.h"
#include "readers/lcs.h"

#include <cstring>

namespace tarnel
{

owned_array<double> read_circuit_unknowns(input_file& in, std::int64_t count, std::FILE* log)
{
    const auto n = static_cast<std::size_t>(count);
    if (bytes_left(in) / sizeof(double) < n) fail_in_file(log, in.name, "r:fsolr");
    owned_array<double> fsolr = zero_array<double>(log, "fsolr", n);
    read_values(log, in, fsolr.get(), n, "r:fsolr");
    return fsolr;
}

// The nodes are only checked: no source depends on them.
static void check_nodes(const control& cntl, input_file& in, std::FILE* log)
{
    record_list list = node_list(in, cntl.maxnog);
    for (node_struct_record node; next_record(log, list, node);) continue;
}

static bool is_known_type(std::int32_t code)
{
    return find_element_type(code) != nullptr || find_solid_type(code) != nullptr || code == 305;
}

// What the circuits drive in an element.
struct driven_circuits {
    circuit_tables tables;
    lcs_table systems;
    owned_array<double> fsolr; // circuit-field unknowns
};

// Current of a source [A]; none for one without an unknown.
static const double* current_of(const driven_circuits& circuits, const conductor& source)
{
    const std::int32_t iuv = edge_unknown(circuits.tables, source.novlt);
    return iuv <= 0 ? nullptr : &circuits.fsolr[static_cast<std::size_t>(iuv + circuits.tables.counts.nvoltg - 1)];
}

static void scale_pattern(const driven_circuits& circuits, felm_struct_record& felm)
{
    double pattern[3];
    std::memcpy(pattern, felm.j0vec, sizeof pattern);
    for (double& component : felm.j0vec) component = 0.0;
    for (const conductor& source : conductors_of(circuits.tables, felm.nop)) {
        if (source.iswjh != 1) continue;
        const double* current = current_of(circuits, source);
        if (current == nullptr) continue;
        for (int c = 0; c < 3; ++c) felm.j0vec[c] += pattern[c] * *current;
    }
}

static void add_directions(const control& cntl, const driven_circuits& circuits, const double centre[3],
                           felm_struct_record& felm, std::FILE* log)
{
    for (const conductor& source : conductors_of(circuits.tables, felm.nop)) {
        if (source.iswjh <= 0) continue;
        const double* current = current_of(circuits, source);
        if (current == nullptr) continue;
        double direction[3];
        global_direction(cntl, circuits.systems, source, centre, direction, log);
        if (source.iswjh > 2) continue;
        double* target = source.iswjh == 1 ? felm.j0vec : felm.hvec;
        for (int c = 0; c < 3; ++c) target[c] += direction[c] * *current;
    }
}

static driven_circuits read_circuits(const control& cntl, felm_struct_voltr_files files, std::int32_t nvolte,
                                     std::FILE* log)
{
    driven_circuits circuits;
    circuits.systems = t_rd_lcs_struct(cntl, files.lcs, log);
    check_nodes(cntl, files.node_struct, log);
    circuits.tables = t_rd_volt_files(cntl, nvolte, files.data1, files.data2, log);
    const auto nvolt = read_value<std::int32_t>(log, files.circuit_solution, "r:nvolt");
    if (nvolte > nvolt)
        fail(log,
             "      Error. in %s(r:nvolt).\n"
             "             nvolt is different.\n",
             files.circuit_solution.name);
    circuits.fsolr = read_circuit_unknowns(files.circuit_solution, nvolte, log);
    return circuits;
}

void at_ch_felm_struct_voltr(control cntl, felm_struct_voltr_files files, std::int32_t nvolte, std::FILE* log)
{
    log_lines(log, "    === in func. at_ch_felm_struct_voltr ===\n");
    const driven_circuits circuits = read_circuits(cntl, files, nvolte, log);
    record_list list = felm_list(files.before, cntl.maxfelm);
    for (felm_struct_record felm; next_record(log, list, felm);) {
        if (!is_known_type(felm.type)) fail_element_type(log, felm.noe, "");
        if (felm.nop < 0 || felm.nop > cntl.maxprp) fail(log, "      Error. prop no. over the limit.\n");
        double centre[3];
        read_centre(log, files.centres, felm.noe, shown_numbers::both, centre);
        if (region_of(circuits.tables, felm.nop).iswvlt == 1) {
            if (cntl.iopt_j0vect == 1)
                scale_pattern(circuits, felm);
            else
                add_directions(cntl, circuits, centre, felm, log);
        }
        write_value(log, files.felm_struct, felm, "w");
    }
    write_value(log, files.felm_struct, felm_struct_record{}, "w");
    flush_output(log, files.felm_struct);
}

} // namespace tarnel
