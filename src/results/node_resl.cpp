#include "results/node_resl.h"

#include "assembly/node_values.h"
#include "common/number_text.h"
#include "common/record_list.h"
#include "common/records.h"
#include "results/solution.h"

namespace tarnel
{

static void write_row(output_file& table, const node_struct_record& node, double potential, std::FILE* log)
{
    write_made<160>(log, table, "w", [&](char* at) {
        at = put_int(put_text(at, "  "), node.nog, 10);
        for (const double value : {node.x, node.y, potential}) at = put_e15_5(put_text(at, " "), value);
        return put_text(at, " \n");
    });
}

void eat_calc_node_resl(control cntl, node_resl_files files, std::FILE* log)
{
    log_lines(log, "    === in func. eat_calc_node_resl ===\n");
    const auto ndim = read_value<std::int32_t>(log, files.solution, "r1");
    log_lines(log, "      ndim = %d \n", ndim);
    if (ndim <= 0) fail(log, "      Error. ndim <= 0.\n");
    const owned_array<double> xvecr = read_solution_values(files.solution, ndim, log);
    const char* columns = cntl.iax == 0   ? "      nog, x, y, Az ... \n"
                          : cntl.iax == 1 ? "      nog, r, z, Atheta ... \n"
                                          : "";
    write_table_head(log, files.table, "    === nodal results ===\n\n", columns);

    record_list list = node_list(files.node_struct, cntl.maxnog);
    for (node_struct_record copy; const node_struct_record* next = next_node(list, copy, ndim, log);) {
        const node_struct_record& node = *next;
        if (node.nufai == 0) continue;
        const double potential = node_potential(node.nufai, node.fai0, node.acoef, xvecr.get());
        write_row(files.table, node, potential, log);
        write_value(log, files.results, potential_record{node.nog, 0, potential}, "w");
    }
    write_value(log, files.results, potential_record{}, "w");
    flush_output(log, files.table);
    flush_output(log, files.results);
}

} // namespace tarnel
