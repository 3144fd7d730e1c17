// Coils and round conductors against closed forms, and their energies.
#include "physics/fields.h"

using namespace tarnel_test;

using coil = stage_test;

namespace
{

// A coil of rectangular cross-section, r from 0.5 to 0.75, z from -0.5 to 0.5, in free space.
constexpr double r1 = 0.5, r2 = 0.75, half_length = 0.5, density = 1e6; // [m], [A/m2]

// Its potential as that of filaments at Gauss points over the winding, for points well away from it.
double coil_potential(double r, double z)
{
    static const std::vector<weighted_place> rule = gauss(12);
    double sum = 0;
    for (const weighted_place& p : rule)
        for (const weighted_place& q : rule) {
            const double a = (r1 + r2) / 2 + (r2 - r1) / 2 * p.at, at = half_length * q.at;
            sum += p.weight * q.weight * loop_potential(a, density, r, z - at);
        }
    return sum * (r2 - r1) / 2 * half_length;
}

// Bz on the axis, from the loops' mu_0 I a^2 / (2 (a^2 + z^2)^(3/2)) integrated over the winding:
// mu_0 J / 2 [s ln((r2 + sqrt(r2^2 + s^2)) / (r1 + sqrt(r1^2 + s^2)))] from s = z - half_length to z + half_length.
double coil_on_axis(double z)
{
    const auto primitive = [](double s) { return s * std::log((r2 + std::hypot(r2, s)) / (r1 + std::hypot(r1, s))); };
    return mu_0 * density / 2 * (primitive(z + half_length) - primitive(z - half_length));
}

double potential_at(const mesh& m, const std::vector<double>& potential, double x, double y)
{
    for (std::size_t n = 0; n < m.nodes.size(); ++n)
        if (std::hypot(m.nodes[n].x - x, m.nodes[n].y - y) < 1e-9) return potential[n];
    ADD_FAILURE() << "no node at " << x << " " << y;
    return NAN;
}

// On the axis Atheta is odd in r, c r + d r^3 + ..., and Bz = 2 c: from the nodes at h / 2 and h,
// c = (8 A(h / 2) - A(h)) / (3 h) with an error of order h^4.
double axial_flux_density(const mesh& m, const std::vector<double>& potential, double h, double z)
{
    const double near = potential_at(m, potential, h / 2, z), far = potential_at(m, potential, h, z);
    return 2 * (8 * near - far) / (3 * h);
}

// The upper half of the coil in the box r and z from 0 to 1.5; z = 0 is a plane of symmetry with Hr = 0, the natural
// condition, and the outer sides carry the potential of free space.
struct solved_coil {
    mesh m;
    solved result;
    double h; // side of a cell [m]
};

solved_coil solve_coil(int type, int cells)
{
    const double size = 1.5, h = size / cells;
    const auto winding = [h](int i, int j) {
        const double r = (i + 0.5) * h, z = (j + 0.5) * h;
        return r > r1 && r < r2 && z < half_length ? 2 : 1;
    };
    const auto box = [](double u, double v) { return point{1.5 * u, 1.5 * v}; };
    solved_coil made_coil{
        grid({.nu = cells, .nv = cells, .type = all(type), .position = box, .property = winding}), {}, h};
    model made = model_of(made_coil.m);
    made.iax = 1;
    made.properties = {{.nop = 1, .mu = mu_0}, {.nop = 2, .mu = mu_0, .js = density}};
    fix_nodes(
        made, made_coil.m, [](point p) { return p.x == 0 || p.x == 1 || p.y == 1; }, coil_potential);
    made_coil.result = solve(made);
    return made_coil;
}

} // namespace

