#include "assembly/edge_terms.h"

#include "assembly/fem_matrix.h"
#include "assembly/hand_files.h"
#include "circuit/edge_files.h"
#include "host_files/host_files.h"

#include <array>
#include <cmath>
#include <filesystem>

using namespace tarnel_test;

namespace
{

std::string lcs_record(int lno, int type, const std::array<double, 3>& origin, const std::array<double, 9>& rotation)
{
    return bytes().add_i(lno).add_i(type).add(origin).add(rotation).text();
}
const std::string lcs_end(104, '\0');
// Local x along global y.
const std::array<double, 9> quarter_turn = {0, -1, 0, 1, 0, 0, 0, 0, 1};

std::string centre(int noe, double x, double y)
{
    return bytes().add_i(noe).add_d(x).add_d(y).add_d(0).text();
}

std::vector<double> edge_vector(int edge)
{
    const std::string file = read_file(tarnel::edge_vector_name(edge).text);
    std::vector<double> values(static_cast<std::size_t>(int_at(file, 0)));
    for (std::size_t k = 0; k < values.size(); ++k) values[k] = double_at(file, 4 + 8 * k);
    EXPECT_EQ(int_at(file, 4 + 8 * values.size()), static_cast<int>(values.size()));
    EXPECT_EQ(file.size(), 8 + 8 * values.size());
    return values;
}

void expect_edge(int edge, const std::vector<double>& vector, double diagonal, double added)
{
    SCOPED_TRACE("edge " + std::to_string(edge));
    const std::vector<double> got = edge_vector(edge);
    ASSERT_EQ(got.size(), vector.size());
    for (std::size_t k = 0; k < got.size(); ++k) EXPECT_NEAR(got[k], vector[k], 1e-12) << k;
    const std::string femdv = read_file("t-voltr-femdv.tmp");
    const auto at = static_cast<std::size_t>(4 + 16 * (edge - 1));
    EXPECT_NEAR(double_at(femdv, at), diagonal, 1e-12);
    EXPECT_NEAR(double_at(femdv, at + 8), added, 1e-12);
}

const std::string before_circuits = "    === in func. eat_calc_fem_matrix ===\n      ndim = 2 \n";

// A square of side 2 that two elements share: one of property 1, a voltage region with edges 1 (current density) and 2
// (magnetisation), one of property 2, a grad-fai region. Node 3 hangs on unknown 1 by -2 and has a constant term, node
// 4 is fixed. Unknowns of the circuit: grad-fai, edge 1, edge 2.
class circuit_edges : public stage_test
{
protected:
    tarnel::control cntl = [] {
        tarnel::control c = small_control();
        c.maxprp = 9, c.maxvlt = 5;
        return c;
    }();
    double left = 0; // x of the square's left side
    std::vector<hand_felm> felms = {{1, 204, 1, {1, 2, 3, 4}}, {2, 204, 2, {1, 2, 3, 4}}};
    tarnel_host::volt_data1 data1{5, {{1, 1, 0, {{1, 1, {3, 5, 8}, 0}, {2, 2, {3, 5, 8}, 0}}}, {2, -1, 4, {}}}};
    tarnel_host::volt_data2 data2;
    std::int32_t nvolte = 3;
    std::string centres = centre(1, 1, 1) + centre(2, 1, 1);
    std::string systems = lcs_end;
    std::string femdv_at = "t-voltr-femdv.tmp";

