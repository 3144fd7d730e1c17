#pragma once

#include "solvers/linear_system.h"

namespace tarnel
{

// Solves the system by Gauss-Seidel sweeps on the matrix scaled to a unit diagonal, with accel_solv as the factor of
// relaxation between sweeps, and writes the solution of the last sweep. Logs one line a sweep from the second on; the
// limit of sweeps is not reported.
//   errors  those of the system's reading and scaling; "(w1)", "(w2)"
//   source  Varga, Matrix Iterative Analysis
void t_real_mtsolv_seidel(control cntl, solver_files files, std::FILE* log);

} // namespace tarnel
