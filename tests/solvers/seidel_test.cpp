#include "solvers/seidel.h"

#include "solvers/skyline_systems.h"
#include "solvers/vector_kernel.h"

#include <cstdio>
#include <cstring>
#include <limits>
#include <set>

using namespace tarnel_test;

namespace
{

const std::string heading = "    === in func. t_real_mtsolv_seidel ===\n";
const std::string warning = "      Warning. norm of right-side vector is zero.\n";

std::string ndim_log(int ndim)
{
    return "      ndim = " + std::to_string(ndim) + " \n";
}

tarnel::control sweeping(int itermax, double eps, double omega)
{
    tarnel::control cntl = small_control();
    cntl.itype_solv = 2;
    cntl.itermax_solv = itermax;
    cntl.eps_solv = eps;
    cntl.accel_solv = omega;
    return cntl;
}

// Solves the system of the work files.
stage_outcome solve(const tarnel::control& cntl, const char* solution_path = "t-femr-solution.tmp")
{
    if (std::string(solution_path) == "t-femr-solution.tmp") std::filesystem::remove(solution_path);
    return run_stage([&](std::FILE* log) {
        opened_input index("t-matrix-index.tmp"), matrix("t-femr-matrix.tmp"), vector("t-femr-vector.tmp");
        opened_output solution(solution_path, "t-femr-solution.tmp");
        t_real_mtsolv_seidel(cntl, {index, matrix, vector, solution}, log);
    });
}

struct sweeps {
    std::string log; // of the sweeps
    std::vector<double> x;
};

// The method as it is written down, one formula after another.
sweeps naive_sweeps(const tarnel::control& cntl, const hand_system& system)
{
    const std::size_t n = system.rows.size(), ndim1 = static_cast<std::size_t>(trailer_of(system));
    std::vector<double> s(n), b = system.b, x(n, 0.0), x0(n, 0.0);
    std::vector<std::vector<matrix_term>> a = system.rows;
    for (std::size_t i = 0; i < n; ++i) s[i] = 1.0 / std::sqrt(a[i][0].value);
    for (std::size_t i = 0; i < n; ++i) {
        b[i] = s[i] * b[i];
        for (std::size_t k = 1; k < a[i].size(); ++k)
            a[i][k].value = s[i] * a[i][k].value * s[static_cast<std::size_t>(a[i][k].column)];
    }
    sweeps result;
    for (int iter = 0; iter < cntl.itermax_solv; ++iter) {
        x = b;
        for (std::size_t i = 0; i + 1 < n; ++i) {
            double sum = 0.0;
            for (std::size_t k = 1; k < a[i].size(); ++k)
                sum += a[i][k].value * x0[static_cast<std::size_t>(a[i][k].column)];
            x[i] = x[i] - sum;
            for (std::size_t k = 1; k < a[i].size(); ++k)
                x[static_cast<std::size_t>(a[i][k].column)] -= a[i][k].value * x[i];
        }
        if (iter >= 1) {
            double r = 0.0;
            for (int group = 0; group < 2; ++group) {
                double change = 0.0, size = 0.0;
                for (std::size_t i = group == 0 ? 0 : ndim1; i < (group == 0 ? ndim1 : n); ++i) {
                    change += (x[i] - x0[i]) * (x[i] - x0[i]);
                    size += x[i] * x[i];
                }
                double e = 0.0;
                if (change > cntl.eps_zero && size > cntl.eps_zero) e = std::sqrt(change) / std::sqrt(size);
                r = std::max(r, e);
            }
            char line[100];
            std::snprintf(line, sizeof line, "      GS solver convergence iter = %d  eps = %e \n", iter, r);
            result.log += line;
            if (r < cntl.eps_solv) break;
        }
        for (std::size_t i = 0; i < n; ++i) x0[i] = cntl.accel_solv * x[i] + (1.0 - cntl.accel_solv) * x0[i];
    }
    for (std::size_t i = 0; i < n; ++i) x[i] = s[i] * x[i];
    result.x = x;
    return result;
}

std::string solution_bytes(const std::vector<double>& x)
{
    bytes file;
    file.add_i(static_cast<std::int32_t>(x.size()));
    for (const double value : x) file.add_d(value);
    return file.text();
}

hand_system random_system(int n, std::mt19937& random)
{
    std::uniform_int_distribution<int> height(1, 12);
    std::vector<int> heights;
    for (int j = 0; j < n; ++j) heights.push_back(std::min(height(random), j + 1));
    hand_system system = rows_of(random_matrix(heights, definiteness::positive, random));
    std::normal_distribution<double> normal;
    for (int j = 0; j < n; ++j) system.b.push_back(normal(random));
    return system;
}

// Rows that couple up to seven unknowns, none further away than `reach`, some as far; the diagonal outweighs them.
hand_system sparse_system(int n, int reach, std::mt19937& random)
{
    std::uniform_int_distribution<int> couplings(0, 7), distance(1, reach);
    std::uniform_real_distribution<double> value(-1.0, 1.0);
    hand_system system;
    for (int i = 0; i < n; ++i) {
        std::set<int> columns;
        for (int k = couplings(random); k > 0; --k) columns.insert(i + distance(random));
        if (i % 5 == 0) columns.insert(i + reach);
        std::vector<matrix_term> row{{i, 9.0 + value(random)}};
        for (const int column : columns)
            if (column < n) row.push_back({column, value(random)});
        system.rows.push_back(std::move(row));
        system.b.push_back(value(random));
    }
    return system;
}

// Three unknowns, diagonals 4, 9 and 16.
hand_system three()
{
    return {{{{0, 4.0}, {1, 1.0}, {2, -2.0}}, {{1, 9.0}, {2, 3.0}}, {{2, 16.0}}}, {8.0, 9.0, 16.0}};
}

} // namespace

