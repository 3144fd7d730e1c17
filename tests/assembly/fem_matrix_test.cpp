#include "assembly/fem_matrix.h"

#include "assembly/hand_files.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

using namespace tarnel_test;

namespace
{

struct output_names {
    std::string matrix = "t-femr-matrix.tmp", vector = "t-femr-vector.tmp", areas = "t-felm-vole.tmp";
};

stage_outcome assemble(const tarnel::control& cntl, const output_names& at = {})
{
    return run_stage([&](std::FILE* log) {
        opened_input nodes("at-node-struct.tmp"), felms("at-felm-struct.tmp"), index("t-matrix-index.tmp");
        const auto conductivities = opened_when(cntl.iopt_propsg == 1, "at-propsg-struct.tmp");
        const auto magnetisations = opened_when(cntl.iopt_h0vect == 1, "at-h0vect-struct.tmp");
        const auto belms = opened_when(cntl.iopt_belm == 1, "at-belm-struct.tmp");
        const auto previous = opened_when(cntl.iopt_trans == 1, "at-npresl-struct.tmp");
        opened_output matrix(at.matrix, "t-femr-matrix.tmp"), vector(at.vector, "t-femr-vector.tmp"),
            areas(at.areas, "t-felm-vole.tmp");
        tarnel::eat_calc_fem_matrix(cntl,
                                    {nodes, felms, conductivities.get(), magnetisations.get(), belms.get(),
                                     previous.get(), index, matrix, vector, areas, nullptr},
                                    0, log);
    });
}

const std::string heading = "    === in func. eat_calc_fem_matrix ===\n";

std::string start(int ndim)
{
    return heading + "      ndim = " + std::to_string(ndim) + " \n";
}

value_rows matrix_rows()
{
    const std::string file = read_file("t-femr-matrix.tmp");
    value_rows rows(static_cast<std::size_t>(int_at(file, 0)));
    std::size_t at = 4;
    for (auto& row : rows) {
        row.resize(static_cast<std::size_t>(int_at(file, at)));
        at += 4;
        for (double& value : row) value = double_at(file, at), at += 8;
    }
    EXPECT_EQ(int_at(file, at), static_cast<int>(rows.size()));
    EXPECT_EQ(file.size(), at + 4);
    return rows;
}

std::vector<double> right_side()
{
    const std::string file = read_file("t-femr-vector.tmp");
    std::vector<double> values(static_cast<std::size_t>(int_at(file, 0)));
    for (std::size_t k = 0; k < values.size(); ++k) values[k] = double_at(file, 4 + 8 * k);
    EXPECT_EQ(int_at(file, 4 + 8 * values.size()), static_cast<int>(values.size()));
    EXPECT_EQ(file.size(), 8 + 8 * values.size());
    return values;
}

void expect_values(const std::vector<double>& got, const std::vector<double>& expected, double tolerance = 1e-14)
{
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t k = 0; k < got.size(); ++k)
        EXPECT_NEAR(got[k], expected[k], tolerance * std::max(1.0, std::fabs(expected[k]))) << "value " << k;
}

void expect_rows(const value_rows& expected)
{
    const value_rows got = matrix_rows();
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE("row " + std::to_string(i));
        expect_values(got[i], expected[i]);
    }
}

void write_system(const std::vector<hand_node>& nodes, const std::vector<hand_felm>& felms, const column_lists& rows)
{
    write_file("at-node-struct.tmp", node_file(nodes));
    write_file("at-felm-struct.tmp", felm_file(felms));
    write_file("t-matrix-index.tmp", index_file(rows));
}

// The triangle (1,0), (0,1), (0,0), whose shape functions are x, y and 1 - x - y.
std::vector<hand_node> triangle_nodes(int first_nog = 1, int first_unknown = 1)
{
    return {{first_nog, 1, 0, first_unknown},
            {first_nog + 1, 0, 1, first_unknown + 1},
            {first_nog + 2, 0, 0, first_unknown + 2}};
}

hand_felm triangle()
{
    return {1, 203, 1, {1, 2, 3}};
}

// [[2, 1], [1, 4]] makes the stiffness of that triangle [2 -1/2 -3/2; -1/2 1 -1/2; -3/2 -1/2 2].
const std::vector<double> skew_tensor = {2, 1, 0, 1, 4, 0, 0, 0, 8};

class assembly : public stage_test
{
protected:
    tarnel::control cntl = small_control();
    void expect_done(int ndim) const
    {
        const stage_outcome outcome = assemble(cntl);
        EXPECT_FALSE(outcome.failed);
        EXPECT_EQ(outcome.log, start(ndim));
    }
    void expect_failure(const std::string& log) const
    {
        const stage_outcome outcome = assemble(cntl);
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, log);
    }
};

} // namespace

TEST_F(assembly, files_of_one_triangle_hold_the_hand_calculation_byte_by_byte)
{
    hand_felm felm = triangle();
    felm.t = {2, 0, 0, 0, 4, 0, 0, 0, 8};
    felm.j0vec = {100, 100, 8};
    write_system(triangle_nodes(), {felm}, full_rows(3));
    expect_done(3);
    const std::string areas = read_file("t-felm-vole.tmp");
    ASSERT_EQ(areas.size(), 16U); // number, area, end mark without an area
    EXPECT_EQ(int_at(areas, 0), 1);
    EXPECT_EQ(double_at(areas, 4), 0.5);
    EXPECT_EQ(int_at(areas, 12), 0);
    const std::string matrix = read_file("t-femr-matrix.tmp");
    ASSERT_EQ(matrix.size(), 4U + (4 + 24) + (4 + 16) + (4 + 8) + 4);
    EXPECT_EQ(int_at(matrix, 0), 3);
    EXPECT_EQ(int_at(matrix, 4), 3);
    EXPECT_DOUBLE_EQ(double_at(matrix, 8), 2.0); // 1/2 (4 Gx Gx + 2 Gy Gy)
    EXPECT_DOUBLE_EQ(double_at(matrix, 16), 0.0);
    EXPECT_DOUBLE_EQ(double_at(matrix, 24), -2.0);
    EXPECT_EQ(int_at(matrix, 32), 2);
    EXPECT_DOUBLE_EQ(double_at(matrix, 36), 1.0);
    EXPECT_DOUBLE_EQ(double_at(matrix, 44), -1.0);
    EXPECT_EQ(int_at(matrix, 52), 1);
    EXPECT_DOUBLE_EQ(double_at(matrix, 56), 3.0);
    EXPECT_EQ(int_at(matrix, 64), 3);
    const std::string vector = read_file("t-femr-vector.tmp");
    ASSERT_EQ(vector.size(), 4U + 24 + 4);
    EXPECT_EQ(int_at(vector, 0), 3);
    for (std::size_t k = 0; k < 3; ++k) EXPECT_DOUBLE_EQ(double_at(vector, 4 + 8 * k), 8 * 0.5 / 3); // Js A / 3
    EXPECT_EQ(int_at(vector, 28), 3);
}

