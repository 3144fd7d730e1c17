#include "solvers/iccg.h"

#include "common/number_text.h"
#include "solvers/gradient_passes.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace tarnel
{

enum variant : std::int32_t { cg = 0, iccg = 1, scg = 2 };

void factorise_incomplete(double eps_zero, matrix_rows& rows, std::FILE* log)
{
    const std::int32_t* columns = rows.mindex.get();
    double* a = rows.amatr.get();
    for (std::int32_t i = 0; i < rows.ndim; ++i) {
        const std::int64_t first = rows.start[static_cast<std::size_t>(i)];
        const std::int64_t last = rows.start[static_cast<std::size_t>(i) + 1];
        const double p = a[first];
        if (!(std::fabs(p) >= eps_zero))
            fail(log,
                 "      Error. The global matrix is singular.\n"
                 "             unknown no. = %d  %s \n",
                 i, as_e(p).text);
        for (std::int64_t k = first + 1; k < last; ++k) a[k] /= p;
        for (std::int64_t k = first + 1; k < last; ++k)
            a[rows.start[static_cast<std::size_t>(columns[k])]] -= a[k] * a[k] * p;
        for (std::int64_t k = first + 1; k < last; ++k) {
            const double pu = p * a[k];
            const auto j = static_cast<std::size_t>(columns[k]);
            const std::int64_t row_end = rows.start[j + 1];
            std::int64_t t = rows.start[j] + 1; // both lists ascend: the search goes on where the last one stopped
            for (std::int64_t m = k + 1; m < last; ++m) {
                while (t < row_end && columns[t] < columns[m]) ++t;
                if (t < row_end && columns[t] == columns[m]) a[t] -= pu * a[m];
            }
        }
    }
}

// What an iteration passes through.
struct preconditioned_system {
    variant kind;
    row_order order;
    coupling_pattern pattern;
    owned_array<double> products; // scaled matrix, which is CG's factor too
    owned_array<double> factors;  // of ICCG
    owned_array<double> pivots;   // of ICCG
};

static void tell_convergence(const preconditioned_system& system, std::int32_t iter, double deps, double rnorm,
                             const number_text& unorm, gathered_lines& lines)
{
    constexpr const char* head[] = {"        CG", "      ICCG", "       SCG"};
    gather_line(lines, system.pattern.places, "%s solver convergence iter = %d deps = %s  rnorm = %s unorm = %s \n",
                head[system.kind], iter, as_e(deps).text, as_e(rnorm).text, unorm.text);
}

// Iterates from x = 0, which it leaves alone where the right-hand side counts as zero.
static void iterate(const control& cntl, const preconditioned_system& system, gradient_vectors& v,
                    gathered_lines& lines)
{
    const std::size_t places = system.pattern.places;
    const double* factor = system.kind == iccg ? system.factors.get() : system.products.get();
    if (system.kind == scg) factor = nullptr;
    const double* z = residual_for(v, factor);
    const auto backward = [&](double residual) { // (r, z)
        return factor != nullptr ? backward_pass(v, system.pattern, factor, system.pivots.get()) : residual;
    };
    const double square = inner_product_by_parts(*v.kernel, places, v.r.get(), v.r.get()), unorm = std::sqrt(square);
    const number_text unorm_text = as_e(unorm);
    first_forward_pass(v, system.pattern, factor);
    double rho = backward(square);
    if (cntl.eps_zero > std::fabs(rho)) {
        gather_line(lines, 0, "      Warning. norm of right-side vector is zero.\n");
        return;
    }
    double alpha = 0.0, beta = 0.0; // x = x + alpha p waits for the next pass over p
    for (std::int32_t iter = 0; iter < cntl.itermax_solv; ++iter) {
        const double pap = iter == 0 ? first_product_pass(v, system.pattern, system.products.get(), z)
                                     : product_pass(v, system.pattern, system.products.get(), z, alpha, beta);
        if (cntl.eps_zero > std::fabs(pap)) {
            gather_line(lines, 0, "      Note. {p}[A]{p} is zero.\n");
            return;
        }
        alpha = rho / pap;
        const double residual = forward_pass(v, system.pattern, factor, alpha), rnorm = std::sqrt(residual);
        const double deps = rnorm / unorm;
        tell_convergence(system, iter, deps, rnorm, unorm_text, lines);
        if (cntl.eps_solv > deps) break;
        const double rho_new = backward(residual);
        if (cntl.eps_zero > std::fabs(rho_new)) {
            gather_line(lines, 0, "      Note. {r}[LDLT]-1{r} is zero.\n");
            break;
        }
        beta = rho_new / rho;
        rho = rho_new;
    }
    if (cntl.itermax_solv > 0)
        for (std::size_t i = 0; i < places; ++i) v.x[i] = v.x[i] + alpha * v.p[i];
}

// Takes the scaled system apart for the passes, which need its rows no longer; `scale` keeps d_i = 1 / sqrt(a_ii).
static preconditioned_system prepare(const control& cntl, variant kind, matrix_rows rows, double scale[],
                                     std::FILE* log)
{
    const auto n = static_cast<std::size_t>(rows.ndim);
    for (std::size_t i = 0; i < n; ++i) scale[i] = rows.amatr[static_cast<std::size_t>(rows.start[i])];
    preconditioned_system system{.kind = kind,
                                 .order = order_rows(log, "nozerot", rows),
                                 .pattern = {},
                                 .products = {},
                                 .factors = {},
                                 .pivots = {}};
    const row_order& order = system.order;
    const auto diagonal = [&](std::size_t i) -> double& { return rows.amatr[static_cast<std::size_t>(rows.start[i])]; };
    system.pattern = make_coupling_pattern(log, "mindex", rows, order);
    system.products = make_coupling_values(log, "aorgr", system.pattern, rows, order, rows.amatr.get());
    if (kind != iccg) return system;
    for (std::size_t i = 0; i < n; ++i) diagonal(i) = cntl.accel_solv;
    factorise_incomplete(cntl.eps_zero, rows, log);
    system.pivots = empty_array<double>(log, "amatr", order.places);
    std::fill(system.pivots.get(), system.pivots.get() + order.places, 1.0);
    for (std::size_t i = 0; i < n; ++i) system.pivots[static_cast<std::size_t>(order.place[i])] = diagonal(i);
    system.factors = make_coupling_values(log, "amatr", system.pattern, rows, order, rows.amatr.get());
    return system;
}

void t_real_mtsolv_iccg(control cntl, solver_files files, std::FILE* log)
{
    log_lines(log, "    === in func. t_real_mtsolv_iccg ===\n");
    if (cntl.iopt_solv < 0 || cntl.iopt_solv > 2) fail(log, "      Error. iopt_solv over the limit.\n");
    const auto kind = static_cast<variant>(cntl.iopt_solv);
    system_head head = read_matrix(cntl, files.index, files.matrix, trailers::read, log);
    const std::int32_t ndim = head.rows.ndim;
    const auto n = static_cast<std::size_t>(ndim);
    const owned_array<double> b = read_right_side(files.vector, ndim, head.ndim1, log);
    scale_system(cntl.eps_zero, head.rows, b.get(), log);
    const owned_array<double> scale = empty_array<double>(log, "amatr", n);
    const preconditioned_system system = prepare(cntl, kind, std::move(head.rows), scale.get(), log);
    gradient_vectors v{.x = vector_of_places(log, "xvecr", system.order),
                       .p = vector_of_places(log, "pvecr", system.order),
                       .q = vector_of_places(log, "qvecr", system.order),
                       .r = vector_of_places(log, "rvecr", system.order)};
    const std::int32_t* place = system.order.place.get();
    const double* x = v.x.get();
    double* r = v.r.get();
    for (std::size_t i = 0; i < n; ++i) r[place[i]] = b[i];
    gathered_lines lines{.log = log};
    iterate(cntl, system, v, lines);
    hand_over(lines);
    for (std::size_t i = 0; i < n; ++i) b[i] = x[place[i]] * scale[i];
    write_solution(files.solution, ndim, b.get(), log);
}

} // namespace tarnel