using seidel = stage_test;

TEST_F(seidel, each_sweep_log_line_and_solution_bit_is_that_of_the_written_method)
{
    std::mt19937 random(20240601);
    for (const int n : {1, 2, 3, 7, 40, 100})
        for (const double omega : {1.0, 0.0, 0.7, 1.2})
            for (const int itermax : {1, 2, 25}) {
                hand_system system = random_system(n, random);
                write_system(system);
                const tarnel::control cntl = sweeping(itermax, 1e-12, omega);
                const stage_outcome outcome = solve(cntl);
                const sweeps expected = naive_sweeps(cntl, system);
                EXPECT_FALSE(outcome.failed);
                EXPECT_EQ(outcome.log, heading + ndim_log(n) + expected.log);
                EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes(expected.x)) << n << " " << omega;
            }
}

// Two sweeps run side by side as soon as the first is far enough ahead; a narrow band lets them, a wide one does not.
TEST_F(seidel, sweeps_over_many_rows_are_those_of_the_written_method_whatever_the_reach_of_a_row)
{
    std::mt19937 random(20261121);
    for (const int n : {2, 511, 512, 513, 1030, 2600})
        for (const int reach : {1, 3, 90, 700, n - 1})
            for (const int itermax : {1, 6, 7}) {
                hand_system system = sparse_system(n, std::min(reach, n - 1), random);
                if (itermax == 7) system.ndim1 = n / 3;
                write_system(system);
                tarnel::control cntl = sweeping(itermax, 1e-30, 0.9);
                cntl.maxdim = n;
                const stage_outcome outcome = solve(cntl);
                const sweeps expected = naive_sweeps(cntl, system);
                EXPECT_EQ(outcome.log, heading + ndim_log(n) + expected.log) << n << " " << reach << " " << itermax;
                EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes(expected.x)) << n << " " << reach;
            }
}

TEST_F(seidel, sweeps_end_with_the_first_one_that_has_converged_be_it_the_first_or_the_second_of_two)
{
    std::mt19937 random(7);
    hand_system system = sparse_system(1500, 40, random);
    write_system(system);
    std::set<std::size_t> parities;
    for (double eps = 1e-1; eps > 1e-9; eps /= 3) {
        tarnel::control cntl = sweeping(100, eps, 0.95);
        cntl.maxdim = 1500;
        const stage_outcome outcome = solve(cntl);
        const sweeps expected = naive_sweeps(cntl, system);
        const std::size_t lines = static_cast<std::size_t>(std::count(expected.log.begin(), expected.log.end(), '\n'));
        parities.insert(lines % 2);
        EXPECT_LT(lines, 99U);
        EXPECT_EQ(outcome.log, heading + ndim_log(1500) + expected.log) << eps;
        EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes(expected.x)) << eps;
    }
    EXPECT_EQ(parities.size(), 2U);
}

