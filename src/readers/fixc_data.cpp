#include "readers/fixc_data.h"

#include "common/record_list.h"
#include "common/records.h"
#include "dataline/data_line.h"

namespace tarnel
{

static void read_edge_section(data_line& line, const control& cntl, fixc_data_files files, std::FILE* log)
{
    const std::int32_t limit = edge_section_limit(cntl);
    for (std::int32_t k = 0; k < limit; ++k) {
        read_line_of(line, 6, files.text, log);
        const std::int32_t n1 = t_get_iprm(line, 1, 0, cntl.maxnog, log);
        const std::int32_t k1 = t_get_iprm(line, 2, 0, cntl.maxnog, log);
        const double c1 = t_get_dprm(line, 3, -any_size, any_size, log);
        const std::int32_t k2 = t_get_iprm(line, 4, 0, cntl.maxnog, log);
        const std::int32_t k3 = t_get_iprm(line, 5, 0, cntl.maxnog, log);
        const double c2 = t_get_dprm(line, 6, -any_size, any_size, log);
        write_value(log, files.conditions, n1, "w-a1");
        if (n1 == 0) return;
        write_value(log, files.conditions, k1, "w-a2");
        write_value(log, files.conditions, c1, "w-a3");
        write_value(log, files.conditions, k2, "w-a4");
        write_value(log, files.conditions, k3, "w-a5");
        write_value(log, files.conditions, c2, "w-a6");
    }
    fail_without_end(log, conditions_text, "r-a", "n1", "maxedg");
}

static void read_node_section(data_line& line, const control& cntl, fixc_data_files files, std::FILE* log)
{
    for (std::int32_t k = 0; k < cntl.maxnog; ++k) {
        read_line_of(line, 4, files.text, log);
        const std::int32_t nog = t_get_iprm(line, 1, 0, cntl.maxnog, log);
        const double fai0 = t_get_dprm(line, 2, -any_size, any_size, log);
        const std::int32_t noi = t_get_iprm(line, 3, 0, cntl.maxnog, log);
        const double acoef = t_get_dprm(line, 4, -any_size, any_size, log);
        write_value(log, files.conditions, nog, "w-f1");
        if (nog == 0) return;
        write_value(log, files.conditions, fai0, "w-f2");
        write_value(log, files.conditions, noi, "w-f3");
        write_value(log, files.conditions, acoef, "w-f4");
    }
    fail_without_end(log, conditions_text, "r-f", "nog", "maxnog");
}

void at_rd_fixc_data(control cntl, fixc_data_files files, std::FILE* log)
{
    log_lines(log, "    === in func. at_rd_fixc_data ===\n"
                   "        Now, reading at-fixc-data.txt. \n");
    data_line line;
    read_edge_section(line, cntl, files, log);
    read_node_section(line, cntl, files, log);
    flush_output(log, files.conditions);
}

} // namespace tarnel
