// Uniformly and circularly magnetised bodies against closed forms, by every road a magnetisation can take.
#include "physics/fields.h"

using namespace tarnel_test;

using magnet = stage_test;

namespace
{

constexpr double pi = std::numbers::pi;
constexpr double remanence = 1.25; // [T]
constexpr double inner = 0.5, outer = 1.5;
constexpr int sectors = 24;

// "t-lcs-data.txt" with system 1 cylindrical at the origin and system 2 Cartesian, turned by the angle whose tangent is
// 3/4, its x axis (0.8, 0.6); both z axes are the global one.
constexpr const char* systems = "1 1 0\n0 0 0\n0 0 1\n1 0 0\n"
                                "2 0 0\n0 0 0\n0 0 1\n0.8 0.6 0\n"
                                "0 0 0\n";

// A cylinder of radius `inner` with the uniform remanence b across its axis, all of permeability mu_0 (Jackson,
// Classical Electrodynamics, 5.10, in the plane): inside B = b / 2; outside the field of a line dipole,
// A = (b_x y - b_y x) / 2 times (inner / r)^2.
double cylinder_potential(point b, double x, double y)
{
    const double uniform = (b.x * y - b.y * x) / 2, r = std::hypot(x, y);
    return r < inner ? uniform : uniform * inner * inner / (r * r);
}

// Properties: 1 the air, 2 the magnet, or 2 + k in its sector k.
mesh cylinder(bool second, int refined, bool by_sector)
{
    std::vector<double> radii;
    for (int k = 1; k <= 3 * refined; ++k) radii.push_back(inner * k / (3 * refined));
    for (int k = 1; k <= 5 * refined; ++k) radii.push_back(inner * std::pow(outer / inner, k / (5.0 * refined)));
    const auto property = [=](int ring, int k) { return ring >= 3 * refined ? 1 : by_sector ? 2 + k : 2; };
    return disc({.sectors = refined * sectors, .second = second, .radii = radii, .property = property});
}

solved solve_cylinder(const mesh& m, const std::vector<model_property>& magnets, point b, int iopt_h0vect = 0)
{
    model made = model_of(m);
    made.iopt_h0vect = iopt_h0vect;
    made.lcs = systems;
    made.properties = {{.nop = 1, .mu = mu_0}};
    made.properties.insert(made.properties.end(), magnets.begin(), magnets.end());
    double last = 0;
    for (const point& p : m.parameters) last = std::max(last, p.x);
    const auto exact = [b](double x, double y) { return cylinder_potential(b, x, y); };
    fix_nodes(
        made, m, [last](point p) { return p.x == last; }, exact);
    return solve(made);
}

void expect_same_potentials(const solved& one, const solved& other, double tolerance)
{
    ASSERT_EQ(one.potential.size(), other.potential.size());
    for (std::size_t n = 0; n < one.potential.size(); ++n)
        EXPECT_NEAR(one.potential[n], other.potential[n], tolerance) << n + 1;
}

} // namespace

TEST_F(magnet, magnetised_cylinder_has_half_its_remanence_inside_and_a_dipole_outside)
{
    const point b = {0.8 * remanence, 0.6 * remanence};
    const auto exact = [b](double x, double y) { return cylinder_potential(b, x, y); };
    for (const bool second : {false, true}) {
        SCOPED_TRACE(second ? "206 and 208" : "203 and 204");
        std::vector<double> error;
        for (const int refined : {1, 2}) {
            const mesh m = cylinder(second, refined, false);
            const solved result = solve_cylinder(m, {{.nop = 2, .mu = mu_0, .bx = 4, .by = 3, .b = remanence}}, b);
            error.push_back(largest_error(m, result.potential, exact) / (remanence * inner / 2));
            for (std::size_t e = 0; e < m.felms.size(); ++e) {
                if (m.felms[e].nop != 2) continue;
                const felm_result& felm = result.felms[e];
                const double tolerance = (second ? 2e-3 : 2e-2) * remanence;
                EXPECT_NEAR(felm.bx, b.x / 2, tolerance) << felm.noe;
                EXPECT_NEAR(felm.by, b.y / 2, tolerance) << felm.noe;
                EXPECT_NEAR(mu_0 * felm.hx, -b.x / 2, tolerance) << felm.noe; // the demagnetising field -M / 2
                EXPECT_NEAR(mu_0 * felm.hy, -b.y / 2, tolerance) << felm.noe;
            }
        }
        EXPECT_LT(error[1], second ? 1e-5 : 3e-3);
        EXPECT_GT(error[0] / error[1], second ? 12 : 3.7) << error[0] << " " << error[1];
    }
}

