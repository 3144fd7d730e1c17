#include "circuit/felm_struct_voltr.h"

#include "assembly/hand_files.h"
#include "circuit/cut_files.h"
#include "host_files/host_files.h"

#include <array>

using namespace tarnel_test;

namespace
{

const std::string heading = "    === in func. at_ch_felm_struct_voltr ===\n";
const std::string lists = "        === in func. t_rd_volt_files ===\n"
                          "            Now, reading t-volt-data1.tmp +++\n"
                          "            Now, reading t-volt-data2.tmp +++\n"
                          "        +++ nvoltg  = 1 ...\n"
                          "        +++ nvoltv  = 3 ...\n"
                          "        +++ nvoltve = 3 ...\n"
                          "        +++ nvoltm  = 0 ...\n"
                          "\n        +++ unknown no. of grad-fai(iug) +++ \n"
                          "            ngrad = 1  iug = 1 \n"
                          "\n        +++ unknown no. of edge(iuv) +++ \n"
                          "            novlt = 1  iuv = 1 \n"
                          "            novlt = 2  iuv = 2 \n"
                          "            novlt = 3  iuv = 0 \n"
                          "            novlt = 4  iuv = 3 \n";

// Circuit unknowns: grad-fai 100, edges 2, 3 and 5. Property 1 carries edge 1 (current density), 2 (magnetisation), 3
// (without an unknown) and 4 (current density); property 2 is a grad-fai region, property 3 none.
class driven_elements : public stage_test
{
protected:
    tarnel::control cntl = [] {
        tarnel::control c = small_control();
        c.maxprp = 9, c.maxvlt = 6;
        return c;
    }();
    tarnel_host::volt_data1 data1{
        6,
        {{1, 1, 0, {{1, 1, {1, 2, 8}, 0}, {2, 2, {16, 32, 4}, 0}, {3, 1, {1, 1, 1}, 0}, {4, 1, {0, 0, -1}, 0}}},
         {2, -1, 1, {}},
         {3, 0, 0, {}}}};
    tarnel_host::volt_data2 data2;
    std::vector<hand_felm> felms = {{7, 204, 1, {1, 2, 3, 4}}, {8, 203, 2, {1, 2, 3}}, {9, 203, 0, {1, 2, 3}}};
    std::string centres, systems = std::string(104, '\0'), solution;
    std::string to = "at-felm-struct.tmp";

    driven_elements()
    {
        data2.maxvlt = 6, data2.nvoltg = 1, data2.nvoltv = data2.nvoltve = 3;
        data2.grads = {{1, 1}};
        data2.edges = {{1, 1, {}, {}}, {2, 2, {}, {}}, {3, 0, {}, {}}, {4, 3, {}, {}}};
        for (hand_felm& felm : felms) felm.hb = {1, 2, 3}, felm.hvec = {10, 20, 30}, felm.j0vec = {0.5, 0.25, 4};
        for (const int noe : {7, 8, 9}) centres += bytes().add_i(noe).add_d(1).add_d(1).add_d(0).text();
        solution = bytes().add_i(4).add_d(100).add_d(2).add_d(3).add_d(5).text();
        write_file("at-node-struct.tmp", node_file({{1, 0, 0, 1}, {2, 1, 0, 2}}));
    }
    void write_files() const
    {
        write_file("at-felm-struct.org", felm_file(felms));
        write_file("t-felm-cntr.tmp", centres);
        write_file("t-lcs-struct.tmp", systems);
        write_file("t-voltr-solution.tmp", solution);
        tarnel_host::write_volt_data1("t-volt-data1.tmp", data1);
        tarnel_host::write_volt_data2("t-volt-data2.tmp", data2);
    }
    stage_outcome run(std::int32_t nvolte = 4) const
    {
        return run_stage([&](std::FILE* log) {
            opened_input lcs("t-lcs-struct.tmp"), nodes("at-node-struct.tmp"), before("at-felm-struct.org");
            opened_output after(to, "at-felm-struct.tmp");
            opened_input first("t-volt-data1.tmp"), second("t-volt-data2.tmp"), centre("t-felm-cntr.tmp"),
                circuit("t-voltr-solution.tmp");
            tarnel::at_ch_felm_struct_voltr(cntl, {lcs, nodes, before, after, first, second, centre, circuit}, nvolte,
                                            log);
        });
    }
    stage_outcome change() const
    {
        write_files();
        return run();
    }
    void expect_failure(const std::string& log) const
    {
        const stage_outcome outcome = change();
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, log);
    }
    // The stage's output is its input but for the two source vectors of the first element.
    void expect_sources(const std::vector<double>& hvec, const std::vector<double>& j0vec) const
    {
        std::vector<hand_felm> expected = felms;
        expected[0].hvec = hvec, expected[0].j0vec = j0vec;
        EXPECT_EQ(read_file("at-felm-struct.tmp"), felm_file(expected));
    }
};

} // namespace

