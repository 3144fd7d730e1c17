#include "readers/node_data.h"

#include "common/record_list.h"
#include "common/records.h"
#include "dataline/data_line.h"
#include "dataline/quick_line.h"
#include "readers/lcs.h"

namespace tarnel
{

struct node_line {
    std::int32_t nog, lno;
    double point[3];
};

static bool read_plain_line(const control& cntl, input_file& text, node_line& node)
{
    quick_line line;
    return begin_quick_line(text, line) && next_quick_integer(line, 0, cntl.maxnog, node.nog) &&
           next_quick_integer(line, 0, cntl.maxprp, node.lno) && next_quick_double(line, node.point[0]) &&
           next_quick_double(line, node.point[1]) && next_quick_double(line, node.point[2]) &&
           end_quick_line(line, text);
}

static void read_any_line(const control& cntl, input_file& text, node_line& node, std::FILE* log)
{
    data_line line;
    read_line_of(line, 5, text, log);
    node.nog = t_get_iprm(line, 1, 0, cntl.maxnog, log);
    node.lno = t_get_iprm(line, 2, 0, cntl.maxprp, log);
    for (int c = 0; c < 3; ++c) node.point[c] = t_get_dprm(line, 3 + c, -any_size, any_size, log);
}

void t_rd_node_data(control cntl, node_data_files files, std::FILE* log)
{
    log_lines(log, "    === in func. t_rd_node_data ===\n");
    const lcs_table systems = t_rd_lcs_struct(cntl, files.lcs, log);
    log_lines(log, "        Now, reading t-node-data.txt. \n");
    for (std::int32_t k = 0; k < cntl.maxnog; ++k) {
        node_line read;
        if (!read_plain_line(cntl, files.text, read)) read_any_line(cntl, files.text, read, log);
        auto& [nog, lno, point] = read;
        mesh_node_record node;
        node.nog = nog;
        if (nog == 0) {
            write_value(log, files.nodes, node, "w");
            return flush_output(log, files.nodes);
        }
        if (lno > 0) t_lcs_point(point, cntl.deg2rad, t_get_lcs(systems, lno, log));
        node.x = point[0], node.y = point[1], node.z = point[2];
        write_value(log, files.nodes, node, "w");
    }
    fail_without_end(log, nodes_text, "r", "nog", "maxnog");
}

} // namespace tarnel
