// Solid conductors whose net current is imposed or flows through a circuit (grad-fai conditions), planar.
//
// In a region of a condition J = sigma (-dA/dt - g), with one g for all its elements: the gradient of the scalar
// potential along z [V/m]. Its row says integral of J + (F c) = u, so that u alone is the net current [A].
#include "circuit_physics/circuits.h"

using namespace tarnel_test;

using grad_fai = stage_test;

namespace
{

constexpr double sigma = 1e7;
constexpr int air = 1, bar = 2, other_bar = 3;

// Two bars in a box: 0.02 x 0.02 at the left, 0.01 x 0.02 at the right.
model bars_model(double sigma_of_other = sigma)
{
    cells c;
    append_lines(c.x, 0, 0.12, 24);
    append_lines(c.y, 0, 0.06, 12);
    c.property = [](double x, double y) {
        if (y < 0.02 || y > 0.04) return air;
        if (x > 0.02 && x < 0.04) return bar;
        return x > 0.08 && x < 0.09 ? other_bar : air;
    };
    c.is_fixed = [](double x, double y) { return x == 0 || x == 0.12 || y == 0 || y == 0.06; };
    return model_of(c, {{.nop = air, .mu = mu_0},
                        {.nop = bar, .mu = mu_0, .sigma = sigma},
                        {.nop = other_bar, .mu = mu_0, .sigma = sigma_of_other}});
}
constexpr double bar_section = 4e-4, other_section = 2e-4; // [m2]

circuit imposed(double current)
{
    circuit c;
    c.regions = {tied(bar, 1)};
    c.nvoltg = 1;
    c.f = {{0}};
    c.u = {current};
    return c;
}

} // namespace

TEST_F(grad_fai, printed_total_current_is_the_imposed_one)
{
    model m = bars_model();
    m.properties[other_bar - 1].sigma = 0;
    set_time_step(m, 1e-3);
    stepper run(m, imposed(250));
    for (const double current : {250.0, 250.0, -100.0}) {
        run.system().u = {current};
        const circuit_result result = run.step();
        expect_close(total_current(result, bar), current, 1e-9);
        const std::vector<printed_current> printed = printed_currents();
        ASSERT_EQ(printed.size(), 1u);
        EXPECT_EQ(printed[0].ngrad, 1);
        expect_close(printed[0].total_curr, current, 1e-5); // to the digits printed
        expect_close(printed[0].total_gfai, -sigma * bar_section * result.of(0), 1e-5);
        EXPECT_EQ(total_current(result, other_bar), 0.0); // no conductivity, no current
    }
}

// Two imposed currents: a bar's row does not see the other's.
TEST_F(grad_fai, each_condition_has_its_own_current)
{
    model m = bars_model();
    set_time_step(m, 1e-3);
    circuit c = imposed(250);
    c.regions.push_back(tied(other_bar, 2));
    c.nvoltg = 2;
    c.f = {{0, 0}, {0, 0}};
    c.u = {250, -80};
    const circuit_result result = stepper(m, c).step();
    expect_close(total_current(result, bar), 250, 1e-9);
    expect_close(total_current(result, other_bar), -80, 1e-9);
    const std::vector<printed_current> printed = printed_currents();
    ASSERT_EQ(printed.size(), 2u);
    EXPECT_EQ(printed[1].ngrad, 2);
    expect_close(printed[1].total_curr, -80, 1e-5);
}

// Direct current, and a step so long that nothing is left of the eddy currents: J = I / S everywhere, g = -I / (sigma
// S).
TEST_F(grad_fai, current_is_uniform_in_the_low_frequency_limit)
{
    for (const double dt : {0.0, 1e8}) {
        SCOPED_TRACE(dt);
        model m = bars_model();
        if (dt > 0) set_time_step(m, dt);
        const circuit_result result = stepper(m, imposed(250)).step();
        expect_close(result.of(0), -250 / (sigma * bar_section), 1e-9);
        for (const field_value& e : result.felms)
            if (e.nop == bar) expect_close(e.jz, 250 / bar_section, 1e-8);
    }
}

