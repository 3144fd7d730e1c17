#include "solvers/seidel.h"

#include "common/number_text.h"

#include <algorithm>
#include <cmath>

namespace tarnel
{

// Sums of squares over a group of unknowns, ascending.
struct change_sums {
    double change = 0.0; // of x - x0
    double size = 0.0;   // of x
};

// One sweep over the rows [first, last): x_i is final once the rows before it have been visited and its own couplings
// to the previous iterate are subtracted, so the sums and the relaxed iterate are formed in the same pass.
static change_sums sweep_rows(const matrix_rows& rows, std::size_t first, std::size_t last, double omega, double x[],
                              double x0[])
{
    const std::int32_t* columns = rows.mindex.get();
    const double* a = rows.amatr.get();
    change_sums sums;
    for (std::size_t i = first; i < last; ++i) {
        const std::int64_t begin = rows.start[i] + 1, end = rows.start[i + 1];
        double behind = 0.0;
        for (std::int64_t t = begin; t < end; ++t) behind += a[t] * x0[columns[t]];
        const double xi = x[i] - behind;
        x[i] = xi;
        for (std::int64_t t = begin; t < end; ++t) x[columns[t]] -= a[t] * xi;
        const double change = xi - x0[i];
        sums.change += change * change;
        sums.size += xi * xi;
        x0[i] = omega * xi + (1.0 - omega) * x0[i];
    }
    return sums;
}

// 0 where a sum counts as zero; a NaN stays one, so that a diverged iterate never counts as converged.
static double relative_change(const change_sums& sums, double eps_zero)
{
    if (sums.change <= eps_zero || sums.size <= eps_zero) return 0.0;
    return std::sqrt(sums.change) / std::sqrt(sums.size);
}

// Sweeps from zero; unknowns below ndim1 and from it on are judged apart.
static void sweep(const control& cntl, const matrix_rows& rows, std::int32_t ndim1, const double b[], double x[],
                  double x0[], std::FILE* log)
{
    const auto n = static_cast<std::size_t>(rows.ndim), group = static_cast<std::size_t>(ndim1);
    for (std::int32_t iter = 0; iter < cntl.itermax_solv; ++iter) {
        std::copy(b, b + n, x);
        const change_sums first = sweep_rows(rows, 0, group, cntl.accel_solv, x, x0);
        const change_sums second = sweep_rows(rows, group, n, cntl.accel_solv, x, x0);
        if (iter == 0) continue;
        double eps = relative_change(first, cntl.eps_zero);
        const double eps_second = relative_change(second, cntl.eps_zero);
        if (!(eps_second <= eps)) eps = eps_second;
        log_lines(log, "      GS solver convergence iter = %d  eps = %s \n", iter, as_e(eps).text);
        if (eps < cntl.eps_solv) break;
    }
}

void t_real_mtsolv_seidel(control cntl, solver_files files, std::FILE* log)
{
    log_lines(log, "    === in func. t_real_mtsolv_seidel ===\n");
    system_head head = read_matrix(cntl, files.index, files.matrix, trailers::read, log);
    matrix_rows& rows = head.rows;
    const auto n = static_cast<std::size_t>(rows.ndim);
    const owned_array<double> uvecr = read_right_side(files.vector, rows.ndim, head.ndim1, log);
    const owned_array<double> xvecr = zero_array<double>(log, "xvecr", n);
    const owned_array<double> xvecr0 = zero_array<double>(log, "xvecr0", n);
    scale_system(cntl.eps_zero, rows, uvecr.get(), log);

    double size = 0.0;
    for (std::size_t i = 0; i < n; ++i) size += uvecr[i] * uvecr[i];
    if (size < cntl.eps_zero) {
        log_lines(log, "      Warning. norm of right-side vector is zero.\n");
    } else {
        sweep(cntl, rows, head.ndim1, uvecr.get(), xvecr.get(), xvecr0.get(), log);
        for (std::size_t i = 0; i < n; ++i) xvecr[i] = rows.amatr[static_cast<std::size_t>(rows.start[i])] * xvecr[i];
    }
    write_solution(files.solution, rows.ndim, xvecr.get(), log);
}

} // namespace tarnel
