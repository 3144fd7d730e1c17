// Potentials that lie in every element's space, which a consistent element reproduces to rounding.
#include "physics/fields.h"

using namespace tarnel_test;

using patch = stage_test;

namespace
{

struct named_types {
    const char* name;
    std::function<int(int, int)> type;
};

const std::vector<named_types>& every_type()
{
    static const std::vector<named_types> types = {
        {"203", all(203)}, {"204", all(204)}, {"203 and 204", chessboard(203, 204)},
        {"206", all(206)}, {"208", all(208)}, {"206 and 208", chessboard(206, 208)}};
    return types;
}

// No cell is a parallelogram; the lines u = 0, 1/2, 1 and v = 0, 1 stay where they are.
point distorted(double u, double v)
{
    const double pi = std::numbers::pi;
    return {u + 0.06 * std::sin(2 * pi * u) * std::cos(4 * v + 1), v + 0.12 * std::sin(pi * v) * std::sin(5 * u + 2)};
}

// A skew, distorted patch, its interface u = 1/2 a straight line along (0.3, 1).
point skew(double u, double v)
{
    const point p = distorted(u, v);
    return {p.x + 0.3 * p.y, p.y + 0.1 * p.x};
}

struct tensor {
    double t11, t12, t21, t22;
};

tensor inverse(tensor t)
{
    const double det = t.t11 * t.t22 - t.t12 * t.t21;
    return {t.t22 / det, -t.t12 / det, -t.t21 / det, t.t11 / det};
}

point times(tensor t, point v)
{
    return {t.t11 * v.x + t.t12 * v.y, t.t21 * v.x + t.t22 * v.y};
}

} // namespace

// A linear A has a constant flux density, so H is constant, its curl is zero, and an element that integrates its own
// shape functions' derivatives exactly has no residual at an inner node, however its sides are curved.
TEST_F(patch, linear_potential_is_reproduced_to_rounding_on_distorted_meshes_of_every_type)
{
    const auto linear = [](double x, double y) { return 0.5 + 0.25 * x - 0.75 * y; };
    for (const named_types& types : every_type())
        for (const sides kind : {sides::curved, sides::straight}) {
            SCOPED_TRACE(std::string(types.name) + (kind == sides::curved ? " curved" : " straight"));
            const mesh m = grid({.nu = 4, .nv = 4, .type = types.type, .position = skew, .kind = kind});
            model made = model_of(m);
            made.properties = {{.nop = 1, .mu = mu_0}};
            fix_nodes(made, m, on_rim, linear);
            const solved result = solve(made);
            EXPECT_LT(largest_error(m, result.potential, linear), 2e-13);
            for (const felm_result& felm : result.felms) { // B = (dA/dy, -dA/dx)
                EXPECT_NEAR(felm.bx, -0.75, 2e-12) << felm.noe;
                EXPECT_NEAR(felm.by, -0.25, 2e-12) << felm.noe;
                EXPECT_NEAR(felm.hx * mu_0, -0.75, 2e-12) << felm.noe;
                EXPECT_NEAR(felm.hy * mu_0, -0.25, 2e-12) << felm.noe;
            }
        }
}

