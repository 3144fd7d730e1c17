// Runs with circuits: which stage follows which, on which files.
#include "host_files/host_files.h"
#include "run/run_log.h"
#include "support/model.h"
#include "support/stage.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

using namespace tarnel_test;

namespace
{

// The log without time stamps and without the lines of iterations, whose figures follow rounding.
std::string plain_log(const std::string& log)
{
    std::istringstream lines(without_times(log));
    std::string kept;
    for (std::string line; std::getline(lines, line);)
        if (!line.starts_with("      ICCG solver convergence")) kept += line + "\n";
    return kept;
}

std::size_t count_of(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++count;
    return count;
}

const std::string both_files = now_reading("t-volt-data1.tmp") + now_reading("t-volt-data2.tmp");
const std::string solver_start = "    ### matrix solver START  <time>\n";
const std::string solver_end = "    ### matrix solver END    <time>\n";
const std::string solver = entered("t_real_mtsolv_iccg") + "      ndim = 1 \n";
const std::string for_edges = "    === func. t_real_mtsolv_**** for edge part ===\n";
const std::string circuit_counts = "        +++ nvoltg  = 0 ...\n"
                                   "        +++ nvoltv  = 3 ...\n"
                                   "        +++ nvoltve = 3 ...\n"
                                   "        +++ nvoltm  = 0 ...\n";
const std::string circuit_lists = "\n        +++ unknown no. of grad-fai(iug) +++ \n"
                                  "\n        +++ unknown no. of edge(iuv) +++ \n"
                                  "            novlt = 1  iuv = 1 \n"
                                  "            novlt = 2  iuv = 2 \n"
                                  "            novlt = 3  iuv = 3 \n";
const std::string circuit_data = "        === in func. t_rd_volt_files ===\n"
                                 "            Now, reading t-volt-data1.tmp +++\n"
                                 "            Now, reading t-volt-data2.tmp +++\n" +
                                 circuit_counts + circuit_lists;

std::string edge_solution(int i)
{
    return "        edge no. i === " + std::to_string(i) + "\n" + solver_start + solver + solver_end;
}
std::string edge_files(const std::string& kind)
{
    std::string lines = "        Now, reading t-femr-" + kind + "-*****.tmp ===\n";
    for (int j = 1; j <= 3; ++j) lines += "        edge no. j === " + std::to_string(j) + "\n";
    return lines;
}

// Three edges drive the unit square. Static: the circuit's own equations give the currents 1, 2 and 4.
class circuit_run : public stage_test
{
protected:
    model square = unit_square();
    tarnel_host::volt_data1 data1{5,
                                  {{1, 1, 0, {{1, 1, {0, 0, 1}, 0}, {2, 1, {0, 0, 10}, 0}, {3, 1, {0, 0, 100}, 0}}}}};
    tarnel_host::volt_data2 data2;

    circuit_run()
    {
        data2.maxvlt = 5, data2.nvoltv = data2.nvoltve = 3;
        data2.edges = {{1, 1, {}, {}}, {2, 2, {}, {}}, {3, 3, {}, {}}};
    }
    void write_files() const
    {
        write_model(square);
        tarnel_host::write_volt_data1("t-volt-data1.tmp", data1);
        tarnel_host::write_volt_data2("t-volt-data2.tmp", data2);
        tarnel_host::write_voltr_matrix("t-voltr-matrix.tmp", {3, {2, 0, 0, 0, 2, 0, 0, 0, 2}});
        tarnel_host::write_voltr_vector("t-voltr-vector.tmp", {2, 4, 8});
        tarnel_host::write_voltp_solution("t-voltp-solution.tmp", {{0, 0, 0}, {0, 0, 0}});
    }
    static void expect_end(const process_outcome& run, const std::string& tail)
    {
        EXPECT_TRUE(run.exited);
        EXPECT_EQ(run.status, 0);
        EXPECT_FALSE(run.returned);
        EXPECT_TRUE(run.log.ends_with(tail)) << run.log;
    }
    static std::vector<double> currents() { return tarnel_host::read_voltp_solution("t-voltr-solution.tmp").fsolr; }
};

} // namespace