    circuit_edges()
    {
        data2.maxvlt = 5, data2.nvoltg = 1, data2.nvoltv = 2, data2.nvoltve = 2;
        data2.grads = {{4, 1}};
        data2.edges = {{1, 1, {}, {}}, {2, 2, {}, {}}};
        felms[1].sigma = 2;
    }
    void write_files() const
    {
        write_file("at-node-struct.tmp", node_file({{1, left, 0, 1, 0, 1},
                                                    {2, left + 2, 0, 2, 0, 1},
                                                    {3, left + 2, 2, 1, 0.5, -2},
                                                    {4, left, 2, -1, 3, 0}}));
        write_file("at-felm-struct.tmp", felm_file(felms));
        write_file("t-matrix-index.tmp", index_file(full_rows(2)));
        write_file("t-felm-cntr.tmp", centres + std::string(4, '\0'));
        write_file("t-lcs-struct.tmp", systems);
        tarnel_host::write_npresl("at-npresl-struct.tmp", {{1, 0, 10}, {2, 0, 20}, {3, 0, 30}, {4, 0, 40}});
        tarnel_host::write_volt_data1("t-volt-data1.tmp", data1);
        tarnel_host::write_volt_data2("t-volt-data2.tmp", data2);
    }
    stage_outcome assemble() const
    {
        write_files();
        return run();
    }
    stage_outcome run() const
    {
        return run_stage([&](std::FILE* log) {
            opened_input nodes("at-node-struct.tmp"), elements("at-felm-struct.tmp"), index("t-matrix-index.tmp");
            const auto conductivities = opened_when(cntl.iopt_propsg == 1, "at-propsg-struct.tmp");
            const auto previous = opened_when(cntl.iopt_trans == 1, "at-npresl-struct.tmp");
            opened_output matrix("t-femr-matrix.tmp"), vector("t-femr-vector.tmp"), areas("t-felm-vole.tmp");
            opened_input first("t-volt-data1.tmp"), second("t-volt-data2.tmp"), lcs("t-lcs-struct.tmp"),
                centre_file("t-felm-cntr.tmp");
            opened_output femdv(femdv_at, "t-voltr-femdv.tmp");
            tarnel::circuit_files circuits = {first, second, lcs, centre_file, femdv};
            tarnel::eat_calc_fem_matrix(cntl,
                                        {nodes, elements, conductivities.get(), nullptr, nullptr, previous.get(), index,
                                         matrix, vector, areas, &circuits},
                                        nvolte, log);
        });
    }
    void expect_failure(const std::string& tail) const
    {
        const stage_outcome outcome = assemble();
        EXPECT_TRUE(outcome.failed);
        EXPECT_TRUE(outcome.log.ends_with(tail)) << outcome.log;
    }
    static std::string after_lists() { return "            novlt = 2  iuv = 2 \n"; }
    double right_side(int k) const
    {
        return double_at(read_file("t-femr-vector.tmp"), static_cast<std::size_t>(4 + 8 * k));
    }
};

} // namespace

// With f_k an element's share of node k the vector is (f1 - 2 f3, f2), and the term of the step before is the sum over
// all nodes of f_k (previous - constant term).
TEST_F(circuit_edges, planar_static_by_hand)
{
    const stage_outcome outcome = assemble();
    EXPECT_FALSE(outcome.failed);
    EXPECT_EQ(outcome.log, before_circuits + "        === in func. t_rd_volt_files ===\n"
                                             "            Now, reading t-volt-data1.tmp +++\n"
                                             "            Now, reading t-volt-data2.tmp +++\n"
                                             "        +++ nvoltg  = 1 ...\n"
                                             "        +++ nvoltv  = 2 ...\n"
                                             "        +++ nvoltve = 2 ...\n"
                                             "        +++ nvoltm  = 0 ...\n"
                                             "\n        +++ unknown no. of grad-fai(iug) +++ \n"
                                             "            ngrad = 4  iug = 1 \n"
                                             "\n        +++ unknown no. of edge(iuv) +++ \n"
                                             "            novlt = 1  iuv = 1 \n"
                                             "            novlt = 2  iuv = 2 \n");
    EXPECT_EQ(int_at(read_file("t-voltr-femdv.tmp"), 0), 3);
    EXPECT_EQ(read_file("t-voltr-femdv.tmp").size(), 4u + 3 * 16);
    // The integral of each N is 1; previous - constant term is (0, 0, -1/2, -3).
    expect_edge(1, {2, -2}, -8, 7);  // -sigma N
    expect_edge(2, {-8, 8}, 0, -28); // 8 N
    expect_edge(3, {6, -8}, 0, -23); // 3 dN/dy - 5 dN/dx: (2, -8, -2, 8)
}

TEST_F(circuit_edges, planar_step_by_hand)
{
    cntl.iopt_trans = 1, cntl.delta_t = 0.5;
    EXPECT_FALSE(assemble().failed);
    // previous - constant term is (10, 20, 29.5, 37)
    expect_edge(1, {2, -2}, -8, -193);
    expect_edge(2, {-8, 8}, 0, 772);
    expect_edge(3, {6, -8}, 0, 97);
}