// The error on the axis is of second order in the cell, so that (4 fine - coarse) / 3 comes closer still.
TEST_F(coil, finite_solenoid_has_the_flux_density_of_the_closed_form_on_its_axis)
{
    for (const int type : {206, 208}) {
        SCOPED_TRACE(type);
        const solved_coil coarse = solve_coil(type, 12), fine = solve_coil(type, 24);
        for (const double z : {0.0, 0.25, 0.5, 0.75, 1.0}) {
            const double exact = coil_on_axis(z);
            const double coarse_bz = axial_flux_density(coarse.m, coarse.result.potential, coarse.h, z);
            const double fine_bz = axial_flux_density(fine.m, fine.result.potential, fine.h, z);
            EXPECT_NEAR(fine_bz / exact, 1, 6e-4) << z;
            EXPECT_NEAR((4 * fine_bz - coarse_bz) / 3 / exact, 1, 1e-4) << z;
        }
    }
}

TEST_F(coil, finite_solenoid_has_the_potential_of_its_filaments_in_the_air_around)
{
    const double largest = coil_potential(1, 0);
    for (const int type : {206, 208}) {
        SCOPED_TRACE(type);
        const solved_coil fine = solve_coil(type, 24);
        for (std::size_t n = 0; n < fine.m.nodes.size(); ++n) {
            const double r = fine.m.nodes[n].x, z = fine.m.nodes[n].y;
            if (r > r1 - 0.1 && r < r2 + 0.1 && z < half_length + 0.1) continue; // in or near the winding
            EXPECT_NEAR(fine.result.potential[n] / largest, coil_potential(r, z) / largest, 1e-4) << r << " " << z;
        }
    }
}

// The energy is W = 1/2 the integral of B . H and, as the potential is 0 around the box, 1/2 the integral of J A. Of
// the discrete solution a^T K a = a^T f, so with the solver's own integration points both are equal as far as the
// linear system is solved. Iron (mu_r 100) and air, a coil with two currents.
TEST_F(coil, energy_of_the_field_equals_that_of_the_currents_in_both_modes)
{
    const double mu[] = {0, mu_0, 100 * mu_0, mu_0, mu_0}, js[] = {0, 0, 0, 2e6, -5e5};
    const auto property = [](int i, int j) { return i < 2 ? 2 : j == 2 && i < 5 ? 3 : j == 3 && i < 5 ? 4 : 1; };
    const auto box = [](double u, double v) {
        return point{0.1 * u, 0.08 * v + 0.005 * std::sin(std::numbers::pi * u) * std::sin(std::numbers::pi * v)};
    };
    for (const int iax : {0, 1})
        for (const int type : {203, 204, 206, 208}) {
            SCOPED_TRACE(std::to_string(type) + (iax == 0 ? " planar" : " axisymmetric"));
            const mesh m = grid({.nu = 6, .nv = 6, .type = all(type), .position = box, .property = property});
            model made = model_of(m);
            made.iax = iax;
            for (const int nop : {1, 2, 3, 4}) made.properties.push_back({.nop = nop, .mu = mu[nop], .js = js[nop]});
            fix_nodes(made, m, on_rim, [](double, double) { return 0.0; });
            const solved result = solve(made);
            const double field = integral_over(
                m, result.potential, solver_rule, [&mu, iax](const field_point& p, const model_felm& felm) {
                    const double bz = p.gx + (iax == 1 ? p.a / p.x : 0);
                    return (p.gy * p.gy + bz * bz) / mu[felm.nop] / 2 * (iax == 1 ? p.x : 1);
                });
            const double currents = integral_over(m, result.potential, solver_rule,
                                                  [&js, iax](const field_point& p, const model_felm& felm) {
                                                      return js[felm.nop] * p.a / 2 * (iax == 1 ? p.x : 1);
                                                  });
            EXPECT_GT(currents, 0);
            EXPECT_NEAR(field / currents, 1, 1e-11);
        }
}

