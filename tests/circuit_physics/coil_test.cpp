// A planar coil on a core, driven by a voltage.
//
// With i the current, the coil's source density is nz i (nz: turns per area, negative in the returning side), and its
// flux linkage over the depth d is the integral of d nz A, which is L i with L = 2 W(1 A) d from the field energy W
// [J/m] of 1 A. A backward-Euler step from the current before, p, solves R i + L (i - p) / dt = v.
#include "circuit_physics/circuits.h"

using namespace tarnel_test;

using voltage_coil = stage_test;

namespace
{

constexpr double depth = 0.5;                     // [m]
constexpr double turns = 100, side = 0.02 * 0.02; // of the coil; cross-section of one of its sides [m2]
constexpr double nz = turns / side;               // [1/m2]
constexpr double resistance = 2, voltage = 12;    // [Ohm], [V]
constexpr int air = 1, core = 2;                  // properties; the sides of the coil are cut in two:
constexpr int outer_go = 3, inner_go = 4, inner_back = 5, outer_back = 6;

model coil_model(int type = 203)
{
    cells c;
    append_lines(c.x, 0, 0.12, 12);
    append_lines(c.y, 0, 0.06, 6);
    c.type = type;
    c.property = [](double x, double y) {
        if (y < 0.02 || y > 0.04 || x < 0.02 || x > 0.10) return air;
        if (x < 0.03) return outer_go;
        if (x < 0.04) return inner_go;
        if (x < 0.08) return core;
        return x < 0.09 ? inner_back : outer_back;
    };
    c.is_fixed = [](double x, double y) { return x == 0 || x == 0.12 || y == 0 || y == 0.06; };
    return model_of(c, {{.nop = air, .mu = mu_0},
                        {.nop = core, .mu = 50 * mu_0},
                        {.nop = outer_go, .mu = mu_0},
                        {.nop = inner_go, .mu = mu_0},
                        {.nop = inner_back, .mu = mu_0},
                        {.nop = outer_back, .mu = mu_0}});
}

std::vector<std::pair<int, double>> outer_coil(double current)
{
    return {{outer_go, nz * current}, {outer_back, -nz * current}};
}
std::vector<std::pair<int, double>> inner_coil(double current)
{
    return {{inner_go, nz * current}, {inner_back, -nz * current}};
}
std::vector<std::pair<int, double>> both(double outer, double inner)
{
    std::vector<std::pair<int, double>> all = outer_coil(outer);
    for (const auto& one : inner_coil(inner)) all.push_back(one);
    return all;
}

double inductance(const model& m)
{
    return 2 * depth * planar_energy(m, both(1, 1));
}

circuit one_coil()
{
    circuit c;
    c.regions = {driven(outer_go, 1, nz), driven(inner_go, 1, nz), driven(inner_back, 1, -nz),
                 driven(outer_back, 1, -nz)};
    c.nvoltve = 1;
    c.seventh = {depth};
    c.f = {{resistance}};
    c.u = {voltage};
    return c;
}

} // namespace

TEST_F(voltage_coil, current_rises_by_the_backward_euler_solution_of_resistance_and_inductance)
{
    model m = coil_model();
    const double l = inductance(m), dt = 0.2 * l / resistance;
    set_time_step(m, dt);
    stepper run(m, one_coil());
    double current = 0;
    for (int n = 0; n < 20; ++n) {
        current = (voltage + l / dt * current) / (resistance + l / dt);
        expect_close(run.step().of(0), current, 1e-9);
    }
    // towards the closed form v / R (1 - exp(-R t / L)), up to the step's error
    EXPECT_NEAR(current, voltage / resistance * (1 - std::exp(-4.0)), 0.03 * voltage / resistance);
}

