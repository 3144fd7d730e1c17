#include "solvers/iccg.h"

#include "common/number_text.h"

#include <algorithm>
#include <cmath>

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

void multiply(const matrix_rows& rows, const double values[], const double p[], double q[])
{
    const std::int32_t* columns = rows.mindex.get();
    const auto n = static_cast<std::size_t>(rows.ndim);
    std::copy(p, p + n, q);
    for (std::size_t i = 0; i + 1 < n; ++i) {
        const double pi = p[i];
        double qi = q[i];
        for (std::int64_t t = rows.start[i] + 1; t < rows.start[i + 1]; ++t) {
            const std::int32_t j = columns[t];
            qi += values[t] * p[j];
            q[j] += values[t] * pi;
        }
        q[i] = qi;
    }
}

void solve_factors(const matrix_rows& rows, const double values[], pivots d, double z[])
{
    const std::int32_t* columns = rows.mindex.get();
    const auto n = static_cast<std::size_t>(rows.ndim);
    for (std::size_t i = 0; i < n; ++i) {
        const double zi = z[i];
        for (std::int64_t t = rows.start[i] + 1; t < rows.start[i + 1]; ++t) z[columns[t]] -= zi * values[t];
    }
    if (d == pivots::in_slot_0)
        for (std::size_t i = 0; i < n; ++i) z[i] = z[i] / values[rows.start[i]];
    for (std::size_t i = n - 1; i-- > 0;) {
        double sum = 0.0;
        for (std::int64_t t = rows.start[i] + 1; t < rows.start[i + 1]; ++t) sum += z[columns[t]] * values[t];
        z[i] -= sum;
    }
}

struct preconditioned_system {
    variant kind;
    const matrix_rows* rows; // pattern; slot 0 of `products` holds the scale factors
    const double* products;  // scaled matrix values
    const double* factors;   // of ICCG
};

// z = M^-1 r
static void precondition(const preconditioned_system& system, const double r[], double z[])
{
    std::copy(r, r + system.rows->ndim, z);
    if (system.kind == iccg) solve_factors(*system.rows, system.factors, pivots::in_slot_0, z);
    if (system.kind == cg) solve_factors(*system.rows, system.products, pivots::unit, z);
}

static void log_convergence(variant kind, std::int32_t iter, double deps, double rnorm, double unorm, std::FILE* log)
{
    constexpr const char* head[] = {"        CG", "      ICCG", "       SCG"};
    log_lines(log, "%s solver convergence iter = %d deps = %s  rnorm = %s unorm = %s \n", head[kind], iter,
              as_e(deps).text, as_e(rnorm).text, as_e(unorm).text);
}

// Iterates from x = 0.
//   returns false when the right-hand side counts as zero and x is left alone
static bool iterate(const control& cntl, const preconditioned_system& system, const double b[], double x[], double p[],
                    double q[], double r[], std::FILE* log)
{
    const auto n = static_cast<std::size_t>(system.rows->ndim);
    std::copy(b, b + n, r);
    precondition(system, r, p);
    double rho = inner_product(n, r, p);
    if (cntl.eps_zero > std::fabs(rho)) {
        log_lines(log, "      Warning. norm of right-side vector is zero.\n");
        return false;
    }
    const double unorm = std::sqrt(inner_product(n, b, b));
    for (std::int32_t iter = 0; iter < cntl.itermax_solv; ++iter) {
        multiply(*system.rows, system.products, p, q);
        const double pap = inner_product(n, p, q);
        if (cntl.eps_zero > std::fabs(pap)) {
            log_lines(log, "      Note. {p}[A]{p} is zero.\n");
            break;
        }
        const double alpha = rho / pap;
        for (std::size_t i = 0; i < n; ++i) {
            x[i] += alpha * p[i];
            r[i] -= alpha * q[i];
        }
        const double rnorm = std::sqrt(inner_product(n, r, r));
        const double deps = rnorm / unorm;
        log_convergence(system.kind, iter, deps, rnorm, unorm, log);
        if (cntl.eps_solv > deps) break;
        precondition(system, r, q);
        const double rho_new = inner_product(n, r, q);
        if (cntl.eps_zero > std::fabs(rho_new)) {
            log_lines(log, "      Note. {r}[LDLT]-1{r} is zero.\n");
            break;
        }
        const double beta = rho_new / rho;
        for (std::size_t i = 0; i < n; ++i) p[i] = q[i] + beta * p[i];
        rho = rho_new;
    }
    return true;
}

void t_real_mtsolv_iccg(control cntl, solver_files files, std::FILE* log)
{
    log_lines(log, "    === in func. t_real_mtsolv_iccg ===\n");
    if (cntl.iopt_solv < 0 || cntl.iopt_solv > 2) fail(log, "      Error. iopt_solv over the limit.\n");
    const auto kind = static_cast<variant>(cntl.iopt_solv);
    system_head head = read_matrix(cntl, files.index, files.matrix, trailers::read, log);
    matrix_rows& rows = head.rows;
    const auto n = static_cast<std::size_t>(rows.ndim);
    const owned_array<double> uvecr = read_right_side(files.vector, rows.ndim, head.ndim1, log);
    const owned_array<double> xvecr = zero_array<double>(log, "xvecr", n);
    const owned_array<double> pvecr = zero_array<double>(log, "pvecr", n);
    const owned_array<double> qvecr = zero_array<double>(log, "qvecr", n);
    const owned_array<double> rvecr = zero_array<double>(log, "rvecr", n);
    scale_system(cntl.eps_zero, rows, uvecr.get(), log);

    owned_array<double> aorgr; // the scaled values, when the rows hold the factors
    if (kind == iccg) {
        const auto terms = static_cast<std::size_t>(rows.start[n]);
        aorgr = zero_array<double>(log, "aorgr", terms);
        std::copy(rows.amatr.get(), rows.amatr.get() + terms, aorgr.get());
        for (std::size_t i = 0; i < n; ++i) rows.amatr[static_cast<std::size_t>(rows.start[i])] = cntl.accel_solv;
        factorise_incomplete(cntl.eps_zero, rows, log);
    }
    const double* scaled = kind == iccg ? aorgr.get() : rows.amatr.get();
    const preconditioned_system system = {kind, &rows, scaled, rows.amatr.get()};
    if (iterate(cntl, system, uvecr.get(), xvecr.get(), pvecr.get(), qvecr.get(), rvecr.get(), log))
        for (std::size_t i = 0; i < n; ++i) xvecr[i] = xvecr[i] * scaled[rows.start[i]];
    write_solution(files.solution, rows.ndim, xvecr.get(), log);
}

} // namespace tarnel