TEST_F(driven_elements, get_the_directions_of_their_sources_times_the_currents_added)
{
    const stage_outcome outcome = change();
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, heading + lists);
    // kind 1: 2 (1, 2, 8) + 5 (0, 0, -1); kind 2: 3 (16, 32, 4)
    expect_sources({58, 116, 42}, {2.5, 4.25, 15});
}

TEST_F(driven_elements, with_a_current_density_by_element_get_their_pattern_times_the_currents)
{
    cntl.iopt_j0vect = 1;
    EXPECT_FALSE(change().failed);
    expect_sources({10, 20, 30}, {3.5, 1.75, 28}); // edges 1 and 4 are of kind 1: 2 + 5
}

TEST_F(driven_elements, without_a_driving_source_lose_their_pattern_with_the_switch_and_keep_it_without)
{
    data1.properties[0].conductors = {{2, 3, {1, 1, 1}, 0}, {3, 1, {1, 1, 1}, 0}};
    EXPECT_FALSE(change().failed);
    expect_sources({10, 20, 30}, {0.5, 0.25, 4});
    cntl.iopt_j0vect = 1;
    EXPECT_FALSE(change().failed);
    expect_sources({10, 20, 30}, {0, 0, 0});
}

TEST_F(driven_elements, get_nothing_from_sources_that_are_not_coupled)
{
    data1.properties[0].conductors = {{1, 0, {1, 2, 8}, 6}, {2, -1, {16, 32, 4}, 6}}; // there is no system 6
    EXPECT_FALSE(change().failed);
    expect_sources({10, 20, 30}, {0.5, 0.25, 4});
}

TEST_F(driven_elements, outside_voltage_regions_are_copied_byte_for_byte)
{
    felms[0].nop = 3;
    for (const int by_element : {0, 1}) {
        cntl.iopt_j0vect = by_element;
        EXPECT_FALSE(change().failed);
        EXPECT_EQ(read_file("at-felm-struct.tmp"), read_file("at-felm-struct.org"));
    }
}

TEST_F(driven_elements, directions_turn_with_their_local_systems_at_the_centre)
{
    // Cylindrical about (1, -2): the centre (1, 1) lies along y, so radial 16, tangential 32 are (-32, 16).
    systems = bytes()
                  .add_i(5)
                  .add_i(1)
                  .add(std::array<double, 3>{1, -2, 0})
                  .add(std::array<double, 9>{1, 0, 0, 0, 1, 0, 0, 0, 1})
                  .text() +
              systems;
    data1.properties[0].conductors[1].lnon = 5;
    EXPECT_FALSE(change().failed);
    expect_sources({10 - 96, 20 + 48, 42}, {2.5, 4.25, 15});
    data1.properties[0].conductors[1].lnon = 6;
    expect_failure(heading + lists + "      Error. lcs_data not defined. lno = 6 \n");
}

TEST_F(driven_elements, may_be_of_every_planar_and_solid_type)
{
    for (const int type : {203, 204, 206, 208, 304, 305, 306, 308, 310, 315, 320}) {
        felms[0].type = type;
        EXPECT_FALSE(change().failed) << type;
    }
    for (const int type : {0, 102, 103, 202, 205, 207, 209, 303, 307, 309, 321, -203}) {
        felms[0].type = type;
        expect_failure(heading + lists + "      Error. finite element type no. is illegal.\n             noe = 7 \n");
    }
}

