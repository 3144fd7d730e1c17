#include "results/felm_resl.h"

#include "assembly/hand_files.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <limits>

using namespace tarnel_test;

namespace
{

const std::string heading = "    === in func. eat_calc_felm_resl ===\n";
const std::string table_head =
    "\n  ORVAN  <tarnel> May.2006\n\n  Copyright (c) the tarnel authors\n    === element results ===\n\n";
const std::string planar_columns = "      noe, nop, bx, by, jz / hx, hy, ez / \n";
const std::string axisymmetric_columns = "      noe, nop, br, bz, jtheta / hr, hz, etheta / \n";

struct fields {
    double b[2], h[3], j, e;
};

std::string rows(int noe, int nop, const fields& f)
{
    char text[400];
    std::snprintf(text, sizeof text, "  %10d %5d %15.5e %15.5e %15.5e \n                   %15.5e %15.5e %15.5e \n",
                  noe, nop, f.b[0], f.b[1], f.j, f.h[0], f.h[1], f.e);
    return text;
}

std::string record(int noe, int type, int nop, const fields& f)
{
    bytes record;
    record.add_i(noe).add_i(type).add_i(nop).add_i(0);
    record.add_d(f.b[0]).add_d(f.b[1]).add_d(0);
    record.add_d(f.h[0]).add_d(f.h[1]).add_d(f.h[2]);
    return record.add_d(0).add_d(0).add_d(f.j).add_d(0).add_d(0).add_d(f.e).text();
}

const std::string record_end(112, '\0');

class felm_results : public stage_test
{
protected:
    stage_outcome run(const std::string& table_at = "at-felm-resl.txt",
                      const std::string& results_at = "at-eresl-struct.tmp") const
    {
        return run_stage([&](std::FILE* log) {
            opened_input nodes("at-node-struct.tmp"), felms("at-felm-struct.tmp"), solution("t-femr-solution.tmp");
            const auto conductivities = opened_when(cntl.iopt_propsg == 1, "at-propsg-struct.tmp");
            const auto previous = opened_when(cntl.iopt_trans == 1, "at-npresl-struct.tmp");
            opened_output table(table_at, "at-felm-resl.txt"), results(results_at, "at-eresl-struct.tmp");
            tarnel::eat_calc_felm_resl(
                cntl, {nodes, felms, conductivities.get(), previous.get(), solution, table, results, nullptr}, 0, log);
        });
    }
    // Nodes 1, 2, ... at the given places, unknowns of the same number.
    void set_nodes(const std::vector<std::array<double, 2>>& at, const std::vector<double>& solution) const
    {
        std::vector<hand_node> nodes;
        for (std::size_t k = 0; k < at.size(); ++k)
            nodes.push_back({static_cast<int>(k + 1), at[k][0], at[k][1], static_cast<int>(k + 1)});
        write_file("at-node-struct.tmp", node_file(nodes));
        write_file("t-femr-solution.tmp", solution_file(solution));
    }
    void set_felms(const std::vector<hand_felm>& felms) const { write_file("at-felm-struct.tmp", felm_file(felms)); }
    void expect_done() const
    {
        const stage_outcome outcome = run();
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(outcome.log, heading); // ndim is not logged here
    }
    void expect_failure(const std::string& lines) const
    {
        const stage_outcome outcome = run();
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, heading + lines);
    }
    // bx, by, hx, hy, hz, jz, ez of the k-th record, whose other components must be zeros.
    static std::array<double, 7> values(std::size_t k)
    {
        const std::string file = read_file("at-eresl-struct.tmp").substr(112 * k, 112);
        EXPECT_EQ(int_at(file, 12), 0);
        for (const std::size_t zero : {32U, 64U, 72U, 88U, 96U}) EXPECT_EQ(double_at(file, zero), 0.0) << zero;
        return {double_at(file, 16), double_at(file, 24), double_at(file, 40), double_at(file, 48),
                double_at(file, 56), double_at(file, 80), double_at(file, 104)};
    }
    static void expect_near(const std::array<double, 7>& got, const std::array<double, 7>& expected)
    {
        for (std::size_t c = 0; c < 7; ++c) EXPECT_NEAR(got[c], expected[c], 2e-14 * (1 + std::fabs(expected[c]))) << c;
    }
    tarnel::control cntl = small_control();
};

