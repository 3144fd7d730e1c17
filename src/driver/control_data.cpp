#include "driver/control_data.h"

#include "dataline/data_line.h"

namespace tarnel
{

constexpr std::int32_t largest_limit = 1000000000;

static void read_limits(control& cntl, data_line& line, input_file& in, std::FILE* log)
{
    t_rd_line(line, in, log);
    if (line.naprm != 7 && line.naprm != 8) fail_field_count(line, log); // an eighth field is never looked at
    cntl.maxnog = t_get_iprm(line, 1, 1, largest_limit, log);
    cntl.maxfelm = t_get_iprm(line, 2, 1, largest_limit, log);
    cntl.maxbelm = t_get_iprm(line, 3, 0, largest_limit, log);
    cntl.maxprp = t_get_iprm(line, 4, 1, largest_limit, log);
    cntl.maxdim = t_get_iprm(line, 5, 1, largest_limit, log);
    cntl.maxnzero = t_get_iprm(line, 6, 1, largest_limit, log);
    cntl.maxedg = t_get_iprm(line, 7, 1, largest_limit, log);
}

static void read_switches(control& cntl, data_line& line, input_file& in, std::FILE* log)
{
    read_line_of(line, 7, in, log);
    cntl.iopt_rdata = t_get_iprm(line, 1, 0, 1, log);
    cntl.iopt_prep = t_get_iprm(line, 2, 0, 1, log);
    cntl.iopt_proptv = t_get_iprm(line, 3, 0, 1, log);
    cntl.iopt_propsg = t_get_iprm(line, 4, 0, 1, log);
    cntl.iopt_h0vect = t_get_iprm(line, 5, 0, 1, log);
    cntl.iopt_j0vect = t_get_iprm(line, 6, 0, 1, log);
    cntl.iopt_belm = t_get_iprm(line, 7, 0, 1, log);
}

static void read_solver(control& cntl, data_line& line, input_file& in, std::FILE* log)
{
    constexpr std::int32_t largest_option[] = {1, 2, 1, largest_limit}; // by solver family
    read_line_of(line, 2, in, log);
    cntl.itype_solv = t_get_iprm(line, 1, 0, 3, log);
    cntl.iopt_solv = t_get_iprm(line, 2, 0, largest_option[cntl.itype_solv], log);
    if (cntl.itype_solv == 0) return;
    read_line_of(line, 3, in, log);
    cntl.itermax_solv = t_get_iprm(line, 1, 0, largest_limit, log);
    cntl.eps_solv = t_get_dprm(line, 2, 0.0, any_size, log);
    cntl.accel_solv = t_get_dprm(line, 3, 0.0, any_size, log);
}

void read_control_data(control& cntl, input_file& in, std::FILE* log)
{
    data_line line;
    read_limits(cntl, line, in, log);
    read_switches(cntl, line, in, log);
    read_line_of(line, 2, in, log);
    cntl.iopt_trans = t_get_iprm(line, 1, 0, 1, log);
    cntl.delta_t = t_get_dprm(line, 2, -any_size, any_size, log);
    read_solver(cntl, line, in, log);
    read_line_of(line, 2, in, log);
    const std::int32_t given = t_get_iprm(line, 1, 0, 1, log);
    const double eps_zero = t_get_dprm(line, 2, 0.0, any_size, log);
    if (given == 1) cntl.eps_zero = eps_zero;
    if (cntl.itype_solv != 3) return;
    read_line_of(line, 3, in, log);
    cntl.solv3_i1 = t_get_iprm(line, 1, 1, 3, log);
    cntl.solv3_i2 = t_get_iprm(line, 2, 1, 4, log);
    cntl.solv3_d = t_get_dprm(line, 3, 0.0, 0.8, log);
}

void read_dimension_data(control& cntl, input_file& in, std::FILE* log)
{
    data_line line;
    read_line_of(line, 1, in, log);
    cntl.iax = t_get_iprm(line, 1, 0, 1, log);
}

} // namespace tarnel
