// Coils and rings around the axis.
//
// The library's integrals leave the factor 2 pi out, and its coil factor is the seventh constant over dt, negated: with
// -2 pi for the seventh constant the row of a coil is R i + d(flux)/dt = v, its flux the integral of 2 pi r nz Atheta.
// The diagonal of a grad-fai row comes multiplied by 1/dt: with G the integral of sigma / r dr dz by the assembly's
// points, the host puts G (1/dt - 1) into the matrix (-G without a time step), which leaves -G. Then the row says
// integral of J dr dz + (F c) = u with J = sigma (-dA/dt - c / r), and the drop along a full turn is -2 pi c.
#include "circuit_physics/circuits.h"

using namespace tarnel_test;

using axisymmetric_circuit = stage_test;

namespace
{

constexpr double pi = std::numbers::pi;
constexpr double nz = 1e6, resistance = 0.5, voltage = 3; // [1/m2], [Ohm], [V]
constexpr int air = 1, winding = 2, ring = 3;

// A short coil between r = 0.02 and 0.03, a ring above it; A = 0 on the axis and at the outer sides.
model coil_and_ring(int type = 203, double sigma = 0)
{
    cells c;
    append_lines(c.x, 0, 0.08, 16);
    append_lines(c.y, -0.06, 0.06, 24);
    c.type = type;
    c.property = [](double r, double z) {
        if (r > 0.02 && r < 0.03 && std::fabs(z) < 0.02) return winding;
        return r > 0.015 && r < 0.03 && z > 0.025 && z < 0.035 ? ring : air;
    };
    c.is_fixed = [](double r, double z) { return r == 0 || r > 0.0799 || std::fabs(z) > 0.0599; };
    model m = model_of(
        c, {{.nop = air, .mu = mu_0}, {.nop = winding, .mu = mu_0}, {.nop = ring, .mu = mu_0, .sigma = sigma}});
    m.iax = 1;
    return m;
}

// L = 2 W(1 A), the energy half of the integral of 2 pi r J A over the winding.
double inductance(const model& m)
{
    model given = m;
    given.properties[winding - 1].js = nz;
    const circuit_result field = solve_static(given);
    return over_triangles(m, winding, field.potential, [](double r, double, double a) { return 2 * pi * r * nz * a; });
}

circuit one_coil()
{
    circuit c;
    c.regions = {driven(winding, 1, nz)};
    c.nvoltve = 1;
    c.seventh = {-2 * pi};
    c.f = {{resistance}};
    c.u = {voltage};
    return c;
}

double conductance(const model& m, int nop, double sigma) // of the ring, times 2 pi: G
{
    return over_triangles(m, nop, {}, [sigma](double r, double, double) { return sigma / r; });
}

} // namespace

TEST_F(axisymmetric_circuit, coil_current_rises_by_the_backward_euler_solution_of_resistance_and_inductance)
{
    model m = coil_and_ring();
    const double l = inductance(m), dt = 0.2 * l / resistance;
    EXPECT_GT(l, 0);
    set_time_step(m, dt);
    stepper run(m, one_coil());
    double current = 0;
    for (int n = 0; n < 10; ++n) {
        current = (voltage + l / dt * current) / (resistance + l / dt);
        expect_close(run.step().of(0), current, 1e-9);
    }
}

// The field energy is the same as half of B.H over the volume, up to the evaluation at element centres.
TEST_F(axisymmetric_circuit, inductance_is_that_of_the_field_energy)
{
    const model m = coil_and_ring();
    model given = m;
    given.properties[winding - 1].js = nz;
    double energy = 0;
    for (const field_value& e : solve_static(given).felms) {
        double r = 0;
        for (const int node : m.felms[static_cast<std::size_t>(e.noe) - 1].nodes) r += place_of_node(m, node)[0] / 3;
        energy += 2 * pi * r * e.area * (e.bx * e.hx + e.by * e.hy) / 2;
    }
    expect_close(inductance(m), 2 * energy, 0.03);
}