// The triangle (1,0), (0,1), (0,0).
const std::vector<std::array<double, 2>> triangle_at = {{1, 0}, {0, 1}, {0, 0}};
// The square of side 2 about (2, 3), then its mid-side nodes.
const std::vector<std::array<double, 2>> square_at = {{1, 2}, {3, 2}, {3, 4}, {1, 4}, {2, 2}, {3, 3}, {2, 4}, {1, 3}};

hand_felm triangle()
{
    return {1, 203, 1, {1, 2, 3}};
}

hand_felm square()
{
    return {1, 204, 1, {1, 2, 3, 4}};
}

} // namespace

TEST_F(felm_results, table_and_records_of_uniform_fields_hold_these_bytes)
{
    // A = 1 + 2 x + 4 y on the triangle; B = (4, -2)
    set_nodes(triangle_at, {3, 5, 1});
    hand_felm first = triangle(), second{100, 203, 99999, {2, 3, 1}};
    first.t = {2, 1, 8, 4, 0.5, 8, 16, 64, 8};
    first.hb = {1, 2, 4};
    first.hvec = {500, 500, 500};  // the second vector takes no part
    first.j0vec = {500, 500, 500}; // nor does the source current
    cntl.maxprp = 10;              // property numbers are not checked here
    set_felms({first, second});
    expect_done();
    const fields f1 = {{4, -2}, {6 - 1, 15 - 2, -64 - 4}, 0, 0}, f2 = {{4, -2}, {4, -2, 0}, 0, 0};
    EXPECT_EQ(read_file("at-eresl-struct.tmp"), record(1, 203, 1, f1) + record(100, 203, 99999, f2) + record_end);
    EXPECT_EQ(read_file("at-felm-resl.txt"), table_head + planar_columns + rows(1, 1, f1) + rows(100, 99999, f2));
    EXPECT_EQ(rows(1, 1, f1), "           1     1     4.00000e+00    -2.00000e+00     0.00000e+00 \n"
                              "                       5.00000e+00     1.30000e+01     0.00000e+00 \n");
}

TEST_F(felm_results, numbers_of_any_size_keep_their_columns)
{
    set_nodes(triangle_at, {3e300, 5e300, 1e300});
    hand_felm felm = triangle();
    felm.noe = 2147483646, felm.nop = -2147483647;
    felm.t = {1e10, 0, 0, 0, -1e-310, 0, 0, 0, 0};
    cntl.maxfelm = std::numeric_limits<int>::max();
    set_felms({felm});
    expect_done();
    const std::array<double, 7> v = values(0);
    EXPECT_EQ(v[2], std::numeric_limits<double>::infinity());
    EXPECT_EQ(read_file("at-felm-resl.txt"),
              table_head + planar_columns + rows(2147483646, -2147483647, {{v[0], v[1]}, {v[2], v[3], 0}, 0, 0}));
    EXPECT_EQ(v[0], 4e300);
}

