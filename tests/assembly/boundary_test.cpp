// Boundary elements, alone and in the stage: models without finite elements, so that the right-hand side is theirs.
#include "assembly/boundary.h"
#include "assembly/fem_matrix.h"
#include "assembly/hand_files.h"

#include <array>
#include <cmath>
#include <limits>

using namespace tarnel_test;

namespace
{

const double nan_value = std::numeric_limits<double>::quiet_NaN();

// One record of "at-belm-struct.tmp". Slots 2 and 3 of the field are not used.
std::string belm_bytes(int nob, int type, int points, const std::array<int, 3>& node,
                       const std::array<double, 2>& hx = {}, const std::array<double, 2>& hy = {})
{
    bytes record;
    record.add_i(nob).add_i(type).add_i(points);
    for (const int n : node) record.add_i(n);
    for (int k = 0; k < 3; ++k) record.add_d(nan_value);
    for (const auto* h : {&hx, &hy}) record.add_d((*h)[0]).add_d((*h)[1]).add_d(nan_value).add_d(nan_value);
    for (int k = 0; k < 4; ++k) record.add_d(nan_value);
    return record.text();
}

const std::string belm_end(144, '\0');

class boundary : public stage_test
{
protected:
    boundary()
    {
        cntl.iopt_belm = 1;
        write_file("at-felm-struct.tmp", felm_file({}));
    }
    stage_outcome run() const
    {
        return run_stage([&](std::FILE* log) {
            opened_input nodes("at-node-struct.tmp"), felms("at-felm-struct.tmp"), index("t-matrix-index.tmp"),
                belms("at-belm-struct.tmp");
            opened_output matrix("t-femr-matrix.tmp"), vector("t-femr-vector.tmp"), areas("t-felm-vole.tmp");
            tarnel::eat_calc_fem_matrix(
                cntl, {nodes, felms, nullptr, nullptr, &belms, nullptr, index, matrix, vector, areas, nullptr}, 0, log);
        });
    }
    void set_nodes(const std::vector<hand_node>& nodes, int ndim) const
    {
        write_file("at-node-struct.tmp", node_file(nodes));
        write_file("t-matrix-index.tmp", index_file(full_rows(ndim)));
    }
    void expect_right_side(const std::vector<double>& expected) const
    {
        const stage_outcome outcome = run();
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(outcome.log, start(static_cast<int>(expected.size())));
        const std::string file = read_file("t-femr-vector.tmp");
        ASSERT_EQ(int_at(file, 0), static_cast<int>(expected.size()));
        for (std::size_t k = 0; k < expected.size(); ++k)
            EXPECT_NEAR(double_at(file, 4 + 8 * k), expected[k], 1e-13) << "unknown " << k + 1;
        const std::string matrix = read_file("t-femr-matrix.tmp");
        EXPECT_EQ(double_at(matrix, 8), 0.0); // the element matrix is zero
    }
    void expect_failure(const std::string& log) const
    {
        const stage_outcome outcome = run();
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, log);
    }
    static std::string start(int ndim)
    {
        return "    === in func. eat_calc_fem_matrix ===\n      ndim = " + std::to_string(ndim) + " \n";
    }
    tarnel::control cntl = small_control();
};

const double a = 1 / std::sqrt(3.0); // where the line rule's points stand

} // namespace

