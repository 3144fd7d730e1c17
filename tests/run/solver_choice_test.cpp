// Every solver choice of a run, from the model's text inputs to its results, on the committed examples and small
// models.
#include "support/model.h"
#include "support/process.h"
#include "support/stage.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <Eigen/SparseCholesky>

using namespace tarnel_test;

namespace
{

const std::string complete = "    === The end. ===\n";

std::filesystem::path examples()
{
    const std::filesystem::path here = __FILE__;
    return here.parent_path().parent_path().parent_path() / "examples";
}

// A run writes its files beside its inputs, so each example is run on a copy.
void copy_example(const std::string& name)
{
    std::filesystem::copy(examples() / name, std::filesystem::current_path());
}

std::vector<std::string> lines_of(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// Puts a solver's lines in the place of those of the control file: family and option, and for the iterative families
// the limit, tolerance and factor.
void choose_solver(const std::string& family, const std::string& parameters)
{
    const std::vector<std::string> lines = lines_of(read_file("at-cntl-data.txt"));
    std::string text;
    for (std::size_t k = 0; k < 3; ++k) text += lines[k] + "\n";
    text += family + "\n" + (parameters.empty() ? "" : parameters + "\n") + "0 0.0\n";
    write_file("at-cntl-data.txt", text);
}

void write_block_names(int work_length, int names)
{
    std::string text = std::to_string(work_length) + " " + std::to_string(names) + " 20\n";
    for (int block = 1; block <= names; ++block) text += "sky-" + std::to_string(block) + ".tmp\n";
    write_file("t-skylin.txt", text);
}

// The unknowns' values of the last run.
std::vector<double> solution()
{
    const std::string file = read_file("t-femr-solution.tmp");
    std::vector<double> x;
    for (std::size_t at = 4; at + 8 <= file.size(); at += 8) x.push_back(double_at(file, at));
    EXPECT_EQ(static_cast<std::size_t>(int_at(file, 0)), x.size());
    return x;
}

std::vector<double> run_for_solution(const std::string& family, const std::string& parameters)
{
    choose_solver(family, parameters);
    const process_outcome run = run_library();
    EXPECT_TRUE(run.log.ends_with(complete))
        << family << run.log.substr(run.log.size() - std::min<std::size_t>(400, run.log.size()));
    return solution();
}

double largest(const std::vector<double>& x)
{
    double size = 0.0;
    for (const double value : x) size = std::max(size, std::fabs(value));
    return size;
}

// The largest difference as a part of the largest potential.
double difference(const std::vector<double>& x, const std::vector<double>& y)
{
    EXPECT_EQ(x.size(), y.size());
    if (x.size() != y.size() || x.empty()) return INFINITY;
    double most = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        const double apart = std::fabs(x[i] - y[i]);
        if (!(apart <= most)) most = apart; // a NaN shows
    }
    return most / largest(y);
}

// What another direct solver makes of the assembled system that the run left.
std::vector<double> independent_solution()
{
    const std::string index = read_file("t-matrix-index.tmp"), matrix = read_file("t-femr-matrix.tmp"),
                      vector = read_file("t-femr-vector.tmp");
    const int n = int_at(index, 0);
    std::vector<Eigen::Triplet<double>> terms;
    std::size_t at_index = 4, at_matrix = 4;
    for (int i = 0; i < n; ++i) {
        const int count = int_at(index, at_index);
        for (int k = 0; k < count; ++k)
            terms.emplace_back(i, int_at(index, at_index + 4 + 4 * static_cast<std::size_t>(k)),
                               double_at(matrix, at_matrix + 4 + 8 * static_cast<std::size_t>(k)));
        at_index += 4 + 4 * static_cast<std::size_t>(count);
        at_matrix += 4 + 8 * static_cast<std::size_t>(count);
    }
    Eigen::SparseMatrix<double> a(n, n);
    a.setFromTriplets(terms.begin(), terms.end());
    Eigen::VectorXd b(n);
    for (int i = 0; i < n; ++i) b[i] = double_at(vector, 4 + 8 * static_cast<std::size_t>(i));
    const Eigen::SimplicialLDLT<Eigen::SparseMatrix<double>, Eigen::Upper> factor(a);
    EXPECT_EQ(factor.info(), Eigen::Success);
    const Eigen::VectorXd x = factor.solve(b);
    return {x.data(), x.data() + n};
}

// The bars of a plate between 0 on the left and `right` on the right, with a current in between.
model strip(double js, double right = 1.0)
{
    model m;
    m.properties = {{.nop = 1, .mu = 1.25663704e-06, .js = js}};
    for (int i = 0; i <= 10; ++i) {
        m.nodes.push_back({2 * i + 1, 0.1 * i, 0});
        m.nodes.push_back({2 * i + 2, 0.1 * i, 0.1});
        if (i < 10) m.felms.push_back({i + 1, 204, 1, {2 * i + 1, 2 * i + 3, 2 * i + 4, 2 * i + 2}});
    }
    m.conditions = {{1, 0}, {2, 0}, {21, right}, {22, right}};
    m.itype_solv = 0;
    m.iopt_solv = 0;
    return m;
}
constexpr int unknowns_of_strip = 18;

// The log between the two lines of the main solution.
std::string solver_part(const std::string& log)
{
    const std::string start = "    ### matrix solver START  <time>\n", end = "    ### matrix solver END    <time>\n";
    const std::string text = without_times(log);
    const std::size_t from = text.find(start), to = text.find(end);
    if (from == std::string::npos) return "no start";
    return text.substr(from + start.size(), to == std::string::npos ? to : to - from - start.size());
}

std::string names_log(int names)
{
    std::string log = "    === read t-skylin.txt ===\n        Now, reading t-skylin.txt. \n";
    for (int block = 1; block <= names; ++block)
        log += "      file name for skylin (" + std::to_string(block) + ") === sky-" + std::to_string(block) + ".tmp\n";
    return log;
}

std::string block_log(const char* what, int block)
{
    return std::string("      Now, ") + what + " the work file for sky-line no. === " + std::to_string(block) + " \n";
}

const std::string called = "    === func. t_real_mtsolv_**** ===\n";
const std::string first_half = "    === in func. t_real_mtsolv_skylin1 ===\n      ndim = 18 \n";
const std::string second_half = "    === in func. t_real_mtsolv_skylin2 ===\n      ndim = 18 \n";

class example_solvers : public stage_test, public ::testing::WithParamInterface<const char*>
{
};

struct sweep_choice {
    const char* example;
    double tolerance;
    const char* factor;
};

class example_sweeps : public stage_test, public ::testing::WithParamInterface<sweep_choice>
{
};

} // namespace