TEST_F(circuit_run, says_each_stage_in_its_order)
{
    write_files();
    const process_outcome run = run_library();
    EXPECT_TRUE(run.returned);
    EXPECT_EQ(plain_log(run.log),
              log_start() + log_control() + log_readers() + both_files + "        +++ nvolte = 3 ...\n" +
                  log_preparation(1) + log_felm_struct() + log_assembly(1) + circuit_data + log_solver_start() +
                  solver + solver_end + for_edges + edge_solution(1) + edge_solution(2) + edge_solution(3) +
                  announced("t_solve_voltr") + entered("t_solve_voltr") +
                  "        ... allocate each pointer. \n"
                  "        Now, reading t-volt-data2.tmp ===\n" +
                  circuit_counts + "        +++ nvolt   = 3 ...\n" + circuit_lists +
                  "\n        +++ unknown no. of node(ium) +++ \n"
                  "\n        ... allocate pointer for fmatr, fvecr, chg_vlt. \n"
                  "        Now, reading t-voltr-matrix.tmp ===\n"
                  "        Now, reading t-voltr-vector.tmp ===\n"
                  "        Now, reading t-voltp-solution.tmp(chg_vlt) ===\n"
                  "        Now, reading t-voltr-femdv.tmp ===\n"
                  "        Now, reading t-femr-solution.tmp ===\n"
                  "        ndim = 1 \n" +
                  edge_files("solution") + edge_files("vector") +
                  "        set the full-matrix part (F+H*(Sinv)*V) ===\n"
                  "        set the full-vector part (u2-H*(Sinv)*u1) ===\n"
                  "        solve the full-matrix part ===\n"
                  "        renew fem-solution-vector(xvecr) ===\n"
                  "        Now, rewriting t-femr-solution.tmp ===\n"
                  "        Now, writing t-voltr-solution.tmp ===\n" +
                  announced("at_ch_felm_struct_voltr") + entered("at_ch_felm_struct_voltr") + circuit_data +
                  log_results(1) + circuit_data + "        Now, reading t-voltr-solution.tmp(fsolr) ===\n" + log_end());
    EXPECT_EQ(currents(), (std::vector<double>{1, 2, 4}));
}

TEST_F(circuit_run, leaves_the_field_of_its_currents_and_the_element_structure_before_and_after)
{
    write_file("at-felm-struct.org", "of an earlier run");
    write_files();
    ASSERT_TRUE(run_library().returned);
    const std::string before = read_file("at-felm-struct.org"), after = read_file("at-felm-struct.tmp");
    ASSERT_EQ(before.size(), 5u * 256);
    for (std::size_t e = 0; e < 4; ++e) {
        EXPECT_EQ(double_at(before, 256 * e + 232), 0.0);
        EXPECT_EQ(double_at(after, 256 * e + 232), 421.0); // 1 * 1 + 2 * 10 + 4 * 100
    }
    // The middle node is 1/2 and, for each unit of source, mu times its share 1/3 of the square over the stiffness 4.
    const double expected = 0.5 + 421.0 * 1.25663704e-06 / 3 / 4;
    EXPECT_NEAR(double_at(read_file("t-femr-solution.tmp"), 4), expected, 1e-15);
    EXPECT_NEAR(double_at(read_file("at-nresl-struct.tmp"), 72), expected, 1e-15);
    for (const char* kind : {"vector", "solution"})
        for (int i = 0; i <= 4; ++i) {
            const std::string name = std::string("t-femr-") + kind + "-0000" + std::to_string(i) + ".tmp";
            EXPECT_EQ(std::filesystem::exists(name), i >= 1 && i <= 3) << name;
        }
}

TEST_F(circuit_run, by_the_skyline_solver_factorises_once)
{
    square.itype_solv = 0, square.iopt_solv = 0;
    write_files();
    write_file("t-skylin.txt", "100 1 20\nblock.tmp\n");
    const process_outcome run = run_library();
    EXPECT_TRUE(run.returned) << run.log;
    EXPECT_EQ(count_of(run.log, "in func. t_real_mtsolv_skylin1 "), 1u);
    EXPECT_EQ(count_of(run.log, "in func. t_real_mtsolv_skylin2 "), 4u);
    EXPECT_EQ(currents(), (std::vector<double>{1, 2, 4}));
    EXPECT_NEAR(double_at(read_file("t-femr-solution.tmp"), 4), 0.5 + 421.0 * 1.25663704e-06 / 12, 1e-15);
}

TEST_F(circuit_run, by_gauss_seidel_solves_each_edge)
{
    square.itype_solv = 2;
    write_files();
    const process_outcome run = run_library();
    EXPECT_TRUE(run.returned) << run.log;
    EXPECT_EQ(count_of(run.log, "in func. t_real_mtsolv_seidel "), 4u);
    EXPECT_NEAR(double_at(read_file("t-femr-solution.tmp"), 4), 0.5 + 421.0 * 1.25663704e-06 / 12, 1e-12);
}

TEST_F(circuit_run, without_a_solver_ends_on_the_empty_solution)
{
    square.itype_solv = 3, square.iopt_solv = 0;
    write_files();
    const process_outcome run = run_library();
    expect_end(run, "        Now, reading t-femr-solution.tmp ===\n      Error. in t-femr-solution.tmp(r1).\n");
    EXPECT_EQ(count_of(run.log, "        edge no. i === "), 3u);
    EXPECT_EQ(std::filesystem::file_size("t-femr-solution-00003.tmp"), 0u);
}