// Half of a slab, 0 <= x <= a, that carries its net current in z from t = 0 on; H = Hy(x) diffuses with H(0) = 0 and
// H(a) = H0 = I / height:
//   J = dH/dx = H0 / a (1 + 2 sum over n of (-1)^n cos(n pi x / a) exp(-n^2 pi^2 t / T)),   T = mu sigma a^2.
// Backward Euler with N steps of dt puts (1 + n^2 pi^2 dt / T)^-N in the place of the exponential.
TEST_F(grad_fai, skin_effect_of_a_current_step_follows_the_diffusion_series)
{
    constexpr double a = 0.01, height = 1e-3, gap = 0.002, current = 100;
    constexpr double t_diffusion = mu_0 * sigma * a * a;
    cells c;
    append_lines(c.x, 0, a, 60);
    append_lines(c.x, a, a + gap, 2);
    append_lines(c.y, 0, height, 1);
    c.property = [](double x, double) { return x < a ? bar : air; };
    c.is_fixed = [](double x, double) { return x > a + 0.9 * gap; };
    model m = model_of(c, {{.nop = air, .mu = mu_0}, {.nop = bar, .mu = mu_0, .sigma = sigma}});

    const auto series = [](double x, const std::function<double(double rate)>& decay) {
        double sum = 1;
        for (int n = 1; n < 400; ++n) {
            const double k = n * std::numbers::pi;
            sum += 2 * (n % 2 == 0 ? 1 : -1) * std::cos(k * x / a) * decay(k * k / t_diffusion);
        }
        return sum * current / height / a;
    };
    const double end = 0.1 * t_diffusion, mean = current / height / a;
    double error[2] = {0, 0}; // against the exponential series, with 20 and 40 steps
    for (const int steps : {20, 40}) {
        model stepped = m;
        const double dt = end / steps;
        set_time_step(stepped, dt);
        stepper run(stepped, imposed(current));
        circuit_result result;
        for (int n = 0; n < steps; ++n) result = run.step();
        ASSERT_EQ(result.felms.size(), 124u);
        for (const field_value& e : result.felms) {
            if (e.nop != bar) continue;
            double x = 0;
            for (const int node : stepped.felms[static_cast<std::size_t>(e.noe) - 1].nodes)
                x += place_of_node(stepped, node)[0] / 3;
            const double by_steps = series(x, [=](double rate) { return std::pow(1 + rate * dt, -steps); });
            const double exact = series(x, [=](double rate) { return std::exp(-rate * end); });
            EXPECT_NEAR(e.jz, by_steps, 0.002 * mean) << "x = " << x;
            error[steps / 40] = std::max(error[steps / 40], std::fabs(e.jz - exact));
        }
        expect_close(total_current(result, bar), current, 1e-9);
    }
    EXPECT_LT(error[0], 0.05 * mean);
    EXPECT_GT(error[0] / error[1], 1.6); // of first order in the step
    EXPECT_LT(error[0] / error[1], 2.4);
}

// A source drives the bars there and back. With the edge's current i, which the field touches through the bars alone:
//   I1 - i = 0,   I2 + i = 0,   R i - d g1 + d g2 = v   (a bar's drop along z is -d g).
TEST_F(grad_fai, bars_in_series_carry_the_same_current_back_and_forth)
{
    constexpr double depth = 0.3, r = 1e-3, voltage = 0.5, sigma_of_other = 2e6;
    model m = bars_model(sigma_of_other);
    circuit c;
    c.regions = {tied(bar, 1), tied(other_bar, 2)};
    c.nvoltg = 2;
    c.seventh = {0};
    c.f = {{0, 0, -1}, {0, 0, 1}, {-depth, depth, r}};
    c.u = {0, 0, voltage};
    const double r1 = depth / (sigma * bar_section), r2 = depth / (sigma_of_other * other_section);
    const double direct = voltage / (r + r1 + r2);
    {
        const circuit_result result = stepper(m, c).step();
        expect_close(result.of(2), direct, 1e-10);
        expect_close(result.of(0), -direct / (sigma * bar_section), 1e-10);
        expect_close(result.of(1), direct / (sigma_of_other * other_section), 1e-10);
    }
    // With steps longer than the time in which the field passes through a bar, nearly the circuit of the resistances
    // and the loop's inductance, whose energy is that of uniform currents.
    const double l = 2 * depth * planar_energy(m, {{bar, 1 / bar_section}, {other_bar, -1 / other_section}});
    const double dt = 3e-3;
    EXPECT_GT(dt, mu_0 * sigma * 0.01 * 0.01);
    set_time_step(m, dt);
    stepper run(m, c);
    double current = 0;
    for (int n = 0; n < 8; ++n) {
        current = (voltage + l / dt * current) / (r + r1 + r2 + l / dt);
        const circuit_result result = run.step();
        EXPECT_NEAR(result.of(2), current, 0.03 * direct);
        expect_close(total_current(result, bar), result.of(2), 1e-9);
        expect_close(total_current(result, other_bar), -result.of(2), 1e-9);
        const std::vector<printed_current> printed = printed_currents();
        ASSERT_EQ(printed.size(), 2u);
        expect_close(printed[0].total_curr, result.of(2), 1e-5);
        expect_close(printed[1].total_curr, -result.of(2), 1e-5);
    }
}

// One condition over two properties: the current divides as the conductances do.
TEST_F(grad_fai, bars_of_one_condition_share_the_current)
{
    circuit c = imposed(250);
    c.regions = {tied(bar, 1), tied(other_bar, 1)};
    const circuit_result result = stepper(bars_model(), c).step();
    const double conductance = sigma * (bar_section + other_section);
    expect_close(total_current(result, bar), 250 * sigma * bar_section / conductance, 1e-9);
    expect_close(total_current(result, other_bar), 250 * sigma * other_section / conductance, 1e-9);
}