TEST_P(example_solvers, direct_and_gradient_solvers_agree_with_each_other_and_with_an_independent_one)
{
    copy_example(GetParam());
    write_block_names(150000, 40);
    const std::vector<double> direct = run_for_solution("0 0", "");
    ASSERT_GT(largest(direct), 0.0);
    EXPECT_TRUE(std::filesystem::exists("sky-2.tmp")); // out of core
    EXPECT_LT(difference(direct, independent_solution()), 1e-11);
    for (const std::string family : {"1 0", "1 1", "1 2"})
        EXPECT_LT(difference(run_for_solution(family, "5000 1e-13 1.0"), direct), 1e-8) << family;
}

INSTANTIATE_TEST_SUITE_P(committed, example_solvers, ::testing::Values("electromagnet", "solenoid", "magnets"),
                         [](const auto& named) { return std::string(named.param); });

TEST_P(example_sweeps, sweeps_that_have_converged_agree_with_the_direct_solver)
{
#ifdef __SANITIZE_ADDRESS__
    if (GetParam().example == std::string("electromagnet")) GTEST_SKIP() << "170,000 sweeps take minutes";
#endif
    copy_example(GetParam().example);
    write_block_names(1000000, 40);
    const std::vector<double> direct = run_for_solution("0 0", "");
    const std::string parameters = "600000 " + field(GetParam().tolerance) + " " + GetParam().factor;
    EXPECT_LT(difference(run_for_solution("2 0", parameters), direct), 1e-8);
    // reached before the limit: the last line's change lies below the tolerance
    const std::vector<std::string> lines = lines_of(read_file("tarnel.log"));
    std::string last;
    for (const std::string& line : lines)
        if (line.starts_with("      GS solver convergence iter = ")) last = line;
    EXPECT_LT(std::strtod(last.substr(last.rfind("= ") + 2).c_str(), nullptr), GetParam().tolerance);
}

INSTANTIATE_TEST_SUITE_P(committed, example_sweeps,
                         ::testing::Values(sweep_choice{"electromagnet", 4e-13, "1.7"},
                                           sweep_choice{"solenoid", 2e-13, "1.5"},
                                           sweep_choice{"magnets", 2e-13, "1.5"}),
                         [](const auto& named) { return std::string(named.param.example); });

