// The conjugate-gradient family: iterations by hand on systems of one and two unknowns, solutions beside a dense
// Cholesky factorisation, the factorisation beside a transcription of its definition.
#include "solvers/iccg.h"

#include "assembly/hand_files.h"
#include "solvers/sparse_systems.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <map>
#include <random>

using namespace tarnel_test;

namespace
{

void write_system(const sparse_system& system)
{
    write_file("t-matrix-index.tmp", index_file(system.columns));
    write_file("t-femr-matrix.tmp", matrix_file(system.values));
    write_file("t-femr-vector.tmp", vector_file(system.b));
}

stage_outcome solve(const tarnel::control& cntl, const std::string& solution_at = "t-femr-solution.tmp")
{
    return run_stage([&](std::FILE* log) {
        opened_input index("t-matrix-index.tmp"), matrix("t-femr-matrix.tmp"), vector("t-femr-vector.tmp");
        opened_output solution(solution_at, "t-femr-solution.tmp");
        tarnel::t_real_mtsolv_iccg(cntl, {index, matrix, vector, solution}, log);
    });
}

std::vector<double> solution()
{
    const std::string file = read_file("t-femr-solution.tmp");
    std::vector<double> x(static_cast<std::size_t>(int_at(file, 0)));
    EXPECT_EQ(file.size(), 4 + 8 * x.size());
    for (std::size_t k = 0; k < x.size(); ++k) x[k] = double_at(file, 4 + 8 * k);
    return x;
}

const std::string heading = "    === in func. t_real_mtsolv_iccg ===\n";

std::string start(int ndim)
{
    return heading + "      ndim = " + std::to_string(ndim) + " \n";
}

// The convergence lines of CG, ICCG and SCG.
std::string line(int variant, int iter, double deps, double rnorm, double unorm)
{
    const char* heads[] = {"        CG", "      ICCG", "       SCG"};
    char text[200];
    std::snprintf(text, sizeof text, "%s solver convergence iter = %d deps = %e  rnorm = %e unorm = %e \n",
                  heads[variant], iter, deps, rnorm, unorm);
    return text;
}

sparse_system one_unknown(double a, double b)
{
    return {{{0}}, {{a}}, {b}};
}

sparse_system two_unknowns(double a00, double a01, double a11, double b0, double b1)
{
    return {{{0, 1}, {1}}, {{a00, a01}, {a11}}, {b0, b1}};
}

std::vector<std::vector<double>> dense(const sparse_system& system)
{
    const std::size_t n = system.b.size();
    std::vector<std::vector<double>> a(n, std::vector<double>(n, 0.0));
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t k = 0; k < system.columns[i].size(); ++k) {
            const auto j = static_cast<std::size_t>(system.columns[i][k]);
            a[i][j] = a[j][i] = system.values[i][k];
        }
    return a;
}

// A x = b by a dense Cholesky factorisation.
std::vector<double> solve_dense(std::vector<std::vector<double>> a, std::vector<double> x)
{
    const std::size_t n = x.size();
    for (std::size_t j = 0; j < n; ++j) {
        for (std::size_t k = 0; k < j; ++k) a[j][j] -= a[j][k] * a[j][k];
        a[j][j] = std::sqrt(a[j][j]);
        for (std::size_t i = j + 1; i < n; ++i) {
            for (std::size_t k = 0; k < j; ++k) a[i][j] -= a[i][k] * a[j][k];
            a[i][j] /= a[j][j];
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        for (std::size_t k = 0; k < i; ++k) x[i] -= a[i][k] * x[k];
        x[i] /= a[i][i];
    }
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t k = i + 1; k < n; ++k) x[i] -= a[k][i] * x[k];
        x[i] /= a[i][i];
    }
    return x;
}

int count_of(const std::string& text, const std::string& part)
{
    int n = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++n;
    return n;
}

