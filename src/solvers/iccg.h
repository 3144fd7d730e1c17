#pragma once

#include "solvers/linear_system.h"

namespace tarnel
{

// Solves the system by conjugate gradients on the matrix scaled to a unit diagonal (iopt_solv 0 CG with a symmetric
// sweep, 1 ICCG with an incomplete factorisation without fill-in, 2 SCG without preconditioner) and writes the
// solution. Logs one line an iteration; the limit of iterations is not reported.
//   errors  those of the system's reading and scaling; "iopt_solv over the limit."; a pivot below eps_zero: "The global
//           matrix is singular."; "(w1)", "(w2)"
//   source  Meijerink and van der Vorst, Math. Comp. 31 (1977); Kershaw, J. Comput. Phys. 26 (1978)
void t_real_mtsolv_iccg(control cntl, solver_files files, std::FILE* log);

// Incomplete LDLT in place, no fill-in, on rows with a unit diagonal: slot 0 of each row becomes its pivot, the other
// slots the factor u.
//   errors  a pivot below eps_zero in magnitude, or a NaN: "The global matrix is singular.", row from 0 and the pivot
void factorise_incomplete(double eps_zero, matrix_rows& rows, std::FILE* log);

} // namespace tarnel