// With H = nu (B - b) - h a remanence b and the field strength h = nu b are the same source. The results' H leaves
// out h, so it is nu B there.
TEST_F(magnet, every_road_of_a_uniform_magnetisation_gives_the_same_potentials)
{
    const point b = {0.8 * remanence, 0.6 * remanence};
    const mesh m = cylinder(true, 1, false);
    const double strength = remanence / mu_0;
    const solved by_b = solve_cylinder(m, {{.nop = 2, .mu = mu_0, .bx = 4, .by = 3, .b = remanence}}, b);
    const double close = 1e-9 * remanence * inner; // as the properties' 12 digits or more allow

    const solved by_h = solve_cylinder(m, {{.nop = 2, .mu = mu_0, .hx = 4, .hy = 3, .h = strength}}, b);
    expect_same_potentials(by_b, by_h, close);
    for (const felm_result& felm : by_h.felms) EXPECT_NEAR(felm.hx, felm.bx / mu_0, 1e-9 * strength) << felm.noe;

    const solved by_turned_b = solve_cylinder(m, {{.nop = 2, .mu = mu_0, .lnob = 2, .bx = 1, .b = remanence}}, b);
    expect_same_potentials(by_b, by_turned_b, close);
    const solved by_turned_h = solve_cylinder(m, {{.nop = 2, .mu = mu_0, .lnoh = 2, .hx = 1, .h = strength}}, b);
    expect_same_potentials(by_b, by_turned_h, close);
    const solved by_both =
        solve_cylinder(m, {{.nop = 2, .mu = mu_0, .bx = 8, .b = 0.8 * remanence, .hy = 0.5, .h = 0.6 * strength}}, b);
    expect_same_potentials(by_b, by_both, close);

    bytes records; // the same field strength at each integration point, from slot 1 on; switched off in the air
    for (const model_felm& felm : m.felms) {
        const int points = corners_of(felm.type);
        records.add_i(felm.noe).add_i(felm.nop == 2 ? 1 : 0);
        for (const double component : {0.8 * strength, 0.6 * strength})
            for (int slot = 0; slot < 9; ++slot) records.add_d(slot >= 1 && slot <= points ? component : 9e9);
        records.add_zeros(72);
    }
    write_file("at-h0vect-struct.tmp", records.text());
    const solved by_points = solve_cylinder(m, {{.nop = 2, .mu = mu_0}}, b, 1);
    expect_same_potentials(by_b, by_points, close);
}

// In the cylindrical system a uniform vector of angle alpha has the components (cos(alpha - phi), sin(alpha - phi)) at
// the angle phi of an element's centre. A property for each sector gives them; the halves of a sector are mirror
// images, so all its centres lie at its middle.
TEST_F(magnet, uniform_magnetisation_given_in_a_cylindrical_system_gives_the_same_potentials)
{
    const point b = {0.8 * remanence, 0.6 * remanence};
    const mesh whole = cylinder(true, 1, false), by_sector = cylinder(true, 1, true);
    const solved uniform = solve_cylinder(whole, {{.nop = 2, .mu = mu_0, .bx = 4, .by = 3, .b = remanence}}, b);
    std::vector<model_property> as_b, as_h;
    for (int k = 0; k < sectors; ++k) {
        const double away = std::atan2(3, 4) - 2 * pi * (k + 0.5) / sectors;
        const double radial = std::cos(away), tangential = std::sin(away);
        as_b.push_back({.nop = 2 + k, .mu = mu_0, .lnob = 1, .bx = radial, .by = tangential, .b = remanence});
        as_h.push_back({.nop = 2 + k, .mu = mu_0, .lnoh = 1, .hx = radial, .hy = tangential, .h = remanence / mu_0});
    }
    expect_same_potentials(uniform, solve_cylinder(by_sector, as_b, b), 1e-9 * remanence * inner);
    expect_same_potentials(uniform, solve_cylinder(by_sector, as_h, b), 1e-9 * remanence * inner);
}

// A radial magnetisation has no curl and no jump along the circles, so it binds no current: B = 0 and H = -M. On a mesh
// of equal sectors each node lies on a mirror line of mesh and magnetisation, and its discrete source vanishes too.
TEST_F(magnet, radially_magnetised_cylinder_has_no_flux_density)
{
    for (const bool second : {false, true}) {
        SCOPED_TRACE(second ? "206 and 208" : "203 and 204");
        const mesh m = cylinder(second, 1, false);
        const solved result = solve_cylinder(m, {{.nop = 2, .mu = mu_0, .lnob = 1, .bx = 1, .b = remanence}}, {0, 0});
        EXPECT_LT(largest_error(m, result.potential, [](double, double) { return 0.0; }), 1e-12);
        for (std::size_t e = 0; e < m.felms.size(); ++e) {
            const double turn =
                2 * pi * (static_cast<double>(e % sectors) + 0.5) / sectors; // elements run ring by ring
            const double m_r = m.felms[e].nop == 2 ? remanence : 0;
            EXPECT_NEAR(mu_0 * result.felms[e].hx, -m_r * std::cos(turn), 1e-10) << e + 1;
            EXPECT_NEAR(mu_0 * result.felms[e].hy, -m_r * std::sin(turn), 1e-10) << e + 1;
        }
    }
}

