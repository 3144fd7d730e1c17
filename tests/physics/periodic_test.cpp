// Dependent nodes: strips with periodic and anti-periodic sides.
#include "physics/fields.h"

using namespace tarnel_test;

using periodic = stage_test;

namespace
{

constexpr double pi = std::numbers::pi;

// Ties each node of the side u = 1 to the node of u = 0 at the same v, A(u = 1) = jump + factor A(u = 0), but for nodes
// that are fixed.
void tie_sides(model& made, const mesh& m, double jump, double factor)
{
    for (std::size_t n = 0; n < m.nodes.size(); ++n) {
        const point p = m.parameters[n];
        if (p.x != 1 || p.y == 0 || p.y == 1) continue;
        for (std::size_t other = 0; other < m.nodes.size(); ++other)
            if (m.parameters[other].x == 0 && m.parameters[other].y == p.y)
                made.conditions.push_back({m.nodes[n].nog, jump, m.nodes[other].nog, factor});
    }
}

bool top_or_bottom(point p)
{
    return p.y == 0 || p.y == 1;
}

// Of period 1 in u.
point waves(double u, double v)
{
    return {u + 0.04 * std::sin(2 * pi * u + 1) + 0.25 * v, v + 0.05 * std::sin(pi * v) * std::cos(2 * pi * u)};
}

} // namespace

// A linear potential in the plane without bounds repeats itself in each period but for a jump.
TEST_F(periodic, linear_potential_is_reproduced_to_rounding_in_a_strip_of_one_period)
{
    const auto linear = [](double x, double y) { return 0.125 + 0.5 * x - 0.75 * y; };
    for (const int type : {203, 204, 206, 208})
        for (const int across : {1, 4}) { // one cell: both nodes of a side's element share an unknown
            SCOPED_TRACE(std::to_string(type) + " cells across " + std::to_string(across));
            const mesh m = grid({.nu = across, .nv = 4, .type = all(type), .position = waves});
            model made = model_of(m);
            made.properties = {{.nop = 1, .mu = mu_0}};
            fix_nodes(made, m, top_or_bottom, linear);
            tie_sides(made, m, 0.5, 1);
            EXPECT_LT(largest_error(m, solve(made).potential, linear), 2e-13);
        }
}

// A = sin(k x + phase) sinh(k y): half a period between anti-periodic sides, or one between periodic sides. Its sides
// are nowhere near a natural or zero condition.
TEST_F(periodic, strip_between_tied_sides_has_the_harmonic_potential_of_the_unbounded_field)
{
    struct strip {
        double periods, factor;
    };
    for (const strip& s : {strip{0.5, -1}, strip{1, 1}}) {
        SCOPED_TRACE(s.factor);
        const double k = 2 * pi * s.periods, phase = 0.7;
        const auto exact = [k, phase](double x, double y) { return std::sin(k * x + phase) * std::sinh(k * y); };
        for (const int type : {203, 204, 206, 208}) {
            SCOPED_TRACE(type);
            std::vector<double> error;
            for (const int n : {10, 20}) {
                const auto position = [](double u, double v) { return point{u, 0.25 * v + 0.5 * (waves(u, v).y - v)}; };
                const mesh m = grid({.nu = 2 * n, .nv = n, .type = all(type), .position = position});
                model made = model_of(m);
                made.properties = {{.nop = 1, .mu = mu_0}};
                fix_nodes(made, m, top_or_bottom, exact);
                tie_sides(made, m, 0, s.factor);
                error.push_back(l2_error(m, solve(made).potential, exact));
            }
            EXPECT_LT(error[1], second_order(type) ? 3e-4 : 3e-2);
            EXPECT_GT(std::log2(error[0] / error[1]), second_order(type) ? 2.8 : 1.8) << error[0] << " " << error[1];
        }
    }
}

// Bars of alternating current over iron, in a plane without bounds: half a period with anti-periodic sides is the same
// discrete problem as a whole period of +J and -J with periodic sides.
TEST_F(periodic, half_a_period_with_anti_periodic_sides_equals_a_period_of_both_signs)
{
    const int half = 6, up = 8;
    for (const int type : {203, 204, 206, 208}) {
        SCOPED_TRACE(type);
        const auto solve_bars = [&](int cells, double length, double factor) {
            const auto property = [](int i, int j) { // the bar reaches from cell 4 over the side to cell 1 of the next
                const int of_half = i % half;
                return j < 3 ? 2 : j > 4 || (of_half > 1 && of_half < 4) ? 1 : (i + 2) / half % 2 == 0 ? 3 : 4;
            };
            const auto position = [=](double u, double v) {
                return point{length * u, v + 0.05 * std::sin(pi * v) * std::cos(4 * pi * length * u)};
            };
            mesh m = grid({.nu = cells, .nv = up, .type = all(type), .position = position, .property = property});
            model made = model_of(m);
            made.properties = {{.nop = 1, .mu = mu_0},
                               {.nop = 2, .mu = 500 * mu_0},
                               {.nop = 3, .mu = mu_0, .js = 3e6},
                               {.nop = 4, .mu = mu_0, .js = -3e6}};
            fix_nodes(made, m, top_or_bottom, [](double, double) { return 0.0; });
            tie_sides(made, m, 0, factor);
            return std::pair(m, solve(made));
        };
        const auto [half_mesh, half_result] = solve_bars(half, 0.5, -1);
        const auto [whole_mesh, whole_result] = solve_bars(2 * half, 1, 1);
        double largest = 0;
        for (const double a : whole_result.potential) largest = std::max(largest, std::fabs(a));
        ASSERT_GT(largest, 0.01);
        int compared = 0;
        for (std::size_t n = 0; n < half_mesh.nodes.size(); ++n)
            for (std::size_t w = 0; w < whole_mesh.nodes.size(); ++w) {
                const double dx = whole_mesh.nodes[w].x - half_mesh.nodes[n].x;
                const double dy = whole_mesh.nodes[w].y - half_mesh.nodes[n].y;
                if (std::fabs(dy) > 1e-9) continue;
                const double sign = std::fabs(dx) < 1e-9 ? 1 : std::fabs(dx - 0.5) < 1e-9 ? -1 : 0;
                if (sign == 0) continue;
                ++compared;
                EXPECT_NEAR(whole_result.potential[w], sign * half_result.potential[n], 1e-11 * largest);
            }
        EXPECT_EQ(static_cast<std::size_t>(compared), 2 * half_mesh.nodes.size());
    }
}