// A round conductor of radius a with the uniform current i inside a return sheet of radius b: outside the conductor
// A = mu_0 i / (2 pi) ln(b / r), inside A = mu_0 i / (2 pi) (ln(b / a) + (1 - r^2 / a^2) / 2), and the energy of a
// metre is mu_0 i^2 / (4 pi) (1/4 + ln(b / a)).
TEST_F(coil, round_conductor_in_a_return_sheet_has_the_potential_and_energy_of_the_closed_form)
{
    const double pi = std::numbers::pi, a = 0.5, b = 1.5, i = 1e5;
    const auto exact = [=](double x, double y) {
        const double r = std::hypot(x, y);
        return mu_0 * i / (2 * pi) * (r < a ? std::log(b / a) + (1 - r * r / (a * a)) / 2 : std::log(b / r));
    };
    const mesh m = disc({.sectors = 24,
                         .second = true,
                         .radii = {0.15, 0.32, 0.5, 0.65, 0.85, 1.1, 1.3, 1.5},
                         .property = [](int ring, int) { return ring < 3 ? 1 : 2; }});
    model made = model_of(m);
    made.properties = {{.nop = 1, .mu = mu_0, .js = i / (pi * a * a)}, {.nop = 2, .mu = mu_0}};
    fix_nodes(
        made, m, [](point p) { return p.x == 8; }, [](double, double) { return 0.0; });
    const solved result = solve(made);
    EXPECT_LT(largest_error(m, result.potential, exact) / exact(0, 0), 1.5e-4);
    const double energy =
        integral_over(m, result.potential, solver_rule, [=](const field_point& p, const model_felm& felm) {
            return felm.nop == 1 ? i / (pi * a * a) * p.a / 2 : 0;
        });
    EXPECT_NEAR(energy / (mu_0 * i * i / (4 * pi) * (0.25 + std::log(b / a))), 1, 1e-4);
}

// A slice of an infinite solenoid, its winding from r1 to r2: above and below Hr = 0, and Hz = 0 outside, are natural
// conditions. Bz = mu_0 J (r2 - r1) inside and mu_0 J (r2 - r) in the winding, so
//   r A = mu_0 J (r2 - r1) r^2 / 2 inside, and mu_0 J (r2 r^2 / 2 - r^3 / 3 - r1^3 / 6) in the winding,
// and the energy, per radian and metre, is the integral of Bz^2 / (2 mu_0) r dr
//   = mu_0 J^2 / 2 ((r2 - r1)^2 r1^2 / 2 + integral from r1 to r2 of (r2 - r)^2 r dr).
TEST_F(coil, slice_of_an_infinite_solenoid_has_the_potential_and_energy_of_the_closed_form)
{
    const auto exact = [](double r, double) {
        const double ra = r < r1 ? (r2 - r1) * r * r / 2 : r2 * r * r / 2 - r * r * r / 3 - r1 * r1 * r1 / 6;
        return r == 0 ? 0 : mu_0 * density * ra / r;
    };
    const double thickness = r2 - r1; // (r2 - r)^2 r = t^2 (r2 - t) with t = r2 - r
    const double energy =
        mu_0 * density * density / 2 *
        (thickness * thickness * r1 * r1 / 2 + r2 * std::pow(thickness, 3) / 3 - std::pow(thickness, 4) / 4);
    for (const int type : {206, 208}) {
        SCOPED_TRACE(type);
        const mesh m = grid({.nu = 24,
                             .nv = 2,
                             .type = all(type),
                             .position =
                                 [](double u, double v) {
                                     return point{0.75 * u, 0.125 * v};
                                 },
                             .property = [](int i, int) { return i < 16 ? 1 : 2; }});
        model made = model_of(m);
        made.iax = 1;
        made.properties = {{.nop = 1, .mu = mu_0}, {.nop = 2, .mu = mu_0, .js = density}};
        fix_nodes(
            made, m, [](point p) { return p.x == 0; }, exact);
        const solved result = solve(made);
        EXPECT_LT(largest_error(m, result.potential, exact) / exact(r2, 0), 1e-5);
        const double found =
            integral_over(m, result.potential, solver_rule, [](const field_point& p, const model_felm&) {
                const double bz = p.gx + p.a / p.x;
                return (p.gy * p.gy + bz * bz) / (2 * mu_0) * p.x;
            });
        EXPECT_NEAR(found / (0.125 * energy), 1, 1e-4);
    }
}
