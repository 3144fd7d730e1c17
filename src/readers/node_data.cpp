#include "readers/node_data.h"

#include "common/record_list.h"
#include "common/records.h"
#include "dataline/data_line.h"
#include "readers/lcs.h"

namespace tarnel
{

void t_rd_node_data(control cntl, node_data_files files, std::FILE* log)
{
    log_lines(log, "    === in func. t_rd_node_data ===\n");
    const lcs_table systems = t_rd_lcs_struct(cntl, files.lcs, log);
    log_lines(log, "        Now, reading t-node-data.txt. \n");
    data_line line;
    for (std::int32_t k = 0; k < cntl.maxnog; ++k) {
        read_line_of(line, 5, files.text, log);
        mesh_node_record node;
        node.nog = t_get_iprm(line, 1, 0, cntl.maxnog, log);
        const std::int32_t lno = t_get_iprm(line, 2, 0, cntl.maxprp, log);
        double point[3];
        for (int c = 0; c < 3; ++c) point[c] = t_get_dprm(line, 3 + c, -any_size, any_size, log);
        if (node.nog == 0) {
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