TEST_F(assembly, row_of_the_smaller_unknown_takes_the_lower_triangle_of_an_element_matrix_that_is_not_symmetric)
{
    hand_felm felm = triangle();
    felm.t = {2, 3, 0, 5, 7, 0, 0, 0, 1}; // K by hand: [3.5 -2.5 -1; -1.5 1 0.5; -2 1.5 0.5]
    write_system(triangle_nodes(), {felm}, full_rows(3));
    expect_done(3);
    expect_rows({{3.5, -1.5, -2}, {1, 1.5}, {0.5}});
}

TEST_F(assembly, two_triangles_that_share_a_side_add_up)
{
    // the second is (1,0), (1,1), (0,1): the first turned by half a turn, so that its matrix is the same
    std::vector<hand_node> nodes = triangle_nodes();
    nodes.push_back({4, 1, 1, 4});
    hand_felm first = triangle(), second = {2, 203, 1, {2, 1, 4}};
    second.j0vec = {0, 0, 6};
    write_system(nodes, {first, second}, full_rows(4));
    expect_done(4);
    expect_rows({{1, 0, -0.5, -0.5}, {1, -0.5, -0.5}, {1, 0}, {1}});
    expect_values(right_side(), {1, 1, 0, 1});
    const std::string areas = read_file("t-felm-vole.tmp");
    ASSERT_EQ(areas.size(), 28U);
    EXPECT_EQ(int_at(areas, 12), 2);
    EXPECT_EQ(double_at(areas, 16), 0.5);
    EXPECT_EQ(int_at(areas, 24), 0);
}

TEST_F(assembly, element_listed_twice_is_added_twice)
{
    write_system(triangle_nodes(), {triangle(), triangle()}, full_rows(3));
    expect_done(3);
    expect_rows({{1, 0, -1}, {1, -1}, {2}});
    EXPECT_EQ(read_file("t-felm-vole.tmp").size(), 28U);
}

// On a distorted element of each type the stiffness K knows three fields exactly: 1, x and y. The curl of x is (0, -1)
// and that of y (1, 0), so K 1 = 0, x K x = t11 A, y K y = t00 A, x K y = -t10 A, whatever the shape.
TEST_F(assembly, linear_fields_are_exact_on_distorted_elements_of_every_type)
{
    struct shape {
        int type;
        std::vector<std::array<double, 2>> at;
        double area; // of the straight-sided outline, by the surveyor's formula
    };
    const std::vector<std::array<double, 2>> corners = {{0.125, 0.25}, {2.25, 0.875}, {1.875, 2.75}, {-1.375, 1.5}};
    const auto middle = [](std::array<double, 2> a, std::array<double, 2> b) {
        return std::array<double, 2>{(a[0] + b[0]) / 2, (a[1] + b[1]) / 2};
    };
    std::vector<shape> shapes = {{203, {corners[0], corners[1], corners[3]}, 0},
                                 {204, corners, 0},
                                 {206, {corners[0], corners[1], corners[3]}, 0},
                                 {208, corners, 0}};
    for (shape& s : shapes) {
        const std::size_t sides = s.at.size();
        for (std::size_t k = 0; k < sides; ++k) {
            const auto &a = s.at[k], &b = s.at[(k + 1) % sides];
            s.area += (a[0] * b[1] - b[0] * a[1]) / 2;
        }
        for (std::size_t k = 0; k < sides && s.type % 2 == 0 && s.type != 204; ++k)
            s.at.push_back(middle(s.at[k], s.at[(k + 1) % sides]));
        SCOPED_TRACE(s.type);
        std::vector<hand_node> nodes;
        hand_felm felm{1, s.type, 1, {}};
        for (std::size_t k = 0; k < s.at.size(); ++k) {
            nodes.push_back({static_cast<int>(k + 1), s.at[k][0], s.at[k][1], static_cast<int>(k + 1)});
            felm.nodes.push_back(static_cast<int>(k + 1));
        }
        felm.t = skew_tensor;
        felm.j0vec = {0, 0, 3};
        felm.hb = {2, 16, 100}, felm.hvec = {5, -4, 100}; // H = (7, 12)
        const int n = static_cast<int>(nodes.size());
        write_system(nodes, {felm}, full_rows(n));
        expect_done(n);
        const value_rows rows = matrix_rows();
        const std::vector<double> f = right_side();
        const auto entry = [&](std::size_t i, std::size_t j) { return i <= j ? rows[i][j - i] : rows[j][i - j]; };
        double sums[3] = {}, x_k_x = 0, y_k_y = 0, x_k_y = 0, f_1 = 0, f_x = 0, f_y = 0, centre_x = 0, centre_y = 0;
        for (std::size_t i = 0; i < s.at.size(); ++i) {
            double row_sum = 0;
            for (std::size_t j = 0; j < s.at.size(); ++j) {
                const double k = entry(i, j);
                row_sum += k;
                x_k_x += s.at[i][0] * k * s.at[j][0];
                y_k_y += s.at[i][1] * k * s.at[j][1];
                x_k_y += s.at[i][0] * k * s.at[j][1];
            }
            sums[0] += std::fabs(row_sum);
            f_1 += f[i], f_x += f[i] * s.at[i][0], f_y += f[i] * s.at[i][1];
        }
        EXPECT_NEAR(sums[0], 0, 1e-12);
        EXPECT_NEAR(x_k_x, 4 * s.area, 1e-11);
        EXPECT_NEAR(y_k_y, 2 * s.area, 1e-11);
        EXPECT_NEAR(x_k_y, -1 * s.area, 1e-11);
        // the whole current is Js A; its moments are Js times those of the area, about the first corner
        EXPECT_NEAR(f_1, 3 * s.area, 1e-12);
        const std::size_t sides_of = s.type % 2 == 1 || s.type == 206 ? 3 : 4;
        for (std::size_t k = 0; k < sides_of; ++k) {
            const auto &a = s.at[k], &b = s.at[(k + 1) % sides_of];
            const double cross = a[0] * b[1] - b[0] * a[1];
            centre_x += (a[0] + b[0]) * cross / 6, centre_y += (a[1] + b[1]) * cross / 6;
        }
        // f . x = Js (integral of x) - Hy A and f . y = Js (integral of y) + Hx A
        EXPECT_NEAR(f_x, 3 * centre_x - 12 * s.area, 1e-11);
        EXPECT_NEAR(f_y, 3 * centre_y + 7 * s.area, 1e-11);
        EXPECT_NEAR(double_at(read_file("t-felm-vole.tmp"), 4), s.area, 1e-13);
    }
}

