#include "results/felm_resl.h"

#include "assembly/hand_files.h"
#include "host_files/host_files.h"

#include <cstdio>

using namespace tarnel_test;

namespace
{

std::string table_of(const std::vector<std::vector<double>>& rows)
{
    std::string text = "\n\n    === check print total current for grad-fai condition ===\n\n"
                       "        ngrad, total_curr, total_gfai ...\n";
    char line[120];
    for (const auto& row : rows) {
        std::snprintf(line, sizeof line, "        %10d %15.5e %15.5e \n", static_cast<int>(row[0]), row[1], row[2]);
        text += line;
    }
    return text;
}

const std::string heading = "    === in func. eat_calc_felm_resl ===\n";
const std::string reading_solution = "        Now, reading t-voltr-solution.tmp(fsolr) ===\n";

// A square of side 2 and a triangle of the same nodes, both of grad-fai condition 3 (unknown 2 of 2, solution 5);
// condition 1 has the other unknown (solution 7) and no element, condition 2 no unknown.
class grad_currents : public stage_test
{
protected:
    tarnel::control cntl = [] {
        tarnel::control c = small_control();
        c.maxvlt = 6;
        return c;
    }();
    double left = 0;
    std::vector<hand_felm> felms = {{1, 204, 4, {1, 2, 3, 4}}, {2, 203, 4, {1, 2, 3}}};
    tarnel_host::volt_data1 data1{6, {{4, -1, 3, {}}}};
    tarnel_host::volt_data2 data2;
    std::vector<double> fsolr = {7, 5, 50};
    std::int32_t nvolte = 2;

    grad_currents()
    {
        data2.maxvlt = 6, data2.nvoltg = 2, data2.nvoltv = 1;
        data2.grads = {{3, 2}, {1, 1}, {2, 0}};
        for (hand_felm& felm : felms) felm.sigma = 2;
    }
    void write_files() const
    {
        std::vector<hand_node> nodes = {{1, left, 0, 1}, {2, left + 2, 0, 1}, {3, left + 2, 2, 1}, {4, left, 2, 1}};
        write_file("at-node-struct.tmp", node_file(nodes));
        write_file("at-felm-struct.tmp", felm_file(felms));
        write_file("t-femr-solution.tmp", solution_file({1}));
        write_file("at-npresl-struct.tmp", std::string(16, '\0'));
        tarnel_host::write_volt_data1("t-volt-data1.tmp", data1);
        tarnel_host::write_volt_data2("t-volt-data2.tmp", data2);
        tarnel_host::write_voltp_solution("t-voltr-solution.tmp", {fsolr, {1}});
    }
    stage_outcome run() const
    {
        return run_stage([&](std::FILE* log) {
            opened_input nodes("at-node-struct.tmp"), elements("at-felm-struct.tmp"), solution("t-femr-solution.tmp");
            const auto conductivities = opened_when(cntl.iopt_propsg == 1, "at-propsg-struct.tmp");
            const auto previous = opened_when(cntl.iopt_trans == 1, "at-npresl-struct.tmp");
            opened_output table("at-felm-resl.txt"), results("at-eresl-struct.tmp");
            opened_input first("t-volt-data1.tmp"), second("t-volt-data2.tmp"), circuit("t-voltr-solution.tmp");
            tarnel::felm_resl_circuit_files circuits = {first, second, circuit};
            tarnel::eat_calc_felm_resl(cntl,
                                       {nodes, elements, conductivities.get(), previous.get(), solution, table, results,
                                        nvolte > 0 ? &circuits : nullptr},
                                       nvolte, log);
        });
    }
    stage_outcome evaluate() const
    {
        write_files();
        return run();
    }
    void expect_field(int element, double ez, double jz) const
    {
        const std::string file = read_file("at-eresl-struct.tmp");
        const auto at = static_cast<std::size_t>(112 * (element - 1));
        EXPECT_EQ(double_at(file, at + 64), 0.0);
        EXPECT_EQ(double_at(file, at + 72), 0.0);
        EXPECT_NEAR(double_at(file, at + 80), jz, 1e-12);
        EXPECT_EQ(double_at(file, at + 88), 0.0);
        EXPECT_EQ(double_at(file, at + 96), 0.0);
        EXPECT_NEAR(double_at(file, at + 104), ez, 1e-12);
    }
    static void expect_table(const std::vector<std::vector<double>>& rows)
    {
        const std::string text = read_file("at-felm-resl.txt");
        EXPECT_TRUE(text.ends_with(" \n" + table_of(rows))) << text;
    }
};

} // namespace

TEST_F(grad_currents, planar_by_hand)
{
    // ez = -5, jz = -10; areas 4 and 2
    const stage_outcome outcome = evaluate();
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, heading +
                               "        === in func. t_rd_volt_files ===\n"
                               "            Now, reading t-volt-data1.tmp +++\n"
                               "            Now, reading t-volt-data2.tmp +++\n"
                               "        +++ nvoltg  = 2 ...\n"
                               "        +++ nvoltv  = 1 ...\n"
                               "        +++ nvoltve = 0 ...\n"
                               "        +++ nvoltm  = 0 ...\n"
                               "\n        +++ unknown no. of grad-fai(iug) +++ \n"
                               "            ngrad = 3  iug = 2 \n"
                               "            ngrad = 1  iug = 1 \n"
                               "            ngrad = 2  iug = 0 \n"
                               "\n        +++ unknown no. of edge(iuv) +++ \n" +
                               reading_solution);
    expect_field(1, -5, -10);
    expect_field(2, -5, -10);
    expect_table({{1, 0, 0}, {3, -60, -60}});
}

