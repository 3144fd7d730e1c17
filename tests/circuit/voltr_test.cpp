#include "circuit/voltr.h"

#include "circuit/cut_files.h"
#include "host_files/host_files.h"

#include <cmath>
#include <memory>

using namespace tarnel_test;
using tarnel_host::volt_data2;

namespace
{

const std::string heading = "    === in func. t_solve_voltr ===\n        ... allocate each pointer. \n";
const std::string reading2 = "        Now, reading t-volt-data2.tmp ===\n";
const std::string allocating = "\n        ... allocate pointer for fmatr, fvecr, chg_vlt. \n";
const std::string reading_matrix = "        Now, reading t-voltr-matrix.tmp ===\n";
const std::string reading_vector = "        Now, reading t-voltr-vector.tmp ===\n";
const std::string reading_previous = "        Now, reading t-voltp-solution.tmp(chg_vlt) ===\n";
const std::string reading_femdv = "        Now, reading t-voltr-femdv.tmp ===\n";
const std::string reading_solution = "        Now, reading t-femr-solution.tmp ===\n";
const std::string reading_solutions = "        Now, reading t-femr-solution-*****.tmp ===\n";
const std::string reading_vectors = "        Now, reading t-femr-vector-*****.tmp ===\n";
const std::string setting = "        set the full-matrix part (F+H*(Sinv)*V) ===\n"
                            "        set the full-vector part (u2-H*(Sinv)*u1) ===\n";
const std::string solving = "        solve the full-matrix part ===\n";
const std::string renewing = "        renew fem-solution-vector(xvecr) ===\n";
const std::string charging = "        renew charge(chg_vlt) ===\n";
const std::string writing = "        Now, rewriting t-femr-solution.tmp ===\n"
                            "        Now, writing t-voltr-solution.tmp ===\n";
const std::string report_head = "\n  ORVAN  <tarnel> May.2006\n\n  Copyright (c) the tarnel authors\n";

std::string edge_no(int j)
{
    return "        edge no. j === " + std::to_string(j) + "\n";
}

std::string field_file(const std::vector<double>& values)
{
    bytes file;
    file.add_i(static_cast<std::int32_t>(values.size()));
    for (const double value : values) file.add_d(value);
    return file.text();
}

class circuit_solution : public stage_test
{
protected:
    tarnel::control cntl = [] {
        tarnel::control c = small_control();
        c.maxvlt = 5;
        c.delta_t = 0.5;
        return c;
    }();
    volt_data2 data2;
    std::int32_t nvolte = 0;
    std::string solution_at = "t-voltr-solution.tmp", report_at = "t-voltr-result.txt";

    stage_outcome solve()
    {
        return run_stage([&](std::FILE* log) {
            opened_input circuit("t-volt-data2.tmp"), matrix("t-voltr-matrix.tmp"), vector("t-voltr-vector.tmp");
            const auto femdv = nvolte > 0 ? std::make_unique<opened_input>("t-voltr-femdv.tmp") : nullptr;
            opened_input previous("t-voltp-solution.tmp");
            opened_output solution(solution_at, "t-voltr-solution.tmp"), report(report_at, "t-voltr-result.txt");
            tarnel::t_solve_voltr(cntl, {circuit, matrix, vector, femdv.get(), previous, solution, report}, nvolte,
                                  log);
        });
    }
    void write_data2() const { tarnel_host::write_volt_data2("t-volt-data2.tmp", data2); }
    static void write_host(std::int32_t n, const std::vector<double>& f, const std::vector<double>& u,
                           const std::vector<double>& charges)
    {
        tarnel_host::write_voltr_matrix("t-voltr-matrix.tmp", {n, f});
        tarnel_host::write_voltr_vector("t-voltr-vector.tmp", u);
        tarnel_host::write_voltp_solution("t-voltp-solution.tmp",
                                          {std::vector<double>(static_cast<std::size_t>(n), 99), charges});
    }
    void expect_failure(const std::string& log)
    {
        const stage_outcome outcome = solve();
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, log);
    }
    static void expect_circuit(const std::vector<double>& fsolr, const std::vector<double>& charges)
    {
        const std::string expected = field_file(fsolr) + field_file(charges);
        EXPECT_EQ(read_file("t-voltr-solution.tmp"), expected);
    }
};

