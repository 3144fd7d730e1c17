#include "readers/felm_data.h"

#include "common/element_table.h"
#include "common/record_list.h"
#include "common/records.h"
#include "dataline/data_line.h"

#include <algorithm>

namespace tarnel
{

// Node count of a type in this geometry, 0 for a type that the geometry does not have.
static std::int32_t node_count(std::int32_t code, std::int32_t iax)
{
    if (iax == 2) {
        const solid_type* solid = find_solid_type(code);
        return solid == nullptr ? 0 : solid->nodes;
    }
    const element_type* planar = find_element_type(code);
    return planar == nullptr ? 0 : planar->nodes;
}

static void read_nodes(mesh_felm_record& felm, std::int32_t nodes, data_line& line, const control& cntl,
                       input_file& text, std::FILE* log)
{
    constexpr std::int32_t most_a_line = 8;
    for (std::int32_t done = 0; done < nodes; done += most_a_line) {
        const std::int32_t here = std::min(most_a_line, nodes - done);
        read_line_of(line, here, text, log);
        for (std::int32_t j = 0; j < here; ++j) felm.node[done + j] = t_get_iprm(line, j + 1, 1, cntl.maxnog, log);
    }
}

void t_rd_felm_data(control cntl, felm_data_files files, std::FILE* log)
{
    constexpr std::int32_t largest_code = 1000000000;
    log_lines(log, "    === in func. t_rd_felm_data ===\n"
                   "        Now, reading t-felm-data.txt. \n");
    data_line line;
    for (std::int32_t k = 0; k < cntl.maxfelm; ++k) {
        read_line_of(line, 3, files.text, log);
        mesh_felm_record felm;
        felm.noe = t_get_iprm(line, 1, 0, cntl.maxfelm, log);
        felm.type = t_get_iprm(line, 2, 0, largest_code, log);
        felm.nop = t_get_iprm(line, 3, 0, cntl.maxprp, log);
        if (felm.noe == 0) {
            write_value(log, files.felms, mesh_felm_record{}, "w");
            return flush_output(log, files.felms);
        }
        const std::int32_t nodes = node_count(felm.type, cntl.iax);
        if (nodes == 0) fail_element_type(log, felm.noe, ".");
        read_nodes(felm, nodes, line, cntl, files.text, log);
        write_value(log, files.felms, felm, "w");
    }
    fail_without_end(log, felms_text, "r", "noe", "maxfelm");
}

} // namespace tarnel