TEST_F(assembly, magnetisation_is_the_sum_of_both_vectors_and_the_tensor_does_not_turn_it)
{
    hand_felm felm = triangle();
    felm.t = skew_tensor;
    felm.hb = {3, 8, 99}, felm.hvec = {-1, 4, 99}; // H = (2, 12)
    write_system(triangle_nodes(), {felm}, full_rows(3));
    expect_done(3);
    expect_values(right_side(), {-6, 1, 5}); // 1/2 (2 Gy - 12 Gx)
}

TEST_F(assembly, current_density_is_the_third_component_alone)
{
    hand_felm felm = triangle();
    felm.j0vec = {50, 70, -6};
    write_system(triangle_nodes(), {felm}, full_rows(3));
    expect_done(3);
    expect_values(right_side(), {-1, -1, -1});
}

TEST_F(assembly, fixed_node_reaches_the_right_hand_side_of_its_neighbours_and_never_a_row)
{
    for (const int nufai : {-1, 0, -5}) { // without an unknown, whichever way
        SCOPED_TRACE(nufai);
        std::vector<hand_node> nodes = triangle_nodes();
        nodes[2] = {3, 0, 0, nufai, 2.0, 77.0};
        hand_felm felm = triangle();
        felm.t = skew_tensor;
        write_system(nodes, {felm}, full_rows(2));
        expect_done(2);
        expect_rows({{2, -0.5}, {1}});
        expect_values(right_side(), {3, 1}); // minus K13 2, minus K23 2
    }
}

TEST_F(assembly, constants_of_an_element_matrix_that_is_not_symmetric_move_by_rows)
{
    std::vector<hand_node> nodes = triangle_nodes();
    nodes[2] = {3, 0, 0, -1, 2.0};
    hand_felm felm = triangle();
    felm.t = {2, 3, 0, 5, 7, 0, 0, 0, 1}; // K13 = -1, K23 = 1/2; K31 = -2, K32 = 3/2
    write_system(nodes, {felm}, full_rows(2));
    expect_done(2);
    expect_values(right_side(), {2, -1});
}

TEST_F(assembly, dependent_node_shares_an_unknown_within_its_element_with_its_coefficient_and_constant)
{
    // potentials: a1, 3 - a1, a2
    std::vector<hand_node> nodes = triangle_nodes();
    nodes[1] = {2, 0, 1, 1, 3.0, -1.0};
    nodes[2].nufai = 2;
    hand_felm felm = triangle();
    felm.t = skew_tensor;
    write_system(nodes, {felm}, full_rows(2));
    expect_done(2);
    // K11 - K12 - K21 + K22, K31 - K32; K33
    expect_rows({{4, -1}, {2}});
    // f = -3 (K12, K22, K32) = (1.5, -3, 1.5): f1 - f2, f3
    expect_values(right_side(), {4.5, 1.5});
}

TEST_F(assembly, coefficient_scales_matrix_and_right_hand_side)
{
    std::vector<hand_node> nodes = triangle_nodes();
    nodes[0].acoef = 2, nodes[2].acoef = -0.5;
    hand_felm felm = triangle();
    felm.t = skew_tensor;
    felm.j0vec = {0, 0, 6};
    write_system(nodes, {felm}, full_rows(3));
    expect_done(3);
    expect_rows({{8, -1, 1.5}, {1, 0.25}, {0.5}});
    expect_values(right_side(), {2, 1, -0.5});
}

TEST_F(assembly, unknowns_may_be_numbered_against_the_order_of_the_nodes)
{
    std::vector<hand_node> nodes = triangle_nodes();
    nodes[0].nufai = 3, nodes[1].nufai = 1, nodes[2].nufai = 2;
    hand_felm felm = triangle();
    felm.t = skew_tensor;
    write_system(nodes, {felm}, full_rows(3));
    expect_done(3);
    expect_rows({{1, -0.5, -0.5}, {2, -1.5}, {2}}); // K22 K23 K21; K33 K31; K11
}

TEST_F(assembly, column_that_is_missing_from_the_index_is_dropped_without_a_word)
{
    hand_felm felm = triangle();
    felm.t = skew_tensor;
    write_system(triangle_nodes(), {felm}, {{0, 1}, {1}, {2}});
    expect_done(3);
    expect_rows({{2, -0.5}, {1}, {2}});
}

TEST_F(assembly, first_of_two_equal_columns_takes_the_term_and_strange_columns_stay_zero)
{
    hand_felm felm = triangle();
    felm.t = skew_tensor;
    write_system(triangle_nodes(), {felm}, {{0, 99, 1, 1, -4}, {2}, {1, 2}}); // row 1 has no diagonal
    expect_done(3);
    expect_rows({{2, 0, -0.5, 0, 0}, {-0.5}, {0, 2}});
}

TEST_F(assembly, index_is_not_read_beyond_its_rows)
{
    write_system(triangle_nodes(), {triangle()}, full_rows(3));
    const std::string index = read_file("t-matrix-index.tmp");
    write_file("t-matrix-index.tmp", index.substr(0, index.size() - 4)); // no trailer
    expect_done(3);
}

TEST_F(assembly, of_a_node_given_twice_the_last_record_stands)
{
    std::vector<hand_node> nodes = triangle_nodes();
    std::vector<hand_node> twice = {{2, 50, 60, 1, 70, 80}, nodes[2], nodes[1], nodes[0]};
    write_system(twice, {triangle()}, full_rows(3));
    expect_done(3);
    expect_rows({{0.5, 0, -0.5}, {0.5, -0.5}, {1}});
}

TEST_F(assembly, nodes_with_gaps_and_in_any_order_are_found)
{
    std::vector<hand_node> nodes = {{100, 0, 0, 3}, {7, 1, 0, 1}, {42, 0, 1, 2}};
    cntl.maxnog = 100;
    write_system(nodes, {{1, 203, 1, {7, 42, 100}}}, full_rows(3));
    expect_done(3);
    expect_rows({{0.5, 0, -0.5}, {0.5, -0.5}, {1}});
}

// ---- the time step

