#include "assembly/kernels.h"

#include "support/stage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

using namespace tarnel;

namespace
{

struct natural_point {
    double xi, eta;
};

struct reference_element {
    std::int32_t code;
    std::vector<natural_point> node; // where each node stands
};

const std::vector<reference_element>& reference_elements()
{
    static const std::vector<reference_element> elements = {
        {203, {{1, 0}, {0, 1}, {0, 0}}},
        {204, {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}}},
        {206, {{1, 0}, {0, 1}, {0, 0}, {0.5, 0.5}, {0, 0.5}, {0.5, 0}}},
        {208, {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}, {0, -1}, {1, 0}, {0, 1}, {-1, 0}}},
    };
    return elements;
}

// Points whose coordinates and all products in the shape functions binary arithmetic holds exactly.
const std::vector<natural_point>& exact_points()
{
    static const std::vector<natural_point> points = {{0, 0},         {0.5, 0.25},  {0.125, 0.625}, {0.75, 0.125},
                                                      {-0.375, 0.25}, {-0.5, -0.5}, {0.625, -0.875}};
    return points;
}

// Distorted elements whose Jacobians are not symmetric; sides of the second-order ones are bent.
struct distorted_element {
    std::int32_t code;
    std::vector<std::array<double, 3>> at;
};

const std::vector<distorted_element>& distorted_elements()
{
    static const std::vector<distorted_element> elements = {
        {203, {{3.0, 0.5, 0}, {1.5, 2.5, 0}, {0.2, -0.3, 0}}},
        {204, {{0.1, 0.2, 0}, {2.3, 0.9, 0}, {1.9, 2.8, 0}, {-1.4, 1.5, 0}}},
        {206, {{3.0, 0.5, 0}, {1.5, 2.5, 0}, {0.2, -0.3, 0}, {2.4, 1.6, 0}, {0.8, 1.2, 0}, {1.6, 0.0, 0}}},
        {208,
         {{0.1, 0.2, 0},
          {2.3, 0.9, 0},
          {1.9, 2.8, 0},
          {-1.4, 1.5, 0},
          {1.25, 0.5, 0},
          {2.2, 1.8, 0},
          {0.3, 2.2, 0},
          {-0.6, 0.8, 0}}},
    };
    return elements;
}

int node_count(std::int32_t code)
{
    return find_element_type(code)->nodes;
}

void flatten(const std::vector<std::array<double, 3>>& at, double coordinates[][3])
{
    for (std::size_t k = 0; k < at.size(); ++k) std::copy(at[k].begin(), at[k].end(), coordinates[k]);
}

template <class table> void fill(table& t, double value)
{
    auto* first = reinterpret_cast<double*>(&t);
    std::fill(first, first + sizeof(table) / sizeof(double), value);
}

} // namespace

TEST(shape_functions, are_one_at_their_own_node_and_zero_at_the_others)
{
    for (const auto& element : reference_elements())
        for (std::size_t at = 0; at < element.node.size(); ++at) {
            shape_values n;
            fill(n, 7.0);
            set_shape_values(element.code, element.node[at].xi, element.node[at].eta, n);
            for (std::size_t k = 0; k < most_nodes; ++k)
                EXPECT_EQ(n[k], k == at ? 1.0 : 0.0) << element.code << " N" << k + 1 << " at node " << at + 1;
        }
}

TEST(shape_functions, sum_to_one_everywhere)
{
    for (const auto& element : reference_elements())
        for (const natural_point& p : exact_points()) {
            shape_values n;
            set_shape_values(element.code, p.xi, p.eta, n);
            double sum = 0;
            for (const double value : n) sum += value;
            EXPECT_EQ(sum, 1.0) << element.code << " at " << p.xi << ", " << p.eta;
        }
}