// Two materials, each with a full symmetric permeability tensor and both magnetisation vectors, meet along the line
// through (0.5, 0.05) with the direction d = (0.3, 1). With A = g_i . (x - x0) in material i the flux density is
// B_i = (g_y, -g_x) and the field strength H_i = nu_i (B_i - b_i) - h_i. A is continuous for g2 = g1 + c n, n = (1,
// -0.3) normal to d, which changes B by -c d; H . d is continuous for
//   c = (d . nu_2 (B_1 - b_2) - h_2 . d - H_1 . d) / (d . nu_2 d).
// This field is linear in each element, so it too is reproduced to rounding. The results' H leaves out h_i.
TEST_F(patch, refraction_between_anisotropic_magnets_is_reproduced_to_rounding)
{
    const tensor mu[2] = {{2 * mu_0, 0.5 * mu_0, 0.5 * mu_0, mu_0}, {3 * mu_0, -mu_0, -mu_0, 5 * mu_0}};
    const point b[2] = {{0.5, -0.25}, {-0.125, 0.75}}, h[2] = {{30000, 40000}, {-80000, 60000}};
    const point x0 = {0.5, 0.05}, d = {0.3, 1}, normal = {1, -0.3};
    const auto dot = [](point p, point q) { return p.x * q.x + p.y * q.y; };
    const auto strength = [&](int i, point flux, bool whole) {
        const point nu_part = times(inverse(mu[i]), {flux.x - b[i].x, flux.y - b[i].y});
        return whole ? point{nu_part.x - h[i].x, nu_part.y - h[i].y} : nu_part;
    };
    point g[2] = {{0.25, -0.75}, {}};
    const point b1 = {g[0].y, -g[0].x};
    const double c = (dot(d, strength(1, b1, true)) - dot(d, strength(0, b1, true))) / dot(d, times(inverse(mu[1]), d));
    g[1] = {g[0].x + c * normal.x, g[0].y + c * normal.y};
    ASSERT_GT(std::fabs(c), 0.1); // the field is refracted
    const auto exact = [&](double x, double y) {
        const point away = {x - x0.x, y - x0.y};
        return dot(g[dot(away, normal) < 0 ? 0 : 1], away);
    };
    for (const named_types& types : every_type()) {
        SCOPED_TRACE(types.name);
        const mesh m = grid({.nu = 4, .nv = 4, .type = types.type, .position = skew, .property = [](int i, int) {
                                 return i < 2 ? 1 : 2;
                             }});
        model made = model_of(m);
        made.iopt_proptv = 1;
        for (int i = 0; i < 2; ++i) // the first vector of the property gives way to the element's own
            made.properties.push_back({.nop = i + 1,
                                       .mu = mu_0,
                                       .bx = 1,
                                       .by = 2,
                                       .b = 9,
                                       .hx = h[i].x,
                                       .hy = h[i].y,
                                       .h = std::hypot(h[i].x, h[i].y),
                                       .iptv = 1});
        bytes records;
        for (const model_felm& felm : m.felms) {
            const int i = felm.nop - 1;
            records.add_i(felm.noe).add_i(1).add_d(mu[i].t11).add_d(mu[i].t12).add_zeros(8);
            records.add_d(mu[i].t21).add_d(mu[i].t22).add_zeros(32).add_d(b[i].x).add_d(b[i].y).add_zeros(8);
        }
        write_file("at-proptv-struct.tmp", records.text());
        fix_nodes(made, m, on_rim, exact);
        const solved result = solve(made);
        EXPECT_LT(largest_error(m, result.potential, exact), 2e-13);
        for (std::size_t e = 0; e < m.felms.size(); ++e) {
            const int i = m.felms[e].nop - 1;
            const point flux = {g[i].y, -g[i].x}, field = strength(i, flux, false);
            EXPECT_NEAR(result.felms[e].bx, flux.x, 1e-11) << e + 1;
            EXPECT_NEAR(result.felms[e].by, flux.y, 1e-11) << e + 1;
            EXPECT_NEAR(result.felms[e].hx * mu_0, field.x * mu_0, 1e-11) << e + 1;
            EXPECT_NEAR(result.felms[e].hy * mu_0, field.y * mu_0, 1e-11) << e + 1;
        }
    }
}

// A uniform axial field Bz = B0 has Atheta = B0 r / 2, linear in r. Its residual at a node is nu B0 times the integral
// of r dN/dr + N over the cross-section, where r is interpolated like N. With straight sides the integrand times the
// Jacobian has degree 2 at most on a triangle and 3 in each variable on a quadrilateral, so the rules are exact and the
// field comes out to rounding, on the axis too; curved sides of second order have degree 4 and more, and do not.
TEST_F(patch, uniform_axial_field_is_reproduced_to_rounding_in_the_axisymmetric_mode)
{
    const double b0 = 1.5;
    const auto exact = [b0](double r, double) { return b0 * r / 2; };
    for (const double inner : {0.0, 0.75})
        for (const named_types& types : every_type()) {
            SCOPED_TRACE(std::string(types.name) + (inner == 0 ? " from the axis" : " off the axis"));
            const auto position = [inner](double u, double v) {
                const point p = distorted(u, v);
                return point{inner + p.x, p.y};
            };
            const mesh m = grid({.nu = 4, .nv = 4, .type = types.type, .position = position, .kind = sides::straight});
            model made = model_of(m);
            made.iax = 1;
            made.properties = {{.nop = 1, .mu = mu_0}};
            fix_nodes(made, m, on_rim, exact);
            const solved result = solve(made);
            EXPECT_LT(largest_error(m, result.potential, exact), 2e-13);
            for (const felm_result& felm : result.felms) {
                EXPECT_NEAR(felm.bx, 0, 5e-12) << felm.noe;
                EXPECT_NEAR(felm.by, b0, 5e-12) << felm.noe;
                EXPECT_NEAR(felm.hy * mu_0, b0, 5e-12) << felm.noe;
            }
        }
}

// A = x^2 - y^2 + x y is harmonic and quadratic: in the space of both second-order types on parallelograms, where their
// rules integrate the products of its gradient with those of the shape functions exactly.
TEST_F(patch, quadratic_harmonic_potential_is_reproduced_to_rounding_by_second_order_types)
{
    const auto exact = [](double x, double y) { return x * x - y * y + x * y; };
    for (const auto& type : {all(206), all(208), chessboard(206, 208)}) {
        const auto sheared = [](double u, double v) { return point{u + 0.25 * v, v - 0.125 * u}; };
        const mesh m = grid({.nu = 3, .nv = 5, .type = type, .position = sheared});
        model made = model_of(m);
        made.properties = {{.nop = 1, .mu = mu_0}};
        fix_nodes(made, m, on_rim, exact);
        const solved result = solve(made);
        EXPECT_LT(largest_error(m, result.potential, exact), 5e-13);
    }
}
