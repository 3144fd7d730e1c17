#include "readers/felm_data.h"

#include "common/element_table.h"
#include "common/record_list.h"
#include "common/records.h"
#include "dataline/data_line.h"
#include "dataline/quick_line.h"

#include <algorithm>

namespace tarnel
{

constexpr std::int32_t largest_code = 1000000000;

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

static bool read_plain_head(const control& cntl, input_file& text, mesh_felm_record& felm)
{
    quick_line line;
    return begin_quick_line(text, line) && next_quick_integer(line, 0, cntl.maxfelm, felm.noe) &&
           next_quick_integer(line, 0, largest_code, felm.type) && next_quick_integer(line, 0, cntl.maxprp, felm.nop) &&
           end_quick_line(line, text);
}

static void read_any_head(const control& cntl, input_file& text, mesh_felm_record& felm, std::FILE* log)
{
    data_line line;
    read_line_of(line, 3, text, log);
    felm.noe = t_get_iprm(line, 1, 0, cntl.maxfelm, log);
    felm.type = t_get_iprm(line, 2, 0, largest_code, log);
    felm.nop = t_get_iprm(line, 3, 0, cntl.maxprp, log);
}

static bool read_plain_nodes(const control& cntl, input_file& text, std::int32_t count, std::int32_t node[])
{
    quick_line line;
    if (!begin_quick_line(text, line)) return false;
    for (std::int32_t j = 0; j < count; ++j)
        if (!next_quick_integer(line, 1, cntl.maxnog, node[j])) return false;
    return end_quick_line(line, text);
}

static void read_any_nodes(const control& cntl, input_file& text, std::int32_t count, std::int32_t node[],
                           std::FILE* log)
{
    data_line line;
    read_line_of(line, count, text, log);
    for (std::int32_t j = 0; j < count; ++j) node[j] = t_get_iprm(line, j + 1, 1, cntl.maxnog, log);
}

static void read_nodes(const control& cntl, input_file& text, std::int32_t nodes, std::int32_t node[], std::FILE* log)
{
    constexpr std::int32_t most_a_line = 8;
    for (std::int32_t done = 0; done < nodes; done += most_a_line) {
        const std::int32_t here = std::min(most_a_line, nodes - done);
        if (!read_plain_nodes(cntl, text, here, node + done)) read_any_nodes(cntl, text, here, node + done, log);
    }
}

void t_rd_felm_data(control cntl, felm_data_files files, std::FILE* log)
{
    log_lines(log, "    === in func. t_rd_felm_data ===\n"
                   "        Now, reading t-felm-data.txt. \n");
    for (std::int32_t k = 0; k < cntl.maxfelm; ++k) {
        mesh_felm_record felm;
        if (!read_plain_head(cntl, files.text, felm)) read_any_head(cntl, files.text, felm, log);
        if (felm.noe == 0) {
            write_value(log, files.felms, mesh_felm_record{}, "w");
            return flush_output(log, files.felms);
        }
        const std::int32_t nodes = node_count(felm.type, cntl.iax);
        if (nodes == 0) fail_element_type(log, felm.noe, ".");
        read_nodes(cntl, files.text, nodes, felm.node, log);
        write_value(log, files.felms, felm, "w");
    }
    fail_without_end(log, felms_text, "r", "noe", "maxfelm");
}

} // namespace tarnel
