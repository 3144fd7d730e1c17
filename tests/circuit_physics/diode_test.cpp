// Rectifiers against piecewise-linear circuits solved by hand: on each segment of a diode's table the circuit is
// linear, and exactly one segment holds its own solution.
#include "circuit_physics/circuits.h"

using namespace tarnel_test;

using rectifier = stage_test;

namespace
{

// A leak of 1 MOhm against the direction, little below 0.6 V, 0.08 Ohm above.
const tarnel_host::volt_table table = {.not_diod = 1, .points = {{-100, -1e-4}, {0, 0}, {0.6, 1e-3}, {1, 5.001}}};
constexpr double leak = 1e-6; // [S]

model field_without_circuits()
{
    model m = unit_square();
    m.maxprp = 20;
    return m;
}

struct line {
    double v, r; // voltage = v + r i
};
line line_of_segment(std::size_t k)
{
    const tarnel_host::volt_point &a = table.points[k], &b = table.points[k + 1];
    const double r = (b.v - a.v) / (b.i - a.i);
    return {a.v - r * a.i, r};
}

// The current of a source of voltage e behind a resistance and a diode in the current's direction: the segment whose
// solution lies on it; the outer segments have no outer end.
double current_through(double e, double resistance)
{
    const std::size_t segments = table.points.size() - 1;
    for (std::size_t k = 0; k < segments; ++k) {
        const line l = line_of_segment(k);
        const double i = (e - l.v) / (resistance + l.r);
        const bool above = k == 0 || i >= table.points[k].i, below = k + 1 == segments || i <= table.points[k + 1].i;
        if (above && below) return i;
    }
    return std::nan("");
}

circuit half_wave(int direction, double resistance)
{
    circuit c;
    c.seventh = {0};
    c.f = {{resistance}};
    c.u = {0};
    c.diodes = {{.novlt = 1, .not_diod = 1, .isign_diod = direction}};
    c.tables = {table};
    return c;
}

} // namespace

// An edge apart from the field: v - diode - R over two thirds of a period.
TEST_F(rectifier, half_wave_current_is_that_of_the_piecewise_linear_circuit)
{
    constexpr double resistance = 3;
    for (const int direction : {1, -1}) {
        stepper run(field_without_circuits(), half_wave(direction, resistance));
        for (int k = 0; k < 8; ++k) {
            const double e = 10 * std::sin(2 * std::numbers::pi * k / 12 + 0.01);
            SCOPED_TRACE(e * direction);
            run.system().u = {e};
            const double expected = direction * current_through(direction * e, resistance);
            EXPECT_NEAR(run.step().of(0), expected, 1e-7 * std::fabs(expected) + 1e-10);
        }
    }
}

// The diode stops nothing but the reverse current: the same voltage, both ways round.
TEST_F(rectifier, reversed_diode_blocks_what_the_other_passes)
{
    for (const int direction : {1, -1}) {
        stepper run(field_without_circuits(), half_wave(direction, 3));
        run.system().u = {direction * 10.0};
        EXPECT_GT(direction * run.step().of(0), 2.9);
        run.system().u = {direction * -10.0};
        EXPECT_NEAR(direction * run.step().of(0), -10 * leak, 0.1 * 10 * leak);
    }
}

// A coil behind a diode, stepped through a reversal of the voltage: L keeps the current up after the zero crossing,
// then the diode lets none return. One step is the circuit of R + L / dt and the voltage v + L / dt times the current
// before.
TEST_F(rectifier, coil_behind_a_diode_takes_current_one_way_only)
{
    constexpr double width = 0.1, nz = 2e5, depth = 1, resistance = 2;
    cells c;
    append_lines(c.x, 0, width, 10);
    append_lines(c.y, 0, 0.01, 1);
    c.property = [](double x, double) { return x > 0.02 && x < 0.03 ? 2 : x > 0.07 && x < 0.08 ? 3 : 1; };
    c.is_fixed = [](double x, double) { return x == 0 || x == width; };
    model m = model_of(c, {{.nop = 1, .mu = mu_0}, {.nop = 2, .mu = mu_0}, {.nop = 3, .mu = mu_0}});
    const double l = 2 * depth * planar_energy(m, {{2, nz}, {3, -nz}}), dt = 0.25 * l / resistance;
    set_time_step(m, dt);
    for (const int direction : {1, -1}) {
        circuit one = half_wave(direction, resistance);
        one.regions = {driven(2, 1, nz), driven(3, 1, -nz)};
        one.nvoltve = 1;
        one.seventh = {depth};
        one.itermax_diod = 5000;
        stepper run(m, one);
        double current = 0, smallest = 0;
        for (const double v : {6.0, 6.0, 6.0, -6.0, -6.0, -6.0, -6.0, 6.0}) {
            run.system().u = {direction * v};
            current = current_through(v + l / dt * current, resistance + l / dt);
            smallest = std::min(smallest, current);
            EXPECT_NEAR(direction * run.step().of(0), current, 1e-7);
        }
        EXPECT_GT(smallest, -10 * leak);
        EXPECT_GT(current, 0.1);
    }
}

