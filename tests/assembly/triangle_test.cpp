// The first-order triangle's own kernels and scatter against the plain ones, bit for bit.
#include "assembly/triangle.h"

#include "assembly/scatter.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <random>
#include <vector>

using namespace tarnel;

namespace
{

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double coordinates_tried[] = {0.0, -0.0, 1.0, -1.0, 0.25, 3.5, -7.0, 1e-30, 1e150, -1e300, infinity};

struct triangle_nodes_at {
    double coordinates[3][3];
};

// Triangles of every combination of odd coordinates, and random ones.
std::vector<triangle_nodes_at> triangles()
{
    std::vector<triangle_nodes_at> made;
    std::mt19937_64 random(11);
    const auto odd = [&] { return coordinates_tried[random() % std::size(coordinates_tried)]; };
    const auto any = [&] { return std::ldexp(static_cast<double>(static_cast<std::int64_t>(random())), -60); };
    for (int k = 0; k < 20000; ++k) {
        triangle_nodes_at next{};
        for (auto& point : next.coordinates)
            point[0] = k % 2 == 0 ? any() : odd(), point[1] = k % 4 < 2 ? any() : odd();
        made.push_back(next);
    }
    return made;
}

std::uint64_t bits(double value)
{
    return std::bit_cast<std::uint64_t>(value);
}

struct triangle_rule_points {
    natural_derivatives d;
    integration_rule rule;
    shape_values n[most_points];
};

void prepare(triangle_rule_points& points)
{
    points.rule = triangle_rule();
    set_natural_derivatives(203, 0.25, 0.25, points.d);
    for (int p = 0; p < points.rule.points; ++p)
        set_shape_values(203, points.rule.point[p].xi, points.rule.point[p].eta, points.n[p]);
}

} // namespace

TEST(triangle, derivatives_are_those_of_the_plain_kernels)
{
    triangle_rule_points points;
    prepare(points);
    int accepted = 0;
    for (const triangle_nodes_at& at : triangles()) {
        double j[3][3], det = 0, inverse[3][3];
        set_jacobian(3, points.d, at.coordinates, j);
        const bool good = invert_jacobian(j, 1e-60, det, inverse) == 0;
        triangle_derivatives found;
        ASSERT_EQ(set_triangle_derivatives(points.d, at.coordinates, 1e-60, found), good);
        ASSERT_EQ(bits(found.det), bits(det));
        if (!good) continue;
        ++accepted;
        global_derivatives g;
        set_global_derivatives(3, points.d, inverse, g);
        for (int k = 0; k < 3; ++k) {
            ASSERT_EQ(bits(found.x[k]), bits(g[k][0]));
            ASSERT_EQ(bits(found.y[k]), bits(g[k][1]));
        }
        EXPECT_EQ(found.x[3], 0.0);
        EXPECT_EQ(found.y[3], 0.0);
    }
    EXPECT_GT(accepted, 5000);
}

TEST(triangle, shares_of_a_point_are_those_of_the_plain_kernels)
{
    const double tensors[][9] = {{2, 0, 0, 0, 3, 0, 0, 0, 1}, {795.7, -3.5, 0, 11.25, 1e-3, 0, 0, 0, 1}};
    triangle_rule_points points;
    prepare(points);
    for (const triangle_nodes_at& at : triangles()) {
        double j[3][3], det = 0, inverse[3][3];
        set_jacobian(3, points.d, at.coordinates, j);
        if (invert_jacobian(j, 1e-60, det, inverse) != 0) continue;
        triangle_derivatives found;
        ASSERT_TRUE(set_triangle_derivatives(points.d, at.coordinates, 1e-60, found));
        for (const double(&t)[9] : tensors)
            for (int p = 0; p < 3; ++p)
                for (const bool axisymmetric : {false, true}) {
                    global_derivatives g;
                    set_global_derivatives(3, points.d, inverse, g);
                    element_matrix k = {};
                    double f[most_nodes] = {};
                    triangle_values gx = {found.x[0], found.x[1], found.x[2], 0.0}, sources;
                    if (axisymmetric) {
                        const double radius = correct_radial_column(3, points.n[p], at.coordinates, g);
                        ASSERT_EQ(bits(correct_triangle(points.n[p], at.coordinates, found.x, gx)), bits(radius));
                        for (int a = 0; a < 3; ++a) ASSERT_EQ(bits(gx[a]), bits(g[a][0]));
                    }
                    const double dv = det / 6, s = axisymmetric ? -1.0 : 1.0;
                    triangle_matrix share, sum;
                    clear_triangle(sum, sources);
                    set_triangle_stiffness(gx, found.y, t, dv, share);
                    for (int turn = 0; turn < 2; ++turn) {
                        add_stiffness(3, g, t, dv, k);
                        add_triangle_stiffness(share, sum);
                        add_sources(3, points.n[p], g, 1e6, 11.5, -3.25, s, dv, f);
                        add_triangle_sources(points.n[p], gx, found.y, 1e6, 11.5, -3.25, s, dv, sources);
                    }
                    for (int a = 0; a < 3; ++a) {
                        ASSERT_EQ(bits(sources[a]), bits(f[a]));
                        for (int b = 0; b < 3; ++b) ASSERT_EQ(bits(sum[a][b]), bits(k[a][b]));
                    }
                }
    }
}