// One coil and a field of two unknowns:
//   planar  factor 2 / 0.5 = 4, h.v = 3 - 4 = -1: (2 + 3 - 4) c = 5 + 4/2 - 4 * 3, c = -5
class one_coil : public circuit_solution
{
protected:
    one_coil()
    {
        nvolte = 1;
        data2.maxvlt = 5, data2.nvoltv = data2.nvoltve = 1;
        data2.edges = {{2, 1, {1, 1, 1, 1, 1, 1, 2}, {}}};
        write_data2();
        write_host(1, {2}, {5}, {7});
        write_file("t-voltr-femdv.tmp", bytes().add_i(1).add_d(3).add_d(0.5).text());
        write_file("t-femr-solution.tmp", field_file({1, 1}));
        write_file("t-femr-solution-00001.tmp", field_file({3, -2}));
        write_file("t-femr-vector-00001.tmp", bytes().add_i(2).add_d(1).add_d(2).add_i(2).text());
    }
    const std::string circuit = "        +++ nvoltg  = 0 ...\n"
                                "        +++ nvoltv  = 1 ...\n"
                                "        +++ nvoltve = 1 ...\n"
                                "        +++ nvoltm  = 0 ...\n"
                                "        +++ nvolt   = 1 ...\n"
                                "\n        +++ unknown no. of grad-fai(iug) +++ \n"
                                "\n        +++ unknown no. of edge(iuv) +++ \n"
                                "            novlt = 2  iuv = 1 \n"
                                "\n        +++ unknown no. of node(ium) +++ \n";
    const std::string to_circuit = heading + reading2 + circuit + allocating;
    const std::string to_host = to_circuit + reading_matrix + reading_vector + reading_previous;
    const std::string to_field = to_host + reading_femdv + reading_solution;
};

} // namespace

TEST_F(one_coil, planar_by_hand)
{
    const stage_outcome outcome = solve();
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, to_field + "        ndim = 2 \n" + reading_solutions + edge_no(1) + reading_vectors +
                               edge_no(1) + setting + solving + renewing + charging + writing);
    expect_circuit({-5}, {4.5});                                        // 7 - 5/2
    EXPECT_EQ(read_file("t-femr-solution.tmp"), field_file({-14, 11})); // (1, 1) - 5 (3, -2)
    EXPECT_EQ(read_file("t-voltr-result.txt"), report_head + "\n\n    +++ full-matrix : fmatr \n\n"
                                                             "        fmatr(1,1) = 1.000000e+00 \n"
                                                             "\n    +++ full-vector : fvecr \n\n"
                                                             "        fvecr(1) = -5.000000e+00 \n"
                                                             "\n"
                                                             "\n\n    +++ novlt : current, charge +++ \n\n"
                                                             "        2 : -5.000000e+00, 4.500000e+00 \n"
                                                             "\n");
}

TEST_F(one_coil, axisymmetric_by_hand_with_the_edges_factor_negated_and_the_diagonal_scaled)
{
    // factor -4: (2 - 12 + 4) c = 5 - 2 + 12, c = -5/2
    cntl.iax = 1;
    EXPECT_FALSE(solve().failed);
    expect_circuit({-2.5}, {5.75});
    EXPECT_EQ(read_file("t-femr-solution.tmp"), field_file({-6.5, 6}));
}

TEST_F(one_coil, without_a_time_step_factors_are_zero_and_charges_stay)
{
    // (2 + 3) c = 5
    cntl.delta_t = 0;
    const stage_outcome outcome = solve();
    EXPECT_EQ(outcome.log, to_field + "        ndim = 2 \n" + reading_solutions + edge_no(1) + reading_vectors +
                               edge_no(1) + setting + solving + renewing + writing);
    expect_circuit({1}, {7});
    EXPECT_EQ(read_file("t-femr-solution.tmp"), field_file({4, -1}));
}

TEST_F(one_coil, a_time_step_of_the_threshold_is_none)
{
    cntl.delta_t = cntl.eps_zero = 0.5;
    EXPECT_FALSE(solve().failed);
    expect_circuit({1}, {7});
}

TEST_F(one_coil, axisymmetric_without_a_time_step_drops_the_diagonal_term)
{
    cntl.iax = 1, cntl.delta_t = 0;
    EXPECT_FALSE(solve().failed);
    expect_circuit({2.5}, {7}); // 2 c = 5
}

