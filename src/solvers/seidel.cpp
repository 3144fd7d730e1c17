#include "solvers/seidel.h"

#include "common/number_text.h"
#include "solvers/couplings.h"
#include "solvers/vector_kernel.h"

#include <algorithm>
#include <cmath>

namespace tarnel
{

// Sums of squares over a group of unknowns, unknown i in part i mod 8, ascending.
struct change_sums {
    part_sums change; // of x - x0
    part_sums size;   // of x
};

// A sweep under way; x and x0 have n + 1 places, the last for the fillers of the couplings.
struct sweep_state {
    const coupling_pattern& pattern;
    double omega;
    const double* b;
    double* x;
    double* x0;
    three_at at;           // of the next row
    std::size_t ready = 0; // unknowns that x has taken from b
};

// x_i of a row with more than one three; `at` moves on to the next row.
static double visit_long_row(three_at& at, double xi, double x[], const double x0[])
{
    const three_at row = at;
    double behind = 0.0;
    do {
        behind += at.value[0] * x0[at.unknown[0]];
        behind += at.value[1] * x0[at.unknown[1]];
        behind += at.value[2] * x0[at.unknown[2]];
        step_on(at);
    } while (*at.opens == 0);
    xi -= behind;
    for (three_at t = row; t.opens != at.opens; step_on(t))
        for (int k = 0; k < 3; ++k) x[t.unknown[k]] -= t.value[k] * xi;
    return xi;
}

// The rows [first, last) of a sweep. x_i is final once the rows before it have been visited and its own couplings to
// the previous iterate are subtracted; the sums and the relaxed iterate are formed in the same pass.
static change_sums sweep_rows(sweep_state& s, std::size_t first, std::size_t last)
{
    double *x = s.x, *x0 = s.x0;
    const double omega = s.omega, rest = 1.0 - s.omega;
    change_sums sums;
    three_at t = s.at;
    for (std::size_t i = first; i < last; ++i) {
        if (i % rows_of_a_block == 0) {
            const std::size_t reach = reach_of(s.pattern, i, 1);
            std::copy(s.b + s.ready, s.b + reach, x + s.ready);
            s.ready = reach;
        }
        double xi = x[i];
        if (t.opens[1] == 1) [[likely]] {
            const double a0 = t.value[0], a1 = t.value[1], a2 = t.value[2];
            const std::ptrdiff_t j0 = t.unknown[0], j1 = t.unknown[1], j2 = t.unknown[2];
            xi -= 0.0 + a0 * x0[j0] + a1 * x0[j1] + a2 * x0[j2];
            x[j0] -= a0 * xi;
            x[j1] -= a1 * xi;
            x[j2] -= a2 * xi;
            step_on(t);
        } else {
            xi = visit_long_row(t, xi, x, x0);
        }
        x[i] = xi;
        const double change = xi - x0[i];
        sums.change.part[i % sum_parts] += change * change;
        sums.size.part[i % sum_parts] += xi * xi;
        x0[i] = omega * xi + rest * x0[i];
    }
    s.at = t;
    return sums;
}

// 0 where a sum counts as zero; a NaN stays one, so that a diverged iterate never counts as converged.
static double relative_change(const change_sums& sums, double eps_zero)
{
    const double change = total(sums.change), size = total(sums.size);
    if (change <= eps_zero || size <= eps_zero) return 0.0;
    return std::sqrt(change) / std::sqrt(size);
}

// Sweeps from zero; unknowns below ndim1 and from it on are judged apart.
static void sweep(const control& cntl, const coupling_pattern& pattern, const double a[], std::int32_t ndim1,
                  const double b[], double x[], double x0[], std::FILE* log)
{
    const auto group = static_cast<std::size_t>(ndim1);
    for (std::int32_t iter = 0; iter < cntl.itermax_solv; ++iter) {
        x[pattern.n] = x0[pattern.n] = 1.0;
        sweep_state state{
            .pattern = pattern, .omega = cntl.accel_solv, .b = b, .x = x, .x0 = x0, .at = first_three(pattern, a)};
        const change_sums first = sweep_rows(state, 0, group);
        const change_sums second = sweep_rows(state, group, pattern.n);
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
    const owned_array<double> xvecr = zero_array<double>(log, "xvecr", n + 1);
    const owned_array<double> xvecr0 = zero_array<double>(log, "xvecr0", n + 1);
    scale_system(cntl.eps_zero, rows, uvecr.get(), log);

    double size = 0.0;
    for (std::size_t i = 0; i < n; ++i) size += uvecr[i] * uvecr[i];
    if (size < cntl.eps_zero) {
        log_lines(log, "      Warning. norm of right-side vector is zero.\n");
    } else {
        const coupling_pattern pattern = make_coupling_pattern(log, "mindex", rows);
        const owned_array<double> a = make_coupling_values(log, "amatr", pattern, rows, rows.amatr.get());
        sweep(cntl, pattern, a.get(), head.ndim1, uvecr.get(), xvecr.get(), xvecr0.get(), log);
        for (std::size_t i = 0; i < n; ++i) xvecr[i] = rows.amatr[static_cast<std::size_t>(rows.start[i])] * xvecr[i];
    }
    write_solution(files.solution, rows.ndim, xvecr.get(), log);
}

} // namespace tarnel