using solver_choice = stage_test;

TEST_F(solver_choice, strip_between_two_potentials_comes_out_linear_with_every_choice)
{
    write_model(strip(0.0, 3.0));
    write_block_names(40, 10);
    struct row {
        const char *family, *parameters;
    };
    for (const row& now : {row{"0 0", ""},
                           {"0 1", ""},
                           {"1 0", "500 1e-14 1.0"},
                           {"1 1", "500 1e-14 1.0"},
                           {"1 2", "500 1e-14 1.0"},
                           {"2 0", "5000 1e-15 1.0"},
                           {"2 1", "5000 1e-15 1.5"}}) {
        run_for_solution(now.family, now.parameters);
        const std::string nodes = read_file("at-nresl-struct.tmp");
        for (std::size_t k = 0; k < 22; ++k) {
            const double x = 0.1 * ((int_at(nodes, 16 * k) - 1) / 2);
            EXPECT_NEAR(double_at(nodes, 16 * k + 8), 3.0 * x, 1e-12) << now.family;
        }
    }
}

TEST_F(solver_choice, skyline_run_logs_both_halves_between_start_and_end)
{
    write_model(strip(1e6));
    write_block_names(1000, 2);
    const process_outcome run = run_library();
    EXPECT_TRUE(run.returned);
    EXPECT_TRUE(run.log.ends_with(complete));
    // Columns of a ladder: unknown 2 i couples to the two rungs beside its own, so a column is at most 4 high.
    EXPECT_EQ(solver_part(run.log), called + first_half + names_log(2) +
                                        "      Band width(nband) === 4 \n"
                                        "      No. of the work file for sky-line(matdiv) === 1 \n" +
                                        block_log("writing", 1) + second_half + names_log(2) + block_log("reading", 1) +
                                        block_log("reading", 1) + block_log("reading", 1));
}

TEST_F(solver_choice, sweeps_take_their_limit_tolerance_and_factor_from_the_control_file)
{
    model m = strip(1e6);
    m.itype_solv = 2;
    m.iopt_solv = 1;
    m.itermax_solv = 4;
    m.eps_solv = 1e-10;
    m.accel_solv = 0.0;
    write_model(m);
    const std::string head = called + "    === in func. t_real_mtsolv_seidel ===\n      ndim = 18 \n";
    std::string lines;
    for (int iter = 1; iter < 4; ++iter)
        lines += "      GS solver convergence iter = " + std::to_string(iter) + "  eps = 1.000000e+00 \n";
    const process_outcome run = run_library();
    EXPECT_EQ(solver_part(run.log), head + lines); // the limit is not reported
    EXPECT_TRUE(run.log.ends_with(complete));
    m.eps_solv = 1.5;
    write_model(m);
    EXPECT_EQ(solver_part(run_library().log), head + "      GS solver convergence iter = 1  eps = 1.000000e+00 \n");
}

TEST_F(solver_choice, later_run_with_another_current_reuses_the_factor)
{
    write_block_names(20, 12);
    write_model(strip(1e6, 0.0));
    ASSERT_TRUE(run_library().log.ends_with(complete));
    const std::vector<double> once = solution();
    const std::string factor = read_file("sky-1.tmp") + read_file("sky-2.tmp") + read_file("sky-3.tmp");
    ASSERT_GT(largest(once), 0.0);
    const auto written = std::filesystem::last_write_time("sky-1.tmp");

    model twice = strip(2e6, 0.0);
    twice.iopt_solv = 1;
    write_model(twice);
    const process_outcome run = run_library();
    ASSERT_TRUE(run.log.ends_with(complete));
    EXPECT_TRUE(solver_part(run.log).starts_with(called + second_half)) << run.log;
    EXPECT_EQ(run.log.find("skylin1"), std::string::npos);
    EXPECT_EQ(run.log.find("writing the work file"), std::string::npos);
    const std::vector<double> doubled = solution();
    for (std::size_t i = 0; i < once.size(); ++i) EXPECT_EQ(doubled[i], 2.0 * once[i]); // exact: a power of two
    EXPECT_EQ(read_file("sky-1.tmp") + read_file("sky-2.tmp") + read_file("sky-3.tmp"), factor);
    EXPECT_EQ(std::filesystem::last_write_time("sky-1.tmp"), written);

    // Without preparation as well, and with conditions of another value.
    model other = strip(1e6, 5.0);
    other.iopt_solv = 1;
    write_model(other);
    ASSERT_TRUE(run_library().log.ends_with(complete));
    const std::vector<double> reused = solution();
    other.iopt_solv = 0;
    write_model(other);
    ASSERT_TRUE(run_library().log.ends_with(complete));
    EXPECT_EQ(reused, solution());
}