TEST_F(one_coil, short_files_are_reported_at_the_item_they_end_in)
{
    const stage_outcome whole = solve();
    ASSERT_FALSE(whole.failed);
    // A run rewrites the field solution: every run starts from the same one.
    const auto again = [&] {
        if (read_file("t-femr-solution.tmp") == field_file({-14, 11}))
            write_file("t-femr-solution.tmp", field_file({1, 1}));
        return solve();
    };
    const std::string g = "        +++ nvoltg  = 0 ...\n", v = "        +++ nvoltv  = 1 ...\n",
                      e = "        +++ nvoltve = 1 ...\n", m = "        +++ nvoltm  = 0 ...\n";
    expect_short_reads(
        "t-volt-data2.tmp",
        {{"r:maxvlt", 4, ""},
         {"r:nvoltg", 4, g},
         {"r:nvoltv", 4, v},
         {"r:nvoltve", 4, e},
         {"r:nvoltm", 4, m + "        +++ nvolt   = 1 ...\n\n        +++ unknown no. of grad-fai(iug) +++ \n"},
         {"r:ngrad", 4, "\n        +++ unknown no. of edge(iuv) +++ \n"},
         {"r:novlt", 4, ""},
         {"r:iuv", 4, ""},
         {"r:constv", 56, ""},
         {"r:icon", 8, "            novlt = 2  iuv = 1 \n"},
         {"r:novlt", 4, "\n        +++ unknown no. of node(ium) +++ \n"},
         {"r:node", 4, ""},
         {"r:maxtdat_diod", 4, ""},
         {"r:itermax_diod", 4, ""},
         {"r:eps_diod", 8, ""}},
        heading + reading2, again);
    expect_short_reads("t-voltr-matrix.tmp", {{"r:nvolt", 4, ""}, {"r:fmatr", 8, ""}}, to_circuit + reading_matrix,
                       again);
    expect_short_reads("t-voltr-vector.tmp", {{"r:nvolt", 4, ""}, {"r:fvecr", 8, ""}},
                       to_circuit + reading_matrix + reading_vector, again);
    expect_short_reads("t-voltp-solution.tmp",
                       {{"r:nvolt", 4, ""}, {"r:fsolr", 8, ""}, {"r:nvoltv", 4, ""}, {"r:chg_vlt", 8, ""}}, to_host,
                       again);
    expect_short_reads("t-voltr-femdv.tmp", {{"r1", 4, ""}, {"r2", 8, ""}, {"r3", 8, ""}}, to_host + reading_femdv,
                       again);
    write_file("t-femr-solution.tmp", field_file({1, 1}));
    expect_short_reads("t-femr-solution.tmp", {{"r1", 4, "        ndim = 2 \n"}, {"r2", 16, ""}}, to_field, again);
    expect_short_reads("t-femr-solution-00001.tmp", {{"r1", 4, ""}, {"r2", 16, ""}},
                       to_field + "        ndim = 2 \n" + reading_solutions + edge_no(1), again);
    write_file("t-femr-vector-00001.tmp", bytes().add_i(2).add_d(1).add_d(2).text()); // its trailer is not read
    expect_short_reads("t-femr-vector-00001.tmp", {{"r1", 4, ""}, {"r2", 16, ""}},
                       to_field + "        ndim = 2 \n" + reading_solutions + edge_no(1) + reading_vectors + edge_no(1),
                       again);
}

TEST_F(one_coil, counts_that_differ_are_named)
{
    const std::string nvolt = "             nvolt is different.\n";
    for (const std::int32_t wrong : {0, 2, -1}) {
        const std::string good = read_file("t-voltr-matrix.tmp");
        write_file("t-voltr-matrix.tmp", bytes().add_i(wrong).add_d(2).text());
        expect_failure(to_circuit + reading_matrix + "      Error. in t-voltr-matrix.tmp(r:nvolt).\n" + nvolt);
        write_file("t-voltr-matrix.tmp", good);
    }
    write_file("t-voltr-vector.tmp", bytes().add_i(2).add_d(2).text());
    expect_failure(to_circuit + reading_matrix + reading_vector + "      Error. in t-voltr-vector.tmp(r:nvolt).\n" +
                   nvolt);
    write_host(1, {2}, {5}, {7});
    write_file("t-voltp-solution.tmp", bytes().add_i(2).add_d(0).add_i(1).add_d(7).text());
    expect_failure(to_host + "      Error. in t-voltp-solution.tmp(r:nvolt).\n" + nvolt);
    write_file("t-voltp-solution.tmp", bytes().add_i(1).add_d(0).add_i(2).add_d(7).text());
    expect_failure(to_host + "      Error. in t-voltp-solution.tmp(r:nvoltv).\n             nvoltv is different.\n");
    write_host(1, {2}, {5}, {7});
    write_file("t-voltr-femdv.tmp", bytes().add_i(2).add_d(3).add_d(0.5).text());
    expect_failure(to_host + reading_femdv +
                   "      Error. in t-voltr-femdv.tmp(r:nvolte).\n             nvolte is different.\n");
}

