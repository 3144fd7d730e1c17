// Boundary elements: the tangential field strength given along the sides of a model.
#include "physics/fields.h"

using namespace tarnel_test;

using boundary_field = stage_test;

namespace
{

// With the weak form integral of H . curl N = integral of J N + boundary term, integration by parts leaves the line
// integral of N (H . t) ds, t the tangent that has the domain on its right hand; in the axisymmetric mode of r N (H .
// t). So boundary elements run clockwise around the domain, in both modes. `strength` gives H of a point; the normal
// component has no effect, and `disturbed` adds one that differs from point to point.
std::string boundary_records(const mesh& m, const std::function<point(double, double)>& strength, bool disturbed)
{
    bytes records;
    int nob = 0;
    const double gauss_xi = 1 / std::sqrt(3.0);
    for (const boundary_side& side : clockwise_sides(m)) {
        const model_node& a = m.nodes[static_cast<std::size_t>(side.first) - 1];
        const model_node& b = m.nodes[static_cast<std::size_t>(side.last) - 1];
        records.add_i(++nob).add_i(side.mid > 0 ? 103 : 102).add_i(2);
        records.add_i(side.first).add_i(side.last).add_i(side.mid).add_zeros(24);
        double hx[2], hy[2];
        for (int p = 0; p < 2; ++p) { // straight sides: the points lie at (1 -+ 1/sqrt(3)) / 2 of the way
            const double way = (1 + (p == 0 ? -gauss_xi : gauss_xi)) / 2;
            const point h = strength(a.x + way * (b.x - a.x), a.y + way * (b.y - a.y));
            const double normal = disturbed ? 1e5 * (p + 1) : 0;
            hx[p] = h.x + normal * (b.y - a.y);
            hy[p] = h.y - normal * (b.x - a.x);
        }
        records.add_d(hx[0]).add_d(hx[1]).add_zeros(16).add_d(hy[0]).add_d(hy[1]).add_zeros(48);
    }
    return records.add_zeros(144).text();
}

model model_with_boundary(const mesh& m, int iax)
{
    model made = model_of(m);
    made.iax = iax;
    made.iopt_belm = 1;
    made.maxbelm = 100;
    made.properties = {{.nop = 1, .mu = mu_0}};
    return made;
}

point wavy(double u, double v)
{
    const double pi = std::numbers::pi;
    return {u + 0.1 * std::sin(pi * u) * std::cos(4 * v), v + 0.12 * std::sin(pi * v) * std::cos(3 * u)};
}

const std::vector<std::function<int(int, int)>>& every_type()
{
    static const std::vector<std::function<int(int, int)>> types = {
        all(203), all(204), all(206), all(208), chessboard(203, 204), chessboard(206, 208)};
    return types;
}

} // namespace

// H uniform: A = mu (Hx y - Hy x), fixed at one node alone. The line integrals of N (degree 2 at most) with a straight
// side's tangent are exact, so the patch is exact.
TEST_F(boundary_field, uniform_field_is_imposed_to_rounding_in_the_plane)
{
    const point h = {300000, -400000};
    const auto exact = [h](double x, double y) { return mu_0 * (h.x * y - h.y * x); };
    for (const auto& type : every_type())
        for (const bool disturbed : {false, true}) {
            const mesh m = grid({.nu = 3, .nv = 4, .type = type, .position = wavy, .kind = sides::straight});
            SCOPED_TRACE(m.felms[0].type);
            model made = model_with_boundary(m, 0);
            write_file("at-belm-struct.tmp", boundary_records(
                                                 m, [h](double, double) { return h; }, disturbed));
            made.conditions = {{1, exact(m.nodes[0].x, m.nodes[0].y)}};
            const solved result = solve(made);
            EXPECT_LT(largest_error(m, result.potential, exact), 2e-13);
            for (const felm_result& felm : result.felms) {
                EXPECT_NEAR(felm.hx * mu_0, h.x * mu_0, 1e-11) << felm.noe;
                EXPECT_NEAR(felm.hy * mu_0, h.y * mu_0, 1e-11) << felm.noe;
            }
        }
}

