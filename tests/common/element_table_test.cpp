#include "common/element_table.h"

#include "support/stage.h"

#include <bit>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

using namespace tarnel;
using namespace tarnel_test;

using element_tables = stage_test;

using point = std::pair<double, double>;

// Reference corners; a mid-side node k follows corner k, half way to the next.
static std::vector<point> reference_nodes(const element_type& type)
{
    std::vector<point> nodes;
    if (type.reference == shape::triangle)
        nodes = {{0, 0}, {1, 0}, {0, 1}};
    else
        nodes = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};
    const std::size_t corners = nodes.size();
    for (std::size_t k = 0; nodes.size() < static_cast<std::size_t>(type.nodes); ++k) {
        const point a = nodes[k], b = nodes[(k + 1) % corners];
        nodes.emplace_back((a.first + b.first) / 2, (a.second + b.second) / 2);
    }
    return nodes;
}

TEST_F(element_tables, planar_types_have_their_counts)
{
    const std::int32_t expected[][3] = {{203, 3, 3}, {204, 4, 4}, {206, 6, 3}, {208, 8, 4}};
    EXPECT_EQ(std::size(element_types), 4U);
    for (const auto& [code, nodes, corners] : expected) {
        const element_type* type = find_element_type(code);
        ASSERT_NE(type, nullptr) << code;
        EXPECT_EQ(type->code, code);
        EXPECT_EQ(type->nodes, nodes);
        EXPECT_EQ(type->corners, corners);
        EXPECT_EQ(type->reference, corners == 3 ? shape::triangle : shape::quadrilateral);
    }
}

TEST_F(element_tables, other_codes_are_no_types)
{
    for (const std::int32_t code : {0, -1, -203, 1, 102, 103, 202, 205, 207, 209, 304, 320, 2147483647})
        EXPECT_EQ(find_element_type(code), nullptr) << code;
    for (const std::int32_t code : {0, -304, 203, 303, 305, 307, 309, 311, 314, 316, 319, 321})
        EXPECT_EQ(find_solid_type(code), nullptr) << code;
}

TEST_F(element_tables, measure_is_the_area_between_the_corners)
{
    for (const element_type& type : element_types) {
        const std::vector<point> nodes = reference_nodes(type);
        double twice = 0;
        const auto corners = static_cast<std::size_t>(type.corners);
        for (std::size_t k = 0; k < corners; ++k) {
            const point a = nodes[k], b = nodes[(k + 1) % corners];
            twice += a.first * b.second - b.first * a.second;
        }
        EXPECT_EQ(type.measure, twice / 2) << type.code;
    }
}

TEST_F(element_tables, centre_weights_sum_to_one_and_give_the_centre)
{
    for (const element_type& type : element_types) {
        const std::vector<point> nodes = reference_nodes(type);
        double sum = 0, xi = 0, eta = 0;
        for (std::size_t k = 0; k < nodes.size(); ++k) {
            sum += type.centre_weight[k];
            xi += type.centre_weight[k] * nodes[k].first;
            eta += type.centre_weight[k] * nodes[k].second;
        }
        EXPECT_NEAR(sum, 1.0, 4e-16) << type.code;
        EXPECT_NEAR(xi, type.centre_xi, 2e-16) << type.code;
        EXPECT_NEAR(eta, type.centre_eta, 2e-16) << type.code;
        for (std::size_t k = nodes.size(); k < 8; ++k) EXPECT_EQ(type.centre_weight[k], 0.0) << type.code;
    }
}

TEST_F(element_tables, centre_weights_are_the_shape_functions_there)
{
    const element_type& linear = *find_element_type(203);
    EXPECT_EQ(linear.centre_weight[0], 0.3333333333333333);
    EXPECT_EQ(linear.centre_weight[1], 0.3333333333333333);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(linear.centre_weight[2]), 0x3FD5555555555557U);
    const element_type& quadratic = *find_element_type(206);
    const double expected[] = {-0.11111111111111112, -0.11111111111111112, -0.11111111111111108,
                               0.4444444444444444,   0.44444444444444453,  0.44444444444444453};
    for (int k = 0; k < 6; ++k) EXPECT_EQ(quadratic.centre_weight[k], expected[k]) << k;
    for (int k = 0; k < 6; ++k) EXPECT_NEAR(quadratic.centre_weight[k], k < 3 ? -1.0 / 9 : 4.0 / 9, 2e-16) << k;
    for (int k = 0; k < 4; ++k) EXPECT_EQ(find_element_type(204)->centre_weight[k], 0.25);
    for (int k = 0; k < 8; ++k) EXPECT_EQ(find_element_type(208)->centre_weight[k], k < 4 ? -0.25 : 0.5);
}

TEST_F(element_tables, solid_weights_are_the_shape_functions_at_their_centres)
{
    const struct {
        std::int32_t code, nodes, corners;
        double corner, edge;
        std::int32_t upright; // the last nodes of the wedge, on the edges between its triangles
        double upright_weight;
    } rows[] = {
        {304, 4, 4, 0.25, 0, 0, 0},
        {306, 6, 6, 1.0 / 6, 0, 0, 0},
        {308, 8, 8, 0.125, 0, 0, 0},
        {310, 10, 4, -0.125, 0.25, 0, 0},
        {315, 15, 6, -2.0 / 9, 2.0 / 9, 3, 1.0 / 3},
        {320, 20, 8, -0.25, 0.25, 0, 0},
    };
    EXPECT_EQ(std::size(solid_types), std::size(rows));
    for (const auto& row : rows) {
        const solid_type* type = find_solid_type(row.code);
        ASSERT_NE(type, nullptr) << row.code;
        EXPECT_EQ(type->nodes, row.nodes);
        double sum = 0;
        for (std::int32_t k = 0; k < 20; ++k) {
            const double expected = k < row.corners               ? row.corner
                                    : k < row.nodes - row.upright ? row.edge
                                    : k < row.nodes               ? row.upright_weight
                                                                  : 0.0;
            EXPECT_NEAR(type->centre_weight[k], expected, 1e-16) << row.code << " " << k;
            sum += type->centre_weight[k];
        }
        EXPECT_NEAR(sum, 1.0, 5e-16) << row.code;
    }
}

TEST_F(element_tables, boundary_elements_have_two_or_three_nodes)
{
    EXPECT_EQ(boundary_nodes(102), 2);
    EXPECT_EQ(boundary_nodes(103), 3);
    for (const std::int32_t code : {0, -102, 100, 101, 104, 203}) EXPECT_EQ(boundary_nodes(code), 0) << code;
}

TEST_F(element_tables, unknown_type_is_reported_with_its_element)
{
    for (const std::string point_text : {"", "."}) {
        const stage_outcome outcome =
            run_stage([&](std::FILE* log) { element_type_of(log, 205, 17, point_text.c_str()); });
        EXPECT_TRUE(outcome.failed);
        EXPECT_EQ(outcome.log,
                  "      Error. finite element type no. is illegal.\n             noe = 17 " + point_text + "\n");
    }
    const stage_outcome known = run_stage([](std::FILE* log) { EXPECT_EQ(element_type_of(log, 208, 1, "").nodes, 8); });
    EXPECT_FALSE(known.failed);
    EXPECT_EQ(known.log, "");
}

TEST_F(element_tables, impossible_node_is_reported_with_element_and_position)
{
    const stage_outcome outcome = run_stage([](std::FILE* log) { fail_connection(log, "felm", 12, 3); });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, "      Error. felm-connection node no. over the limit.\n"
                           "             element no. = 12 j = 3 .\n");
}