TEST_F(solver_choice, example_reuses_its_factor_for_another_current)
{
    copy_example("electromagnet");
    write_block_names(300000, 10);
    const std::vector<double> once = run_for_solution("0 0", "");
    std::vector<std::string> properties = lines_of(read_file("at-prop-data.txt"));
    std::string text;
    for (std::string& line : properties) {
        if (line == "0 0 0 1 1000000") line = "0 0 0 1 4000000";
        if (line == "0 0 0 1 -1000000") line = "0 0 0 1 -4000000";
        text += line + "\n";
    }
    ASSERT_NE(text, read_file("at-prop-data.txt"));
    write_file("at-prop-data.txt", text);
    const std::vector<double> reused = run_for_solution("0 1", "");
    EXPECT_EQ(read_file("tarnel.log").find("skylin1"), std::string::npos);
    for (std::size_t i = 0; i < once.size(); ++i) ASSERT_EQ(reused[i], 4.0 * once[i]);
    EXPECT_LT(difference(reused, independent_solution()), 1e-11);
}

TEST_F(solver_choice, substitution_without_a_factor_ends_the_run_at_the_first_work_file)
{
    model m = strip(1e6);
    m.iopt_solv = 1;
    write_model(m);
    write_block_names(100, 2);
    const process_outcome run = run_library();
    EXPECT_TRUE(run.exited);
    EXPECT_FALSE(run.returned);
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(solver_part(run.log), called + second_half + names_log(2) +
                                        "      Error. Can't open the work file for sky-line. \n"
                                        "             The work file no. === 1 \n");
    EXPECT_EQ(read_file("t-femr-solution.tmp"), "");
}

TEST_F(solver_choice, factor_left_by_a_smaller_or_larger_model_ends_the_run)
{
    const auto refused_after = [](int nodes_fewer) {
        model m = strip(1e6);
        for (int k = 0; k < nodes_fewer; ++k) m.conditions.push_back({3 + k, 0});
        return m;
    };
    write_block_names(1000, 2);
    write_model(refused_after(4)); // 14 unknowns
    ASSERT_TRUE(run_library().log.ends_with(complete));
    model m = strip(1e6);
    m.iopt_solv = 1;
    write_model(m);
    process_outcome run = run_library();
    EXPECT_FALSE(run.returned);
    const std::string header = "      Error. in header of work file for sky-line solver(r5).\n";
    EXPECT_EQ(solver_part(run.log),
              called + second_half + names_log(2) + block_log("reading", 1) + block_log("reading", 1) + header);

    m.iopt_solv = 0;
    write_model(m);
    ASSERT_TRUE(run_library().log.ends_with(complete));
    m = refused_after(4);
    m.iopt_solv = 1;
    write_model(m);
    run = run_library();
    EXPECT_FALSE(run.returned);
    EXPECT_EQ(solver_part(run.log), called + "    === in func. t_real_mtsolv_skylin2 ===\n      ndim = 14 \n" +
                                        names_log(2) + block_log("reading", 1) + header);
}

TEST_F(solver_choice, missing_name_list_ends_a_skyline_run_in_its_first_half)
{
    write_model(strip(1e6));
    const process_outcome run = run_library();
    EXPECT_FALSE(run.returned);
    EXPECT_EQ(solver_part(run.log),
              called + first_half + "    === read t-skylin.txt ===\n      Error. Can't open t-skylin.txt.\n");
}

TEST_F(solver_choice, work_array_of_a_run_changes_no_bit_of_its_results)
{
    write_model(strip(1e6, 0.3));
    std::string first;
    for (const int work_length : {4, 5, 17, 40, 1000}) {
        write_block_names(work_length, unknowns_of_strip);
        ASSERT_TRUE(run_library().log.ends_with(complete)) << work_length;
        const std::string results = read_file("at-nresl-struct.tmp") + read_file("at-eresl-struct.tmp");
        if (first.empty()) first = results;
        EXPECT_EQ(results, first) << work_length;
    }
}