TEST(shape_functions, hold_the_values_of_a_hand_calculation)
{
    struct row {
        std::int32_t code;
        double xi, eta;
        std::vector<double> values;
    };
    const std::vector<row> rows = {
        {203, 0.5, 0.25, {0.5, 0.25, 0.25}},
        {204, 0.5, -0.5, {0.1875, 0.5625, 0.1875, 0.0625}},
        {206, 0.5, 0.25, {0, -0.125, -0.125, 0.5, 0.25, 0.5}},
        {208, 0.5, 0.5, {-0.125, -0.1875, 0, -0.1875, 0.1875, 0.5625, 0.5625, 0.1875}},
    };
    for (const row& r : rows) {
        shape_values n;
        set_shape_values(r.code, r.xi, r.eta, n);
        for (std::size_t k = 0; k < r.values.size(); ++k) EXPECT_EQ(n[k], r.values[k]) << r.code << " N" << k + 1;
    }
}

TEST(natural_derivatives, hold_the_values_of_a_hand_calculation)
{
    struct row {
        std::int32_t code;
        double xi, eta;
        std::vector<std::array<double, 2>> values;
    };
    const std::vector<row> rows = {
        {203, 0.5, 0.25, {{1, 0}, {0, 1}, {-1, -1}}},
        {204, 0.5, -0.5, {{-0.375, -0.125}, {0.375, -0.375}, {0.125, 0.375}, {-0.125, 0.125}}},
        {204, 0, 0, {{-0.25, -0.25}, {0.25, -0.25}, {0.25, 0.25}, {-0.25, 0.25}}},
        {206, 0.5, 0.25, {{1, 0}, {0, 0}, {0, 0}, {1, 2}, {-1, 0}, {-1, -2}}},
        {208,
         0.5,
         0.5,
         {{0.1875, 0.1875},
          {0.0625, 0.1875},
          {0.5625, 0.5625},
          {0.1875, 0.0625},
          {-0.25, -0.375},
          {0.375, -0.75},
          {-0.75, 0.375},
          {-0.375, -0.25}}},
        {208, 0, 0, {{0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, -0.5}, {0.5, 0}, {0, 0.5}, {-0.5, 0}}},
    };
    for (const row& r : rows) {
        natural_derivatives d;
        set_natural_derivatives(r.code, r.xi, r.eta, d);
        for (std::size_t k = 0; k < r.values.size(); ++k)
            for (std::size_t c = 0; c < 2; ++c)
                EXPECT_EQ(d[k][c], r.values[k][c]) << r.code << " dN" << k + 1 << " column " << c;
    }
}

TEST(natural_derivatives, sum_to_zero_and_leave_the_third_column_and_the_spare_rows_empty)
{
    for (const auto& element : reference_elements())
        for (const natural_point& p : exact_points()) {
            natural_derivatives d;
            fill(d, 7.0);
            set_natural_derivatives(element.code, p.xi, p.eta, d);
            double sum[2] = {};
            for (std::size_t k = 0; k < most_nodes; ++k) {
                for (int c = 0; c < 2; ++c) sum[c] += d[k][c];
                EXPECT_EQ(d[k][2], 0.0);
                if (k >= element.node.size()) {
                    EXPECT_EQ(d[k][0], 0.0);
                    EXPECT_EQ(d[k][1], 0.0);
                }
            }
            EXPECT_EQ(sum[0], 0.0) << element.code;
            EXPECT_EQ(sum[1], 0.0) << element.code;
        }
}

// Along one coordinate every shape function is a polynomial of degree 2 at most, for which the central difference is
// the derivative itself at any step.
TEST(natural_derivatives, equal_central_differences_of_the_shape_functions)
{
    constexpr double h = 0.25;
    for (const auto& element : reference_elements())
        for (const natural_point& p : exact_points()) {
            natural_derivatives d;
            shape_values right, left, above, below;
            set_natural_derivatives(element.code, p.xi, p.eta, d);
            set_shape_values(element.code, p.xi + h, p.eta, right);
            set_shape_values(element.code, p.xi - h, p.eta, left);
            set_shape_values(element.code, p.xi, p.eta + h, above);
            set_shape_values(element.code, p.xi, p.eta - h, below);
            for (std::size_t k = 0; k < element.node.size(); ++k) {
                EXPECT_EQ(d[k][0], (right[k] - left[k]) / (2 * h)) << element.code << " N" << k + 1;
                EXPECT_EQ(d[k][1], (above[k] - below[k]) / (2 * h)) << element.code << " N" << k + 1;
            }
        }
}