TEST_F(seidel, iterates_are_relaxed_with_the_same_bits_by_every_kernel)
{
    std::mt19937 random(11);
    std::normal_distribution<double> normal;
    const tarnel::vector_kernels kernels = tarnel::available_vector_kernels();
    for (std::size_t first = 0; first < 12; ++first)
        for (std::size_t end = first; end < 45; ++end) {
            std::vector<double> x(50), x0(50);
            for (double& value : x) value = normal(random);
            for (double& value : x0) value = normal(random);
            tarnel::part_sums change, size;
            std::vector<double> relaxed = x0;
            for (std::size_t i = first; i < end; ++i) {
                change.part[i % 8] += (x[i] - x0[i]) * (x[i] - x0[i]);
                size.part[i % 8] += x[i] * x[i];
                relaxed[i] = 0.9 * x[i] + (1.0 - 0.9) * x0[i];
            }
            for (int k = 0; k < kernels.count; ++k) {
                tarnel::part_sums change_k, size_k;
                std::vector<double> x0_k = x0;
                kernels.form[k]->relax(change_k, size_k, 0.9, x.data(), x0_k.data(), first, end);
                EXPECT_EQ(std::memcmp(&change_k, &change, sizeof change), 0) << k << " " << first << " " << end;
                EXPECT_EQ(std::memcmp(&size_k, &size, sizeof size), 0) << k << " " << first << " " << end;
                EXPECT_EQ(x0_k, relaxed) << k << " " << first << " " << end;
            }
        }
}

TEST_F(seidel, two_groups_are_judged_apart_and_the_larger_change_counts)
{
    std::mt19937 random(7);
    hand_system system = random_system(30, random);
    for (const int ndim1 : {0, 1, 15, 29, 30}) {
        system.ndim1 = ndim1;
        for (int i = 0; i < 30; ++i) system.b[static_cast<std::size_t>(i)] *= i < 15 ? 1e3 : 1e-3;
        write_system(system);
        const tarnel::control cntl = sweeping(200, 1e-9, 1.0);
        const stage_outcome outcome = solve(cntl);
        const sweeps expected = naive_sweeps(cntl, system);
        EXPECT_EQ(outcome.log, heading + ndim_log(30) + expected.log) << ndim1;
        EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes(expected.x)) << ndim1;
    }
}

TEST_F(seidel, second_group_alone_can_hold_up_the_end)
{
    // The first group is exact after one sweep; the second, a thousandth in size, converges by a factor of four a
    // sweep: its change relative to itself is what the log shows.
    hand_system system = {{{{0, 1.0}}, {{1, 1.0}, {2, 0.5}}, {{2, 1.0}}}, {1e6, 1.0, 1.0}, 1};
    write_system(system);
    const stage_outcome outcome = solve(sweeping(3, 0.1, 1.0));
    // sweep 0: x = (1, 0.5); sweep 1: (0.75, 0.625), change (0.25, 0.125), ratio 0.279508 / 0.976281 = 0.286299;
    // sweep 2: (0.6875, 0.65625), change (0.0625, 0.03125), ratio 0.0698771 / 0.950434 = 0.0735213
    EXPECT_EQ(outcome.log, heading + ndim_log(3) +
                               "      GS solver convergence iter = 1  eps = 2.862992e-01 \n"
                               "      GS solver convergence iter = 2  eps = 7.352146e-02 \n");
    system.ndim1 = 3;
    write_system(system);
    EXPECT_EQ(solve(sweeping(3, 0.1, 1.0)).log,
              heading + ndim_log(3) + "      GS solver convergence iter = 1  eps = 2.795085e-07 \n");
}

TEST_F(seidel, group_that_comes_to_zero_counts_as_converged)
{
    // sweep 0: x = (1, 2); sweep 1: (0, 2.5), so that the first has no relative change and the second 0.5 / 2.5
    write_system({{{{0, 1.0}, {1, 0.5}}, {{1, 1.0}}}, {1.0, 2.5}, 1});
    EXPECT_EQ(solve(sweeping(2, 1e-9, 1.0)).log,
              heading + ndim_log(2) + "      GS solver convergence iter = 1  eps = 2.000000e-01 \n");
}

