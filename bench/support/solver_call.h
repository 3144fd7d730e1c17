// A solver of ours called on the files of the assembled system in the working directory. For programs that are linked
// with the library's own parts.
#pragma once

#include "common/arrays.h"
#include "common/control.h"
#include "common/records.h"
#include "common/streams.h"
#include "support/turns.h"

#include <cstdio>
#include <limits>
#include <stdexcept>

namespace tarnel_bench
{

inline constexpr const char* solver_log = "bench-solver.log";
inline constexpr const char* solver_solution = "bench-solution.tmp";

// With this for eps_zero no diagonal and no pivot is large enough: the solver ends as soon as it judges the first.
inline constexpr double above_all = std::numeric_limits<double>::max();

// No limits but those of memory, a relative tolerance of 1e-10, a factor of 1.
inline tarnel::control open_control()
{
    tarnel::control cntl;
    cntl.maxdim = cntl.maxnzero = cntl.itermax_solv = std::numeric_limits<std::int32_t>::max();
    cntl.eps_solv = 1e-10;
    cntl.accel_solv = 1.0;
    return cntl;
}

struct system_files {
    tarnel::input_file index, matrix, vector;
    tarnel::output_file solution;
};

// Calls `solve(files, log)` on open files, its log written line by line as in a run.
//   returns its CPU seconds, closing the solution included
//   errors  std::runtime_error when it refuses the system, unless `may_end` says that it may
template <class solver> double time_solver(solver solve, bool may_end = false)
{
    tarnel::keep_freed_memory(); // as a run does
    system_files files;
    const tarnel::owned_file log(std::fopen(solver_log, "wb"));
    if (!log || !open_input(log.get(), files.index, tarnel::index_file, tarnel::index_file) ||
        !open_input(log.get(), files.matrix, tarnel::matrix_file, tarnel::matrix_file) ||
        !open_input(log.get(), files.vector, tarnel::vector_file, tarnel::vector_file) ||
        !open_output(log.get(), files.solution, solver_solution, solver_solution, tarnel::content::binary))
        throw std::runtime_error("can't open the files of the system");
    std::setvbuf(log.get(), nullptr, _IOLBF, BUFSIZ);
    const double start = cpu_seconds();
    try {
        solve(files, log.get());
        close_output(log.get(), files.solution);
    } catch (const tarnel::run_ended&) {
        if (!may_end) throw std::runtime_error("our solver refuses the system: see its bench-solver.log");
    }
    return cpu_seconds() - start;
}

inline void remove_solver_files()
{
    std::remove(solver_log);
    std::remove(solver_solution);
}

} // namespace tarnel_bench