namespace
{

// A full upper triangle: row i holds the columns i .. ndim - 1, or every second of them.
matrix_rows upper_triangle(std::int32_t ndim, std::int32_t step)
{
    matrix_rows rows;
    const auto n = static_cast<std::size_t>(ndim);
    rows.ndim = ndim;
    rows.start = zero_array<std::int64_t>(stdout, "start", n + 1);
    rows.mindex = zero_array<std::int32_t>(stdout, "mindex", n * n);
    std::size_t terms = 0;
    for (std::int32_t i = 0; i < ndim; ++i) {
        for (std::int32_t column = i; column < ndim; column += step) rows.mindex[terms++] = column;
        rows.start[static_cast<std::size_t>(i) + 1] = static_cast<std::int64_t>(terms);
    }
    rows.amatr = zero_array<double>(stdout, "amatr", terms);
    return rows;
}

} // namespace

TEST(scatter, finds_a_column_in_rows_of_every_length_and_none_beyond_them)
{
    for (std::int32_t ndim = 1; ndim <= 40; ++ndim)
        for (const std::int32_t step : {1, 2}) {
            const matrix_rows rows = upper_triangle(ndim, step);
            for (std::int32_t row = 0; row < ndim; ++row) {
                const auto first = static_cast<std::size_t>(rows.start[static_cast<std::size_t>(row)]);
                const auto last = static_cast<std::size_t>(rows.start[static_cast<std::size_t>(row) + 1]);
                for (std::int32_t column = -1; column <= ndim; ++column) {
                    std::size_t expected = first;
                    while (expected < last && rows.mindex[expected] != column) ++expected;
                    ASSERT_EQ(find_term(rows, row, column), expected) << ndim << " " << row << " " << column;
                }
            }
        }
}

// Unknowns in every order, some missing, some the same; random coefficients and terms.
TEST(scatter, of_a_triangle_is_that_of_any_element)
{
    constexpr std::int32_t ndim = 12;
    std::mt19937_64 random(5);
    const auto any = [&] { return std::ldexp(static_cast<double>(static_cast<std::int64_t>(random())), -60); };
    matrix_rows plain = upper_triangle(ndim, 1), own = upper_triangle(ndim, 1);
    double plain_side[ndim] = {}, own_side[ndim] = {};
    for (std::int32_t a = -1; a < ndim; ++a)
        for (std::int32_t b = -1; b < ndim; ++b)
            for (std::int32_t c = -1; c < ndim; ++c) {
                local_nodes local;
                const std::int32_t unknown[] = {a, b, c};
                triangle_matrix k;
                triangle_values f, same_f;
                for (int i = 0; i < 3; ++i) {
                    local.unknown[i] = unknown[i];
                    local.aval0[i] = random() % 2 == 0 ? any() : 0.0;
                    local.acoef[i] = random() % 2 == 0 ? any() : 1.0;
                    f[i] = same_f[i] = any();
                    for (int j = 0; j < 3; ++j) k[i][j] = any();
                }
                scatter_element(3, k, f, local, plain, plain_side);
                scatter_triangle(k, same_f, local, own, own_side);
            }
    for (int i = 0; i < ndim; ++i) EXPECT_EQ(bits(own_side[i]), bits(plain_side[i]));
    for (std::int64_t t = 0; t < plain.start[ndim]; ++t)
        EXPECT_EQ(bits(own.amatr[static_cast<std::size_t>(t)]), bits(plain.amatr[static_cast<std::size_t>(t)]));
}