TEST_F(felm_results, field_of_a_linear_potential_is_the_same_in_every_type)
{
    std::vector<std::array<double, 2>> distorted = {{0.125, 0.25}, {2.25, 0.875}, {1.875, 2.75}, {-1.375, 1.5}};
    for (std::size_t k = 0; k < 4; ++k) // bent sides
        distorted.push_back({(distorted[k][0] + distorted[(k + 1) % 4][0]) / 2 + 0.0625,
                             (distorted[k][1] + distorted[(k + 1) % 4][1]) / 2 - 0.03125});
    distorted.push_back({(distorted[2][0] + distorted[0][0]) / 2, (distorted[2][1] + distorted[0][1]) / 2});
    std::vector<double> potential;
    for (const auto& at : distorted) potential.push_back(3 + 2 * at[0] - 5 * at[1]);
    set_nodes(distorted, potential);
    set_felms({{1, 203, 1, {1, 2, 3}},
               {2, 204, 1, {1, 2, 3, 4}},
               {3, 206, 1, {1, 2, 3, 5, 6, 9}},
               {4, 208, 1, {1, 2, 3, 4, 5, 6, 7, 8}}});
    expect_done();
    for (std::size_t k = 0; k < 4; ++k) {
        SCOPED_TRACE(k);
        expect_near(values(k), {-5, -2, -5, -2, 0, 0, 0});
    }
    EXPECT_EQ(int_at(read_file("at-eresl-struct.tmp"), 3 * 112 + 4), 208);
}

TEST_F(felm_results, second_order_elements_give_the_field_at_their_centre)
{
    // A = x^2 + x y - y^2: B = (x - 2 y, -2 x - y), at (2, 3) and at the centre of the half square, (7/3, 8/3)
    std::vector<std::array<double, 2>> at = square_at;
    at.push_back({2, 3});
    std::vector<double> potential;
    for (const auto& [x, y] : at) potential.push_back(x * x + x * y - y * y);
    set_nodes(at, potential);
    set_felms({{1, 208, 1, {1, 2, 3, 4, 5, 6, 7, 8}}, {2, 206, 1, {1, 2, 3, 5, 6, 9}}});
    expect_done();
    expect_near(values(0), {-4, -7, -4, -7, 0, 0, 0});
    expect_near(values(1), {-3, -22.0 / 3, -3, -22.0 / 3, 0, 0, 0});
}

TEST_F(felm_results, potentials_are_the_affine_form_of_the_unknowns)
{
    // A of the triangle's nodes: 2 * 4 - 5 = 3 (dependent), 5 (fixed), 1 (no unknown)
    write_file("at-node-struct.tmp", node_file({{1, 1, 0, 2, -5, 2}, {2, 0, 1, -1, 5, 100}, {3, 0, 0, 0, 1, 100}}));
    write_file("t-femr-solution.tmp", solution_file({77, 4}));
    set_felms({triangle()});
    expect_done();
    expect_near(values(0), {4, -2, 4, -2, 0, 0, 0});
}

TEST_F(felm_results, axisymmetric_field_is_the_curl_at_the_centres_radius)
{
    cntl.iax = 1;
    // A = 3, 5, 1 at (r, z) = (2,0), (1,1), (1,0): dA/dr = 2, dA/dz = 4, A = 3 and r = 4/3 at the centre
    set_nodes({{2, 0}, {1, 1}, {1, 0}}, {3, 5, 1});
    hand_felm felm = triangle();
    felm.t = {2, 1, 0, 1, 4, 0, 0, 0, 1};
    felm.hb = {0.5, 0.25, 0};
    set_felms({felm});
    expect_done();
    expect_near(values(0), {-4, 4.25, -3.75 - 0.5, 13 - 0.25, 0, 0, 0});
    EXPECT_EQ(read_file("at-felm-resl.txt"),
              table_head + axisymmetric_columns + rows(1, 1, {{-4, 4.25}, {-4.25, 12.75, 0}, 0, 0}));
}

TEST_F(felm_results, axisymmetric_uniform_axial_field_is_the_same_in_every_type)
{
    cntl.iax = 1;
    std::vector<std::array<double, 2>> at = {{1.125, 0.25}, {3.25, 0.875}, {2.875, 2.75}, {0.625, 1.5}};
    for (std::size_t k = 0; k < 4; ++k)
        at.push_back({(at[k][0] + at[(k + 1) % 4][0]) / 2 + 0.0625, (at[k][1] + at[(k + 1) % 4][1]) / 2});
    at.push_back({(at[2][0] + at[0][0]) / 2, (at[2][1] + at[0][1]) / 2});
    std::vector<double> potential;
    for (const auto& p : at) potential.push_back(3 * p[0] / 2); // A = B r / 2
    set_nodes(at, potential);
    set_felms({{1, 203, 1, {1, 2, 3}},
               {2, 204, 1, {1, 2, 3, 4}},
               {3, 206, 1, {1, 2, 3, 5, 6, 9}},
               {4, 208, 1, {1, 2, 3, 4, 5, 6, 7, 8}}});
    expect_done();
    for (std::size_t k = 0; k < 4; ++k) {
        SCOPED_TRACE(k);
        const std::array<double, 7> v = values(k);
        EXPECT_NEAR(v[0], 0, 1e-14);
        EXPECT_NEAR(v[1], 3, 1e-14);
    }
}