TEST_F(assembly, eddy_currents_stand_whenever_the_time_step_exceeds_the_threshold)
{
    // sigma A / (12 dt) (1 + delta_ij) = 24 0.5 / (12 0.5) = 2: the closed form, of degree 2 as the rule is
    hand_felm felm = triangle();
    felm.sigma = 24;
    write_system(triangle_nodes(), {felm}, full_rows(3));
    cntl.delta_t = 0.5;
    expect_done(3);
    expect_rows({{4.5, 2, 1.5}, {4.5, 1.5}, {5}});
    expect_values(right_side(), {0, 0, 0}); // no previous potentials

    cntl.delta_t = cntl.eps_zero = 0.5; // not above it
    expect_done(3);
    expect_rows({{0.5, 0, -0.5}, {0.5, -0.5}, {1}});
    cntl.delta_t = std::nextafter(0.5, 1.0);
    expect_done(3);
    expect_rows({{4.5, 2, 1.5}, {4.5, 1.5}, {5}});
    cntl.delta_t = -1;
    expect_done(3);
    expect_rows({{0.5, 0, -0.5}, {0.5, -0.5}, {1}});
}

TEST_F(assembly, previous_potentials_drive_the_right_hand_side)
{
    hand_felm felm = triangle();
    felm.sigma = 24;
    write_system(triangle_nodes(), {felm}, full_rows(3));
    cntl.delta_t = 0.5;
    cntl.iopt_trans = 1;
    // any order; node 50 is no node of the model, of node 2 the last record stands
    write_file("at-npresl-struct.tmp", potential_bytes(3, -1) + potential_bytes(2, 9) + potential_bytes(50, 1000) +
                                           potential_bytes(1, 2) + potential_bytes(2, 4) + potential_bytes(0, 0) +
                                           "beyond the end");
    expect_done(3);
    expect_rows({{4.5, 2, 1.5}, {4.5, 1.5}, {5}});
    expect_values(right_side(), {4 * 2 + 2 * 4 - 2, 2 * 2 + 4 * 4 - 2, 2 * 2 + 2 * 4 - 4});
}

TEST_F(assembly, node_without_a_previous_potential_had_none)
{
    hand_felm felm = triangle();
    felm.sigma = 24;
    write_system(triangle_nodes(), {felm}, full_rows(3));
    cntl.delta_t = 0.5;
    cntl.iopt_trans = 1;
    write_file("at-npresl-struct.tmp", potential_bytes(2, 4) + potential_bytes(0, 0));
    expect_done(3);
    expect_values(right_side(), {8, 16, 8});
}

TEST_F(assembly, fixed_nodes_take_part_in_the_time_step)
{
    // node 3 goes from 5 to 2: f_j = m_j3 5 - (K_j3 + m_j3) 2, with m_13 = 2, K_13 = -1/2
    std::vector<hand_node> nodes = triangle_nodes();
    nodes[2] = {3, 0, 0, -1, 2.0};
    hand_felm felm = triangle();
    felm.sigma = 24;
    write_system(nodes, {felm}, full_rows(2));
    cntl.delta_t = 0.5;
    cntl.iopt_trans = 1;
    write_file("at-npresl-struct.tmp", potential_bytes(3, 5) + potential_bytes(0, 0));
    expect_done(2);
    expect_values(right_side(), {10 - 3, 10 - 3});
}

TEST_F(assembly, time_step_below_the_threshold_is_refused_with_previous_potentials)
{
    write_system(triangle_nodes(), {triangle()}, full_rows(3));
    cntl.iopt_trans = 1;
    write_file("at-npresl-struct.tmp", ""); // not looked at
    for (const double delta_t : {0.0, -1.0, 0.9e-60}) {
        cntl.delta_t = delta_t;
        expect_failure(start(3) + "      Error. time step(cntl.delta_t) is zero.\n");
    }
    cntl.delta_t = 1e-60; // equal to the threshold: accepted, and no term
    write_file("at-npresl-struct.tmp", potential_bytes(1, 5) + potential_bytes(0, 0));
    expect_done(3);
    expect_values(right_side(), {0, 0, 0});
}

// ---- tables by element

TEST_F(assembly, conductivity_table_replaces_where_flag_and_switch_are_1_and_is_read_where_the_flag_is_1)
{
    std::vector<hand_node> nodes;
    std::vector<hand_felm> felms;
    const int flags[] = {0, 1, 1, 2, 1}; // of the element records; their conductivity is 12
    for (int e = 0; e < 5; ++e) {
        for (const hand_node& n : triangle_nodes(3 * e + 1, 3 * e + 1)) nodes.push_back(n);
        hand_felm felm{e + 1, 203, 1, {3 * e + 1, 3 * e + 2, 3 * e + 3}};
        felm.sigma = 12, felm.iflg = flags[e];
        felms.push_back(felm);
    }
    write_system(nodes, felms, diagonal_rows(15));
    cntl.delta_t = 0.5;
    const auto first_diagonals = [] { // K11 + sigma A / (6 dt) = 1/2 + sigma / 6
        const value_rows rows = matrix_rows();
        return std::vector<double>{rows[0][0], rows[3][0], rows[6][0], rows[9][0], rows[12][0]};
    };
    expect_done(15);
    expect_values(first_diagonals(), {2.5, 2.5, 2.5, 2.5, 2.5}); // the table is not asked for
    cntl.iopt_propsg = 1;
    write_file("at-propsg-struct.tmp",
               conductivity_bytes(2, 1, 24) + conductivity_bytes(3, 0, 48) + conductivity_bytes(5, 2, 48));
    expect_done(15);
    expect_values(first_diagonals(), {2.5, 4.5, 2.5, 2.5, 2.5});
}

namespace
{

// One record of "at-h0vect-struct.tmp": values by slot.
std::string magnetisation_bytes(int noe, int use, const std::array<double, 9>& hx, const std::array<double, 9>& hy)
{
    bytes record;
    record.add_i(noe).add_i(use);
    for (const double v : hx) record.add_d(v);
    for (const double v : hy) record.add_d(v);
    for (int k = 0; k < 9; ++k) record.add_d(1e9); // not used
    return record.text();
}

constexpr double unused = 1e9;

} // namespace

TEST_F(assembly, magnetisation_table_adds_slot_p_at_point_p_of_a_triangle)
{
    hand_felm felm = triangle();
    felm.hvec = {6, 12, 0};
    felm.iflg = 0; // no matter: every element has its record
    write_system(triangle_nodes(), {felm}, full_rows(3));
    cntl.iopt_h0vect = 1;
    write_file("at-h0vect-struct.tmp",
               magnetisation_bytes(1, 1, {unused, 6, 12, 24, unused, unused, unused, unused, unused},
                                   {unused, -6, -12, 30, unused, unused, unused, unused, unused}));
    expect_done(3);
    // the gradients are constant: sums of 1/6 (H + h_p) are Hx = 3 + 7, Hy = 6 + 2
    expect_values(right_side(), {-8, 10, -2});
    for (const int use : {0, 2, -1}) {
        SCOPED_TRACE(use);
        write_file("at-h0vect-struct.tmp",
                   magnetisation_bytes(1, use, {unused, 6, 12, 24, unused, unused, unused, unused, unused},
                                       {unused, -6, -12, 30, unused, unused, unused, unused, unused}));
        expect_done(3);
        expect_values(right_side(), {-6, 3, 3});
    }
}