// A long solenoid of density J, from r1 to r2, within a tube of radius b that no flux leaves: H = h inside, h - J u at
// the depth u in the winding, h - J t beyond it (t: its thickness), with no net flux,
//   h b^2 / 2 = integral of J u r over the winding + J t (b^2 - r2^2) / 2,
// and L = mu_0 integral of 2 pi r H^2 / i^2. Simpson's rule is exact for the cubics in the winding.
TEST_F(axisymmetric_circuit, long_solenoid_has_the_inductance_of_the_closed_form)
{
    constexpr double r1 = 0.025, t = 0.01, r2 = r1 + t, b = 0.06, height = 0.005;
    cells c;
    append_lines(c.x, 0, r1, 20);
    append_lines(c.x, r1, r2, 10);
    append_lines(c.x, r2, b, 20);
    append_lines(c.y, 0, height, 2);
    c.property = [](double r, double) { return r > r1 && r < r2 ? winding : air; };
    c.is_fixed = [](double r, double) { return r == 0 || r > 0.9999 * b; };
    model m = model_of(c, {{.nop = air, .mu = mu_0}, {.nop = winding, .mu = mu_0}});
    m.iax = 1;
    const auto over_winding = [](const std::function<double(double u)>& f) {
        return t / 6 * (f(0) + 4 * f(t / 2) + f(t));
    };
    const double h =
        2 / (b * b) * nz * (over_winding([](double u) { return u * (r1 + u); }) + t * (b * b - r2 * r2) / 2);
    const double squares = h * h * r1 * r1 / 2 +
                           over_winding([h](double u) { return std::pow(h - nz * u, 2) * (r1 + u); }) +
                           std::pow(h - nz * t, 2) * (b * b - r2 * r2) / 2;
    const double l = mu_0 * 2 * pi * height * squares;
    const double dt = 0.5 * l / resistance;
    set_time_step(m, dt);
    stepper run(m, one_coil());
    double current = 0;
    for (int n = 0; n < 3; ++n) {
        current = (voltage + l / dt * current) / (resistance + l / dt);
        const circuit_result result = run.step();
        expect_close(result.of(0), current, 0.002);
        expect_close(result.felms[0].by, mu_0 * h * result.of(0), 0.005);
    }
}

// The same coil by magnetisation along z: T = nz (r2 - r) in the winding and nz (r2 - r1) within it, by columns of
// cells. On rectangles along r and z the shape functions' curl has the term N / r besides, so that the columns' means
// serve only up to the square of their width over the radius.
TEST_F(axisymmetric_circuit, kind_2_gives_nearly_current_and_field_of_kind_1)
{
    model m = coil_and_ring(204);
    for (model_felm& e : m.felms) {
        const std::array<double, 2> low = place_of_node(m, e.nodes[0]);
        const double r = low[0] + 0.0025, z = low[1] + 0.0025;
        if (std::fabs(z) > 0.02) continue;
        e.nop = r < 0.02 ? 4 : r < 0.025 ? 5 : r < 0.03 ? 6 : e.nop;
    }
    for (int nop = 4; nop <= 6; ++nop) m.properties.push_back({.nop = nop, .mu = mu_0});
    const double dt = 2e-3;
    set_time_step(m, dt);
    circuit by_density = one_coil(), by_magnetisation = one_coil();
    by_density.regions = {driven(5, 1, nz), driven(6, 1, nz)};
    by_magnetisation.regions = {magnetised(4, 1, 0, nz * 0.01), magnetised(5, 1, 0, nz * 0.0075),
                                magnetised(6, 1, 0, nz * 0.0025)};
    stepper first(m, by_density);
    std::vector<double> expected;
    circuit_result last;
    for (int n = 0; n < 4; ++n) {
        last = first.step();
        expected.push_back(last.of(0));
    }
    EXPECT_LT(expected[0], 0.9 * voltage / resistance); // the inductance counts
    stepper second(m, by_magnetisation);
    circuit_result found;
    for (const double current : expected) {
        found = second.step();
        expect_close(found.of(0), current, 0.005);
    }
    ASSERT_EQ(found.potential.size(), last.potential.size());
    const double largest = *std::max_element(last.potential.begin(), last.potential.end());
    EXPECT_GT(largest, 0);
    for (std::size_t n = 0; n < found.potential.size(); ++n)
        EXPECT_NEAR(found.potential[n], last.potential[n], 0.02 * largest);
}