TEST(shape_functions, of_another_code_are_empty)
{
    shape_values n;
    natural_derivatives d;
    fill(n, 7.0);
    fill(d, 7.0);
    set_shape_values(205, 0.5, 0.25, n);
    set_natural_derivatives(205, 0.5, 0.25, d);
    for (int k = 0; k < most_nodes; ++k) {
        EXPECT_EQ(n[k], 0.0);
        for (int c = 0; c < 3; ++c) EXPECT_EQ(d[k][c], 0.0);
    }
}

TEST(element_types, centre_weights_are_the_shape_values_at_the_centre)
{
    for (const element_type& type : element_types) {
        shape_values n;
        set_shape_values(type.code, type.centre_xi, type.centre_eta, n);
        for (int k = 0; k < type.nodes; ++k) EXPECT_NEAR(type.centre_weight[k], n[k], 2e-16) << type.code;
    }
    EXPECT_EQ(find_element_type(203)->centre_weight[0], 1.0 / 3);
    EXPECT_EQ(find_element_type(203)->centre_weight[1], 1.0 / 3);
    EXPECT_EQ(find_element_type(203)->centre_weight[2], 0.3333333333333334);
    EXPECT_EQ(find_element_type(203)->centre_xi, 1.0 / 3);
    EXPECT_EQ(find_element_type(206)->centre_eta, 1.0 / 3);
}