TEST_F(assembly, magnetisation_table_serves_the_four_points_of_a_square_in_order)
{
    const std::vector<hand_node> nodes = {{1, -1, -1, 1}, {2, 1, -1, 2}, {3, 1, 1, 3}, {4, -1, 1, 4}};
    write_system(nodes, {{1, 204, 1, {1, 2, 3, 4}}}, full_rows(4));
    cntl.iopt_h0vect = 1;
    const double a = 1 / std::sqrt(3.0), one_minus = 1 - a, one_plus = 1 + a;
    const double point[4][2] = {{-a, -a}, {a, -a}, {-a, a}, {a, a}};
    for (std::size_t p = 0; p < 4; ++p) {
        SCOPED_TRACE("point " + std::to_string(p + 1));
        std::array<double, 9> hx, hy;
        hx.fill(unused), hy.fill(unused);
        for (std::size_t q = 1; q <= 4; ++q) hx[q] = hy[q] = 0;
        hx[p + 1] = 4, hy[p + 1] = 40;
        write_file("at-h0vect-struct.tmp", magnetisation_bytes(1, 1, hx, hy));
        expect_done(4);
        // f = hx dN/dy - hy dN/dx at that point; 4 dN1 = (-(1 - eta), -(1 - xi)) and so on
        const double xi_less = point[p][0] > 0 ? one_minus : one_plus, xi_more = point[p][0] > 0 ? one_plus : one_minus;
        const double eta_less = point[p][1] > 0 ? one_minus : one_plus,
                     eta_more = point[p][1] > 0 ? one_plus : one_minus;
        expect_values(right_side(), {-xi_less + 10 * eta_less, -xi_more - 10 * eta_less, xi_more - 10 * eta_more,
                                     xi_less + 10 * eta_more});
    }
    EXPECT_EQ(double_at(read_file("t-felm-vole.tmp"), 4), 4.0);
}

// ---- the axisymmetric mode

// The triangle (r, z) = (2,0), (1,1), (1,0): r = 1 + N1, points of the rule at r = 5/3, 7/6, 7/6. All figures are the
// rule's sums in fractions.
TEST_F(assembly, axisymmetric_terms_equal_the_rules_sums_by_hand)
{
    cntl.iax = 1;
    const std::vector<hand_node> nodes = {{1, 2, 0, 1}, {2, 1, 1, 2}, {3, 1, 0, 3}};
    hand_felm felm = triangle();
    write_system(nodes, {felm}, full_rows(3));
    expect_done(3);
    value_rows rows = matrix_rows();
    EXPECT_NEAR(rows[0][0], 221.0 / 210, 1e-14); // r (1 + N1/r)^2
    EXPECT_NEAR(rows[0][1], 83.0 / 420, 1e-14);  // r (1 + N1/r) N2/r, and the curls' z parts have no product
    EXPECT_EQ(double_at(read_file("t-felm-vole.tmp"), 4), 0.5); // the plain area

    felm.t = {3, 0, 0, 0, 0, 0, 0, 0, 0}; // the axial derivatives alone
    write_system(nodes, {felm}, full_rows(3));
    expect_done(3);
    expect_rows({{0, 0, 0}, {2, -2}, {2}}); // 3 times the integral of r, 2/3

    felm.j0vec = {0, 0, 8};
    write_system(nodes, {felm}, full_rows(3));
    expect_done(3);
    expect_values(right_side(), {2, 5.0 / 3, 5.0 / 3}); // 8 times the sum of r N / 6: 1/4, 5/24, 5/24

    felm.j0vec = {0, 0, 0};
    felm.hvec = {6, 0, 0};
    write_system(nodes, {felm}, full_rows(3));
    expect_done(3);
    expect_values(right_side(), {0, -4, 4}); // -6 r dN/dz

    felm.hvec = {0, 6, 0};
    write_system(nodes, {felm}, full_rows(3));
    expect_done(3);
    expect_values(right_side(), {5, 1, -3}); // 6 r (dN/dr + N/r)

    felm.hvec = {0, 0, 0};
    felm.sigma = 216;
    cntl.delta_t = 1;
    write_system(nodes, {felm}, diagonal_rows(3));
    expect_done(3);
    rows = matrix_rows();
    EXPECT_NEAR(rows[0][0], 29, 1e-12); // 216 times the sum of r N1^2 / 6
}

// A = r / 2 is a uniform axial field B = 1: K A is the boundary's share of H = 1, and f of a magnetisation that makes
// the same field balances it.
TEST_F(assembly, axisymmetric_uniform_field_is_balanced_by_its_magnetisation_on_every_type)
{
    cntl.iax = 1;
    const std::vector<std::array<double, 2>> corners = {{1.125, 0.25}, {3.25, 0.875}, {2.875, 2.75}, {0.625, 1.5}};
    for (const int type : {203, 204, 206, 208}) {
        SCOPED_TRACE(type);
        std::vector<std::array<double, 2>> at = corners;
        if (type == 203 || type == 206) at.pop_back();
        const std::size_t sides = at.size();
        if (type == 206 || type == 208)
            for (std::size_t k = 0; k < sides; ++k)
                at.push_back({(at[k][0] + at[(k + 1) % sides][0]) / 2, (at[k][1] + at[(k + 1) % sides][1]) / 2});
        std::vector<hand_node> nodes;
        hand_felm felm{1, type, 1, {}};
        felm.hb = {0, 1, 0}; // B = 1 in a reluctivity of 1
        for (std::size_t k = 0; k < at.size(); ++k) {
            nodes.push_back({static_cast<int>(k + 1), at[k][0], at[k][1], static_cast<int>(k + 1)});
            felm.nodes.push_back(static_cast<int>(k + 1));
        }
        const int n = static_cast<int>(nodes.size());
        write_system(nodes, {felm}, full_rows(n));
        expect_done(n);
        const value_rows rows = matrix_rows();
        const std::vector<double> f = right_side();
        for (std::size_t i = 0; i < at.size(); ++i) {
            double k_a = 0;
            for (std::size_t j = 0; j < at.size(); ++j)
                k_a += (i <= j ? rows[i][j - i] : rows[j][i - j]) * at[j][0] / 2;
            EXPECT_NEAR(k_a, f[i], 1e-12) << "node " << i + 1;
        }
    }
}