TEST_F(boundary, line_shapes_are_one_at_their_own_node_and_their_derivatives_are_the_central_differences)
{
    const double at[] = {-1, 1, 0};
    for (const std::int32_t code : {102, 103}) {
        const std::size_t nodes = code == 102 ? 2 : 3;
        double n[3], d[3], right[3], left[3], spare[3];
        for (std::size_t node = 0; node < nodes; ++node) {
            tarnel::set_line_shapes(code, at[node], n, d);
            for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(n[k], k == node ? 1.0 : 0.0) << code << " N" << k + 1;
        }
        for (const double xi : {-0.75, -0.125, 0.0, 0.5, 0.875}) { // of degree 2 at most
            tarnel::set_line_shapes(code, xi, n, d);
            tarnel::set_line_shapes(code, xi + 0.25, right, spare);
            tarnel::set_line_shapes(code, xi - 0.25, left, spare);
            EXPECT_EQ(n[0] + n[1] + n[2], 1.0);
            for (std::size_t k = 0; k < 3; ++k) EXPECT_EQ(d[k], (right[k] - left[k]) / 0.5) << code << " N" << k + 1;
        }
    }
    double n[3], d[3];
    tarnel::set_line_shapes(103, 0.5, n, d); // by hand
    EXPECT_EQ(n[0], -0.125);
    EXPECT_EQ(n[1], 0.375);
    EXPECT_EQ(n[2], 0.75);
    EXPECT_EQ(d[0], 0.0);
    EXPECT_EQ(d[1], 1.0);
    EXPECT_EQ(d[2], -1.0);
}

TEST_F(boundary, two_node_line_in_a_uniform_field_shares_it_between_its_ends)
{
    // tangent (2, 1), H along it 3 * 2 + 5 * 1 = 11, the integral of each N is 1; the third node is not looked at
    set_nodes({{1, 0, 0, 1}, {2, 4, 2, 2}}, 2);
    write_file("at-belm-struct.tmp", belm_bytes(1, 102, 2, {1, 2, -999}, {3, 3}, {5, 5}) + belm_end + "more");
    expect_right_side({11, 11});
    EXPECT_EQ(read_file("t-felm-vole.tmp").size(), 4U); // no boundary element is listed there
}

TEST_F(boundary, field_is_taken_by_point_when_the_count_is_2_and_from_the_first_pair_otherwise)
{
    set_nodes({{1, 0, 0, 1}, {2, 4, 2, 2}}, 2);
    for (const int points : {2, 0, 1, 3, -1, 4}) {
        SCOPED_TRACE(points);
        write_file("at-belm-struct.tmp", belm_bytes(1, 102, points, {1, 2, 0}, {3, 30}, {5, 50}) + belm_end);
        if (points == 2)
            expect_right_side({11 * (1 + a) / 2 + 110 * (1 - a) / 2, 11 * (1 - a) / 2 + 110 * (1 + a) / 2});
        else
            expect_right_side({11, 11});
    }
}

TEST_F(boundary, three_node_line_follows_its_bend)
{
    // x = 2 + 2 xi, y = 1 - xi^2: tangent (2, -2 xi); sums over the points of N: 1/3, 1/3, 4/3, of -2 xi N: 2/3, -2/3,
    // 0
    set_nodes({{1, 0, 0, 1}, {2, 4, 0, 2}, {3, 2, 1, 3}}, 3);
    write_file("at-belm-struct.tmp", belm_bytes(1, 103, 2, {1, 2, 3}, {3, 3}, {0, 0}) + belm_end);
    expect_right_side({2, 2, 8});
    write_file("at-belm-struct.tmp", belm_bytes(1, 103, 2, {1, 2, 3}, {0, 0}, {3, 3}) + belm_end);
    expect_right_side({2, -2, 0});
    write_file("at-belm-struct.tmp", belm_bytes(1, 103, 2, {1, 2, 3}, {3, 30}, {0, 0}) + belm_end);
    const double near = a * (1 + a) / 2, far = -a * (1 - a) / 2, middle = 2.0 / 3; // N1, N2, N3 at xi = -a
    expect_right_side({6 * near + 60 * far, 6 * far + 60 * near, 66 * middle});
}

TEST_F(boundary, axisymmetric_lines_carry_the_radius_and_the_opposite_sign)
{
    cntl.iax = 1;
    // r = 2 + xi, tangent (1, 2): sums of r N are 5/3, 7/3 for two nodes, 1/3, 1, 8/3 for three
    set_nodes({{1, 1, 0, 1}, {2, 3, 4, 2}, {3, 2, 2, 3}}, 3);
    write_file("at-belm-struct.tmp", belm_bytes(1, 102, 1, {1, 2, 0}, {3, 0}, {6, 0}) + belm_end);
    expect_right_side({-15 * 5.0 / 3, -15 * 7.0 / 3, 0});
    write_file("at-belm-struct.tmp", belm_bytes(1, 103, 1, {1, 2, 3}, {3, 0}, {6, 0}) + belm_end);
    expect_right_side({-15 / 3.0, -15, -15 * 8.0 / 3});
}