TEST_F(seidel, plain_sweeps_converge_to_the_exact_solution)
{
    hand_system system = three();
    const std::vector<double> x = {1.0, -2.0, 0.5};
    system.b = product(system, x);
    write_system(system);
    const stage_outcome outcome = solve(sweeping(500, 1e-15, 1.0));
    EXPECT_FALSE(outcome.failed);
    const std::string file = read_file("t-femr-solution.tmp");
    ASSERT_EQ(file.size(), 28U);
    EXPECT_EQ(int_at(file, 0), 3);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(double_at(file, 4 + 8 * i), x[i], 1e-14);
}

TEST_F(seidel, diagonal_system_ends_at_the_second_sweep_with_a_change_of_zero)
{
    write_system({{{{0, 4.0}}, {{1, 16.0}}}, {8.0, 48.0}});
    EXPECT_EQ(solve(sweeping(10, 1e-10, 1.0)).log,
              heading + ndim_log(2) + "      GS solver convergence iter = 1  eps = 0.000000e+00 \n");
    EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes({2.0, 3.0}));
}

TEST_F(seidel, factor_zero_repeats_the_first_sweep_with_a_change_of_one)
{
    write_system(three());
    std::string lines;
    for (int iter = 1; iter < 5; ++iter)
        lines += "      GS solver convergence iter = " + std::to_string(iter) + "  eps = 1.000000e+00 \n";
    EXPECT_EQ(solve(sweeping(5, 0.5, 0.0)).log, heading + ndim_log(3) + lines);
    const std::string five = read_file("t-femr-solution.tmp");
    solve(sweeping(1, 0.5, 0.0));
    EXPECT_EQ(read_file("t-femr-solution.tmp"), five);
}

TEST_F(seidel, tolerance_must_be_undercut)
{
    write_system(three());
    const auto lines = [](const stage_outcome& outcome) {
        return std::count(outcome.log.begin(), outcome.log.end(), '\n') - 2;
    };
    EXPECT_EQ(lines(solve(sweeping(5, 1.0, 0.0))), 4); // the change is exactly 1
    EXPECT_EQ(lines(solve(sweeping(5, std::nextafter(1.0, 2.0), 0.0))), 1);
    EXPECT_EQ(lines(solve(sweeping(5, 0.0, 1.0))), 4);
}

TEST_F(seidel, zero_right_hand_side_gives_zeros_after_the_warning_without_sweeps)
{
    hand_system system = three();
    system.b = {0.0, 0.0, 0.0};
    write_system(system);
    EXPECT_EQ(solve(sweeping(10, 1e-10, 1.0)).log, heading + ndim_log(3) + warning);
    EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes({0.0, 0.0, 0.0}));
}

TEST_F(seidel, norm_of_the_scaled_right_hand_side_counts_as_zero_only_below_the_threshold)
{
    write_system({{{{0, 4.0}}, {{1, 16.0}}}, {2.0, 4.0}}); // scaled: (1, 1), sum of squares 2
    tarnel::control cntl = sweeping(1, 1e-10, 1.0);
    cntl.eps_zero = 2.0;
    EXPECT_EQ(solve(cntl).log, heading + ndim_log(2));
    cntl.eps_zero = std::nextafter(2.0, 3.0);
    EXPECT_EQ(solve(cntl).log, heading + ndim_log(2) + warning);
    EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes({0.0, 0.0}));
}

TEST_F(seidel, no_sweep_writes_zeros)
{
    write_system(three());
    EXPECT_EQ(solve(sweeping(0, 1e-10, 1.0)).log, heading + ndim_log(3));
    EXPECT_EQ(read_file("t-femr-solution.tmp"), solution_bytes({0.0, 0.0, 0.0}));
}