class iccg_solver : public stage_test
{
protected:
    iccg_solver()
    {
        cntl.iopt_solv = 1;
        cntl.itermax_solv = 1000;
        cntl.eps_solv = 1e-8;
        cntl.accel_solv = 1.0;
    }
    void expect_log(const std::string& log) const
    {
        const stage_outcome outcome = solve(cntl);
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(outcome.log, log);
    }
    void expect_failure(const std::string& log) const
    {
        const stage_outcome outcome = solve(cntl);
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, log);
    }
    tarnel::control cntl = small_control();
};

} // namespace

TEST_F(iccg_solver, one_unknown_is_solved_in_one_iteration_by_each_variant)
{
    write_system(one_unknown(4, 6)); // scaled: 1 x' = 3, x = x' / 2
    const std::string lines[] = {
        "        CG solver convergence iter = 0 deps = 0.000000e+00  rnorm = 0.000000e+00 unorm = 3.000000e+00 \n",
        "      ICCG solver convergence iter = 0 deps = 0.000000e+00  rnorm = 0.000000e+00 unorm = 3.000000e+00 \n",
        "       SCG solver convergence iter = 0 deps = 0.000000e+00  rnorm = 0.000000e+00 unorm = 3.000000e+00 \n"};
    for (int variant = 0; variant <= 2; ++variant) {
        cntl.iopt_solv = variant;
        for (const double accel : {1.0, 2.0, 0.25}) { // the residual's direction is that of the solution all the same
            cntl.accel_solv = accel;
            expect_log(start(1) + lines[variant]);
            const std::string file = read_file("t-femr-solution.tmp");
            ASSERT_EQ(file.size(), 12U);
            EXPECT_EQ(int_at(file, 0), 1);
            EXPECT_EQ(double_at(file, 4), 1.5);
        }
    }
}

TEST_F(iccg_solver, scaled_gradients_of_two_unknowns_equal_the_hand_calculation)
{
    // [4 2; 2 4] x = (8, 0), scaled [1 1/2; 1/2 1] x' = (4, 0):
    // alpha = 1, x' = (4, 0), r = (0, -2); beta = 1/4, p = (1, -2), alpha = 4/3, r = 0
    cntl.iopt_solv = 2;
    write_system(two_unknowns(4, 2, 4, 8, 0));
    expect_log(start(2) + line(2, 0, 0.5, 2, 4) + line(2, 1, 0, 0, 4));
    const std::vector<double> x = solution();
    EXPECT_DOUBLE_EQ(x[0], 8.0 / 3);
    EXPECT_DOUBLE_EQ(x[1], -4.0 / 3);
    cntl.itermax_solv = 1;
    expect_log(start(2) + line(2, 0, 0.5, 2, 4));
    EXPECT_EQ(solution(), (std::vector<double>{2, 0}));
}

TEST_F(iccg_solver, gradients_with_the_symmetric_sweep_equal_the_hand_calculation)
{
    // M = [1 1/2; 1/2 5/4]: p = (5, -2), rho = 20, q = (4, 1/2), alpha = 20/19, r = (-4, -10)/19
    cntl.iopt_solv = 0;
    cntl.itermax_solv = 1;
    write_system(two_unknowns(4, 2, 4, 8, 0));
    expect_log(start(2) + line(0, 0, std::sqrt(116.0) / 76, std::sqrt(116.0) / 19, 4));
    const std::vector<double> x = solution();
    EXPECT_DOUBLE_EQ(x[0], 50.0 / 19);
    EXPECT_DOUBLE_EQ(x[1], -20.0 / 19);
}

