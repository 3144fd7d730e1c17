// Circuits apart from the field, switched off, and beside given currents by element.
#include "circuit_physics/circuits.h"

using namespace tarnel_test;

using circuit_switches = stage_test;

namespace
{

// A flat inductor: 0 <= x <= 0.1 with A = 0 at both ends, windings there and back, uniform in y.
constexpr double nz = 2e5, depth = 1, resistance = 2, voltage = 6;
model flat_inductor(int type = 203)
{
    cells c;
    append_lines(c.x, 0, 0.1, 10);
    append_lines(c.y, 0, 0.01, 1);
    c.type = type;
    c.property = [](double x, double) { return x > 0.02 && x < 0.03 ? 2 : x > 0.07 && x < 0.08 ? 3 : 1; };
    c.is_fixed = [](double x, double) { return x == 0 || x == 0.1; };
    return model_of(c, {{.nop = 1, .mu = mu_0}, {.nop = 2, .mu = mu_0}, {.nop = 3, .mu = mu_0}});
}

double inductance(const model& m)
{
    return 2 * depth * planar_energy(m, {{2, nz}, {3, -nz}});
}

circuit flat_circuit()
{
    circuit c;
    c.regions = {driven(2, 1, nz), driven(3, 1, -nz)};
    c.nvoltve = 1;
    c.seventh = {depth};
    c.f = {{resistance}};
    c.u = {voltage};
    return c;
}

} // namespace

// By hand: A'' = -mu_0 J on each layer of width w = 0.01 at distance s = 0.05 from the other, H = nz i between the
// windings less the mean H over the whole width b = 0.1, as A = 0 at both ends leaves no net flux:
//   H0 = nz i w, mean = H0 s / b; energy = mu_0 / 2 height (H0^2 (s - w + 2 w / 3) - H0^2 s^2 / b).
// Bilinear elements give nodal values that are exact in one dimension, and miss mu_0 J^2 h^3 / 24 in each one of width
// h.
TEST_F(circuit_switches, energy_of_the_flat_inductor_is_that_of_the_closed_form)
{
    constexpr double w = 0.01, s = 0.05, b = 0.1, height = 0.01, h0 = nz * w;
    const double exact = mu_0 / 2 * height * h0 * h0 * (s - w + 2 * w / 3 - s * s / b);
    const double missed = 2 * mu_0 * nz * nz * w * w * w / 24 * height;
    expect_close(planar_energy(flat_inductor(204), {{2, nz}, {3, -nz}}), exact - missed, 1e-9);
}

// nvolte 0, nvoltv 3: a source of 10 V behind 1 Ohm feeds 2 and 3 Ohm side by side, 6/5 Ohm together.
TEST_F(circuit_switches, edges_apart_from_the_field_are_a_circuit_of_their_own)
{
    circuit c;
    c.seventh = {0, 0, 0};
    c.nvoltm = 1;
    c.f = {{1, 0, 0, 1}, {0, 2, 0, -1}, {0, 0, 3, -1}, {1, -1, -1, 0}};
    c.u = {10, 0, 0, 0};
    model m = unit_square();
    const circuit_result alone = solve_static(m), with_circuit = stepper(m, c).step();
    expect_close(with_circuit.of(0), 10 / 2.2, 1e-14);
    expect_close(with_circuit.of(1), 10 / 2.2 * 0.6, 1e-14);
    expect_close(with_circuit.of(2), 10 / 2.2 * 0.4, 1e-14);
    expect_close(with_circuit.of(3), 10 / 2.2 * 1.2, 1e-14);
    EXPECT_EQ(with_circuit.potential, alone.potential); // the field does not notice
    EXPECT_FALSE(std::filesystem::exists("t-femr-vector-00001.tmp"));
    EXPECT_FALSE(std::filesystem::exists("at-felm-struct.org"));
}

// nvolte 0 with a time step: v = R i + q / C; charges add up over the runs, q = C v (1 - (1 + dt / RC)^-n).
TEST_F(circuit_switches, capacitor_apart_from_the_field_charges_over_the_steps)
{
    constexpr double r = 100, capacity = 1e-5, v = 20, dt = 2e-4;
    model m = unit_square();
    set_time_step(m, dt);
    circuit c;
    c.seventh = {0};
    c.f = {{r + dt / capacity}};
    c.u = {v};
    stepper run(m, c);
    double charge = 0;
    for (int n = 1; n <= 10; ++n) {
        run.system().u = {v - charge / capacity};
        charge = run.step().charge(0);
        expect_close(charge, capacity * v * (1 - std::pow(1 + dt / (r * capacity), -n)), 1e-12);
    }
}

TEST_F(circuit_switches, counts_of_zero_switch_circuits_off)
{
    const model m = flat_inductor();
    model given = m;
    given.properties[1].js = 1e6;
    const circuit_result without = solve_static(given);
    write_model(given);
    tarnel_host::write_volt_data1("t-volt-data1.tmp", {.maxvlt = 20, .properties = flat_circuit().regions});
    tarnel_host::volt_data2 none;
    none.maxvlt = 20;
    tarnel_host::write_volt_data2("t-volt-data2.tmp", none); // and no matrix, vector or previous solution
    const circuit_result off = read_circuit_result(run_library());
    EXPECT_EQ(off.potential, without.potential);
    for (const char* never :
         {"t-voltr-result.txt", "t-voltr-solution.tmp", "t-voltr-femdv.tmp", "t-femr-vector-00001.tmp"})
        EXPECT_FALSE(std::filesystem::exists(never)) << never;
}