TEST_F(circuit_edges, axisymmetric_by_hand)
{
    // r from 1 to 3. Integrals over r dr dz: N (5, 7, 7, 5)/3, dN/dz (-5, -7, 7, 5)/3, dN/dr + N/r (-1, 3, 3, -1).
    cntl.iax = 1, cntl.iopt_trans = 1, cntl.delta_t = 0.5;
    left = 1;
    EXPECT_FALSE(assemble().failed);
    // The sum of 1/r over the points r = 2 -+ 1/sqrt(3) at two heights is 2 * 4 / (4 - 1/3) = 24/11.
    expect_edge(1, {2, -2}, -48.0 / 11, -193); // the factor r goes against the 1/r
    expect_edge(2, {8 * (5.0 / 3 - 14.0 / 3), 56.0 / 3}, 0,
                8 * (5.0 / 3 * 10 + 7.0 / 3 * 20 + 7.0 / 3 * 29.5 + 5.0 / 3 * 37));
    // -(3 dN/dz - 5 (dN/dr + N/r)): (0, 22, 8, -10)
    expect_edge(3, {-16, 22}, 0, 440 + 236 - 370);
}

TEST_F(circuit_edges, the_source_of_an_axisymmetric_grad_fai_region_falls_with_the_radius)
{
    felms.erase(felms.begin());
    centres = centre(2, 2, 1);
    felms[0].j0vec = {0, 0, 3};
    cntl.iax = 1, left = 1;
    ASSERT_FALSE(assemble().failed);
    const double constants = right_side(1); // with the constant terms' share
    felms[0].j0vec = {0, 0, 0};
    ASSERT_FALSE(assemble().failed);
    EXPECT_NEAR(constants - right_side(1), 3 * 2 / (2 * 3.1415926), 1e-12); // N / r times r, node 2
    felms[0].j0vec = {0, 0, 3};
    felms[0].nop = 3; // no region
    ASSERT_FALSE(assemble().failed);
    const double plain = right_side(1);
    felms[0].j0vec = {0, 0, 0};
    ASSERT_FALSE(assemble().failed);
    EXPECT_NEAR(plain - right_side(1), 7, 1e-12); // 3 * 7/3
}

TEST_F(circuit_edges, the_source_of_a_grad_fai_region_without_grad_unknowns_or_in_a_plane_is_as_given)
{
    felms.erase(felms.begin());
    centres = centre(2, 2, 1);
    for (const bool planar : {true, false}) {
        cntl.iax = planar ? 0 : 1, left = 1;
        data2.nvoltg = planar ? 1 : 0, nvolte = planar ? 3 : 2;
        data2.grads.clear();
        if (planar) data2.grads = {{4, 1}};
        felms[0].j0vec = {0, 0, 3};
        ASSERT_FALSE(assemble().failed);
        const double with = right_side(1);
        felms[0].j0vec = {0, 0, 0};
        ASSERT_FALSE(assemble().failed);
        EXPECT_NEAR(with - right_side(1), planar ? 3 : 7, 1e-12);
    }
}

TEST_F(circuit_edges, a_direction_turns_with_its_local_system)
{
    systems = lcs_record(4, 0, {7, 7, 7}, quarter_turn) + lcs_end;
    data1.properties[0].conductors[1].lnon = 4; // (3, 5) becomes (-5, 3): (8, 2, -8, -2)
    ASSERT_FALSE(assemble().failed);
    expect_edge(3, {24, 2}, 0, 4 + 6);
}

TEST_F(circuit_edges, a_cylindrical_direction_turns_with_the_elements_centre)
{
    // The centre (1, 1) seen from (1, -2) lies along y: radial 3, tangential 5 become (-5, 3).
    systems = lcs_record(4, 1, {1, -2, 0}, {1, 0, 0, 0, 1, 0, 0, 0, 1}) + lcs_end;
    data1.properties[0].conductors[1].lnon = 4;
    ASSERT_FALSE(assemble().failed);
    expect_edge(3, {24, 2}, 0, 10);
}

TEST_F(circuit_edges, two_sources_on_one_unknown_add_up)
{
    data2.edges[1].iuv = 1;
    ASSERT_FALSE(assemble().failed);
    expect_edge(2, {-2, 0}, 0, -51);
    expect_edge(3, {0, 0}, 0, 0);
}