// ---- electric field and current

TEST_F(felm_results, electric_field_is_minus_the_rate_of_change_at_the_centre_and_drives_the_current)
{
    // A = 2 x + 4 y + 1 on the square: 17 on the average; before, 1, 2, 3 and nothing: 1.5; e = -15.5 / 0.25
    set_nodes({square_at[0], square_at[1], square_at[2], square_at[3]}, {11, 15, 23, 19});
    hand_felm felm = square();
    felm.sigma = 2;
    felm.j0vec = {0, 0, 1000}; // no part of j
    set_felms({felm});
    cntl.delta_t = 0.25;
    cntl.iopt_trans = 1;
    write_file("at-npresl-struct.tmp", potential_bytes(3, 3) + potential_bytes(1, 1) + potential_bytes(2, 2) +
                                           potential_bytes(77, 1e9) + potential_bytes(0, 0));
    expect_done();
    const fields f = {{4, -2}, {4, -2, 0}, -124, -62};
    EXPECT_EQ(read_file("at-eresl-struct.tmp"), record(1, 204, 1, f) + record_end);
    EXPECT_EQ(read_file("at-felm-resl.txt"), table_head + planar_columns + rows(1, 1, f));
}

TEST_F(felm_results, electric_field_is_weighted_by_each_types_shape_values_at_its_centre)
{
    // corners 9, mid-sides 18: triangle (9 + 9 + 9) / 3; 206: -1/9 27 + 4/9 54; 208: -1/4 36 + 1/2 72
    std::vector<std::array<double, 2>> at = square_at;
    at.push_back({2, 3});
    set_nodes(at, {9, 9, 9, 9, 18, 18, 18, 18, 18});
    std::vector<hand_felm> felms = {{1, 203, 1, {1, 2, 3}},
                                    {2, 204, 1, {1, 2, 3, 4}},
                                    {3, 206, 1, {1, 2, 3, 5, 6, 9}},
                                    {4, 208, 1, {1, 2, 3, 4, 5, 6, 7, 8}}};
    for (hand_felm& felm : felms) felm.sigma = 3;
    set_felms(felms);
    cntl.delta_t = 0.5;
    expect_done();
    const double e[] = {-18, -18, -42, -54};
    for (std::size_t k = 0; k < 4; ++k) {
        EXPECT_NEAR(values(k)[6], e[k], 1e-13) << k;
        EXPECT_NEAR(values(k)[5], 3 * e[k], 1e-13) << k;
    }
}

TEST_F(felm_results, axisymmetric_electric_field_is_the_same_rate_of_change)
{
    cntl.iax = 1;
    set_nodes({square_at[0], square_at[1], square_at[2], square_at[3]}, {4, 8, 4, 8});
    hand_felm felm = square();
    felm.sigma = 0.5;
    set_felms({felm});
    cntl.delta_t = 2;
    expect_done();
    EXPECT_EQ(values(0)[6], -3);
    EXPECT_EQ(values(0)[5], -1.5);
}