TEST(integration_rules, list_their_points_in_order)
{
    const integration_rule triangle = triangle_rule();
    ASSERT_EQ(triangle.points, 3);
    const double triangle_points[3][2] = {{2.0 / 3, 1.0 / 6}, {1.0 / 6, 2.0 / 3}, {1.0 / 6, 1.0 / 6}};
    for (int p = 0; p < 3; ++p) {
        EXPECT_EQ(triangle.point[p].weight, 1.0 / 6);
        EXPECT_EQ(triangle.point[p].xi, triangle_points[p][0]);
        EXPECT_EQ(triangle.point[p].eta, triangle_points[p][1]);
    }
    integration_rule gauss{};
    quadrilateral_rule(4, gauss);
    ASSERT_EQ(gauss.points, 4);
    const double sign[4][2] = {{-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
    for (int p = 0; p < 4; ++p) {
        EXPECT_EQ(gauss.point[p].weight, 1.0);
        EXPECT_EQ(gauss.point[p].xi, sign[p][0] * (1.0 / std::sqrt(3.0)));
        EXPECT_EQ(gauss.point[p].eta, sign[p][1] * (1.0 / std::sqrt(3.0)));
    }
    integration_rule one{};
    quadrilateral_rule(1, one);
    ASSERT_EQ(one.points, 1);
    EXPECT_EQ(one.point[0].weight, 4.0);
    EXPECT_EQ(one.point[0].xi, 0.0);
    EXPECT_EQ(one.point[0].eta, 0.0);
}

TEST(integration_rules, of_another_number_of_points_leave_the_list_alone)
{
    for (const int n : {-1, 0, 2, 3, 5, 9}) {
        integration_rule rule = {2, {{5, 6, 7}, {8, 9, 10}, {11, 12, 13}, {14, 15, 16}}};
        quadrilateral_rule(n, rule);
        EXPECT_EQ(rule.points, 2) << n;
        EXPECT_EQ(rule.point[0].weight, 5.0);
        EXPECT_EQ(rule.point[3].eta, 16.0);
    }
}

TEST(integration_rules, serve_triangles_and_quadrilaterals_by_the_shape_of_the_type)
{
    EXPECT_EQ(rule_of(*find_element_type(203)).points, 3);
    EXPECT_EQ(rule_of(*find_element_type(206)).points, 3);
    EXPECT_EQ(rule_of(*find_element_type(204)).points, 4);
    EXPECT_EQ(rule_of(*find_element_type(208)).points, 4);
    for (const element_type& type : element_types) {
        const integration_rule rule = rule_of(type);
        double sum = 0;
        for (int p = 0; p < rule.points; ++p) sum += rule.point[p].weight;
        EXPECT_EQ(sum, type.measure) << type.code; // 1/2 and 4
    }
}

namespace
{

double integral_of_monomial(const integration_rule& rule, int a, int b)
{
    double sum = 0;
    for (int p = 0; p < rule.points; ++p)
        sum += rule.point[p].weight * std::pow(rule.point[p].xi, a) * std::pow(rule.point[p].eta, b);
    return sum;
}

// a! b! / (a + b + 2)! over the triangle
double triangle_monomial(int a, int b)
{
    return std::tgamma(a + 1) * std::tgamma(b + 1) / std::tgamma(a + b + 3);
}

double square_monomial(int a, int b)
{
    return a % 2 == 1 || b % 2 == 1 ? 0.0 : 4.0 / ((a + 1) * (b + 1));
}

} // namespace

TEST(integration_rules, triangle_rule_is_exact_to_degree_2_and_not_beyond)
{
    const integration_rule rule = triangle_rule();
    for (int a = 0; a <= 2; ++a)
        for (int b = 0; a + b <= 2; ++b)
            EXPECT_NEAR(integral_of_monomial(rule, a, b), triangle_monomial(a, b), 1e-16) << a << b;
    // xi^3: 1/6 (8/27 + 2/216) = 11/216, where 1/20 would be right
    EXPECT_NEAR(integral_of_monomial(rule, 3, 0), 11.0 / 216, 1e-16);
    EXPECT_GT(std::fabs(integral_of_monomial(rule, 3, 0) - triangle_monomial(3, 0)), 5e-4);
    EXPECT_GT(std::fabs(integral_of_monomial(rule, 0, 3) - triangle_monomial(0, 3)), 5e-4);
}

TEST(integration_rules, quadrilateral_rules_are_exact_to_degree_3_and_1_in_each_coordinate_and_not_beyond)
{
    integration_rule four{}, one{};
    quadrilateral_rule(4, four);
    quadrilateral_rule(1, one);
    for (int a = 0; a <= 3; ++a)
        for (int b = 0; b <= 3; ++b)
            EXPECT_NEAR(integral_of_monomial(four, a, b), square_monomial(a, b), 2e-15) << a << b;
    for (int a = 0; a <= 1; ++a)
        for (int b = 0; b <= 1; ++b) EXPECT_EQ(integral_of_monomial(one, a, b), square_monomial(a, b));
    EXPECT_NEAR(integral_of_monomial(four, 4, 0), 4.0 / 9, 2e-15); // 4/5 would be right
    EXPECT_NEAR(integral_of_monomial(four, 0, 4), 4.0 / 9, 2e-15);
    EXPECT_EQ(integral_of_monomial(one, 2, 0), 0.0); // 4/3 would be right
    EXPECT_EQ(integral_of_monomial(one, 0, 2), 0.0);
}

TEST(jacobian, rows_are_natural_and_columns_are_global_directions)
{
    // x = 1 + 2 xi + 3 eta, y = 5 + 7 xi + 11 eta on a triangle; z is not looked at
    const double coordinates[][3] = {{3, 12, 100}, {4, 16, -50}, {1, 5, 30}};
    natural_derivatives d;
    set_natural_derivatives(203, 0.25, 0.25, d);
    double j[3][3];
    fill(j, 9.0);
    set_jacobian(3, d, coordinates, j);
    const double expected[3][3] = {{2, 7, 0}, {3, 11, 0}, {0, 0, 1}};
    for (int a = 0; a < 3; ++a)
        for (int b = 0; b < 3; ++b) EXPECT_EQ(j[a][b], expected[a][b]) << a << b;
}

TEST(jacobian, inverse_times_jacobian_is_the_identity)
{
    // determinants 8 and -(-16): every entry of the inverse is held exactly
    const double matrices[][3][3] = {{{2, 1, 0}, {0, 1, 2}, {2, 0, 2}}, {{1, 5, 0}, {-3, 1, 0}, {0, 0, 1}}};
    const double determinants[] = {8, 16};
    for (int m = 0; m < 2; ++m) {
        double det = 0, inverse[3][3];
        ASSERT_EQ(invert_jacobian(matrices[m], 1e-60, det, inverse), 0);
        EXPECT_EQ(det, determinants[m]);
        for (int a = 0; a < 3; ++a)
            for (int b = 0; b < 3; ++b) {
                double sum = 0;
                for (int c = 0; c < 3; ++c) sum += inverse[a][c] * matrices[m][c][b];
                EXPECT_EQ(sum, a == b ? 1.0 : 0.0) << a << b;
            }
    }
}

TEST(jacobian, determinant_equal_to_the_tolerance_passes_and_all_else_below_is_refused)
{
    struct row {
        double j00, tolerance;
        int result;
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const std::vector<row> rows = {
        {0.5, 0.5, 0},
        {std::nextafter(0.5, 0), 0.5, 1},
        {std::nextafter(0.5, 1), 0.5, 0},
        {1e-60, 1e-60, 0},
        {1e-61, 1e-60, 1},
        {0, 1e-60, 1},
        {-1, 1e-60, 1},
        {-1e300, 1e-60, 1},
        {nan, 1e-60, 1},
        {0, 0, 0},
    };
    for (const row& r : rows) {
        const double j[3][3] = {{r.j00, 0, 0}, {0, 1, 0}, {0, 0, 1}};
        double det = 77, inverse[3][3];
        fill(inverse, 9.0);
        EXPECT_EQ(invert_jacobian(j, r.tolerance, det, inverse), r.result) << r.j00;
        if (std::isnan(r.j00)) {
            EXPECT_TRUE(std::isnan(det));
        } else {
            EXPECT_EQ(det, r.j00); // stored before the test
        }
        if (r.result == 1) {
            for (int a = 0; a < 3; ++a)
                for (int b = 0; b < 3; ++b) EXPECT_EQ(inverse[a][b], 9.0) << "written for " << r.j00;
        }
    }
}

TEST(jacobian, of_an_element_numbered_clockwise_is_negative_and_refused)
{
    for (const auto& element : distorted_elements()) {
        double coordinates[most_nodes][3] = {};
        flatten(element.at, coordinates);
        for (std::size_t k = 0; k < element.at.size(); ++k) coordinates[k][0] = -coordinates[k][0]; // mirrored
        natural_derivatives d;
        set_natural_derivatives(element.code, 0.25, 0.25, d);
        double j[3][3], det = 0, inverse[3][3];
        set_jacobian(node_count(element.code), d, coordinates, j);
        EXPECT_EQ(invert_jacobian(j, 1e-60, det, inverse), 1) << element.code;
        EXPECT_LT(det, -0.1);
    }
}

TEST(global_derivatives, reproduce_a_linear_field_on_distorted_elements)
{
    for (const auto& element : distorted_elements()) {
        const int n = node_count(element.code);
        double coordinates[most_nodes][3] = {};
        flatten(element.at, coordinates);
        const integration_rule rule = rule_of(*find_element_type(element.code));
        for (int p = 0; p < rule.points; ++p) {
            natural_derivatives d;
            set_natural_derivatives(element.code, rule.point[p].xi, rule.point[p].eta, d);
            double j[3][3], det = 0, inverse[3][3];
            set_jacobian(n, d, coordinates, j);
            EXPECT_GT(std::fabs(j[0][1] - j[1][0]), 0.1) << "the test wants a Jacobian that is not symmetric";
            ASSERT_EQ(invert_jacobian(j, 1e-60, det, inverse), 0);
            global_derivatives g;
            fill(g, 9.0);
            set_global_derivatives(n, d, inverse, g);
            double along_x = 0, along_y = 0; // of 3 + 2 x - 5 y
            for (int k = 0; k < n; ++k) {
                const double value = 3 + 2 * coordinates[k][0] - 5 * coordinates[k][1];
                along_x += value * g[k][0];
                along_y += value * g[k][1];
            }
            EXPECT_NEAR(along_x, 2.0, 1e-13) << element.code;
            EXPECT_NEAR(along_y, -5.0, 1e-13) << element.code;
            for (int k = 0; k < most_nodes; ++k) {
                EXPECT_EQ(g[k][2], 0.0);
                if (k >= n) {
                    EXPECT_EQ(g[k][0], 0.0);
                    EXPECT_EQ(g[k][1], 0.0);
                }
            }
        }
    }
}

TEST(global_derivatives, reproduce_a_quadratic_field_on_second_order_elements_with_straight_sides)
{
    for (const auto& element : reference_elements()) {
        if (element.code != 206 && element.code != 208) continue;
        const int n = node_count(element.code);
        double coordinates[most_nodes][3] = {}, value[most_nodes] = {};
        for (std::size_t k = 0; k < element.node.size(); ++k) { // x = 1 + 2 xi + 3 eta, y = 1 - xi + 2 eta
            const natural_point& at = element.node[k];
            const double x = 1 + 2 * at.xi + 3 * at.eta, y = 1 - at.xi + 2 * at.eta;
            coordinates[k][0] = x, coordinates[k][1] = y;
            value[k] = x * x + 3 * x * y - 2 * y * y;
        }
        const double xi = 0.25, eta = 0.125, x = 1 + 2 * xi + 3 * eta, y = 1 - xi + 2 * eta;
        natural_derivatives d;
        set_natural_derivatives(element.code, xi, eta, d);
        double j[3][3], det = 0, inverse[3][3], along_x = 0, along_y = 0;
        set_jacobian(n, d, coordinates, j);
        ASSERT_EQ(invert_jacobian(j, 1e-60, det, inverse), 0);
        EXPECT_EQ(det, 7.0);
        global_derivatives g;
        set_global_derivatives(n, d, inverse, g);
        for (int k = 0; k < n; ++k) {
            along_x += value[k] * g[k][0];
            along_y += value[k] * g[k][1];
        }
        EXPECT_NEAR(along_x, 2 * x + 3 * y, 1e-13) << element.code;
        EXPECT_NEAR(along_y, 3 * x - 4 * y, 1e-13) << element.code;
    }
}

TEST(axisymmetric_correction, adds_shape_value_over_radius_to_the_radial_column_alone)
{
    const double coordinates[][3] = {{1, 10, 0}, {3, 20, 0}, {8, 30, 0}};
    const shape_values n = {0.5, 0.25, 0.25}; // r = 0.5 + 0.75 + 2 = 3.25
    global_derivatives g = {{1, 5, 0}, {2, 6, 0}, {-3, 7, 0}};
    EXPECT_EQ(correct_radial_column(3, n, coordinates, g), 3.25);
    EXPECT_EQ(g[0][0], 1 + 0.5 / 3.25);
    EXPECT_EQ(g[1][0], 2 + 0.25 / 3.25);
    EXPECT_EQ(g[2][0], -3 + 0.25 / 3.25);
    EXPECT_EQ(g[0][1], 5.0);
    EXPECT_EQ(g[1][1], 6.0);
    EXPECT_EQ(g[2][1], 7.0);
}

namespace
{

// The triangle (1,0), (0,1), (0,0): N = (x, y, 1 - x - y).
constexpr double triangle_g[][3] = {{1, 0, 0}, {0, 1, 0}, {-1, -1, 0}};

void copy_triangle(global_derivatives g)
{
    std::copy(&triangle_g[0][0], &triangle_g[0][0] + 9, &g[0][0]);
}

} // namespace

TEST(stiffness, of_the_reference_triangle_equals_the_hand_calculation_with_a_tensor_that_is_not_symmetric)
{
    global_derivatives g = {};
    copy_triangle(g);
    const double t[9] = {2, 3, 100, 5, 7, 100, 100, 100, 100}; // the third row and column are not used
    element_matrix k = {};
    k[3][3] = k[0][3] = k[3][0] = 1.0;
    add_stiffness(3, g, t, 0.5, k);
    const double expected[3][3] = {{3.5, -2.5, -1}, {-1.5, 1, 0.5}, {-2, 1.5, 0.5}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) EXPECT_EQ(k[i][j], expected[i][j]) << i << j;
    EXPECT_EQ(k[3][3], 1.0); // beyond the element's nodes
    EXPECT_EQ(k[0][3], 1.0);
    EXPECT_EQ(k[3][0], 1.0);
    add_stiffness(3, g, t, 0.25, k); // adds
    EXPECT_EQ(k[0][1], -3.75);
}

TEST(sources, of_current_and_magnetisation_equal_the_hand_calculation_in_both_modes)
{
    global_derivatives g = {};
    copy_triangle(g);
    const shape_values n = {0.5, 0.25, 0.25};
    double planar[4] = {1, 0, 0, 9}, axisymmetric[4] = {0, 0, 0, 9};
    add_sources(3, n, g, 8, 2, 4, 1.0, 0.5, planar); // 0.5 (8 N + (2 Gy - 4 Gx))
    EXPECT_EQ(planar[0], 1.0 + 0.0);
    EXPECT_EQ(planar[1], 2.0);
    EXPECT_EQ(planar[2], 2.0);
    EXPECT_EQ(planar[3], 9.0);
    add_sources(3, n, g, 8, 2, 4, -1.0, 0.5, axisymmetric);
    EXPECT_EQ(axisymmetric[0], 4.0);
    EXPECT_EQ(axisymmetric[1], 0.0);
    EXPECT_EQ(axisymmetric[2], 0.0);
}

TEST(eddy_currents, equal_the_hand_calculation)
{
    const shape_values n = {0.5, 0.25, 0.25};
    const double previous[] = {1, 2, 4};
    element_matrix k = {};
    k[0][0] = 1;
    double f[4] = {0, 0, 1, 9};
    add_eddy_currents(3, n, 4, 0.25, 0.5, previous, k, f); // m_ij = 2 N_i N_j
    EXPECT_EQ(k[0][0], 1.5);
    EXPECT_EQ(k[0][1], 0.25);
    EXPECT_EQ(k[1][0], 0.25);
    EXPECT_EQ(k[1][2], 0.125);
    EXPECT_EQ(k[2][2], 0.125);
    EXPECT_EQ(k[3][3], 0.0);
    EXPECT_EQ(f[0], 2.0);
    EXPECT_EQ(f[1], 1.0);
    EXPECT_EQ(f[2], 2.0);
    EXPECT_EQ(f[3], 9.0);
}

TEST(jacobian, failure_names_the_element)
{
    const tarnel_test::work_directory directory;
    const auto outcome = tarnel_test::run_stage([](std::FILE* log) { fail_jacobian(log, 1234567890); });
    EXPECT_TRUE(outcome.failed);
    EXPECT_EQ(outcome.log, "      Error. Jacobian is illegal.\n             noe = 1234567890 \n");
}