TEST_F(circuit_edges, sources_without_a_coupling_or_an_unknown_do_nothing)
{
    data1.properties[0].conductors[0].iswjh = 3;
    data2.edges[1].iuv = 0;
    ASSERT_FALSE(assemble().failed);
    expect_edge(2, {0, 0}, 0, 0);
    expect_edge(3, {0, 0}, 0, 0);
    expect_edge(1, {2, -2}, -8, 7);
}

TEST_F(circuit_edges, directions_of_sources_that_are_not_coupled_are_not_looked_at)
{
    data1.properties[0].conductors = {{1, 0, {3, 5, 8}, 4}, {2, -1, {3, 5, 8}, 4}}; // there is no system 4
    ASSERT_FALSE(assemble().failed);
    expect_edge(2, {0, 0}, 0, 0);
    expect_edge(3, {0, 0}, 0, 0);
    data1.properties[0].conductors[1].iswjh = 3; // coupled, though in no way that there is
    expect_failure(after_lists() + "      Error. lcs_data not defined. lno = 4 \n");
}

TEST_F(circuit_edges, a_grad_fai_region_without_a_condition_or_an_unknown_does_nothing)
{
    data1.properties[1].ngrad = 0;
    ASSERT_FALSE(assemble().failed);
    expect_edge(1, {0, 0}, 0, 0);
    data1.properties[1].ngrad = 4;
    data2.grads[0].iug = 0;
    ASSERT_FALSE(assemble().failed);
    expect_edge(1, {0, 0}, 0, 0);
}

TEST_F(circuit_edges, a_second_element_of_a_region_adds_its_share)
{
    felms[1].nop = 1;
    ASSERT_FALSE(assemble().failed);
    expect_edge(2, {-16, 16}, 0, -56);
    expect_edge(1, {0, 0}, 0, 0);
}

TEST_F(circuit_edges, an_element_of_property_0_belongs_to_no_region)
{
    felms[0].nop = 0;
    ASSERT_FALSE(assemble().failed);
    expect_edge(2, {0, 0}, 0, 0);
}

TEST_F(circuit_edges, a_grad_fai_element_must_conduct)
{
    const std::string message =
        after_lists() + "      Error. sigma is 0 for grad-fai condition.\n             noe = 2 \n";
    felms[1].sigma = 0;
    expect_failure(message);
    data1.properties[1].ngrad = 0; // even without a condition
    expect_failure(message);
    data1.properties[1].ngrad = 4;
    cntl.eps_zero = 0.5;
    felms[1].sigma = 0.25;
    expect_failure(message);
    felms[1].sigma = 0.5; // not below
    EXPECT_FALSE(assemble().failed);
    felms[1].sigma = 0;
    data2.nvoltg = 0, data2.grads.clear(), nvolte = 2; // no conditions in the run
    EXPECT_FALSE(assemble().failed);
}

TEST_F(circuit_edges, the_conductivity_by_element_counts)
{
    cntl.iopt_propsg = 1;
    felms[1].iflg = 1, felms[1].sigma = 0;
    write_file("at-propsg-struct.tmp", conductivity_bytes(2, 1, 4));
    ASSERT_FALSE(assemble().failed);
    expect_edge(1, {4, -4}, -16, 14);
    felms[1].sigma = 2;
    write_file("at-propsg-struct.tmp", conductivity_bytes(2, 1, 0));
    expect_failure("      Error. sigma is 0 for grad-fai condition.\n             noe = 2 \n");
}

TEST_F(circuit_edges, centres_must_follow_the_elements)
{
    centres = centre(1, 1, 1) + centre(3, 1, 1);
    expect_failure(after_lists() +
                   "      Error. in t-felm-cntr.tmp(r1).\n             finite element no. is different. \n");
    centres = centre(1, 1, 1) + centre(2, 1, 1);
    write_files();
    for (std::size_t cut = 0; cut < 56; ++cut) {
        write_file("t-felm-cntr.tmp", centres.substr(0, cut));
        EXPECT_TRUE(run().log.ends_with(after_lists() + file_error("t-felm-cntr.tmp", cut % 28 < 4 ? "r1" : "r2")))
            << cut;
    }
}

TEST_F(circuit_edges, a_local_system_that_is_not_there_is_named)
{
    data1.properties[0].conductors[1].lnon = 4;
    expect_failure(after_lists() + "      Error. lcs_data not defined. lno = 4 \n");
}