TEST_F(assembly, other_geometry_kinds_are_planar_here)
{
    cntl.iax = 2;
    hand_felm felm = triangle();
    felm.hvec = {2, 12, 0};
    write_system(triangle_nodes(), {felm}, full_rows(3));
    expect_done(3);
    expect_rows({{0.5, 0, -0.5}, {0.5, -0.5}, {1}});
    expect_values(right_side(), {-6, 1, 5});
}

// ---- limits and messages, in the order of the checks

TEST_F(assembly, number_of_unknowns_must_lie_between_1_and_maxdim)
{
    write_system(triangle_nodes(), {triangle()}, full_rows(3));
    const std::string index = read_file("t-matrix-index.tmp");
    cntl.maxdim = 3;
    expect_done(3);
    cntl.maxdim = 2;
    expect_failure(start(3) + "      Error. unknown no. over the limit, or, 0.\n");
    cntl.maxdim = 100;
    for (const int ndim : {0, -1, 101, std::numeric_limits<int>::min()}) {
        write_file("t-matrix-index.tmp", patched(index, 0, ndim));
        expect_failure(start(ndim) + "      Error. unknown no. over the limit, or, 0.\n");
    }
}

TEST_F(assembly, node_numbers_and_the_end_of_the_node_file_are_checked_against_maxnog)
{
    write_system(triangle_nodes(), {triangle()}, full_rows(3));
    cntl.maxnog = 4; // three nodes and the end
    expect_done(3);
    cntl.maxnog = 3;
    expect_failure(start(3) + no_end("at-node-struct.tmp", "nog", "maxnog"));
    cntl.maxnog = 0;
    expect_failure(start(3) + no_end("at-node-struct.tmp", "nog", "maxnog"));
    for (const int nog : {-1, 101}) {
        cntl.maxnog = 100;
        std::vector<hand_node> nodes = triangle_nodes();
        nodes[1].nog = nog;
        nodes[1].nufai = 1000; // its number is looked at first
        write_file("at-node-struct.tmp", node_file(nodes));
        expect_failure(start(3) + "      Error. node no. over the limit.\n");
    }
}

TEST_F(assembly, unknown_number_of_a_node_must_not_exceed_ndim)
{
    std::vector<hand_node> nodes = triangle_nodes();
    nodes[1].nufai = 4;
    write_system(nodes, {triangle()}, full_rows(3));
    expect_failure(start(3) + "      Error. node.nufai > ndim.  nog = 2 \n");
    nodes[1].nufai = 3; // equal is accepted
    write_system(nodes, {triangle()}, full_rows(3));
    expect_done(3);
}

TEST_F(assembly, previous_potentials_are_checked_against_maxnog)
{
    write_system(triangle_nodes(), {triangle()}, full_rows(3));
    cntl.iopt_trans = 1, cntl.delta_t = 1;
    cntl.maxnog = 4;
    const std::string three = potential_bytes(1, 1) + potential_bytes(2, 1) + potential_bytes(3, 1);
    write_file("at-npresl-struct.tmp", three + potential_bytes(0, 0));
    expect_done(3);
    write_file("at-npresl-struct.tmp", three + potential_bytes(3, 1) + potential_bytes(0, 0));
    expect_failure(start(3) + no_end("at-npresl-struct.tmp", "nog", "maxnog"));
    for (const int nog : {-1, 5}) {
        write_file("at-npresl-struct.tmp", potential_bytes(nog, 1) + potential_bytes(0, 0));
        expect_failure(start(3) + "      Error. node no. over the limit.\n");
    }
}

TEST_F(assembly, row_counts_must_lie_between_1_and_maxnzero)
{
    write_system(triangle_nodes(), {triangle()}, full_rows(3));
    const std::string index = read_file("t-matrix-index.tmp");
    cntl.maxnzero = 3;
    expect_done(3);
    cntl.maxnzero = 2;
    expect_failure(start(3) + "      Error. no. of non-zero term 3 is over the limit.\n"
                              "             no. of unknown = 0 \n");
    cntl.maxnzero = 30;
    const std::size_t counts[] = {4, 20, 32};
    for (int row = 0; row < 3; ++row)
        for (const int count : {0, -1, 31}) {
            write_file("t-matrix-index.tmp", patched(index, counts[row], count));
            expect_failure(start(3) + "      Error. no. of non-zero term " + std::to_string(count) +
                           " is over the limit.\n             no. of unknown = " + std::to_string(row) + " \n");
        }
}

TEST_F(assembly, element_numbers_and_the_end_of_the_element_file_are_checked_against_maxfelm)
{
    std::vector<hand_felm> felms(3, triangle());
    felms[1].noe = 2, felms[2].noe = 4;
    write_system(triangle_nodes(), felms, full_rows(3));
    cntl.maxfelm = 4;
    expect_done(3);
    felms[2].noe = 3;
    write_system(triangle_nodes(), felms, full_rows(3));
    cntl.maxfelm = 3;
    expect_failure(start(3) + no_end("at-felm-struct.tmp", "noe", "maxfelm"));
    cntl.maxfelm = 0;
    expect_failure(start(3) + no_end("at-felm-struct.tmp", "noe", "maxfelm"));
    cntl.maxfelm = 100;
    for (const int noe : {-1, 101}) {
        felms[1].noe = noe;
        felms[1].type = 0; // the number is looked at first
        write_system(triangle_nodes(), felms, full_rows(3));
        expect_failure(start(3) + "      Error. finite element no. over the limit.\n");
    }
}

TEST_F(assembly, empty_element_list_gives_a_zero_system)
{
    write_system(triangle_nodes(), {}, diagonal_rows(3));
    expect_done(3);
    expect_rows({{0}, {0}, {0}});
    expect_values(right_side(), {0, 0, 0});
    EXPECT_EQ(read_file("t-felm-vole.tmp"), std::string(4, '\0'));
}