TEST_F(felm_results, without_previous_potentials_the_change_is_from_zero_and_without_a_time_step_there_is_none)
{
    set_nodes({square_at[0], square_at[1], square_at[2], square_at[3]}, {1, 1, 1, 5});
    hand_felm felm = square();
    felm.sigma = 4;
    set_felms({felm});
    write_file("at-npresl-struct.tmp", ""); // not asked for
    cntl.delta_t = 0.5;
    expect_done();
    EXPECT_EQ(values(0)[6], -4.0);
    EXPECT_EQ(values(0)[5], -16.0);
    cntl.eps_zero = 0.5; // the step must exceed it
    expect_done();
    EXPECT_EQ(values(0)[6], 0.0);
    EXPECT_EQ(values(0)[5], 0.0);
    cntl.delta_t = std::nextafter(0.5, 1);
    expect_done();
    EXPECT_NEAR(values(0)[6], -4.0, 1e-14);
}

TEST_F(felm_results, electric_field_stands_in_conductors_and_flagged_elements_only)
{
    set_nodes({square_at[0], square_at[1], square_at[2], square_at[3]}, {2, 2, 2, 2});
    cntl.delta_t = 1; // e = -2
    struct row {
        double sigma;
        int iflg;
        double e, j; // without the table
        int use;     // switch of its table record, whose conductivity is 16; -1 has none
        double j_by_table;
    };
    const std::vector<row> table = {{0, 0, 0, 0, -1, 0},
                                    {4, 0, -2, -8, -1, -8},
                                    {4, 1, -2, -8, 1, -32},
                                    {4, 1, -2, -8, 0, -8},
                                    {0, 1, -2, 0, 1, -32},
                                    {0, 1, -2, 0, 0, 0},
                                    {0, 1, -2, 0, 2, 0},
                                    {0, 2, 0, 0, -1, 0},
                                    {1e-60, 0, 0, 0, -1, 0},
                                    {-4, 0, 0, 0, -1, 0},
                                    {-4, 1, -2, 8, 1, -32},
                                    {4, 2, -2, -8, -1, -8},
                                    {1e-60, 1, -2, -2e-60, 0, -2e-60}};
    std::vector<hand_felm> felms;
    std::string records;
    for (const row& r : table) {
        hand_felm felm = square();
        felm.noe = static_cast<int>(felms.size()) + 1;
        felm.sigma = r.sigma, felm.iflg = r.iflg;
        if (r.use >= 0) records += conductivity_bytes(felm.noe, r.use, 16);
        felms.push_back(felm);
    }
    set_felms(felms);
    write_file("at-propsg-struct.tmp", records);
    for (const int asked : {0, 1, 2}) {
        cntl.iopt_propsg = asked;
        expect_done();
        for (std::size_t k = 0; k < table.size(); ++k) {
            SCOPED_TRACE("row " + std::to_string(k) + ", table " + std::to_string(asked));
            EXPECT_EQ(values(k)[6], table[k].e);
            EXPECT_EQ(values(k)[5], asked == 1 ? table[k].j_by_table : table[k].j);
        }
    }
    felms[8].sigma = std::nextafter(1e-60, 1); // just above the threshold
    set_felms(felms);
    cntl.iopt_propsg = 0;
    expect_done();
    EXPECT_EQ(values(8)[6], -2.0);
}

TEST_F(felm_results, insulators_have_exact_zeros_in_a_transient_run)
{
    set_nodes({square_at[0], square_at[1], square_at[2], square_at[3]}, {11, 15, 23, 19});
    set_felms({square()});
    cntl.delta_t = 0.25;
    expect_done();
    EXPECT_EQ(read_file("at-eresl-struct.tmp"), record(1, 204, 1, {{4, -2}, {4, -2, 0}, 0, 0}) + record_end);
}

TEST_F(felm_results, empty_element_list_still_gives_the_heads_and_the_end_record)
{
    set_nodes(triangle_at, {1, 2, 3});
    set_felms({});
    expect_done();
    EXPECT_EQ(read_file("at-felm-resl.txt"), table_head + planar_columns);
    EXPECT_EQ(read_file("at-eresl-struct.tmp"), record_end);
}

// ---- messages