TEST_F(one_coil, field_files_of_another_size_are_refused)
{
    const std::string to_ndim = to_field + "        ndim = 2 \n" + reading_solutions + edge_no(1);
    for (const std::int32_t wrong : {0, -1, 101}) {
        write_file("t-femr-solution.tmp", bytes().add_i(wrong).add_zeros(1000).text());
        expect_failure(to_field + "        ndim = " + std::to_string(wrong) + " \n      Error. ndim over the limit.\n");
    }
    write_file("t-femr-solution.tmp", field_file({1, 1}));
    write_file("t-femr-solution-00001.tmp", field_file({1, 2, 3}));
    expect_failure(to_ndim + "      Error. in t-femr-solution-00001.tmp(r:ndim).\n             ndim is different.\n");
    write_file("t-femr-solution-00001.tmp", field_file({3, -2}));
    write_file("t-femr-vector-00001.tmp", field_file({3}));
    expect_failure(to_ndim + reading_vectors + edge_no(1) +
                   "      Error. in t-femr-vector-00001.tmp(r:ndim).\n             ndim is different.\n");
}

TEST_F(one_coil, field_files_that_are_missing_are_named)
{
    const std::string to_ndim = to_field + "        ndim = 2 \n" + reading_solutions + edge_no(1);
    std::filesystem::remove("t-femr-vector-00001.tmp");
    expect_failure(to_ndim + reading_vectors + edge_no(1) + "  Error. Can't open t-femr-vector-00001.tmp.\n");
    std::filesystem::remove("t-femr-solution-00001.tmp");
    expect_failure(to_ndim + "  Error. Can't open t-femr-solution-00001.tmp.\n");
    std::filesystem::remove("t-femr-solution.tmp");
    expect_failure(to_field + "  Error. Can't open t-femr-solution.tmp.\n");
}

TEST_F(one_coil, a_singular_system_is_reported_and_its_report_stays)
{
    write_host(1, {1}, {5}, {7}); // 1 + 3 - 4
    const stage_outcome outcome = solve();
    EXPECT_TRUE(outcome.log.ends_with(solving + "      Error. the full-matrix is singular.\n             at i = 0.\n"));
    EXPECT_EQ(read_file("t-voltr-result.txt"), report_head + "\n\n    +++ full-matrix : fmatr \n\n"
                                                             "        fmatr(1,1) = 0.000000e+00 \n"
                                                             "\n    +++ full-vector : fvecr \n\n"
                                                             "        fvecr(1) = -5.000000e+00 \n"
                                                             "\n");
}

TEST_F(one_coil, a_full_disk_is_reported_at_the_last_item_written)
{
    solution_at = "/dev/full";
    EXPECT_TRUE(solve().log.ends_with(writing + "      Error. in t-voltr-solution.tmp(w:chg_vlt).\n"));
    solution_at = "t-voltr-solution.tmp", report_at = "/dev/full";
    EXPECT_TRUE(solve().log.ends_with(writing + "      Error. in t-voltr-result.txt(w).\n"));
}

TEST_F(one_coil, counts_are_checked_in_the_order_of_their_lines)
{
    data2.nvoltv = data2.nvoltve = 0, data2.edges.clear();
    write_data2();
    const std::string zeros = "        +++ nvoltg  = 0 ...\n"
                              "        +++ nvoltv  = 0 ...\n"
                              "        +++ nvoltve = 0 ...\n"
                              "        +++ nvoltm  = 0 ...\n"
                              "        +++ nvolt   = 0 ...\n";
    expect_failure(heading + reading2 + zeros + "      Error. nvolt <= 0.\n"); // before nvolte is looked at
    data2.nvoltv = 1;
    write_data2();
    expect_failure(heading + reading2 +
                   "        +++ nvoltg  = 0 ...\n"
                   "        +++ nvoltv  = 1 ...\n"
                   "        +++ nvoltve = 0 ...\n"
                   "        +++ nvoltm  = 0 ...\n"
                   "        +++ nvolt   = 1 ...\n"
                   "      Error. nvolte is different.\n");
    data2.maxvlt = 4;
    write_data2();
    expect_failure(heading + reading2 +
                   "      Error. in t-volt-data2.tmp(r:maxvlt).\n             maxvlt is different.\n");
}

TEST_F(one_coil, the_node_list_is_checked)
{
    const std::string list = heading + reading2 + circuit;
    const std::string node = "      Error. in t-volt-data2.tmp(r:node).\n             node over the limit. node = ";
    for (const std::int32_t wrong : {6, -1}) {
        data2.nodes = {{wrong, 0}};
        write_data2();
        expect_failure(list + node + std::to_string(wrong) + " \n");
    }
    for (const std::int32_t wrong : {1, -1}) { // there is no node unknown
        data2.nodes = {{5, wrong}};
        write_data2();
        expect_failure(list + "            node = 5  ium = " + std::to_string(wrong) +
                       " \n      Error. ium over the limit.\n");
    }
    data2.nodes = {{1, 0}, {2, 0}, {3, 0}, {4, 0}};
    write_data2();
    EXPECT_FALSE(solve().failed);
    data2.nodes.push_back({5, 0});
    write_data2();
    const std::string no_end = "            node = 5  ium = 0 \n"
                               "      Error. in t-volt-data2.tmp(r).\n"
                               "             There is no end-data(node=0),\n"
                               "             or, maxvlt is too small.\n";
    EXPECT_TRUE(solve().log.ends_with(no_end));
    data2.nodes = {{5, 0}};
    write_data2();
    write_file("t-volt-data2.tmp", read_file("t-volt-data2.tmp").substr(0, 5 * 4 + 4 + 72 + 4 + 4 + 2));
    expect_failure(list + "      Error. in t-volt-data2.tmp(r:ium).\n");
}