TEST_F(assembly, each_fault_of_an_element_is_reported_before_the_next_one)
{
    // All faults at once; each step mends the first.
    cntl.iopt_propsg = cntl.iopt_h0vect = 1;
    hand_felm felm{7, 300, 101, {1, 2, 0}};
    felm.iflg = 1;
    std::vector<hand_node> nodes = {{1, 0, 1, 1}, {2, 1, 0, 2}, {3, 0, 0, 3}}; // clockwise
    const auto expect_fault = [&](const std::string& lines) {
        write_system(nodes, {felm}, full_rows(3));
        expect_failure(start(3) + lines);
    };
    write_file("at-propsg-struct.tmp", conductivity_bytes(8, 1, 1));
    write_file("at-h0vect-struct.tmp", magnetisation_bytes(6, 1, {}, {}));
    for (const int type : {300, 0, 202, 205, 207, 209, 304, -203}) {
        felm.type = type;
        expect_fault("      Error. finite element type no. is illegal.\n             noe = 7 \n");
    }
    felm.type = 203;
    expect_fault("      Error. prop no. over the limit.\n");
    felm.nop = -1;
    expect_fault("      Error. prop no. over the limit.\n");
    felm.nop = 100;
    expect_fault("      Error. in at-propsg-struct.tmp(r).\n             finite element no. is illegal.\n"
                 "             noe = 7, noet = 8 \n");
    felm.nop = 0;
    write_file("at-propsg-struct.tmp", conductivity_bytes(7, 1, 1));
    expect_fault("      Error. in at-h0vect-struct.tmp(r).\n             finite element no. is illegal.\n"
                 "             noe = 7, noet = 6 \n");
    write_file("at-h0vect-struct.tmp", magnetisation_bytes(7, 1, {}, {}));
    for (const int node : {0, -1, 101}) {
        felm.nodes[2] = node;
        expect_fault("      Error. fem-connection node no. over the limit.\n             element no. = 7 j = 3 .\n");
    }
    felm.nodes[2] = 3;
    expect_fault("      Error. Jacobian is illegal.\n             noe = 7 \n");
    std::swap(nodes[0].x, nodes[1].x), std::swap(nodes[0].y, nodes[1].y);
    write_system(nodes, {felm}, full_rows(3));
    expect_done(3);
}

TEST_F(assembly, first_faulty_node_of_an_element_is_named)
{
    hand_felm felm{5, 208, 1, {0, 1, 2, 3, 101, 1, 2, 3}};
    write_system(triangle_nodes(), {felm}, full_rows(3));
    expect_failure(start(3) +
                   "      Error. fem-connection node no. over the limit.\n             element no. = 5 j = 1 .\n");
    felm.nodes[0] = 1;
    write_system(triangle_nodes(), {felm}, full_rows(3));
    expect_failure(start(3) +
                   "      Error. fem-connection node no. over the limit.\n             element no. = 5 j = 5 .\n");
}

TEST_F(assembly, node_numbers_beyond_an_elements_own_are_not_looked_at)
{
    hand_felm felm{1, 203, 1, {1, 2, 3, -5, 101, 0, 7777}};
    write_system(triangle_nodes(), {felm}, full_rows(3));
    expect_done(3);
}

TEST_F(assembly, faults_of_the_lists_are_reported_in_the_order_of_reading)
{
    cntl.iopt_trans = 1; // and the time step is zero
    std::vector<hand_node> nodes = triangle_nodes();
    nodes[0].nufai = 101;
    hand_felm felm = triangle();
    felm.noe = 101;
    write_system(nodes, {felm}, full_rows(3));
    write_file("at-npresl-struct.tmp", "");
    const std::string index = read_file("t-matrix-index.tmp");
    write_file("t-matrix-index.tmp", patched(patched(index, 0, 0), 4, 0));
    expect_failure(start(0) + "      Error. unknown no. over the limit, or, 0.\n");
    write_file("t-matrix-index.tmp", patched(index, 4, 0));
    expect_failure(start(3) + "      Error. node.nufai > ndim.  nog = 1 \n");
    nodes[0].nufai = 1;
    write_file("at-node-struct.tmp", node_file(nodes));
    expect_failure(start(3) + "      Error. time step(cntl.delta_t) is zero.\n");
    cntl.delta_t = 1;
    expect_failure(start(3) + file_error("at-npresl-struct.tmp", "r"));
    write_file("at-npresl-struct.tmp", potential_bytes(0, 0));
    expect_failure(start(3) + "      Error. no. of non-zero term 0 is over the limit.\n"
                              "             no. of unknown = 0 \n");
    write_file("t-matrix-index.tmp", index);
    expect_failure(start(3) + "      Error. finite element no. over the limit.\n");
}

TEST_F(assembly, element_whose_determinant_equals_the_threshold_passes_and_one_below_it_is_refused)
{
    write_system(triangle_nodes(), {triangle()}, full_rows(3)); // determinant 1
    cntl.eps_zero = 1.0;
    expect_done(3);
    cntl.eps_zero = std::nextafter(1.0, 2.0);
    expect_failure(start(3) + "      Error. Jacobian is illegal.\n             noe = 1 \n");
    cntl.eps_zero = 1e-60;
    std::vector<hand_node> nodes = triangle_nodes();
    nodes[1].y = 0; // flat
    write_system(nodes, {triangle()}, full_rows(3));
    expect_failure(start(3) + "      Error. Jacobian is illegal.\n             noe = 1 \n");
    nodes[1].y = std::numeric_limits<double>::quiet_NaN();
    write_system(nodes, {triangle()}, full_rows(3));
    expect_failure(start(3) + "      Error. Jacobian is illegal.\n             noe = 1 \n");
}

TEST_F(assembly, clockwise_elements_of_every_type_are_refused)
{
    const std::vector<hand_node> nodes = {{1, 0, 0, 1}, {2, 0, 2, 2}, {3, 2, 2, 3}, {4, 2, 0, 4}, {5, 0, 1, 5},
                                          {6, 1, 2, 6}, {7, 2, 1, 7}, {8, 1, 0, 8}, {9, 1, 1, 9}};
    const hand_felm clockwise[] = {{4, 203, 1, {1, 2, 3}},
                                   {4, 204, 1, {1, 2, 3, 4}},
                                   {4, 206, 1, {1, 2, 3, 5, 6, 9}},
                                   {4, 208, 1, {1, 2, 3, 4, 5, 6, 7, 8}}};
    for (const hand_felm& felm : clockwise) {
        SCOPED_TRACE(felm.type);
        write_system(nodes, {felm}, diagonal_rows(9));
        expect_failure(start(9) + "      Error. Jacobian is illegal.\n             noe = 4 \n");
    }
}

// ---- damaged files