TEST_F(circuit_edges, local_systems_are_read_behind_the_circuit_files)
{
    systems = lcs_end.substr(0, 103);
    expect_failure(after_lists() + file_error("t-lcs-struct.tmp", "r"));
    data2.maxvlt = 4;
    expect_failure("            Now, reading t-volt-data2.tmp +++\n"
                   "      Error. in t-volt-data2.tmp(r:maxvlt).\n             maxvlt is different.\n");
}

TEST_F(circuit_edges, a_count_of_edges_that_differs_ends_the_run)
{
    nvolte = 2147483647;
    expect_failure("      Error. nvolte is different.\n");
}

TEST_F(circuit_edges, a_full_disk_is_reported_at_the_last_item)
{
    femdv_at = "/dev/full";
    expect_failure(file_error("t-voltr-femdv.tmp", "w3"));
}

class edge_vector_files : public stage_test
{
protected:
    static stage_outcome write(int nvolte, int header, int trailer, const std::vector<double>& values)
    {
        return run_stage(
            [&](std::FILE* log) { tarnel::write_edge_vectors(nvolte, header, trailer, values.data(), log); });
    }
};

TEST_F(edge_vector_files, one_a_edge_with_header_and_trailer)
{
    EXPECT_EQ(write(2, 2, 5, {1, 2, 3, 4}).log, "");
    EXPECT_EQ(read_file("t-femr-vector-00001.tmp"), bytes().add_i(2).add_d(1).add_d(2).add_i(5).text());
    EXPECT_EQ(read_file("t-femr-vector-00002.tmp"), bytes().add_i(2).add_d(3).add_d(4).add_i(5).text());
    EXPECT_FALSE(std::filesystem::exists("t-femr-vector-00003.tmp"));
}

TEST_F(edge_vector_files, replace_longer_ones)
{
    write_file("t-femr-vector-00001.tmp", std::string(500, 'x'));
    write(1, 1, 1, {1});
    EXPECT_EQ(read_file("t-femr-vector-00001.tmp").size(), 16u);
}

TEST_F(edge_vector_files, a_header_of_0_writes_two_numbers)
{
    EXPECT_FALSE(write(1, 0, 0, {7}).failed);
    EXPECT_EQ(read_file("t-femr-vector-00001.tmp"), bytes().add_i(0).add_i(0).text());
}

TEST_F(edge_vector_files, without_edges_nothing_is_written)
{
    EXPECT_FALSE(write(0, 2, 2, {1, 2}).failed);
    EXPECT_FALSE(write(-1, 2, 2, {1, 2}).failed);
    EXPECT_TRUE(std::filesystem::is_empty("."));
}

TEST_F(edge_vector_files, their_numbers_grow_beyond_five_digits)
{
    EXPECT_STREQ(tarnel::edge_vector_name(7).text, "t-femr-vector-00007.tmp");
    EXPECT_STREQ(tarnel::edge_vector_name(99999).text, "t-femr-vector-99999.tmp");
    EXPECT_STREQ(tarnel::edge_vector_name(100000).text, "t-femr-vector-100000.tmp");
    EXPECT_STREQ(tarnel::edge_solution_name(2147483647).text, "t-femr-solution-2147483647.tmp");
}

TEST_F(edge_vector_files, one_that_cannot_be_opened_is_named_and_earlier_ones_stay)
{
    std::filesystem::create_directory("t-femr-vector-00002.tmp");
    const stage_outcome outcome = write(2, 1, 1, {1, 2});
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, "      Error. Can't open t-femr-vector-00002.tmp.\n");
    EXPECT_EQ(read_file("t-femr-vector-00001.tmp").size(), 16u);
}

TEST_F(edge_vector_files, a_full_disk_is_reported_at_the_item_with_the_files_own_name)
{
    std::filesystem::create_symlink("/dev/full", "t-femr-vector-00002.tmp");
    EXPECT_EQ(write(2, 1, 1, {1, 2}).log, file_error("t-femr-vector-00002.tmp", "w3"));
    std::filesystem::remove("t-femr-vector-00001.tmp");
    std::filesystem::create_symlink("/dev/full", "t-femr-vector-00001.tmp");
    EXPECT_EQ(write(1, 20000, 20000, std::vector<double>(20000)).log, file_error("t-femr-vector-00001.tmp", "w2"));
}