// A grad-fai condition (unknown 1), a coupled edge (2), an edge of the circuit alone (3) and a node (4). Factors are 2
// and 2 / 0.5 = 4.
//   rows  (1 - 1 + 2) g = 0 + 2 - 2 * 3;  (-7 + 4 * 2) i1 + u = 0 + 1 - 4 * 5;  2 i2 = 8;  i1 + i2 + 3 u = 4
class all_kinds : public circuit_solution
{
protected:
    all_kinds()
    {
        nvolte = 2;
        data2.maxvlt = 5, data2.nvoltg = 1, data2.nvoltv = 2, data2.nvoltve = 1, data2.nvoltm = 1;
        data2.grads = {{2, 1}, {1, 0}};
        data2.edges = {{3, 1, {0, 0, 0, 0, 0, 0, 2}, {}}, {2, 0, {0, 0, 0, 0, 0, 0, 9}, {}}, {1, 2, {}, {}}};
        data2.nodes = {{4, 1}, {3, 0}};
        write_data2();
        write_host(4, {1, 0, 0, 0, 0, -7, 0, 1, 0, 0, 2, 0, 0, 1, 1, 3}, {0, 0, 8, 4}, {1, 2});
        write_file("t-voltr-femdv.tmp", bytes().add_i(2).add_d(-1).add_d(1).add_d(0).add_d(0.25).text());
        write_file("t-femr-solution.tmp", field_file({3, 5}));
        write_file("t-femr-solution-00001.tmp", field_file({1, 0}));
        write_file("t-femr-solution-00002.tmp", field_file({0, 2}));
        write_file("t-femr-vector-00001.tmp", field_file({1, 0}));
        write_file("t-femr-vector-00002.tmp", field_file({0, 1}));
    }
};

TEST_F(all_kinds, by_hand_with_the_whole_report)
{
    const stage_outcome outcome = solve();
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, heading + reading2 +
                               "        +++ nvoltg  = 1 ...\n"
                               "        +++ nvoltv  = 2 ...\n"
                               "        +++ nvoltve = 1 ...\n"
                               "        +++ nvoltm  = 1 ...\n"
                               "        +++ nvolt   = 4 ...\n"
                               "\n        +++ unknown no. of grad-fai(iug) +++ \n"
                               "            ngrad = 2  iug = 1 \n"
                               "            ngrad = 1  iug = 0 \n"
                               "\n        +++ unknown no. of edge(iuv) +++ \n"
                               "            novlt = 3  iuv = 1 \n"
                               "            novlt = 2  iuv = 0 \n"
                               "            novlt = 1  iuv = 2 \n"
                               "\n        +++ unknown no. of node(ium) +++ \n"
                               "            node = 4  ium = 1 \n"
                               "            node = 3  ium = 0 \n" +
                               allocating + reading_matrix + reading_vector + reading_previous + reading_femdv +
                               reading_solution + "        ndim = 2 \n" + reading_solutions + edge_no(1) + edge_no(2) +
                               reading_vectors + edge_no(1) + edge_no(2) + setting + solving + renewing + charging +
                               writing);
    // g = -2; i2 = 4; i1 = -3 u and -2 u = -19
    expect_circuit({-2, -28.5, 4, 9.5}, {-13.25, 4});
    EXPECT_EQ(read_file("t-femr-solution.tmp"), field_file({1, -52})); // (3, 5) - 2 (1, 0) - 28.5 (0, 2)
    std::string report = report_head + "\n\n    +++ full-matrix : fmatr \n\n";
    const char* f[4][4] = {{"2.000000e+00", "0.000000e+00", "0.000000e+00", "0.000000e+00"},
                           {"0.000000e+00", "1.000000e+00", "0.000000e+00", "1.000000e+00"},
                           {"0.000000e+00", "0.000000e+00", "2.000000e+00", "0.000000e+00"},
                           {"0.000000e+00", "1.000000e+00", "1.000000e+00", "3.000000e+00"}};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            report += "        fmatr(" + std::to_string(i + 1) + "," + std::to_string(j + 1) + ") = " + f[i][j] + " \n";
    report += "\n    +++ full-vector : fvecr \n\n"
              "        fvecr(1) = -4.000000e+00 \n"
              "        fvecr(2) = -1.900000e+01 \n"
              "        fvecr(3) = 8.000000e+00 \n"
              "        fvecr(4) = 4.000000e+00 \n"
              "\n"
              "\n\n    +++ ngrad : grad-fai +++ \n\n"
              "        2 : -2.000000e+00 \n"
              "\n"
              "\n\n    +++ novlt : current, charge +++ \n\n"
              "        1 : 4.000000e+00, 4.000000e+00 \n"
              "        3 : -2.850000e+01, -1.325000e+01 \n"
              "\n"
              "\n\n    +++ node  : voltage +++ \n\n"
              "        4 : 9.500000e+00 \n"
              "\n";
    EXPECT_EQ(read_file("t-voltr-result.txt"), report);
}