TEST_F(voltage_coil, field_is_that_of_its_current)
{
    model m = coil_model();
    set_time_step(m, 0.5 * inductance(m) / resistance);
    const circuit_result driven_run = stepper(m, one_coil()).step();
    model given = coil_model();
    for (const auto& [nop, js] : both(driven_run.of(0), driven_run.of(0)))
        given.properties[static_cast<std::size_t>(nop) - 1].js = js;
    const circuit_result expected = solve_static(given);
    ASSERT_EQ(driven_run.potential.size(), expected.potential.size());
    const double largest = std::fabs(*std::max_element(expected.potential.begin(), expected.potential.end()));
    for (std::size_t n = 0; n < expected.potential.size(); ++n)
        EXPECT_NEAR(driven_run.potential[n], expected.potential[n], 1e-9 * largest);
}

TEST_F(voltage_coil, current_without_a_time_step_is_voltage_over_resistance)
{
    const circuit_result result = stepper(coil_model(), one_coil()).step();
    expect_close(result.of(0), voltage / resistance, 1e-14);
    EXPECT_EQ(result.charge(0), 0.0);
}

// The seventh constant is the depth alone: half the depth is half the inductance.
TEST_F(voltage_coil, seventh_constant_scales_the_inductance)
{
    model m = coil_model();
    const double l = inductance(m), dt = 0.2 * l / resistance;
    set_time_step(m, dt);
    circuit c = one_coil();
    c.seventh = {depth / 2};
    expect_close(stepper(m, c).step().of(0), voltage / (resistance + l / 2 / dt), 1e-9);
}

// Two steps before a change of the voltage's sign: the previous field decides the sign of the induced voltage.
TEST_F(voltage_coil, current_follows_a_reversed_voltage)
{
    model m = coil_model();
    const double l = inductance(m), dt = 0.3 * l / resistance;
    set_time_step(m, dt);
    stepper run(m, one_coil());
    double current = 0;
    for (const double v : {voltage, voltage, -voltage, -voltage, 0.0}) {
        run.system().u = {v};
        current = (v + l / dt * current) / (resistance + l / dt);
        expect_close(run.step().of(0), current, 1e-9);
    }
}

// Kind 2 drives the coil by a magnetisation T with curl T = (0, 0, nz): between the sides Ty = nz w (w: width of a
// side), within them it rises and falls linearly in x. On rectangles that follow x and y the slope of a shape function
// by x does not depend on x, so that the mean of T over each column of cells serves exactly as well as T itself, and
// the current must come out as with kind 1 to the accuracy of the solver. Its flux linkage is the integral of T.B.
TEST_F(voltage_coil, kind_2_gives_current_and_field_of_kind_1)
{
    model m = coil_model(204);
    const double dt = 1e-3, column = 0.01;
    set_time_step(m, dt);
    stepper by_density(m, one_coil());
    std::vector<double> expected;
    circuit_result last, found;
    for (int n = 0; n < 5; ++n) {
        last = by_density.step();
        expected.push_back(last.of(0));
    }

    circuit c = one_coil();
    c.regions = {magnetised(outer_go, 1, 0, nz * column / 2), magnetised(inner_go, 1, 0, nz * column * 3 / 2),
                 magnetised(core, 1, 0, nz * column * 2), magnetised(inner_back, 1, 0, nz * column * 3 / 2),
                 magnetised(outer_back, 1, 0, nz * column / 2)};
    stepper by_magnetisation(m, c);
    for (const double current : expected) {
        found = by_magnetisation.step();
        expect_close(found.of(0), current, 1e-9);
    }
    ASSERT_EQ(found.potential.size(), last.potential.size());
    const double largest = *std::max_element(last.potential.begin(), last.potential.end());
    for (std::size_t n = 0; n < found.potential.size(); ++n)
        EXPECT_NEAR(found.potential[n], last.potential[n], 1e-9 * largest);
}