// Direct current and a long step: J = I / (h r ln(r2 / r1)); the row's G is the mesh's, hence ln to its accuracy.
TEST_F(axisymmetric_circuit, ring_current_falls_with_the_radius_in_the_low_frequency_limit)
{
    constexpr double sigma = 2e7, current = 80, height = 0.01;
    for (const double dt : {0.0, 1e6}) {
        SCOPED_TRACE(dt);
        model m = coil_and_ring(203, sigma);
        const double g = conductance(m, ring, sigma);
        if (dt > 0) set_time_step(m, dt);
        circuit c;
        c.regions = {tied(ring, 1)};
        c.nvoltg = 1;
        c.f = {{dt > 0 ? g * (1 / dt - 1) : -g}};
        c.u = {current};
        const circuit_result result = stepper(m, c).step();
        expect_close(result.of(0), -current / g, 1e-9);
        expect_close(g, sigma * height * std::log(2.0), 0.002);
        for (const field_value& e : result.felms) {
            if (e.nop != ring) continue;
            double r = 0;
            for (const int node : m.felms[static_cast<std::size_t>(e.noe) - 1].nodes)
                r += place_of_node(m, node)[0] / 3;
            expect_close(e.jz, current / (height * r * std::log(2.0)), 0.002);
        }
        const std::vector<printed_current> printed = printed_currents();
        ASSERT_EQ(printed.size(), 1u);
        expect_close(printed[0].total_curr, current, 0.005); // summed at the elements' centres
        expect_close(printed[0].total_gfai, current, 0.005);
    }
}

// With time steps: the printed current, and the current by the assembly's own integration, are the imposed one.
TEST_F(axisymmetric_circuit, ring_carries_the_imposed_current_in_every_step)
{
    constexpr double sigma = 2e7, dt = 5e-4;
    model m = coil_and_ring(203, sigma);
    const double g = conductance(m, ring, sigma);
    set_time_step(m, dt);
    circuit c;
    c.regions = {tied(ring, 1)};
    c.nvoltg = 1;
    c.f = {{g * (1 / dt - 1)}};
    c.u = {80};
    stepper run(m, c);
    std::vector<double> before(m.nodes.size(), 0.0);
    for (const double current : {80.0, 80.0, -30.0}) {
        run.system().u = {current};
        const circuit_result result = run.step();
        std::vector<double> change = result.potential;
        for (std::size_t n = 0; n < change.size(); ++n) change[n] -= before[n];
        const double gradient = result.of(0);
        const double integral = over_triangles(
            m, ring, change, [=](double r, double, double da) { return sigma * (-da / dt - gradient / r); });
        expect_close(integral, current, 1e-8);
        // the printed one is summed at the elements' centres, where 1 / r differs a little
        EXPECT_NEAR(printed_currents().at(0).total_curr, current, 0.005 * std::fabs(g * gradient));
        before = result.potential;
    }
}

// A tube of radius much above its thickness is a slab rolled up: the diffusion series of the planar case, with H = 0 at
// the inner side, where the model ends with its natural condition.
TEST_F(axisymmetric_circuit, skin_effect_in_a_wide_tube_follows_the_series_of_the_slab)
{
    constexpr double radius = 10, a = 0.01, height = 1e-3, gap = 0.002, current = 100, sigma = 1e7;
    constexpr double t_diffusion = mu_0 * sigma * a * a;
    constexpr int steps = 20;
    cells c;
    append_lines(c.x, radius, radius + a, 40);
    append_lines(c.x, radius + a, radius + a + gap, 2);
    append_lines(c.y, 0, height, 1);
    c.property = [](double r, double) { return r < radius + a ? ring : air; };
    c.is_fixed = [](double r, double) { return r > radius + a + 0.9 * gap; };
    model m = model_of(
        c, {{.nop = air, .mu = mu_0}, {.nop = winding, .mu = mu_0}, {.nop = ring, .mu = mu_0, .sigma = sigma}});
    m.iax = 1;
    const double g = conductance(m, ring, sigma), dt = 0.1 * t_diffusion / steps;
    set_time_step(m, dt);
    circuit one;
    one.regions = {tied(ring, 1)};
    one.nvoltg = 1;
    one.f = {{g * (1 / dt - 1)}};
    one.u = {current};
    stepper run(m, one);
    circuit_result result;
    for (int n = 0; n < steps; ++n) result = run.step();
    const double mean = current / height / a;
    int compared = 0;
    for (const field_value& e : result.felms) {
        if (e.nop != ring) continue;
        double x = -radius, sum = 1;
        for (const int node : m.felms[static_cast<std::size_t>(e.noe) - 1].nodes) x += place_of_node(m, node)[0] / 3;
        for (int n = 1; n < 400; ++n) {
            const double k = n * pi;
            sum += 2 * (n % 2 == 0 ? 1 : -1) * std::cos(k * x / a) * std::pow(1 + k * k / t_diffusion * dt, -steps);
        }
        EXPECT_NEAR(e.jz, mean * sum, 0.01 * mean) << "x = " << x;
        ++compared;
    }
    EXPECT_EQ(compared, 80);
}