TEST_F(seidel, changes_or_sizes_up_to_the_threshold_count_as_no_change)
{
    // Scaled by 1: x = (1, 0.5) after the first sweep, (0.75, 0.625) after the second; the squares of the changes sum
    // to 0.078125, those of the values to 0.953125.
    write_system({{{{0, 1.0}, {1, 0.5}}, {{1, 1.0}}}, {1.0, 1.0}});
    tarnel::control cntl = sweeping(2, 0.0, 1.0);
    const auto line = [&](double eps_zero) {
        cntl.eps_zero = eps_zero;
        return solve(cntl).log.substr(heading.size() + ndim_log(2).size());
    };
    EXPECT_EQ(line(std::nextafter(0.078125, 0.0)), "      GS solver convergence iter = 1  eps = 2.862992e-01 \n");
    EXPECT_EQ(line(0.078125), "      GS solver convergence iter = 1  eps = 0.000000e+00 \n");
}

TEST_F(seidel, diagonal_below_the_threshold_is_singular)
{
    const auto outcome_of = [](double diagonal, double eps_zero) {
        hand_system system = three();
        system.rows[1][0].value = diagonal;
        write_system(system);
        tarnel::control cntl = sweeping(0, 1e-10, 1.0);
        cntl.eps_zero = eps_zero;
        return solve(cntl);
    };
    const std::string singular =
        heading + ndim_log(3) + "      Error. The global matrix is singular.\n             unknown no. = 1 \n";
    for (const double diagonal : {0.0, -9.0, 9e-61, std::numeric_limits<double>::quiet_NaN()}) {
        const stage_outcome outcome = outcome_of(diagonal, 1e-60);
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, singular) << diagonal;
        EXPECT_EQ(read_file("t-femr-solution.tmp"), "");
    }
    EXPECT_EQ(outcome_of(1e-60, 1e-60).log, heading + ndim_log(3));
    EXPECT_EQ(outcome_of(3.0, 3.0).log, heading + ndim_log(3));
    EXPECT_EQ(outcome_of(std::nextafter(3.0, 0.0), 3.0).log, singular);
}

namespace
{

const std::string index_error = "      Error. in t-matrix-index.tmp(",
                  matrix_error = "      Error. in t-femr-matrix.tmp(",
                  vector_error = "      Error. in t-femr-vector.tmp(";

// Bytes with one int32 changed.
std::string changed(std::string text, std::size_t offset, std::int32_t value)
{
    text.replace(offset, sizeof value, bytes().add_i(value).text());
    return text;
}

struct files {
    std::string index = index_bytes(three()), matrix = matrix_bytes(three()), vector = vector_bytes(three());
};

// A failure's log with and without the line of ndim.
void expect_failure(const files& given, const std::string& tail, bool ndim_known = true, int ndim = 3)
{
    write_new_file("t-matrix-index.tmp", given.index);
    write_new_file("t-femr-matrix.tmp", given.matrix);
    write_new_file("t-femr-vector.tmp", given.vector);
    const stage_outcome outcome = solve(sweeping(3, 1e-10, 1.0));
    EXPECT_TRUE(outcome.failed) << tail;
    EXPECT_EQ(outcome.log, heading + (ndim_known ? ndim_log(ndim) : "") + tail);
}

} // namespace

TEST_F(seidel, each_truncation_is_a_short_read_of_the_item_it_cuts)
{
    // index: 4 bytes of ndim; rows of 3, 2 and 1 columns; ndim1
    const files whole;
    const auto tag = [](std::size_t kept, std::vector<std::size_t> counts, std::size_t value_bytes) {
        std::size_t at = 4;
        if (kept < at) return "r1).\n";
        for (const std::size_t count : counts) {
            if (kept < at + 4) return "r2).\n";
            at += 4 + count * value_bytes;
            if (kept < at) return "r3).\n";
        }
        return "r4).\n";
    };
    for (std::size_t kept = 0; kept < whole.index.size(); ++kept) {
        files cut = whole;
        cut.index.resize(kept);
        expect_failure(cut, index_error + tag(kept, {3, 2, 1}, 4), kept >= 4);
    }
    for (std::size_t kept = 0; kept < whole.matrix.size(); ++kept) {
        files cut = whole;
        cut.matrix.resize(kept);
        expect_failure(cut, matrix_error + tag(kept, {3, 2, 1}, 8));
    }
    for (std::size_t kept = 0; kept < whole.vector.size(); ++kept) {
        files cut = whole;
        cut.vector.resize(kept);
        expect_failure(cut, vector_error + (kept < 4 ? "r1).\n" : kept < 28 ? "r2).\n" : "r3).\n"));
    }
}