// The inductance of kind 2 from its own energy: T as given magnetisation makes A, and W = integral of T.B / 2.
TEST_F(voltage_coil, kind_2_rises_with_the_inductance_of_its_own_field)
{
    model m = coil_model();
    const double t = 1e4, dt = 1e-3; // [1/m], [s]
    double linkage = 0;              // of 1 A [Wb/m]
    model given = m;
    given.properties[core - 1].hy = 1;
    given.properties[core - 1].h = t;
    for (const field_value& e : solve_static(given).felms)
        if (e.nop == core) linkage += e.area * t * e.by;
    set_time_step(m, dt);
    circuit c = one_coil();
    c.regions = {magnetised(core, 1, 0, t)};
    stepper run(m, c);
    double current = 0;
    for (int n = 0; n < 5; ++n) {
        current = (voltage + depth * linkage / dt * current) / (resistance + depth * linkage / dt);
        expect_close(run.step().of(0), current, 1e-9);
    }
}

// Outer and inner half on two edges, joined at a circuit node whose voltage is the third unknown:
//   R1 i1 + d(flux 1)/dt + v3 = v,   R2 i2 + d(flux 2)/dt - v3 = 0,   i1 - i2 = 0.
TEST_F(voltage_coil, halves_in_series_carry_the_current_of_the_whole)
{
    model m = coil_model();
    const double l = inductance(m), dt = 0.2 * l / resistance;
    set_time_step(m, dt);
    circuit c;
    c.regions = {driven(outer_go, 1, nz), driven(outer_back, 1, -nz), driven(inner_go, 2, nz),
                 driven(inner_back, 2, -nz)};
    c.nvoltve = 2;
    c.nvoltm = 1;
    c.seventh = {depth, depth};
    const double r1 = 0.7, r2 = resistance - r1;
    c.f = {{r1, 0, 1}, {0, r2, -1}, {1, -1, 0}};
    c.u = {voltage, 0, 0};
    stepper run(m, c);
    const double l2 = 2 * depth * planar_energy(m, inner_coil(1));
    const double mutual = (l - 2 * depth * planar_energy(m, outer_coil(1)) - l2) / 2;
    double current = 0;
    for (int n = 0; n < 10; ++n) {
        const double before = current;
        current = (voltage + l / dt * current) / (resistance + l / dt);
        const circuit_result result = run.step();
        expect_close(result.of(0), current, 1e-9);
        expect_close(result.of(1), current, 1e-9);
        expect_close(result.of(2), r2 * current + (l2 + mutual) * (current - before) / dt, 1e-8);
    }
}

// In parallel behind a source of resistance R0, an edge that the field does not touch; v the node's voltage:
//   Rk ik + d(flux k)/dt - v = 0,   R0 i0 + v = v0,   i0 - i1 - i2 = 0.
// By hand, with the inductances from three energies: L (i - p) / dt + R i + R0 (i1 + i2) = v0.
TEST_F(voltage_coil, halves_in_parallel_share_the_current_of_coupled_inductances)
{
    model m = coil_model();
    const double l1 = 2 * depth * planar_energy(m, outer_coil(1)), l2 = 2 * depth * planar_energy(m, inner_coil(1));
    const double mutual = (2 * depth * planar_energy(m, both(1, 1)) - l1 - l2) / 2;
    const double r0 = 0.5, r1 = 1, r2 = 3, dt = 0.3 * l1 / r1;
    set_time_step(m, dt);
    circuit c;
    c.regions = {driven(outer_go, 1, nz), driven(outer_back, 1, -nz), driven(inner_go, 2, nz),
                 driven(inner_back, 2, -nz)};
    c.nvoltve = 2;
    c.nvoltm = 1;
    c.seventh = {depth, depth, 0};
    c.f = {{r1, 0, 0, -1}, {0, r2, 0, -1}, {0, 0, r0, 1}, {-1, -1, 1, 0}};
    c.u = {0, 0, voltage, 0};
    stepper run(m, c);
    std::vector<double> i = {0, 0};
    for (int n = 0; n < 10; ++n) {
        i = solve_by_hand({{r1 + r0 + l1 / dt, r0 + mutual / dt}, {r0 + mutual / dt, r2 + r0 + l2 / dt}},
                          {voltage + (l1 * i[0] + mutual * i[1]) / dt, voltage + (mutual * i[0] + l2 * i[1]) / dt});
        const circuit_result result = run.step();
        expect_close(result.of(0), i[0], 1e-8);
        expect_close(result.of(1), i[1], 1e-8);
        expect_close(result.of(2), i[0] + i[1], 1e-8);
        expect_close(result.of(3), voltage - r0 * (i[0] + i[1]), 1e-8);
    }
}