TEST_F(iccg_solver, factor_on_the_diagonal_replaces_the_unit_in_the_factorisation_and_not_in_the_products)
{
    // factor 2: pivots 2, 15/8, u = 1/4: p = (32, -8)/15, alpha = 30/13, x' = (64, -16)/13, r = (-4, -16)/13
    cntl.accel_solv = 2;
    cntl.itermax_solv = 1;
    write_system(two_unknowns(4, 2, 4, 8, 0));
    expect_log(start(2) + line(1, 0, std::sqrt(17.0) / 13, 4 * std::sqrt(17.0) / 13, 4));
    std::vector<double> x = solution();
    EXPECT_NEAR(x[0], 32.0 / 13, 1e-15);
    EXPECT_NEAR(x[1], -8.0 / 13, 1e-15);
    // factor 1: the factorisation of two unknowns is complete
    cntl.accel_solv = 1;
    EXPECT_EQ(solve(cntl).log, start(2) + line(1, 0, 0, 0, 4));
    x = solution();
    EXPECT_NEAR(x[0], 8.0 / 3, 1e-15);
    EXPECT_NEAR(x[1], -4.0 / 3, 1e-15);
}

TEST_F(iccg_solver, unequal_diagonals_are_scaled_before_the_norms_are_taken)
{
    // [4 0; 0 16] x = (6, 16), scaled x' = (3, 4)
    write_system(two_unknowns(4, 0, 16, 6, 16));
    for (int variant = 0; variant <= 2; ++variant) {
        cntl.iopt_solv = variant;
        expect_log(start(2) + line(variant, 0, 0, 0, 5));
        EXPECT_EQ(solution(), (std::vector<double>{1.5, 1}));
    }
}

TEST_F(iccg_solver, each_variant_agrees_with_a_dense_factorisation)
{
    cntl.eps_solv = 1e-13;
    for (const int n : {2, 3, 7, 20, 60})
        for (const double density : {0.05, 0.3, 1.0}) {
            const sparse_system system = random_system(n, density, static_cast<unsigned>(n));
            cntl.maxnzero = n;
            write_system(system);
            const std::vector<double> expected = solve_dense(dense(system), system.b);
            for (int variant = 0; variant <= 2; ++variant) {
                SCOPED_TRACE(std::to_string(n) + " unknowns, variant " + std::to_string(variant));
                cntl.iopt_solv = variant;
                EXPECT_FALSE(solve(cntl).failed);
                const std::vector<double> x = solution();
                ASSERT_EQ(x.size(), expected.size());
                for (std::size_t i = 0; i < x.size(); ++i) { // the diagonal gives each unknown its own size
                    const double size = 1 / std::sqrt(system.values[i][0]);
                    EXPECT_NEAR(x[i], expected[i], 1e-9 * size) << i;
                }
            }
        }
}

TEST_F(iccg_solver, factorisation_without_lost_fill_in_solves_at_once)
{
    // a chain has no fill-in: the incomplete factorisation is complete
    sparse_system system;
    for (int i = 0; i < 50; ++i) {
        system.columns.push_back(i < 49 ? std::vector<int>{i, i + 1} : std::vector<int>{i});
        system.values.push_back(i < 49 ? std::vector<double>{2.5, -1} : std::vector<double>{2.5});
        system.b.push_back(i % 3);
    }
    write_system(system);
    cntl.itermax_solv = 1;
    EXPECT_FALSE(solve(cntl).failed);
    const std::vector<double> x = solution(), expected = solve_dense(dense(system), system.b);
    for (std::size_t i = 0; i < x.size(); ++i) EXPECT_NEAR(x[i], expected[i], 1e-14);
}

TEST_F(iccg_solver, precision_is_reached_strictly_below_the_tolerance)
{
    cntl.iopt_solv = 2;
    write_system(two_unknowns(4, 2, 4, 8, 0)); // deps = 1/2, then 0
    cntl.eps_solv = 0.5;                       // equal is not enough
    expect_log(start(2) + line(2, 0, 0.5, 2, 4) + line(2, 1, 0, 0, 4));
    cntl.eps_solv = std::nextafter(0.5, 1);
    expect_log(start(2) + line(2, 0, 0.5, 2, 4));
    EXPECT_EQ(solution(), (std::vector<double>{2, 0}));
}