// A ring of constant tangential magnetisation binds currents but, by Ampere's law around the axis, has H = 0: B = b in
// the ring, 0 elsewhere. On straight-sided equal sectors the discrete field is exact as well: in the frame of a
// sector's middle A = -b x has the flux density b along y, the tangent at the element's centre, and takes the same
// value -b r cos(pi / sectors) on both rays, so the sectors' potentials join. From the outer circle R inwards A = b
// cos(pi / sectors) (R - r).
TEST_F(magnet, tangentially_magnetised_ring_carries_its_remanence_without_a_field)
{
    const double middle_radius = 1.0, chord = std::cos(pi / sectors);
    for (const bool second : {false, true}) {
        SCOPED_TRACE(second ? "208" : "204");
        const mesh m = disc({.sectors = sectors,
                             .second = second,
                             .radii = {0.5, 0.625, 0.75, 1.0, 1.5},
                             .hollow = true,
                             .property = [](int ring, int) { return ring < 4 ? 2 : 1; },
                             .kind = sides::straight});
        model made = model_of(m);
        made.lcs = systems;
        made.properties = {{.nop = 1, .mu = mu_0}, {.nop = 2, .mu = mu_0, .lnob = 1, .by = 1, .b = remanence}};
        fix_nodes(
            made, m, [](point p) { return p.x == 5; }, [](double, double) { return 0.0; });
        const solved result = solve(made);
        for (std::size_t n = 0; n < m.nodes.size(); ++n) {
            const double ring = m.parameters[n].x, floor_ring = std::floor(ring);
            const double radii[] = {0, 0.5, 0.625, 0.75, 1.0, 1.5, 1.5};
            const auto place = static_cast<std::size_t>(floor_ring);
            const double r = radii[place] + (ring - floor_ring) * (radii[place + 1] - radii[place]);
            const double expected = r < middle_radius ? remanence * chord * (middle_radius - r) : 0;
            EXPECT_NEAR(result.potential[n], expected, 1e-11) << n + 1;
        }
        for (std::size_t e = 0; e < m.felms.size(); ++e) {
            const double turn = 2 * pi * (static_cast<double>(e % sectors) + 0.5) / sectors;
            const double b = m.felms[e].nop == 2 ? remanence : 0;
            EXPECT_NEAR(result.felms[e].bx, -b * std::sin(turn), 1e-10) << e + 1;
            EXPECT_NEAR(result.felms[e].by, b * std::cos(turn), 1e-10) << e + 1;
            EXPECT_NEAR(mu_0 * result.felms[e].hx, 0, 1e-10) << e + 1;
            EXPECT_NEAR(mu_0 * result.felms[e].hy, 0, 1e-10) << e + 1;
        }
    }
}

// A cylinder of radius a from z = -c to c magnetised along its axis is a current sheet of b / mu_0 [A/m]: on the axis
// Bz = b / 2 (s+ / sqrt(a^2 + s+^2) - s- / sqrt(a^2 + s-^2)), s+ = z + c, s- = z - c. The outer sides carry the
// potential of the sheet's filaments, z = 0 is a plane of symmetry.
TEST_F(magnet, axially_magnetised_cylinder_is_a_finite_solenoid)
{
    const double a = 0.5, c = 0.5, size = 1.5;
    const auto sheet = [=](double r, double z) {
        return integral(24, -c, c, [=](double at) { return loop_potential(a, remanence / mu_0, r, z - at); });
    };
    const auto on_axis = [=](double z) {
        return remanence / 2 * ((z + c) / std::hypot(a, z + c) - (z - c) / std::hypot(a, z - c));
    };
    const int cells = 24;
    const double h = size / cells;
    const mesh m = grid({.nu = cells,
                         .nv = cells,
                         .type = all(208),
                         .position =
                             [size](double u, double v) {
                                 return point{size * u, size * v};
                             },
                         .property = [=](int i, int j) { return i * h < a - h / 2 && j * h < c - h / 2 ? 2 : 1; }});
    const model_property by_b = {.nop = 2, .mu = mu_0, .by = 1, .b = remanence};
    const model_property by_h = {.nop = 2, .mu = mu_0, .hy = 1, .h = remanence / mu_0};
    std::vector<solved> results;
    for (const model_property& property : {by_b, by_h}) {
        model made = model_of(m);
        made.iax = 1;
        made.properties = {{.nop = 1, .mu = mu_0}, property};
        fix_nodes(
            made, m, [](point p) { return p.x == 0 || p.x == 1 || p.y == 1; }, sheet);
        results.push_back(solve(made));
    }
    expect_same_potentials(results[0], results[1], 1e-9 * remanence);
    for (std::size_t n = 0; n < m.nodes.size(); ++n) { // Atheta is odd in r: Bz = 2 (8 A(h / 2) - A(h)) / (3 h)
        if (m.parameters[n].x != 0.5 / cells || std::fmod(m.parameters[n].y * cells, 4) != 0) continue;
        const double z = m.nodes[n].y;
        double far = NAN;
        for (std::size_t other = 0; other < m.nodes.size(); ++other)
            if (m.parameters[other].x == 1.0 / cells && m.nodes[other].y == z) far = results[0].potential[other];
        const double bz = 2 * (8 * results[0].potential[n] - far) / (3 * h);
        EXPECT_NEAR(bz / remanence, on_axis(z) / remanence, 1e-3) << z;
    }
}