// A capacitor in series: v = R i + L (i - p) / dt + q / C with q = q before + dt i. The library advances q; the host
// puts dt / C into the matrix and takes q before / C off the right-hand side.
TEST_F(voltage_coil, charge_of_a_capacitor_in_series_advances_with_the_current)
{
    model m = coil_model();
    const double l = inductance(m), dt = 0.2 * l / resistance, c_farad = 4 * l / (resistance * resistance);
    set_time_step(m, dt);
    circuit c = one_coil();
    c.f = {{resistance + dt / c_farad}};
    stepper run(m, c);
    double charge = 0.25 * c_farad * voltage, current = 0, reported = charge; // it begins charged to a quarter
    run.start_charge(0, charge);
    for (int n = 0; n < 10; ++n) {
        run.system().u = {voltage - reported / c_farad};
        current = (voltage - charge / c_farad + l / dt * current) / (resistance + l / dt + dt / c_farad);
        charge += current * dt;
        const circuit_result result = run.step();
        reported = result.charge(0);
        expect_close(result.of(0), current, 1e-8);
        expect_close(reported, charge, 1e-9);
    }
}

// Every solver, with a current imposed on a conducting core beside the coil: two circuit-field unknowns.
TEST_F(voltage_coil, every_solver_gives_the_same_currents)
{
    struct choice {
        const char* name;
        int itype, iopt, itermax;
        double accel;
    };
    std::vector<std::vector<double>> found;
    for (const choice& solver :
         {choice{"skyline", 0, 0, 0, 0}, choice{"CG", 1, 0, 5000, 1}, choice{"ICCG", 1, 1, 5000, 1},
          choice{"SCG", 1, 2, 5000, 1}, choice{"Gauss-Seidel", 2, 0, 200000, 1.6}}) {
        SCOPED_TRACE(solver.name);
        model m = coil_model();
        m.properties[core - 1].sigma = 1e6;
        set_time_step(m, 1e-3);
        m.itype_solv = solver.itype, m.iopt_solv = solver.iopt;
        m.itermax_solv = solver.itermax, m.accel_solv = solver.accel;
        write_file("t-skylin.txt", "100000 4 40\nsky-1.tmp\nsky-2.tmp\nsky-3.tmp\nsky-4.tmp\n");
        circuit c = one_coil();
        c.regions.push_back(tied(core, 1));
        c.nvoltg = 1;
        c.f = {{0, 0}, {0, resistance}};
        c.u = {5, voltage};
        stepper run(m, c);
        std::vector<double> values;
        for (int n = 0; n < 3; ++n) {
            const circuit_result result = run.step();
            values.push_back(result.of(0));
            values.push_back(result.of(1));
        }
        if (found.empty()) {
            found.push_back(values);
            continue;
        }
        for (std::size_t k = 0; k < values.size(); ++k) expect_close(values[k], found[0][k], 1e-8);
    }
}

// The substitution alone, with the factor of the step before, as the matrix does not change from step to step.
TEST_F(voltage_coil, skyline_substitution_with_the_old_factor_gives_the_same_currents)
{
    model m = coil_model();
    const double l = inductance(m), dt = 0.2 * l / resistance;
    set_time_step(m, dt);
    m.itype_solv = 0, m.iopt_solv = 0;
    write_file("t-skylin.txt", "100000 4 40\nsky-1.tmp\nsky-2.tmp\nsky-3.tmp\nsky-4.tmp\n");
    stepper(m, one_coil()).step();
    m.iopt_solv = 1;
    stepper run(m, one_coil());
    double current = 0;
    for (int n = 0; n < 3; ++n) {
        current = (voltage + l / dt * current) / (resistance + l / dt);
        expect_close(run.step().of(0), current, 1e-9);
    }
}