TEST_F(iccg_solver, limit_of_iterations_is_reached_without_a_word)
{
    const sparse_system system = random_system(40, 0.3, 9);
    cntl.maxnzero = 40;
    cntl.eps_solv = 0; // never reached
    write_system(system);
    const char* names[] = {"        CG", "      ICCG", "       SCG"};
    for (int variant = 0; variant <= 2; ++variant)
        for (const int limit : {1, 2, 5}) {
            cntl.iopt_solv = variant;
            cntl.itermax_solv = limit;
            const stage_outcome outcome = solve(cntl);
            EXPECT_FALSE(outcome.failed);
            EXPECT_EQ(count_of(outcome.log, "\n"), 2 + limit);
            for (int iter = 0; iter < limit; ++iter)
                EXPECT_EQ(count_of(outcome.log, std::string("\n") + names[variant] +
                                                    " solver convergence iter = " + std::to_string(iter) + " deps = "),
                          1);
            EXPECT_EQ(solution().size(), 40U);
        }
}

TEST_F(iccg_solver, no_iterations_allowed_gives_zeros)
{
    write_system(two_unknowns(4, 2, 4, 8, 0));
    for (const int limit : {0, -1}) {
        cntl.itermax_solv = limit;
        expect_log(start(2));
        EXPECT_EQ(solution(), (std::vector<double>{0, 0}));
    }
}

TEST_F(iccg_solver, zero_right_hand_side_gives_a_warning_and_zeros)
{
    write_system(two_unknowns(4, 2, 4, 0, 0));
    for (int variant = 0; variant <= 2; ++variant) {
        cntl.iopt_solv = variant;
        expect_log(start(2) + "      Warning. norm of right-side vector is zero.\n");
        EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_file({0, 0}));
    }
}

TEST_F(iccg_solver, right_hand_side_counts_as_zero_by_its_product_with_the_preconditioned_one)
{
    cntl.iopt_solv = 2;
    write_system(one_unknown(1, 0.5)); // (r, p) = 1/4
    cntl.eps_zero = 0.25;              // equal passes, here and in p A p
    expect_log(start(1) + line(2, 0, 0, 0, 0.5));
    cntl.eps_zero = std::nextafter(0.25, 1);
    expect_log(start(1) + "      Warning. norm of right-side vector is zero.\n");
    EXPECT_EQ(solution(), std::vector<double>{0});
    cntl.iopt_solv = 1; // a factor of 1/2 doubles the product
    cntl.accel_solv = 0.5;
    expect_log(start(1) + line(1, 0, 0, 0, 0.5));
    EXPECT_EQ(solution(), std::vector<double>{0.5});
    cntl.eps_zero = 1e-60;
    write_system(one_unknown(1, 1e-31));
    expect_log(start(1) + "      Warning. norm of right-side vector is zero.\n");
}

TEST_F(iccg_solver, direction_without_curvature_ends_with_a_note_and_the_solution_so_far)
{
    cntl.iopt_solv = 2;
    write_system(two_unknowns(1, -1, 1, 1, 1)); // A (1, 1) = 0
    expect_log(start(2) + "      Note. {p}[A]{p} is zero.\n");
    EXPECT_EQ(solution(), (std::vector<double>{0, 0}));
    // [1 2; 2 1] x = (1, 0): x = (1, 0), r = (0, -2), beta = 4, p = (4, -2) with p A p = 16 - 32 + 4 = -12
    write_system(two_unknowns(1, 2, 1, 1, 0));
    cntl.eps_zero = 0.75;
    cntl.eps_solv = 1e-3;
    const stage_outcome outcome = solve(cntl); // negative curvature is none of that
    EXPECT_EQ(outcome.log.find("Note"), std::string::npos) << outcome.log;
}

TEST_F(iccg_solver, vanished_residual_ends_with_a_note_when_the_tolerance_is_not_met)
{
    cntl.eps_solv = 0;
    write_system(one_unknown(4, 6));
    for (int variant = 0; variant <= 2; ++variant) {
        cntl.iopt_solv = variant;
        expect_log(start(1) + line(variant, 0, 0, 0, 3) + "      Note. {r}[LDLT]-1{r} is zero.\n");
        EXPECT_EQ(solution(), std::vector<double>{1.5});
    }
}

