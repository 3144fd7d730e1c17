// The log of a run, section by section in the order in which a run writes them.
#pragma once

#include "support/process.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace tarnel_test
{

inline std::string announced(const std::string& stage)
{
    return "    === func. " + stage + " ===\n";
}
inline std::string entered(const std::string& stage)
{
    return "    === in func. " + stage + " ===\n";
}
inline std::string now_reading(const std::string& file)
{
    return "    === Now, reading " + file + " ===\n";
}
inline std::string cannot_open(const std::string& file)
{
    return "  Error. Can't open " + file + ".\n";
}

inline std::string log_start()
{
    return "\n"
           "  ORVAN  <tarnel> May.2006\n"
           "\n"
           "  Copyright (c) the tarnel authors\n"
           "    ### program START <time>\n";
}

inline std::string log_control()
{
    return now_reading("at-cntl-data.txt") + now_reading("t-dimension-data.txt");
}

inline std::string log_reader(const std::string& stage, const std::string& file)
{
    return announced(stage) + entered(stage) + "        Now, reading " + file + ". \n";
}

inline std::string log_readers()
{
    return log_reader("t_rd_lcs_data", "t-lcs-data.txt") + log_reader("t_rd_node_data", "t-node-data.txt") +
           log_reader("t_rd_felm_data", "t-felm-data.txt") + log_reader("at_rd_prop_data", "at-prop-data.txt") +
           log_reader("at_rd_fixc_data", "at-fixc-data.txt");
}

inline std::string log_no_circuits()
{
    return now_reading("t-volt-data1.tmp") + "  Note. Can't open t-volt-data1.tmp.\n";
}

inline std::string log_preparation(int ndim)
{
    return announced("eat_check_node_data") + entered("eat_check_node_data") + announced("eat_set_node_struct") +
           entered("eat_set_node_struct") + "      ndim(total no. of unknown) = " + std::to_string(ndim) + " \n" +
           announced("eat_set_matrix_index") + entered("eat_set_matrix_index") + announced("t_set_felm_cntr") +
           entered("t_set_felm_cntr");
}

inline std::string log_felm_struct()
{
    return announced("eat_set_felm_struct") + entered("eat_set_felm_struct");
}

inline std::string log_no_previous()
{
    return "  Note. There isn't the file at-npresl-struct.tmp.\n";
}

inline std::string log_ndim(int ndim)
{
    return "      ndim = " + std::to_string(ndim) + " \n";
}

inline std::string log_assembly(int ndim)
{
    return announced("eat_calc_fem_matrix") + entered("eat_calc_fem_matrix") + log_ndim(ndim);
}

inline std::string log_solver_start()
{
    return "    ### matrix solver START  <time>\n" + announced("t_real_mtsolv_****");
}
inline std::string log_solver_end()
{
    return "    ### matrix solver END    <time>\n";
}

inline std::string log_solution(int ndim)
{
    return log_solver_start() + entered("t_real_mtsolv_iccg") + log_ndim(ndim) + "<iterations>\n" + log_solver_end();
}

inline std::string log_results(int ndim)
{
    return announced("eat_calc_node_resl") + entered("eat_calc_node_resl") + log_ndim(ndim) +
           announced("eat_calc_felm_resl") + entered("eat_calc_felm_resl");
}

inline std::string log_end()
{
    return "    ### program END   <time>\n"
           "    === The end. ===\n";
}

// A whole run without circuits, by the conjugate gradients.
inline std::string whole_log(int ndim)
{
    return log_start() + log_control() + log_readers() + log_no_circuits() + log_preparation(ndim) + log_felm_struct() +
           log_assembly(ndim) + log_solution(ndim) + log_results(ndim) + log_end();
}

// Takes `start` off the front of a line; false, and the line as it was, when it does not begin with that.
inline bool take(std::string_view& line, std::string_view start)
{
    if (!line.starts_with(start)) return false;
    line.remove_prefix(start.size());
    return true;
}

// Takes off digits, at least and at most so many.
inline bool take_digits(std::string_view& line, std::size_t least, std::size_t most)
{
    const std::size_t count = std::min(line.find_first_not_of("0123456789"), line.size());
    if (count < least || count > most) return false;
    line.remove_prefix(count);
    return true;
}

// Takes off a positive number as "%e" gives it.
inline bool take_number(std::string_view& line)
{
    return take_digits(line, 1, 1) && take(line, ".") && take_digits(line, 6, 6) && take(line, "e") &&
           (take(line, "+") || take(line, "-")) && take_digits(line, 2, 3);
}

// Replaces the iteration lines, which must be numbered from 0 without a gap, by one line <iterations>: their figures
// follow rounding. `head` is the start of each, up to and with the solver's name.
inline std::string without_iterations(const std::string& log, const std::string& head)
{
    std::string kept;
    int iterations = 0;
    for (std::size_t start = 0; start < log.size();) {
        const std::size_t end = std::min(log.find('\n', start), log.size() - 1);
        const std::string line = log.substr(start, end + 1 - start);
        std::string_view rest = line;
        if (take(rest, head + " solver convergence iter = " + std::to_string(iterations) + " deps = ") &&
            take_number(rest) && take(rest, "  rnorm = ") && take_number(rest) && take(rest, " unorm = ") &&
            take_number(rest) && rest == " \n") {
            if (iterations++ == 0) kept += "<iterations>\n";
        } else {
            kept += line;
        }
        start = end + 1;
    }
    return kept;
}

// The log of a run by ICCG without what differs from run to run.
inline std::string plain(const std::string& log)
{
    return without_iterations(without_times(log), "      ICCG");
}

} // namespace tarnel_test
