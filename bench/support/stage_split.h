// The time of a run split by its stages, at the headings that the log gives them.
#pragma once

#include "support/measured_run.h"

#include <array>
#include <cstddef>
#include <iterator>

namespace tarnel_bench
{

enum class stage_group { read, prep, assembly, solve, results };
inline constexpr std::array group_names = {"read", "prep", "assembly", "solve", "results"};

// A stretch of the run. The solver is cut once more, at its first and its last line on convergence.
struct stretch {
    const char* name;
    stage_group group;
    const char* heading; // how the line begins that opens it; null: opened otherwise
};

inline constexpr stretch stretches[] = {
    {"start", stage_group::read, nullptr},
    {"control data", stage_group::read, "    === Now, reading at-cntl-data.txt"},
    {"t_rd_lcs_data", stage_group::read, "    === func. t_rd_lcs_data"},
    {"t_rd_node_data", stage_group::read, "    === func. t_rd_node_data"},
    {"t_rd_felm_data", stage_group::read, "    === func. t_rd_felm_data"},
    {"at_rd_prop_data", stage_group::read, "    === func. at_rd_prop_data"},
    {"at_rd_fixc_data", stage_group::read, "    === func. at_rd_fixc_data"},
    {"circuit header", stage_group::read, "    === Now, reading t-volt-data1.tmp"},
    {"eat_check_node_data", stage_group::prep, "    === func. eat_check_node_data"},
    {"eat_set_node_struct", stage_group::prep, "    === func. eat_set_node_struct"},
    {"eat_set_matrix_index", stage_group::prep, "    === func. eat_set_matrix_index"},
    {"t_set_felm_cntr", stage_group::prep, "    === func. t_set_felm_cntr"},
    {"eat_set_felm_struct", stage_group::prep, "    === func. eat_set_felm_struct"},
    {"eat_calc_fem_matrix", stage_group::assembly, "    === func. eat_calc_fem_matrix"},
    {"solver: to the first iterate", stage_group::solve, "    ### matrix solver START"},
    {"solver: iterations", stage_group::solve, nullptr},
    {"solver: to the end", stage_group::solve, nullptr},
    {"eat_calc_node_resl", stage_group::results, "    === func. eat_calc_node_resl"},
    {"eat_calc_felm_resl", stage_group::results, "    === func. eat_calc_felm_resl"},
    {"end", stage_group::results, "    ### program END"},
};
inline constexpr std::size_t stretch_count = std::size(stretches);

struct stage_split {
    std::array<double, stretch_count> seconds{}; // of each stretch; all of them make up the run
    int iterations = 0;
};

double group_seconds(const stage_split& split, stage_group group);

// Mean of the iterations after the first, which is not seen apart from what precedes it; there must be two.
double iteration_seconds(const stage_split& split);

// Cuts a run at its headings; the end of the process closes the last stretch. The clock on the wall sees the waiting
// for disk and processor too.
//   errors  std::runtime_error for the heading of a stage that has no stretch, whose time would count for another
enum class run_clock { wall, cpu };
stage_split split_by_stage(const measured_run& run, run_clock clock = run_clock::wall);

} // namespace tarnel_bench