// Source edge 1 from b to a, bridge a-2-p, b-3-p, n-4-a, n-5-b, load edge 6 from p to n; n is the zero of voltage, and
// a, b, p are the circuit nodes 1, 2, 3. By symmetry the two diodes that conduct carry the same current i, the two that
// block the same leak j = -leak (w + load current R), with w the voltage of a conducting one, so that
//   load current = i + j,   source current = i - j,   e = Rs (i - j) + 2 w + R (i + j).
TEST_F(rectifier, full_bridge_of_four_diodes_rectifies_both_half_waves)
{
    constexpr double source = 0.4, load = 5;
    circuit c;
    c.seventh.assign(6, 0);
    c.nvoltm = 3;
    c.f = {{source, 0, 0, 0, 0, 0, 1, -1, 0}, // source: Rs i + va - vb = e
           {0, 0, 0, 0, 0, 0, -1, 0, 1},      // diodes: their voltage - v(from) + v(to) = 0
           {0, 0, 0, 0, 0, 0, 0, -1, 1},      {0, 0, 0, 0, 0, 0, 1, 0, 0},  {0, 0, 0, 0, 0, 0, 0, 1, 0},
           {0, 0, 0, 0, 0, load, 0, 0, -1},   {1, -1, 0, 1, 0, 0, 0, 0, 0}, // currents into a, b, p
           {-1, 0, -1, 0, 1, 0, 0, 0, 0},     {0, 1, 1, 0, 0, -1, 0, 0, 0}};
    c.u.assign(9, 0);
    for (int k = 2; k <= 5; ++k) c.diodes.push_back({.novlt = k, .not_diod = 1, .isign_diod = 1});
    c.tables = {table};
    c.itermax_diod = 5000;
    const line on = line_of_segment(2);
    for (const double e : {12.0, 5.0, -5.0, -12.0}) {
        SCOPED_TRACE(e);
        c.u[0] = e;
        const circuit_result result = stepper(field_without_circuits(), c).step();
        // unknowns i, j:  w = on.v + on.r i
        const std::vector<double> x =
            solve_by_hand({{source + 2 * on.r + load, load - source}, {leak * (on.r + load), 1 + leak * load}},
                          {std::fabs(e) - 2 * on.v, -leak * on.v});
        const double i = x[0], j = x[1];
        ASSERT_GT(i, 1e-3); // on the segment assumed
        const bool positive = e > 0;
        expect_close(result.of(0), positive ? i - j : j - i, 1e-6);
        for (const std::size_t conducting :
             positive ? std::array<std::size_t, 2>{1, 4} : std::array<std::size_t, 2>{2, 3})
            expect_close(result.of(conducting), i, 1e-6);
        for (const std::size_t blocking :
             positive ? std::array<std::size_t, 2>{2, 3} : std::array<std::size_t, 2>{1, 4})
            EXPECT_NEAR(result.of(blocking), j, 1e-8);
        expect_close(result.of(5), i + j, 1e-6);
        expect_close(result.of(8), load * (i + j), 1e-6);
    }
}

// Against the edge's direction in all four places the bridge is the mirror image: the load's current flows back.
TEST_F(rectifier, full_bridge_of_reversed_diodes_drives_the_load_backwards)
{
    circuit c;
    c.seventh.assign(6, 0);
    c.nvoltm = 3;
    c.f = {{0.4, 0, 0, 0, 0, 0, 1, -1, 0}, {0, 0, 0, 0, 0, 0, -1, 0, 1},  {0, 0, 0, 0, 0, 0, 0, -1, 1},
           {0, 0, 0, 0, 0, 0, 1, 0, 0},    {0, 0, 0, 0, 0, 0, 0, 1, 0},   {0, 0, 0, 0, 0, 5, 0, 0, -1},
           {1, -1, 0, 1, 0, 0, 0, 0, 0},   {-1, 0, -1, 0, 1, 0, 0, 0, 0}, {0, 1, 1, 0, 0, -1, 0, 0, 0}};
    c.u = {12, 0, 0, 0, 0, 0, 0, 0, 0};
    c.tables = {table};
    c.itermax_diod = 5000;
    std::vector<double> load;
    for (const int direction : {1, -1}) {
        c.diodes.clear();
        for (int k = 2; k <= 5; ++k) c.diodes.push_back({.novlt = k, .not_diod = 1, .isign_diod = direction});
        load.push_back(stepper(field_without_circuits(), c).step().of(5));
    }
    EXPECT_GT(load[0], 1.5);
    expect_close(load[1], -load[0], 1e-6);
}