TEST_F(boundary, elements_add_up_and_their_nodes_may_be_fixed_or_dependent)
{
    // node 2 depends on node 1 with -1 and a constant, node 3 is fixed
    set_nodes({{1, 0, 0, 1}, {2, 4, 2, 1, 5, -1}, {3, 4, 4, -1, 7}, {4, 8, 4, 2, 0, 2}}, 2);
    write_file("at-belm-struct.tmp",
               belm_bytes(1, 102, 2, {1, 2, 0}, {3, 30}, {5, 50}) +   // 11 and 110 at the points, as above
                   belm_bytes(2, 102, 1, {2, 3, 0}, {0, 0}, {8, 0}) + // tangent (0, 1): 8 to node 2
                   belm_bytes(2, 102, 1, {3, 4, 0}, {1, 0}, {0, 0}) + // tangent (2, 0): 2 to node 4
                   belm_bytes(3, 102, 1, {3, 4, 0}, {1, 0}, {0, 0}) + belm_end);
    expect_right_side({(11 - 110) * a - 8, 8});
}

TEST_F(boundary, file_is_not_read_unless_asked_for)
{
    set_nodes({{1, 0, 0, 1}, {2, 4, 2, 2}}, 2);
    write_file("at-belm-struct.tmp", "");
    cntl.iopt_belm = 0;
    expect_right_side({0, 0});
}

TEST_F(boundary, each_fault_is_reported_before_the_next_one)
{
    set_nodes({{1, 0, 0, 1}, {2, 4, 2, 2}}, 2);
    for (const int nob : {-1, 101}) {
        write_file("at-belm-struct.tmp", belm_bytes(nob, 203, 2, {0, 0, 0}) + belm_end);
        expect_failure(start(2) + "      Error. boundary element no. over the limit.\n");
    }
    for (const int type : {0, 101, 104, 203, -102}) {
        write_file("at-belm-struct.tmp", belm_bytes(100, type, 2, {0, 0, 0}) + belm_end);
        expect_failure(start(2) + "      Error. boundary element type no. is illegal.\n             nob = 100 \n");
    }
    for (const int node : {0, -1, 101}) {
        write_file("at-belm-struct.tmp", belm_bytes(9, 102, 2, {1, node, 0}) + belm_end);
        expect_failure(start(2) +
                       "      Error. bem-connection node no. over the limit.\n             element no. = 9 j = 2 .\n");
        write_file("at-belm-struct.tmp", belm_bytes(9, 103, 2, {1, 2, node}) + belm_end);
        expect_failure(start(2) +
                       "      Error. bem-connection node no. over the limit.\n             element no. = 9 j = 3 .\n");
    }
}

TEST_F(boundary, end_of_the_list_must_stand_within_maxbelm_records)
{
    set_nodes({{1, 0, 0, 1}, {2, 4, 2, 2}}, 2);
    const std::string two = belm_bytes(1, 102, 1, {1, 2, 0}) + belm_bytes(2, 102, 1, {1, 2, 0});
    write_file("at-belm-struct.tmp", two + belm_end);
    cntl.maxbelm = 3;
    expect_right_side({0, 0});
    cntl.maxbelm = 2;
    expect_failure(start(2) + no_end("at-belm-struct.tmp", "nob", "maxbelm"));
    cntl.maxbelm = 0;
    expect_failure(start(2) + no_end("at-belm-struct.tmp", "nob", "maxbelm"));
}

TEST_F(boundary, file_cut_at_any_byte_is_reported)
{
    set_nodes({{1, 0, 0, 1}, {2, 4, 2, 2}}, 2);
    const std::string whole = belm_bytes(1, 102, 1, {1, 2, 0}) + belm_end;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        write_file("at-belm-struct.tmp", whole.substr(0, size));
        expect_failure(start(2) + file_error("at-belm-struct.tmp", "r"));
    }
}