TEST_F(circuit_run, with_edges_apart_from_the_field_alone_has_no_edge_solutions_and_no_element_change)
{
    data1.properties.clear();
    data2.nvoltve = 0;
    write_files();
    const process_outcome run = run_library();
    EXPECT_TRUE(run.returned);
    EXPECT_NE(run.log.find("        +++ nvolte = 0 ...\n"), std::string::npos);
    EXPECT_EQ(run.log.find("edge part"), std::string::npos);
    EXPECT_EQ(run.log.find("at_ch_felm_struct_voltr"), std::string::npos);
    EXPECT_EQ(run.log.find("t_rd_volt_files"), std::string::npos);
    EXPECT_EQ(run.log.find("t-voltr-femdv.tmp"), std::string::npos);
    EXPECT_NE(run.log.find("        Now, rewriting t-femr-solution.tmp ===\n"), std::string::npos);
    EXPECT_EQ(currents(), (std::vector<double>{1, 2, 4}));
    EXPECT_EQ(double_at(read_file("t-femr-solution.tmp"), 4), 0.5);
    for (const char* name : {"t-voltr-femdv.tmp", "t-femr-vector-00001.tmp", "at-felm-struct.org"})
        EXPECT_FALSE(std::filesystem::exists(name)) << name;
}

TEST_F(circuit_run, without_unknowns_has_no_circuits_whatever_is_coupled)
{
    data2 = {};
    data2.maxvlt = 5, data2.nvoltve = 2;
    write_files();
    const process_outcome run = run_library();
    EXPECT_TRUE(run.returned);
    EXPECT_NE(run.log.find("        +++ nvolte = 2 ...\n        Note: nvolt(=nvoltg+nvoltv+nvoltm) <= 0.\n"),
              std::string::npos);
    EXPECT_EQ(run.log.find("t_solve_voltr"), std::string::npos);
    EXPECT_EQ(run.log.find("edge part"), std::string::npos);
}

TEST_F(circuit_run, missing_files_of_the_host_are_named_at_their_stage)
{
    const std::string stage = announced("t_solve_voltr");
    for (const char* name : {"t-voltr-matrix.tmp", "t-voltr-vector.tmp", "t-voltp-solution.tmp"}) {
        write_files();
        std::filesystem::remove(name);
        expect_end(run_library(), stage + cannot_open(name));
    }
    write_files();
    std::filesystem::remove("t-volt-data2.tmp");
    expect_end(run_library(), both_files + cannot_open("t-volt-data2.tmp"));
}

TEST_F(circuit_run, files_that_cannot_be_made_are_named_at_their_stage)
{
    struct row {
        const char* name;
        std::string tail;
    };
    const std::string circuits = announced("t_solve_voltr");
    for (const row& r :
         {row{"t-voltr-femdv.tmp", announced("eat_calc_fem_matrix") + cannot_open("t-voltr-femdv.tmp")},
          row{"t-femr-vector-00002.tmp", "      Error. Can't open t-femr-vector-00002.tmp.\n"},
          row{"t-femr-solution-00002.tmp", cannot_open("t-femr-solution-00002.tmp")},
          row{"t-voltr-solution.tmp", circuits + cannot_open("t-voltr-solution.tmp")},
          row{"t-voltr-result.txt", circuits + cannot_open("t-voltr-result.txt")},
          row{"at-felm-struct.org", announced("at_ch_felm_struct_voltr") + cannot_open("at-felm-struct.org")}}) {
        write_files();
        std::filesystem::remove_all(r.name);
        std::filesystem::create_directory(r.name);
        write_file(std::string(r.name) + "/occupied", "");
        expect_end(run_library(), r.tail);
        std::filesystem::remove_all(r.name);
    }
}

TEST_F(circuit_run, contradictory_counts_end_it_before_the_solution)
{
    data2.nvoltve = 4;
    write_files();
    expect_end(run_library(), "        +++ nvoltve = 4 ...\n      Error. nvoltve over the limit.\n");
    data2.nvoltve = 3, data2.nvoltg = 6;
    write_files();
    expect_end(run_library(), "        +++ nvoltg  = 6 ...\n      Error. nvoltg over the limit.\n");
    data2.nvoltg = 2, data2.nvoltv = -1, data2.nvoltve = -2; // no field unknowns, yet one of the circuit
    write_files();
    expect_end(run_library(), "        +++ nvoltv  = -1 ...\n      Error. nvoltv over the limit.\n");
    data2.nvoltg = 2147483647, data2.nvoltv = 3, data2.nvoltve = 3; // the sum goes beyond an int32
    write_files();
    expect_end(run_library(), "        +++ nvoltg  = 2147483647 ...\n      Error. nvoltg over the limit.\n");
}

TEST_F(circuit_run, a_first_file_of_other_limits_ends_it_at_the_assembly)
{
    data1.maxvlt = 6;
    write_files();
    expect_end(run_library(),
               "            Now, reading t-volt-data1.tmp +++\n      Error. in t-volt-data1.tmp(r:maxvlt).\n");
}