// H along the axis: Atheta = mu Hz r / 2, 0 on the axis alone. The line integrals of r N have degree 3 at most.
TEST_F(boundary_field, uniform_axial_field_is_imposed_to_rounding_in_the_axisymmetric_mode)
{
    const double hz = 500000;
    const auto exact = [hz](double r, double) { return mu_0 * hz * r / 2; };
    const auto cone = [](double u, double v) { // no side but the axis keeps its radius
        const point p = wavy(u, v);
        return point{p.x * (1.5 + 0.5 * p.y), p.y};
    };
    for (const auto& type : every_type()) {
        const mesh m = grid({.nu = 3, .nv = 4, .type = type, .position = cone, .kind = sides::straight});
        SCOPED_TRACE(m.felms[0].type);
        model made = model_with_boundary(m, 1);
        write_file("at-belm-struct.tmp", boundary_records(
                                             m,
                                             [hz](double, double) {
                                                 return point{0, hz};
                                             },
                                             true));
        fix_nodes(
            made, m, [](point p) { return p.x == 0; }, [](double, double) { return 0.0; });
        const solved result = solve(made);
        EXPECT_LT(largest_error(m, result.potential, exact), 2e-13);
        for (const felm_result& felm : result.felms) {
            EXPECT_NEAR(felm.hx * mu_0, 0, 2e-11) << felm.noe;
            EXPECT_NEAR(felm.hy * mu_0, hz * mu_0, 2e-11) << felm.noe;
        }
    }
}

// Unless the count of points is 2, the first pair stands for both points, whatever the second holds.
TEST_F(boundary_field, first_pair_serves_both_points_when_the_count_is_not_two)
{
    const point h = {300000, -400000};
    const auto exact = [h](double x, double y) { return mu_0 * (h.x * y - h.y * x); };
    const mesh m = grid({.nu = 2, .nv = 2, .type = all(208), .position = wavy, .kind = sides::straight});
    for (const int count : {0, 1, 3}) {
        SCOPED_TRACE(count);
        std::string records = boundary_records(
            m, [h](double, double) { return h; }, false);
        for (std::size_t at = 0; int_at(records, at) != 0; at += 144) {
            records.replace(at + 8, 4, bytes().add_i(count).text());
            for (const std::size_t second_value : {at + 56, at + 88})
                records.replace(second_value, 8, bytes().add_d(9e9).text());
        }
        write_file("at-belm-struct.tmp", records);
        model made = model_with_boundary(m, 0);
        made.conditions = {{1, exact(m.nodes[0].x, m.nodes[0].y)}};
        EXPECT_LT(largest_error(m, solve(made).potential, exact), 2e-13);
    }
}

// A = mu h (x^2 - y^2 + x y) has H = h (x - 2 y, -2 x - y), which varies along the sides: given point by point it is
// imposed to rounding by three-node sides (N times H has degree 3) of parallelograms.
TEST_F(boundary_field, varying_field_is_imposed_point_by_point)
{
    const double h = 250000;
    const auto exact = [h](double x, double y) { return mu_0 * h * (x * x - y * y + x * y); };
    const auto strength = [h](double x, double y) { return point{h * (x - 2 * y), h * (-2 * x - y)}; };
    const auto sheared = [](double u, double v) { return point{u + 0.25 * v, v - 0.125 * u}; };
    for (const auto& type : {all(206), all(208)}) {
        const mesh m = grid({.nu = 3, .nv = 3, .type = type, .position = sheared});
        SCOPED_TRACE(m.felms[0].type);
        model made = model_with_boundary(m, 0);
        write_file("at-belm-struct.tmp", boundary_records(m, strength, false));
        made.conditions = {{1, exact(m.nodes[0].x, m.nodes[0].y)}};
        EXPECT_LT(largest_error(m, solve(made).potential, exact), 2e-13);
    }
}

// Curved three-node sides around a disc: the tangent is linear in xi, its product with N of degree 3, and the sides'
// integrals agree with those of the elements, so a uniform field is imposed to rounding here too.
TEST_F(boundary_field, uniform_field_is_imposed_to_rounding_by_curved_sides)
{
    const point h = {300000, -400000};
    const auto exact = [h](double x, double y) { return mu_0 * (h.x * y - h.y * x); };
    const mesh m = disc({.sectors = 8, .second = true, .radii = {0.4, 1.0}, .property = [](int, int) { return 1; }});
    model made = model_with_boundary(m, 0);
    write_file("at-belm-struct.tmp", boundary_records(
                                         m, [h](double, double) { return h; }, false));
    made.conditions = {{1, exact(m.nodes[0].x, m.nodes[0].y)}};
    const solved result = solve(made);
    EXPECT_LT(largest_error(m, result.potential, exact), 2e-13);
}