TEST_F(felm_results, number_of_unknowns_must_lie_between_1_and_maxdim)
{
    set_nodes(triangle_at, {1, 2, 3});
    set_felms({triangle()});
    cntl.maxdim = 3;
    expect_done();
    cntl.maxdim = 2;
    expect_failure("      Error. unknown no. over the limit, or, 0.\n             ndim = 3\n");
    cntl.maxdim = 100;
    for (const int ndim : {0, -1, 101}) {
        write_file("t-femr-solution.tmp", patched(solution_file({1, 2, 3}), 0, ndim));
        expect_failure("      Error. unknown no. over the limit, or, 0.\n             ndim = " + std::to_string(ndim) +
                       "\n");
    }
}

TEST_F(felm_results, faults_are_reported_in_the_order_solution_nodes_time_step_elements)
{
    write_file("t-femr-solution.tmp", "");
    write_file("at-node-struct.tmp", node_file({{1, 0, 0, 4}}));
    write_file("at-npresl-struct.tmp", "");
    hand_felm felm = triangle();
    felm.noe = 101;
    set_felms({felm});
    cntl.iopt_trans = 1; // and the time step is zero
    expect_failure(file_error("t-femr-solution.tmp", "r1"));
    write_file("t-femr-solution.tmp", solution_file({1, 2, 3}));
    expect_failure("      Error. node.nufai > ndim.  nog = 1 \n");
    write_file("at-node-struct.tmp", node_file({{1, 0, 0, 3}}));
    expect_failure("      Error. time step(cntl.delta_t) is zero.\n");
    cntl.delta_t = 0.9e-60;
    expect_failure("      Error. time step(cntl.delta_t) is zero.\n");
    cntl.delta_t = 1e-60; // equal to the threshold
    expect_failure(file_error("at-npresl-struct.tmp", "r"));
    EXPECT_EQ(read_file("at-felm-resl.txt"), ""); // nothing is written before that
    write_file("at-npresl-struct.tmp", potential_bytes(0, 0));
    expect_failure("      Error. finite element no. over the limit.\n");
    EXPECT_EQ(read_file("at-felm-resl.txt"), table_head + planar_columns);
}

TEST_F(felm_results, node_lists_are_checked_against_maxnog)
{
    set_nodes(triangle_at, {1, 2, 3});
    set_felms({triangle()});
    cntl.maxnog = 4;
    expect_done();
    cntl.maxnog = 3;
    expect_failure(no_end("at-node-struct.tmp", "nog", "maxnog"));
    cntl.maxnog = 4;
    for (const int nog : {-1, 5}) {
        write_file("at-node-struct.tmp", node_file({{nog, 0, 0, 99}}));
        expect_failure("      Error. node no. over the limit.\n");
    }
    set_nodes(triangle_at, {1, 2, 3});
    cntl.iopt_trans = 1, cntl.delta_t = 1;
    for (const int nog : {-1, 5}) {
        write_file("at-npresl-struct.tmp", potential_bytes(nog, 1));
        expect_failure("      Error. node no. over the limit.\n");
    }
    std::string four;
    for (int nog = 1; nog <= 4; ++nog) four += potential_bytes(nog, 1);
    write_file("at-npresl-struct.tmp", four + potential_bytes(0, 0));
    expect_failure(no_end("at-npresl-struct.tmp", "nog", "maxnog"));
}

TEST_F(felm_results, element_list_is_checked_against_maxfelm)
{
    set_nodes(triangle_at, {1, 2, 3});
    hand_felm felm = triangle();
    cntl.maxfelm = 3;
    set_felms({felm, felm});
    expect_done();
    set_felms({felm, felm, felm});
    expect_failure(no_end("at-felm-struct.tmp", "noe", "maxfelm"));
    for (const int noe : {-1, 4}) {
        felm.noe = noe, felm.type = 0;
        set_felms({felm});
        expect_failure("      Error. finite element no. over the limit.\n");
    }
}