TEST_F(seidel, counts_that_disagree_or_leave_their_limits_are_refused)
{
    const files whole;
    const std::string over = "      Error. ndim over the limit.\n";
    for (const int ndim : {0, -1, 101, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()})
        expect_failure({.index = changed(whole.index, 0, ndim)}, over, true, ndim);
    for (const int count : {0, -1, 31, std::numeric_limits<int>::max()}) {
        const std::string text = std::to_string(count);
        expect_failure({.index = changed(whole.index, 4, count)}, "      Error. no. of non-zero term " + text +
                                                                      " is over the limit.\n"
                                                                      "             no. of unknown = 0 \n");
        expect_failure({.index = changed(whole.index, 20, count)}, "      Error. no. of non-zero term " + text +
                                                                       " is over the limit.\n"
                                                                       "             no. of unknown = 1 \n");
    }
    expect_failure({.index = changed(whole.index, 28, 3)}, index_error + "r3).\n"); // column of row 1 beyond the last
    expect_failure({.index = changed(whole.index, 28, 0)}, index_error + "r3).\n"); // below the diagonal
    expect_failure({.index = changed(whole.index, 28, -1)}, index_error + "r3).\n");
    expect_failure({.index = changed(whole.index, 40, 4)}, "      Error. ndim1 > ndim \n");
    expect_failure({.index = changed(whole.index, 40, -1)}, index_error + "r4).\n");
    for (const int other : {2, 4}) {
        expect_failure({.matrix = changed(whole.matrix, 0, other)},
                       matrix_error + "r1).\n             ndim is different.\n");
        expect_failure({.matrix = changed(whole.matrix, 4, other)},
                       matrix_error + "r2).\n             nzero is different.\n");
        expect_failure({.matrix = changed(whole.matrix, whole.matrix.size() - 4, other)},
                       matrix_error + "r4).\n             ndim1 is different.\n");
        expect_failure({.vector = changed(whole.vector, 0, other)},
                       vector_error + "r1).\n             ndim is different.\n");
        expect_failure({.vector = changed(whole.vector, whole.vector.size() - 4, other)},
                       vector_error + "r3).\n             ndim1 is different.\n");
    }
}

TEST_F(seidel, first_file_at_fault_is_the_one_reported)
{
    const files whole;
    files bad = {changed(whole.index, 40, 4), changed(whole.matrix, 0, 2), changed(whole.vector, 0, 2)};
    expect_failure(bad, "      Error. ndim1 > ndim \n");
    bad.index = whole.index;
    expect_failure(bad, matrix_error + "r1).\n             ndim is different.\n");
    hand_system singular = three();
    singular.rows[0][0].value = 0.0;
    bad.matrix = matrix_bytes(singular);
    expect_failure(bad, vector_error + "r1).\n             ndim is different.\n");
}

TEST_F(seidel, limits_of_unknowns_and_terms_are_reached_without_error)
{
    write_system(three());
    tarnel::control cntl = sweeping(1, 1e-10, 1.0);
    cntl.maxdim = 3;
    cntl.maxnzero = 3;
    EXPECT_FALSE(solve(cntl).failed);
    cntl.maxdim = 2;
    EXPECT_EQ(solve(cntl).log, heading + ndim_log(3) + "      Error. ndim over the limit.\n");
    cntl.maxdim = 3;
    cntl.maxnzero = 2;
    EXPECT_EQ(solve(cntl).log, heading + ndim_log(3) +
                                   "      Error. no. of non-zero term 3 is over the limit.\n"
                                   "             no. of unknown = 0 \n");
}

TEST_F(seidel, full_disk_is_reported_for_the_solution)
{
    write_system(three());
    const stage_outcome outcome = solve(sweeping(0, 1e-10, 1.0), "/dev/full");
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, heading + ndim_log(3) + "      Error. in t-femr-solution.tmp(w2).\n");
}

TEST_F(seidel, option_of_the_family_is_not_looked_at)
{
    write_system(three());
    tarnel::control cntl = sweeping(3, 1e-10, 1.0);
    cntl.iopt_solv = 1;
    const std::string log = solve(cntl).log;
    cntl.iopt_solv = 0;
    EXPECT_EQ(solve(cntl).log, log);
}