TEST_F(iccg_solver, option_outside_0_to_2_is_refused_before_anything_is_read)
{
    for (const char* name : {"t-matrix-index.tmp", "t-femr-matrix.tmp", "t-femr-vector.tmp"}) write_file(name, "");
    for (const int option : {3, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
        cntl.iopt_solv = option;
        expect_failure(heading + "      Error. iopt_solv over the limit.\n");
    }
    for (const int option : {0, 2}) {
        cntl.iopt_solv = option;
        expect_failure(heading + file_error("t-matrix-index.tmp", "r1"));
    }
}

TEST_F(iccg_solver, diagonal_below_the_threshold_is_singular_and_negative_ones_are)
{
    for (int variant = 0; variant <= 2; ++variant) {
        cntl.iopt_solv = variant;
        for (const double diagonal : {0.0, -1e10, 0.9e-60}) {
            write_system(two_unknowns(4, 0, diagonal, 8, 1));
            expect_failure(start(2) + "      Error. The global matrix is singular.\n             unknown no. = 1 \n");
            write_system(two_unknowns(diagonal, 0, diagonal, 8, 1));
            expect_failure(start(2) + "      Error. The global matrix is singular.\n             unknown no. = 0 \n");
        }
    }
    cntl.eps_zero = 0.5; // equal passes
    write_system(one_unknown(0.5, 8));
    EXPECT_FALSE(solve(cntl).failed);
}

TEST_F(iccg_solver, pivot_below_the_threshold_is_singular_and_is_shown)
{
    write_system(two_unknowns(1, 1, 1, 8, 1)); // second pivot 1 - 1
    expect_failure(start(2) +
                   "      Error. The global matrix is singular.\n             unknown no. = 1  0.000000e+00 \n");
    write_system(two_unknowns(4, 2, 4, 8, 0));
    cntl.accel_solv = 0;
    expect_failure(start(2) +
                   "      Error. The global matrix is singular.\n             unknown no. = 0  0.000000e+00 \n");
    cntl.eps_zero = 0.5;
    cntl.accel_solv = -0.25;
    expect_failure(start(2) +
                   "      Error. The global matrix is singular.\n             unknown no. = 0  -2.500000e-01 \n");
    cntl.accel_solv = 0.625; // u = 0.8, second pivot 0.625 - 0.8^2 0.625 = 0.225
    expect_failure(start(2) +
                   "      Error. The global matrix is singular.\n             unknown no. = 1  2.250000e-01 \n");
    for (const int variant : {0, 2}) { // without a factorisation there are no pivots
        cntl.iopt_solv = variant;
        EXPECT_FALSE(solve(cntl).failed);
    }
}

TEST_F(iccg_solver, negative_pivot_of_some_size_is_none_of_the_singular_ones)
{
    write_system(two_unknowns(1, 2, 1, 1, 0)); // pivots 1, -3; the factorisation is complete
    EXPECT_FALSE(solve(cntl).failed);
    const std::vector<double> x = solution();
    EXPECT_NEAR(x[0], -1.0 / 3, 1e-15);
    EXPECT_NEAR(x[1], 2.0 / 3, 1e-15);
}

TEST_F(iccg_solver, full_disk_is_reported_with_the_values)
{
    write_system(two_unknowns(4, 2, 4, 8, 0));
    cntl.itermax_solv = 0;
    const stage_outcome outcome = solve(cntl, "/dev/full");
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, start(2) + file_error("t-femr-solution.tmp", "w2"));
}

TEST_F(iccg_solver, another_edges_files_are_called_by_their_own_names)
{
    write_system(two_unknowns(4, 2, 4, 8, 0));
    write_file("t-femr-vector-00001.tmp", vector_file({0, 8}));
    const auto run = [&](const std::string& at) {
        return run_stage([&](std::FILE* log) {
            opened_input index("t-matrix-index.tmp"), matrix("t-femr-matrix.tmp"), vector("t-femr-vector-00001.tmp");
            opened_output solved(at, "t-femr-solution-00001.tmp");
            tarnel::t_real_mtsolv_iccg(cntl, {index, matrix, vector, solved}, log);
        });
    };
    cntl.itermax_solv = 0;
    EXPECT_EQ(run("/dev/full").log, start(2) + file_error("t-femr-solution-00001.tmp", "w2"));
    write_file("t-femr-vector-00001.tmp", "");
    EXPECT_EQ(run("solution").log, start(2) + file_error("t-femr-vector-00001.tmp", "r1"));
}