TEST_F(assembly, each_input_cut_at_each_byte_gives_its_tag)
{
    hand_felm felm = triangle();
    felm.iflg = 1;
    write_system(triangle_nodes(), {felm}, full_rows(3));
    cntl.iopt_propsg = cntl.iopt_h0vect = cntl.iopt_trans = 1;
    cntl.delta_t = 1;
    write_file("at-propsg-struct.tmp", conductivity_bytes(1, 1, 1));
    write_file("at-h0vect-struct.tmp", magnetisation_bytes(1, 1, {}, {}));
    write_file("at-npresl-struct.tmp", potential_bytes(1, 1) + potential_bytes(0, 0));
    expect_done(3);
    for (const std::string name : {"at-node-struct.tmp", "at-felm-struct.tmp", "at-propsg-struct.tmp",
                                   "at-h0vect-struct.tmp", "at-npresl-struct.tmp"}) {
        const std::string whole = read_file(name);
        for (std::size_t size = 0; size < whole.size(); ++size) {
            SCOPED_TRACE(name + " " + std::to_string(size));
            write_file(name, whole.substr(0, size));
            expect_failure(start(3) + file_error(name, "r"));
        }
        write_file(name, whole + "more");
        expect_done(3);
        write_file(name, whole);
    }
    const std::string index = read_file("t-matrix-index.tmp");
    for (std::size_t size = 0; size + 4 < index.size(); ++size) {
        SCOPED_TRACE("index " + std::to_string(size));
        write_file("t-matrix-index.tmp", index.substr(0, size));
        const bool in_count = size < 8 || (size >= 20 && size < 24) || (size >= 32 && size < 36);
        expect_failure(size < 4 ? heading + file_error("t-matrix-index.tmp", "r1")
                                : start(3) + file_error("t-matrix-index.tmp", in_count ? "r2" : "r3"));
    }
}

TEST_F(assembly, index_that_promises_more_than_it_holds_is_refused_without_being_believed)
{
    cntl.maxdim = cntl.maxnzero = std::numeric_limits<int>::max();
    write_system(triangle_nodes(), {triangle()}, full_rows(3));
    const std::string index = read_file("t-matrix-index.tmp");
    write_file("t-matrix-index.tmp", patched(index, 0, 2000000000).substr(0, index.size() - 4));
    expect_failure(start(2000000000) + file_error("t-matrix-index.tmp", "r2"));
    write_file("t-matrix-index.tmp", patched(index, 4, 2000000000));
    expect_failure(start(3) + file_error("t-matrix-index.tmp", "r3"));
}

// ---- writing

TEST_F(assembly, full_disk_is_reported_with_the_last_item_of_each_file)
{
    write_system(triangle_nodes(), {triangle()}, full_rows(3));
    const std::pair<output_names, std::string> files[] = {
        {{"/dev/full", "vector", "areas"}, file_error("t-femr-matrix.tmp", "w4")},
        {{"matrix", "/dev/full", "areas"}, file_error("t-femr-vector.tmp", "w3")},
        {{"matrix", "vector", "/dev/full"}, file_error("t-felm-vole.tmp", "w1")},
        {{"/dev/full", "/dev/full", "/dev/full"}, file_error("t-felm-vole.tmp", "w1")},
        {{"/dev/full", "/dev/full", "areas"}, file_error("t-femr-matrix.tmp", "w4")}};
    for (const auto& [names, line] : files) {
        const stage_outcome outcome = assemble(cntl, names);
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log, start(3) + line);
    }
}

// A stream of 131072 bytes: an item that does not fit any more makes the stream go to the system first.
TEST_F(assembly, full_disk_is_reported_with_the_item_that_overflows_the_areas_file)
{
    cntl.maxfelm = 20000;
    const auto elements = [&](int n) {
        write_system(triangle_nodes(), std::vector<hand_felm>(static_cast<std::size_t>(n), triangle()), full_rows(3));
    };
    const output_names names = {"matrix", "vector", "/dev/full"};
    elements(10923); // 10922 items of 12 bytes and a number fill it: the area that follows overflows
    EXPECT_EQ(assemble(cntl, names).log, start(3) + file_error("t-felm-vole.tmp", "w2"));
    elements(10922); // the end mark still fits
    EXPECT_EQ(assemble(cntl, names).log, start(3) + file_error("t-felm-vole.tmp", "w1"));
}

namespace
{

// A matrix of `rows` diagonal terms after a first row of `first` terms.
tarnel::matrix_rows diagonal_matrix(std::FILE* log, int rows, int first)
{
    tarnel::matrix_rows matrix;
    matrix.ndim = rows;
    matrix.start = tarnel::zero_array<std::int64_t>(log, "start", static_cast<std::size_t>(rows) + 1);
    for (std::size_t i = 1; i <= static_cast<std::size_t>(rows); ++i)
        matrix.start[i] = first + static_cast<std::int64_t>(i) - 1;
    matrix.amatr = tarnel::zero_array<double>(log, "amatr", static_cast<std::size_t>(first + rows));
    return matrix;
}

stage_outcome write_diagonal_matrix(int rows, int first)
{
    return run_stage([&](std::FILE* log) {
        const tarnel::matrix_rows matrix = diagonal_matrix(log, rows, first);
        opened_output out("/dev/full", "t-femr-matrix.tmp");
        tarnel::write_matrix(out, matrix, log);
    });
}

} // namespace

TEST_F(assembly, full_disk_is_reported_with_the_item_that_overflows_the_matrix_file)
{
    // three terms in the first row, one in the others: row 10921 begins at 4 + 28 + 12 * 10920 = 131072
    EXPECT_EQ(write_diagonal_matrix(10922, 3).log, file_error("t-femr-matrix.tmp", "w2"));
    EXPECT_EQ(write_diagonal_matrix(10921, 3).log, file_error("t-femr-matrix.tmp", "w4")); // the trailer overflows
    // one term a row: row 10922 begins at 131068 and its count fits, its value does not
    EXPECT_EQ(write_diagonal_matrix(10923, 1).log, file_error("t-femr-matrix.tmp", "w3"));
    EXPECT_EQ(write_diagonal_matrix(3, 1).log, file_error("t-femr-matrix.tmp", "w4"));
}

TEST_F(assembly, full_disk_is_reported_with_the_item_that_overflows_the_vector_file)
{
    const auto write = [](std::int32_t n) {
        return run_stage([&](std::FILE* log) {
                   const std::vector<double> values(static_cast<std::size_t>(n));
                   opened_output out("/dev/full", "t-femr-vector.tmp");
                   tarnel::write_vector(out, n, values.data(), log);
               })
            .log;
    };
    EXPECT_EQ(write(16383), file_error("t-femr-vector.tmp", "w3")); // 4 + 131064 + 4 bytes
    EXPECT_EQ(write(16384), file_error("t-femr-vector.tmp", "w2"));
    EXPECT_EQ(write(40000), file_error("t-femr-vector.tmp", "w2"));
}

TEST_F(assembly, row_without_terms_is_not_written)
{
    const stage_outcome outcome = run_stage([&](std::FILE* log) {
        tarnel::matrix_rows matrix = diagonal_matrix(log, 3, 1);
        matrix.start[2] = matrix.start[3] = matrix.start[1]; // rows 1 and 2 are empty
        opened_output out("matrix");
        tarnel::write_matrix(out, matrix, log);
    });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, "      Error. no. of non-zero term is 0.\n             no. of unknown = 1 \n");
}