// The element table holds zeros in the coil and a given current in the air between: the result is that of the
// property's own source current, and the coil answers to its flux.
TEST_F(circuit_switches, given_currents_by_element_act_beside_the_circuit)
{
    constexpr double given = 3e4;
    model by_property = flat_inductor();
    by_property.felms[8].nop = by_property.felms[9].nop = 4; // the fifth cell
    by_property.properties.push_back({.nop = 4, .mu = mu_0, .js = given});
    model by_element = by_property;
    by_element.properties[3].js = 0;
    by_element.iopt_j0vect = 1;
    for (model_property& p : by_element.properties) p.ij0v = p.nop == 1 ? 0 : 1;
    std::vector<tarnel::current_record> records;
    for (const model_felm& e : by_element.felms)
        if (e.nop != 1) records.push_back({.noe = e.noe, .use = e.nop == 4 ? 1 : 0, .j0vec = {0, 0, given}});
    const double dt = 0.25 * inductance(flat_inductor()) / resistance;
    set_time_step(by_property, dt);
    set_time_step(by_element, dt);
    stepper first(by_property, flat_circuit()), second(by_element, flat_circuit());
    const circuit_result expected = first.step();
    tarnel_host::write_j0vect("at-j0vect-struct.tmp", records);
    const work_directory own;
    tarnel_host::write_j0vect("at-j0vect-struct.tmp", records);
    const circuit_result found = second.step();
    expect_close(found.of(0), expected.of(0), 1e-12);
    EXPECT_GT(std::fabs(found.of(0) - voltage / (resistance + inductance(flat_inductor()) / dt)), 1e-3);
    ASSERT_EQ(found.potential.size(), expected.potential.size());
    for (std::size_t n = 0; n < found.potential.size(); ++n)
        EXPECT_NEAR(found.potential[n], expected.potential[n], 1e-15);
}

// A table of the coil itself is a given current too, and the pattern of its current in the element structure
// afterwards: with the pattern of p amperes the flux is L (i + p), hence R i + L (i + p) / dt = v from zero field, and
// the density left in the element structure is i times the pattern.
TEST_F(circuit_switches, table_of_the_coil_drives_the_field_and_is_scaled_by_the_current)
{
    constexpr double p = 0.25;
    model m = flat_inductor();
    const double l = inductance(m), dt = 0.25 * l / resistance;
    m.iopt_j0vect = 1;
    std::vector<tarnel::current_record> records;
    for (model_property& property : m.properties) property.ij0v = property.nop == 1 ? 0 : 1;
    for (const model_felm& e : m.felms)
        if (e.nop != 1) records.push_back({.noe = e.noe, .use = 1, .j0vec = {0, 0, e.nop == 2 ? nz * p : -nz * p}});
    tarnel_host::write_j0vect("at-j0vect-struct.tmp", records);
    set_time_step(m, dt);
    const double current = stepper(m, flat_circuit()).step().of(0);
    expect_close(current, (voltage - l * p / dt) / (resistance + l / dt), 1e-9);
    const std::string felms = read_file("at-felm-struct.tmp");
    for (std::size_t k = 0; k < m.felms.size(); ++k) {
        const int nop = m.felms[k].nop;
        EXPECT_EQ(int_at(felms, 256 * k + 8), nop);
        const double pattern = nop == 2 ? nz * p : nop == 3 ? -nz * p : 0;
        EXPECT_NEAR(double_at(felms, 256 * k + 232), pattern * current, 1e-10 * nz);
    }
}

// Without the table the element structure afterwards holds the density nz i of the coil.
TEST_F(circuit_switches, element_structure_holds_the_density_of_the_current)
{
    const circuit_result result = stepper(flat_inductor(), flat_circuit()).step();
    const std::string felms = read_file("at-felm-struct.tmp"), before = read_file("at-felm-struct.org");
    const model m = flat_inductor();
    for (std::size_t k = 0; k < m.felms.size(); ++k) {
        const int nop = m.felms[k].nop;
        EXPECT_EQ(double_at(felms, 256 * k + 232), (nop == 2 ? nz : nop == 3 ? -nz : 0) * result.of(0));
        EXPECT_EQ(double_at(before, 256 * k + 232), 0.0);
    }
}

// The direction of a conductor is turned by its local system: a system whose third axis points into the plane reverses
// it.
TEST_F(circuit_switches, local_system_turns_the_direction_of_a_conductor)
{
    model m = flat_inductor();
    m.lcs = "1 0 0\n0 0 0\n0 0 -1\n1 0 0\n0 0 0\n"; // origin, a point on its third axis, one towards its first
    const double l = inductance(m), dt = 0.25 * l / resistance;
    set_time_step(m, dt);
    circuit c = flat_circuit();
    for (tarnel_host::volt_property& region : c.regions) {
        region.conductors[0].lnon = 1;
        region.conductors[0].nvect[2] *=
            region.nop == 2 ? -1 : 1; // once reversed; the other side not: both sides go alike
    }
    const double both = 2 * depth * planar_energy(m, {{2, nz}, {3, nz}});
    expect_close(stepper(m, c).step().of(0), voltage / (resistance + both / dt), 1e-9);
}