// ---- the parts of the iteration

namespace
{

// The definition, on a table of the terms that exist: row i is divided by its pivot p, every later diagonal in it loses
// u u p, and every pair of its terms takes p u u from the term they meet in, if there is one.
void factorise_by_definition(std::map<std::pair<int, int>, double>& a, int n)
{
    for (int i = 0; i < n; ++i) {
        const double p = a.at({i, i});
        std::vector<int> later;
        for (int j = i + 1; j < n; ++j)
            if (a.contains({i, j})) later.push_back(j);
        for (const int j : later) a.at({i, j}) = a.at({i, j}) / p;
        for (const int j : later) a.at({j, j}) = a.at({j, j}) - a.at({i, j}) * a.at({i, j}) * p;
        for (const int j : later)
            for (const int c : later)
                if (j < c && a.contains({j, c})) a.at({j, c}) = a.at({j, c}) - p * a.at({i, j}) * a.at({i, c});
    }
}

} // namespace

TEST_F(iccg_solver, incomplete_factorisation_is_its_definition_bit_for_bit)
{
    int dropped = 0;
    for (const sparse_system& system : many_systems()) {
        const int n = static_cast<int>(system.columns.size());
        std::map<std::pair<int, int>, double> expected;
        for (int i = 0; i < n; ++i)
            for (std::size_t k = 0; k < system.columns[static_cast<std::size_t>(i)].size(); ++k)
                expected[{i, system.columns[static_cast<std::size_t>(i)][k]}] =
                    system.values[static_cast<std::size_t>(i)][k];
        factorise_by_definition(expected, n);
        const stage_outcome outcome = run_stage([&](std::FILE* log) {
            tarnel::matrix_rows rows = flat_rows(system, log);
            tarnel::factorise_incomplete(1e-60, rows, log);
            std::size_t at = 0;
            for (int i = 0; i < n; ++i) {
                const auto& columns = system.columns[static_cast<std::size_t>(i)];
                for (std::size_t k = 0; k < columns.size(); ++k, ++at)
                    EXPECT_EQ(rows.amatr[at], expected.at({i, columns[k]})) << n << ": " << i << ", " << columns[k];
                for (std::size_t k = 1; k < columns.size(); ++k)
                    for (std::size_t m = k + 1; m < columns.size(); ++m)
                        dropped += expected.contains({columns[k], columns[m]}) ? 0 : 1;
            }
        });
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(outcome.log, "");
    }
    EXPECT_GT(dropped, 1000) << "the systems must make fill-in that is dropped";
}

TEST_F(iccg_solver, factors_of_a_full_matrix_multiply_back_to_it)
{
    const sparse_system system = scaled_system(12, 1.0, 5);
    run_stage([&](std::FILE* log) {
        tarnel::matrix_rows rows = flat_rows(system, log);
        tarnel::factorise_incomplete(1e-60, rows, log);
        const auto at = [&](std::size_t i, std::size_t j) {
            return rows.amatr[static_cast<std::size_t>(rows.start[i]) + j - i];
        };
        for (std::size_t i = 0; i < 12; ++i)
            for (std::size_t j = i; j < 12; ++j) { // sum over k of u_ki d_k u_kj with u_kk = 1
                double sum = 0;
                for (std::size_t k = 0; k <= i; ++k)
                    sum += (k == i ? 1 : at(k, i)) * at(k, k) * (k == j ? 1 : at(k, j));
                EXPECT_NEAR(sum, system.values[i][j - i], 1e-15);
            }
    });
}