TEST_F(grad_currents, with_induction_the_total_takes_it_and_the_grad_fai_share_does_not)
{
    // ez = -(1 - 0) / 0.5 - 5
    cntl.iopt_trans = 1, cntl.delta_t = 0.5;
    EXPECT_FALSE(evaluate().failed);
    expect_field(1, -7, -14);
    expect_table({{1, 0, 0}, {3, -84, -60}});
}

TEST_F(grad_currents, axisymmetric_by_hand)
{
    // Centre radii 2 and 1 + (0 + 2 + 2) / 3: ez = -5/2 and -15/7, jz area = -5 * 4 and -30/7 * 2.
    cntl.iax = 1, left = 1;
    EXPECT_FALSE(evaluate().failed);
    expect_field(1, -2.5, -5);
    expect_field(2, -15.0 / 7, -30.0 / 7);
    expect_table({{1, 0, 0}, {3, -20 - 60.0 / 7, -20 - 60.0 / 7}});
}

TEST_F(grad_currents, an_element_of_another_region_has_no_share)
{
    felms[1].nop = 5;
    EXPECT_FALSE(evaluate().failed);
    expect_field(2, 0, 0);
    expect_table({{1, 0, 0}, {3, -40, -40}});
}

TEST_F(grad_currents, a_region_without_condition_or_unknown_has_no_share)
{
    data1.properties[0].ngrad = 0;
    EXPECT_FALSE(evaluate().failed);
    expect_field(1, 0, 0);
    expect_table({{1, 0, 0}, {3, 0, 0}});
    data1.properties[0].ngrad = 2;
    EXPECT_FALSE(evaluate().failed);
    expect_field(1, 0, 0);
    data1.properties[0].ngrad = 3, data1.properties[0].iswvlt = 2;
    EXPECT_FALSE(evaluate().failed);
    expect_field(1, 0, 0);
    expect_table({{1, 0, 0}, {3, 0, 0}});
}

TEST_F(grad_currents, an_element_that_does_not_conduct_has_no_share)
{
    felms[0].sigma = 0;
    EXPECT_FALSE(evaluate().failed);
    expect_field(1, 0, 0);
    expect_table({{1, 0, 0}, {3, -20, -20}});
}

TEST_F(grad_currents, the_conductivity_by_element_counts_and_the_flag_alone_gives_the_field)
{
    cntl.iopt_propsg = 1;
    felms[0].sigma = 0, felms[0].iflg = 1;
    write_file("at-propsg-struct.tmp", conductivity_bytes(1, 1, 4));
    EXPECT_FALSE(evaluate().failed);
    expect_field(1, -5, -20);
    expect_table({{1, 0, 0}, {3, -100, -100}});
    write_file("at-propsg-struct.tmp", conductivity_bytes(1, 0, 4));
    EXPECT_FALSE(evaluate().failed);
    expect_field(1, -5, 0);
}

TEST_F(grad_currents, without_grad_fai_unknowns_there_is_no_table_though_the_circuit_is_read)
{
    data2.nvoltg = 0, data2.nvoltve = 1, data2.grads = {{3, 0}}, nvolte = 1;
    const stage_outcome outcome = evaluate();
    EXPECT_TRUE(outcome.log.ends_with(reading_solution));
    EXPECT_EQ(read_file("at-felm-resl.txt").find("check print"), std::string::npos);
    expect_field(1, 0, 0);
}

TEST_F(grad_currents, without_circuits_nothing_of_them_is_read)
{
    nvolte = 0;
    EXPECT_EQ(evaluate().log, heading);
    EXPECT_EQ(read_file("at-felm-resl.txt").find("check print"), std::string::npos);
}

TEST_F(grad_currents, the_circuit_solution_is_checked)
{
    write_files();
    const std::string whole = read_file("t-voltr-solution.tmp");
    for (std::size_t cut = 0; cut < 4 + 24; ++cut) {
        write_file("t-voltr-solution.tmp", whole.substr(0, cut));
        EXPECT_TRUE(
            run().log.ends_with(reading_solution + file_error("t-voltr-solution.tmp", cut < 4 ? "r:nvolt" : "r:fsolr")))
            << cut;
    }
    for (const std::int32_t wrong : {0, -1}) {
        write_file("t-voltr-solution.tmp", patched(whole, 0, wrong));
        EXPECT_TRUE(run().log.ends_with(reading_solution + file_error("t-voltr-solution.tmp", "r:nvolt") +
                                        "             nvolt <= 0.\n"));
    }
    write_file("t-voltr-solution.tmp", patched(whole, 0, std::int32_t{1})); // shorter than the grad-fai unknowns
    EXPECT_TRUE(run().failed);
}