TEST_F(felm_results, each_fault_of_an_element_is_reported_before_the_next_one)
{
    set_nodes({{0, 1}, {1, 0}, {0, 0}}, {1, 2, 3}); // clockwise
    hand_felm felm{9, 0, 1, {1, 0, 3}};
    felm.iflg = 1;
    cntl.iopt_propsg = 1;
    write_file("at-propsg-struct.tmp", conductivity_bytes(8, 1, 1));
    for (const int type : {0, 202, 205, 207, 304}) {
        felm.type = type;
        set_felms({felm});
        expect_failure("      Error. finite element type no. is illegal.\n             noe = 9 \n");
    }
    felm.type = 203;
    set_felms({felm});
    expect_failure("      Error. in at-propsg-struct.tmp(r).\n             finite element no. is illegal.\n"
                   "             noe = 9, noet = 8 \n");
    write_file("at-propsg-struct.tmp", conductivity_bytes(9, 1, 1));
    for (const int node : {0, -1, 101}) {
        felm.nodes[1] = node;
        set_felms({felm});
        expect_failure("      Error. fem-connection node no. over the limit.\n             element no. = 9 j = 2 .\n");
    }
    felm.nodes[1] = 2;
    set_felms({felm});
    expect_failure("      Error. Jacobian is illegal.\n             noe = 9 \n");
}

TEST_F(felm_results, determinant_equal_to_the_threshold_passes)
{
    set_nodes(triangle_at, {1, 2, 3}); // determinant 1
    set_felms({triangle()});
    cntl.eps_zero = 1;
    expect_done();
    cntl.eps_zero = std::nextafter(1, 2);
    expect_failure("      Error. Jacobian is illegal.\n             noe = 1 \n");
}

TEST_F(felm_results, quadrilateral_without_area_is_refused)
{
    set_nodes({{0, 0}, {1, 1}, {2, 2}, {3, 3}}, {1, 2, 3, 4});
    set_felms({{1, 204, 1, {1, 2, 3, 4}}});
    expect_failure("      Error. Jacobian is illegal.\n             noe = 1 \n");
}

TEST_F(felm_results, each_input_cut_at_any_byte_is_reported)
{
    set_nodes(triangle_at, {1, 2, 3});
    hand_felm felm = triangle();
    felm.iflg = 1;
    set_felms({felm});
    cntl.iopt_propsg = cntl.iopt_trans = 1;
    cntl.delta_t = 1;
    write_file("at-propsg-struct.tmp", conductivity_bytes(1, 1, 1));
    write_file("at-npresl-struct.tmp", potential_bytes(1, 1) + potential_bytes(0, 0));
    expect_done();
    for (const std::string name : {"t-femr-solution.tmp", "at-node-struct.tmp", "at-npresl-struct.tmp",
                                   "at-felm-struct.tmp", "at-propsg-struct.tmp"}) {
        const std::string whole = read_file(name);
        for (std::size_t size = 0; size < whole.size(); ++size) {
            SCOPED_TRACE(name + " " + std::to_string(size));
            write_file(name, whole.substr(0, size));
            const char* tag = name != "t-femr-solution.tmp" ? "r" : size < 4 ? "r1" : "r2";
            expect_failure(file_error(name, tag));
        }
        write_file(name, whole + "more");
        expect_done();
        write_file(name, whole);
    }
}

TEST_F(felm_results, full_disk_is_reported_for_either_file)
{
    set_nodes(triangle_at, {1, 2, 3});
    set_felms({triangle()});
    EXPECT_EQ(run("/dev/full").log, heading + file_error("at-felm-resl.txt", "w"));
    EXPECT_EQ(run("at-felm-resl.txt", "/dev/full").log, heading + file_error("at-eresl-struct.tmp", "w"));
    cntl.maxfelm = 2000;
    set_felms(std::vector<hand_felm>(1000, triangle())); // more than the streams hold
    EXPECT_EQ(run("/dev/full").log, heading + file_error("at-felm-resl.txt", "w"));
    EXPECT_EQ(run("at-felm-resl.txt", "/dev/full").log, heading + file_error("at-eresl-struct.tmp", "w"));
}