TEST_F(all_kinds, axisymmetric_leaves_the_grad_fai_factor_positive)
{
    // g: (1 + 2 * -1 + 2) g = 2 - 6, g = -4; edge factor -4: (-7 - 8) i1 + u = -1 + 20
    cntl.iax = 1;
    EXPECT_FALSE(solve().failed);
    const std::string file = read_file("t-voltr-solution.tmp");
    EXPECT_EQ(double_at(file, 4), -4.0);
    // i1 = -3 u as before: 46 u = 19
    EXPECT_NEAR(double_at(file, 4 + 3 * 8), 19.0 / 46, 1e-15);
}

TEST_F(all_kinds, off_diagonal_terms_couple_row_by_row_with_the_rows_factor)
{
    // h1.v2 = 2 c and h2.v1 = d: rows take factors 2 and 4
    write_file("t-femr-vector-00001.tmp", field_file({1, 0.5}));
    write_file("t-femr-solution-00001.tmp", field_file({1, 3}));
    solve();
    const std::string report = read_file("t-voltr-result.txt");
    // h1.v1 = 2.5, h1.v2 = 1, h2.v1 = 3, h2.v2 = 2, h1.x = 5.5
    for (const char* line :
         {"fmatr(1,1) = 5.000000e+00 \n", "fmatr(1,2) = 2.000000e+00 \n", "fmatr(2,1) = 1.200000e+01 \n",
          "fmatr(2,2) = 1.000000e+00 \n", "fvecr(1) = -9.000000e+00 \n"})
        EXPECT_NE(report.find(line), std::string::npos) << line;
}

// A source E with a resistance and a diode of the table below, without a field's share.
class rectifier : public circuit_solution
{
protected:
    rectifier()
    {
        data2.maxvlt = 5, data2.nvoltv = 1;
        data2.edges = {{4, 1, {}, {}}};
        data2.maxtdat_diod = 4, data2.itermax_diod = 50, data2.eps_diod = 1e-12;
        data2.diodes = {{4, 2, 1}};
        data2.tables = {{2, {{-8, -0.5}, {0, 0}, {1, 4}, {2, 12}}}};
        write_file("t-femr-solution.tmp", field_file({1, 1}));
    }
    stage_outcome run(double resistance, double source)
    {
        write_data2();
        write_host(1, {resistance}, {source}, {0});
        return solve();
    }
    static double current() { return double_at(read_file("t-voltr-solution.tmp"), 4); }
    static int passes()
    {
        const std::string report = read_file("t-voltr-result.txt");
        int count = 0;
        for (std::size_t at = 0; (at = report.find("=== iter no. for diode ===", at)) != std::string::npos; ++at)
            ++count;
        return count;
    }
    const std::string circuit = "        +++ nvoltg  = 0 ...\n"
                                "        +++ nvoltv  = 1 ...\n"
                                "        +++ nvoltve = 0 ...\n"
                                "        +++ nvoltm  = 0 ...\n"
                                "        +++ nvolt   = 1 ...\n"
                                "\n        +++ unknown no. of grad-fai(iug) +++ \n"
                                "\n        +++ unknown no. of edge(iuv) +++ \n"
                                "            novlt = 4  iuv = 1 \n"
                                "\n        +++ unknown no. of node(ium) +++ \n";
    const std::string to_field = heading + reading2 + circuit + allocating +
                                 "        ... allocate pointer for fmatr_org for diode. \n" + reading_matrix +
                                 reading_vector + reading_previous + reading_solution + "        ndim = 2 \n" +
                                 reading_solutions + reading_vectors + setting;
};

