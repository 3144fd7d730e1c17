// Eigen: ConjugateGradient on both triangles with IncompleteCholesky in the natural order, or alone. Its factor keeps
// the number of terms of each column, not their places, so that its iterations are its own.
#include "peers/cg_peers.h"

#include <Eigen/IterativeLinearSolvers>
#include <Eigen/SparseCore>

#include <ctime>

namespace
{

using sparse = Eigen::SparseMatrix<double, Eigen::RowMajor, int>;

double cpu_seconds_now()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

template <class preconditioner> int solve(const cg_peer_system& system, cg_peer_result& result)
{
    const Eigen::Map<const sparse> matrix(system.n, system.n, system.start[system.n], system.start, system.column,
                                          system.value);
    const Eigen::Map<const Eigen::VectorXd> b(system.right_side, system.n);
    const sparse own = matrix;
    const double begin = cpu_seconds_now();
    Eigen::ConjugateGradient<sparse, Eigen::Lower | Eigen::Upper, preconditioner> solver;
    solver.setTolerance(system.eps);
    solver.setMaxIterations(1000000);
    solver.compute(own);
    Eigen::Map<Eigen::VectorXd>(result.solution, system.n) = solver.solve(b);
    result.seconds = cpu_seconds_now() - begin;
    result.iterations = static_cast<int>(solver.iterations());
    return solver.info() == Eigen::Success ? 0 : 1;
}

} // namespace

int solve_with_eigen(const cg_peer_system* system, cg_peer_kind kind, cg_peer_result* result)
{
    switch (kind) {
    case peer_incomplete_factors:
        return solve<Eigen::IncompleteCholesky<double, Eigen::Lower, Eigen::NaturalOrdering<int>>>(*system, *result);
    case peer_scaling_only:
        return solve<Eigen::DiagonalPreconditioner<double>>(*system, *result);
    case peer_symmetric_sweep:
        break;
    }
    return 1; // has none
}