TEST_F(driven_elements, have_numbers_and_properties_within_their_limits)
{
    felms[1].nop = 9;
    EXPECT_FALSE(change().failed);
    for (const int wrong : {10, -1}) {
        felms[1].nop = wrong;
        expect_failure(heading + lists + "      Error. prop no. over the limit.\n");
    }
    felms[1].nop = 2;
    for (const int wrong : {101, -1}) {
        felms[1].noe = wrong;
        expect_failure(heading + lists + "      Error. finite element no. over the limit.\n");
    }
}

TEST_F(driven_elements, must_follow_their_centres)
{
    felms[1].noe = 6;
    expect_failure(heading + lists +
                   "      Error. in t-felm-cntr.tmp(r1).\n             finite element no. is different. \n"
                   "             noe = 6, noet = 8 \n");
}

TEST_F(driven_elements, need_their_end_within_the_limit)
{
    cntl.maxfelm = 10;
    felms.assign(9, felms[2]);
    centres.clear();
    for (int k = 0; k < 10; ++k) centres += bytes().add_i(9).add_d(1).add_d(1).add_d(0).text();
    EXPECT_FALSE(change().failed);
    felms.push_back(felms[0]);
    expect_failure(heading + lists + no_end("at-felm-struct.org", "noe", "maxfelm"));
}

TEST_F(driven_elements, nodes_are_read_and_checked)
{
    cntl.maxnog = 3;
    EXPECT_FALSE(change().failed);
    cntl.maxnog = 2;
    expect_failure(heading + no_end("at-node-struct.tmp", "nog", "maxnog"));
    cntl.maxnog = 1;
    write_file("at-node-struct.tmp", node_file({{2, 1, 0, 2}}));
    expect_failure(heading + "      Error. node no. over the limit.\n");
    write_file("at-node-struct.tmp", std::string(55, '\0'));
    expect_failure(heading + file_error("at-node-struct.tmp", "r"));
}

TEST_F(driven_elements, the_circuit_solution_may_be_longer_than_the_field_part_and_not_shorter)
{
    solution = bytes().add_i(6).add_d(100).add_d(2).add_d(3).add_d(5).text(); // the rest is not read
    EXPECT_FALSE(change().failed);
    expect_sources({58, 116, 42}, {2.5, 4.25, 15});
    for (const int wrong : {3, 0, -4}) {
        solution = patched(solution, 0, std::int32_t{wrong});
        expect_failure(heading + lists +
                       "      Error. in t-voltr-solution.tmp(r:nvolt).\n             nvolt is different.\n");
    }
}

TEST_F(driven_elements, short_files_are_reported)
{
    ASSERT_FALSE(change().failed);
    const auto again = [&] { return run(); };
    expect_short_reads("t-voltr-solution.tmp", {{"r:nvolt", 4, ""}, {"r:fsolr", 32, ""}}, heading + lists, again);
    expect_short_reads("at-felm-struct.org", {{"r", 256, ""}, {"r", 256, ""}, {"r", 256, ""}, {"r", 256, ""}},
                       heading + lists, again);
    expect_short_reads("t-felm-cntr.tmp",
                       {{"r1", 4, ""}, {"r2", 24, ""}, {"r1", 4, ""}, {"r2", 24, ""}, {"r1", 4, ""}, {"r2", 24, ""}},
                       heading + lists, again);
    expect_short_reads("t-lcs-struct.tmp", {{"r", 104, ""}}, heading, again);
}

TEST_F(driven_elements, a_count_of_unknowns_that_differs_ends_the_run)
{
    write_files();
    EXPECT_TRUE(run(3).log.ends_with("      Error. nvolte is different.\n"));
}

TEST_F(driven_elements, a_full_disk_is_reported)
{
    to = "/dev/full";
    expect_failure(heading + lists + file_error("at-felm-struct.tmp", "w"));
}