TEST_F(rectifier, on_its_start_line_is_solved_in_one_pass)
{
    // 0.875 i + (i/8 + 1/2) = 8.5: i = 8, v = 1.5 on the last segment
    const stage_outcome outcome = run(0.875, 8.5);
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, to_field + solving + "        novlt = 4  eps = 0.000000e+00  eps_jud = 1.250000e-11 \n" +
                               charging + writing); // no field to renew, yet it is rewritten
    expect_circuit({8}, {4});
    EXPECT_EQ(read_file("t-femr-solution.tmp"), field_file({1, 1}));
    EXPECT_EQ(read_file("t-voltr-result.txt"), report_head + "\n\n    === iter no. for diode === 1 \n"
                                                             "\n\n    +++ full-matrix : fmatr \n\n"
                                                             "        fmatr(1,1) = 1.000000e+00 \n"
                                                             "\n    +++ full-vector : fvecr \n\n"
                                                             "        fvecr(1) = 8.000000e+00 \n"
                                                             "\n"
                                                             "\n\n    +++ novlt : current, charge +++ \n\n"
                                                             "        4 : 8.000000e+00, 4.000000e+00 \n"
                                                             "\n");
}

TEST_F(rectifier, finds_the_crossing_of_load_line_and_table_in_each_segment_and_orientation)
{
    data2.itermax_diod = 1000; // lines through the table's end close in on the first segment slowly
    struct row {
        double source, current;
    };
    for (const row& r : {row{2.5, 2.5 / 1.125},    // second segment: v = i / 4
                         row{-2.5, -2.5 / 16.875}, // first: v = 16 i
                         row{8.5, 8}}) {
        data2.diodes[0].isign_diod = 1;
        EXPECT_FALSE(run(0.875, r.source).failed);
        EXPECT_NEAR(current(), r.current, 1e-9);
        data2.diodes[0].isign_diod = -1; // turned round with the source
        EXPECT_FALSE(run(0.875, -r.source).failed);
        EXPECT_NEAR(current(), -r.current, 1e-9);
    }
}

TEST_F(rectifier, the_limit_of_passes_ends_the_iteration_without_an_error)
{
    // Pass 1: i = 2.5 - 0.5 = 2, v = 3/4, the table has 3 A there. Pass 2: r = 1.25 / 9, vct = 2 - 12 r.
    const double r = 1.25 / 9;
    const double second = (2.5 - (2 - 12 * r)) / (0.875 + r);
    for (const std::int32_t limit : {-3, 0, 1, 2}) {
        data2.itermax_diod = limit;
        const stage_outcome outcome = run(0.875, 2.5);
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(passes(), limit < 2 ? 1 : 2);
        if (limit < 2)
            EXPECT_EQ(current(), 2.0);
        else
            EXPECT_NEAR(current(), second, 1e-15);
        EXPECT_NE(outcome.log.find("        novlt = 4  eps = 1.000000e+00  eps_jud = 1.250000e-11 \n"),
                  std::string::npos);
    }
}

TEST_F(rectifier, a_change_of_the_tolerance_needs_no_further_pass)
{
    // Pass 1 changes by 1 A; the table spans 12.5 A.
    data2.eps_diod = 0.08; // a little above 1 / 12.5 in binary, times 12.5 exactly 1
    ASSERT_EQ(12.5 * 0.08, 1.0);
    run(0.875, 2.5);
    EXPECT_EQ(passes(), 1);
    data2.eps_diod = 0.0799;
    run(0.875, 2.5);
    EXPECT_EQ(passes(), 2);
}

TEST_F(rectifier, two_diodes_are_judged_in_the_order_of_their_edges)
{
    data2.nvoltv = 2;
    data2.edges = {{4, 1, {}, {}}, {2, 2, {}, {}}};
    data2.diodes = {{4, 2, 1}, {2, 2, -1}};
    write_data2();
    write_host(2, {0.875, 0, 0, 0.875}, {8.5, -4.5}, {0, 0});
    const stage_outcome outcome = solve();
    EXPECT_TRUE(outcome.log.ends_with(solving +
                                      "        novlt = 2  eps = 0.000000e+00  eps_jud = 1.250000e-11 \n"
                                      "        novlt = 4  eps = 0.000000e+00  eps_jud = 1.250000e-11 \n" +
                                      charging + writing));
    expect_circuit({8, -4}, {4, -2});
}

TEST_F(rectifier, an_empty_diode_list_is_one_pass_with_its_line)
{
    data2.diodes.clear();
    const stage_outcome outcome = run(2, 8);
    EXPECT_EQ(outcome.log, to_field + solving + charging + writing);
    EXPECT_EQ(passes(), 1);
    EXPECT_EQ(current(), 4.0);
}

TEST_F(rectifier, without_tables_points_there_are_no_diodes_and_no_line)
{
    data2.diodes.clear(), data2.tables.clear();
    for (const std::int32_t none : {0, -1}) {
        data2.maxtdat_diod = none;
        EXPECT_EQ(run(2, 8).log.find("fmatr_org"), std::string::npos);
        EXPECT_EQ(passes(), 0);
        EXPECT_EQ(current(), 4.0);
    }
}