// A coil at a voltage and, beside it, a ring cut open (net current 0) or closed (c = 0, that is a row that says so):
// the open ring takes up the voltage that its flux induces and leaves the coil's current nearly alone; the closed one,
// short- circuited, lowers the coil's inductance.
TEST_F(axisymmetric_circuit, open_ring_shows_the_induced_voltage)
{
    constexpr double sigma = 5e7, dt = 1e-3;
    model m = coil_and_ring(203, sigma);
    const double g = conductance(m, ring, sigma);
    set_time_step(m, dt);
    circuit c = one_coil();
    c.regions.push_back(tied(ring, 1));
    c.nvoltg = 1;
    c.f = {{g * (1 / dt - 1), 0}, {0, resistance}};
    c.u = {0, voltage};
    const circuit_result open = stepper(m, c).step();
    // 0 = integral of sigma (-dA/dt - c / r): c is the mean of -r dA/dt weighted by 1 / r
    const double mean =
        over_triangles(m, ring, open.potential, [=](double, double, double a) { return -sigma * a / dt; });
    expect_close(open.of(0), mean / g, 1e-8);
    model plain = coil_and_ring();
    set_time_step(plain, dt);
    const double without = stepper(plain, one_coil()).step().of(0);
    model closed_model = coil_and_ring(203, sigma);
    set_time_step(closed_model, dt);
    const double closed = stepper(closed_model, one_coil()).step().of(0);
    EXPECT_GT(closed, without * 1.005);
    EXPECT_LT(std::fabs(open.of(1) / without - 1), 0.5 * (closed / without - 1));
}

// A source drives the ring cut open at one place, the ends joined to it: R i - 2 pi c = v, integral of J - i = 0.
TEST_F(axisymmetric_circuit, source_drives_the_ring_through_its_resistance_and_inductance)
{
    constexpr double sigma = 2e6, r = 1e-3, source = 0.2;
    const model m = coil_and_ring(203, sigma);
    const double g = conductance(m, ring, sigma), ring_resistance = 2 * pi / g;
    circuit c;
    c.regions = {tied(ring, 1)};
    c.nvoltg = 1;
    c.seventh = {0};
    c.f = {{-g, -1}, {-2 * pi, r}};
    c.u = {0, source};
    expect_close(stepper(m, c).step().of(1), source / (r + ring_resistance), 1e-9);

    // Steps longer than the field's passage through the ring: nearly its resistance and the inductance of one turn with
    // the density I / (h r ln(r2 / r1)), whose flux linkage is the mean of 2 pi r A with that density.
    model given = m;
    const double dt = 2e-4, height = 0.01;
    EXPECT_GT(dt, mu_0 * sigma * 0.01 * 0.01 / 2);
    given.properties[ring - 1].sigma = 0;
    given.properties[ring - 1].js = 1 / (0.015 * height); // nearly: uniform
    const circuit_result field = solve_static(given);
    const double l = over_triangles(m, ring, field.potential,
                                    [=](double rr, double, double a) { return 2 * pi * rr * a / (0.015 * height); });
    model stepped = m;
    set_time_step(stepped, dt);
    c.f[0][0] = g * (1 / dt - 1);
    stepper run(stepped, c);
    double current = 0;
    const double direct = source / (r + ring_resistance);
    for (int n = 0; n < 6; ++n) {
        current = (source + l / dt * current) / (r + ring_resistance + l / dt);
        EXPECT_NEAR(run.step().of(1), current, 0.03 * direct);
    }
    EXPECT_GT(l / dt, 0.02 * ring_resistance); // the inductance counts
}