TEST_F(rectifier, a_diode_on_an_edge_without_unknown_is_refused)
{
    data2.diodes = {{3, 2, 1}};
    EXPECT_EQ(run(1, 1).log, to_field + "      Error. unknown no. <=0 for novlt = 3.\n");
    EXPECT_EQ(read_file("t-voltr-result.txt"), report_head + "\n\n    === iter no. for diode === 1 \n");
}

TEST_F(rectifier, a_diode_without_its_table_is_refused)
{
    data2.diodes = {{4, 3, 1}};
    EXPECT_EQ(run(1, 1).log, to_field + "      Error. in diode data. novlt = 4 \n"
                                        "             no. of table data over the limit. not_diod = 3 \n");
}

TEST_F(rectifier, the_last_of_repeated_diodes_and_tables_stands)
{
    data2.diodes = {{4, 2, -1}, {4, 1, 1}};
    data2.tables = {{1, {{0, 0}, {100, 1}}}, {2, {{0, 0}, {7, 1}}}, {1, {{0, 0}, {1, 8}}}};
    EXPECT_FALSE(run(0.875, 4).failed); // table 1: v = i / 8
    EXPECT_EQ(current(), 4.0);
}

TEST_F(rectifier, maxvlt_tables_need_no_end)
{
    const std::vector<tarnel_host::volt_point> points = {{0, 0}, {1, 8}};
    data2.tables = {{1, points}, {2, points}, {3, points}, {4, points}, {5, points}};
    EXPECT_FALSE(run(0.875, 4).failed);
    EXPECT_EQ(current(), 4.0);
}

TEST_F(rectifier, diode_sections_are_reported_at_the_item_they_end_in)
{
    data2.tables = {{2, {{0, 0}, {1, 8}}}};
    ASSERT_FALSE(run(0.875, 4).failed);
    const std::string file = read_file("t-volt-data2.tmp");
    const std::string said = heading + reading2 + circuit;
    std::size_t at = 5 * 4 + 4 + 72 + 4 + 4 + 16;
    struct item {
        const char* tag;
        std::size_t bytes;
    };
    for (const item& i :
         {item{"novlt_diod", 4}, item{"not_diod", 4}, item{"isign_diod", 4}, item{"novlt_diod", 4}, item{"not_diod", 4},
          item{"notable_diod", 4}, item{"v-i for diode", 16}, item{"v-i for diode", 16}, item{"not_diod", 4}})
        for (std::size_t byte = 0; byte < i.bytes; ++byte, ++at) {
            write_file("t-volt-data2.tmp", file.substr(0, at));
            EXPECT_EQ(solve().log, said + "      Error. in t-volt-data2.tmp(r:" + i.tag + ").\n") << at;
        }
    EXPECT_EQ(at, file.size());
}

TEST_F(rectifier, diode_numbers_lie_within_their_limits)
{
    const std::string said = heading + reading2 + circuit;
    const auto error = [&](const std::string& tag, const std::string& detail) {
        return said + "      Error. in t-volt-data2.tmp(" + tag + ").\n             " + detail + " \n";
    };
    for (const std::int32_t wrong : {6, -1}) {
        const std::string number = std::to_string(wrong);
        data2.diodes = {{wrong, 2, 1}};
        EXPECT_EQ(run(1, 1).log, error("r:novlt_diod", "novlt over the limit. novlt = " + number));
        data2.diodes = {{4, wrong, 1}};
        EXPECT_EQ(run(1, 1).log, error("r:not_diod", "not over the limit. not = " + number));
        data2.diodes = {{4, 2, 1}};
        data2.tables[0].not_diod = wrong;
        EXPECT_EQ(run(1, 1).log, error("r:not_diod", "not over the limit. not = " + number));
        data2.tables[0].not_diod = 2;
    }
    for (const std::size_t points : {0u, 1u, 5u}) {
        data2.tables[0].points.resize(points);
        EXPECT_EQ(run(1, 1).log, error("r:notable_diod", "no. of table data over the limit. not_diod = 2"));
    }
}

TEST_F(rectifier, the_end_of_the_diodes_counts_against_maxvlt)
{
    data2.diodes = {{4, 2, 1}, {4, 2, 1}, {4, 2, 1}, {4, 2, 1}};
    EXPECT_FALSE(run(0.875, 8.5).failed);
    data2.diodes.push_back({4, 2, 1});
    EXPECT_EQ(run(0.875, 8.5).log, heading + reading2 + circuit +
                                       "      Error. in t-volt-data2.tmp(r).\n"
                                       "             There is no end-data(novlt=0),\n"
                                       "             or, maxvlt is too small.\n");
}
