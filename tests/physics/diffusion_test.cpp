// Eddy currents in a slab by repeated runs, each starting from the potentials of the one before.
#include "physics/fields.h"

using namespace tarnel_test;

using diffusion = stage_test;

namespace
{

constexpr double pi = std::numbers::pi;

// A slab from x = 0 to 1 m with mu sigma = 1 s/m2, so that the diffusion time l^2 mu sigma is 1 s.
constexpr double mu = 1e-6, sigma = 1e6;

// The runs of one transient. The first one finds no previous potentials and starts from zero.
solved step(model made, double end, int steps)
{
    made.iopt_trans = 1;
    made.delta_t = end / steps;
    std::filesystem::remove("at-npresl-struct.tmp");
    solved result;
    for (int n = 0; n < steps; ++n) {
        result = solve(made);
        const bool noted = result.log.find("  Note. There isn't the file at-npresl-struct.tmp.\n") != std::string::npos;
        EXPECT_EQ(noted, n == 0);
        std::filesystem::copy_file("at-nresl-struct.tmp", "at-npresl-struct.tmp",
                                   std::filesystem::copy_options::overwrite_existing);
    }
    return result;
}

// Sum of a series' terms n = 1, 2, ...; each decays in time as exp(-rate t), or in backward Euler as
// (1 + rate dt)^-steps, steps 0 standing for exact time.
struct decay {
    double end;
    int steps;
    double operator()(double rate) const
    {
        return steps == 0 ? std::exp(-rate * end) : std::pow(1 + rate * end / steps, -steps);
    }
};

// A steps to 1 at x = 0 and stays 0 at x = 1 (Carslaw and Jaeger, Conduction of Heat in Solids, 3.3):
// A = 1 - x - sum 2 / (n pi) sin(n pi x) decay(n^2 pi^2).
double potential_step(double x, const decay& decayed)
{
    double a = 1 - x;
    for (int n = 1; n <= 400; ++n) a -= 2 / (n * pi) * std::sin(n * pi * x) * decayed(n * n * pi * pi);
    return a;
}

// Hy steps to 1 / mu at x = 0, and A stays 0 at x = 1: with By = -dA/dx the steady A is 1 - x, and the sum over
// k = (n - 1/2) pi takes its cosine series away: A = 1 - x - sum 2 / k^2 cos(k x) decay(k^2).
double field_step(double x, const decay& decayed)
{
    double a = 1 - x;
    for (int n = 1; n <= 400; ++n) {
        const double k = (n - 0.5) * pi;
        a -= 2 / (k * k) * std::cos(k * x) * decayed(k * k);
    }
    return a;
}

mesh slab(int type, int cells)
{
    return grid({.nu = cells, .nv = 1, .type = all(type), .position = [cells](double u, double v) {
                     return point{u, v / cells};
                 }});
}

model slab_model(const mesh& m)
{
    model made = model_of(m);
    made.properties = {{.nop = 1, .mu = mu, .sigma = sigma}};
    return made;
}

constexpr double end = 0.15; // [s], with the step not yet settled

// Backward Euler's own series to the accuracy of the mesh, and the exact one with an error that halves with the step.
void expect_first_order(const model& made, const mesh& m, double (*series)(double, const decay&))
{
    std::vector<double> error;
    for (const int steps : {6, 12, 24}) {
        const solved result = step(made, end, steps);
        const auto in_steps = [=](double x, double) { return series(x, {end, steps}); };
        EXPECT_LT(largest_error(m, result.potential, in_steps), 2e-5) << steps;
        error.push_back(l2_error(m, result.potential, [=](double x, double) { return series(x, {end, 0}); }));
    }
    EXPECT_GT(error[0] / error[1], 1.8);
    EXPECT_LT(error[0] / error[1], 2.2);
    EXPECT_GT(error[1] / error[2], 1.9);
    EXPECT_LT(error[1] / error[2], 2.1);
}

} // namespace

TEST_F(diffusion, potential_step_follows_the_series_with_an_error_of_first_order_in_the_time_step)
{
    for (const int type : {206, 208}) {
        SCOPED_TRACE(type);
        const mesh m = slab(type, 16);
        model made = slab_model(m);
        fix_nodes(
            made, m, [](point p) { return p.x == 0 || p.x == 1; }, [](double x, double) { return 1 - x; });
        expect_first_order(made, m, potential_step);
    }
}

// The surface field comes through a boundary element; with the slab on its right hand the side runs up at x = 0.
TEST_F(diffusion, surface_field_step_follows_the_series_with_an_error_of_first_order_in_the_time_step)
{
    const mesh m = slab(208, 16);
    model made = slab_model(m);
    made.iopt_belm = 1;
    made.maxbelm = 2;
    bytes records;
    for (const boundary_side& side : clockwise_sides(m)) {
        const auto at = [&m](int node) { return m.parameters[static_cast<std::size_t>(node) - 1].x; };
        if (at(side.first) != 0 || at(side.last) != 0) continue;
        records.add_i(1).add_i(103).add_i(1).add_i(side.first).add_i(side.last).add_i(side.mid).add_zeros(24);
        records.add_d(0).add_zeros(24).add_d(1 / mu).add_zeros(56);
    }
    ASSERT_EQ(records.text().size(), 144U);
    write_file("at-belm-struct.tmp", records.add_zeros(144).text());
    fix_nodes(
        made, m, [](point p) { return p.x == 1; }, [](double, double) { return 0.0; });
    expect_first_order(made, m, field_step);
}

// E = -dA/dt, its difference over the step at the element's centre, and J = sigma E. Ampere's law around a line of
// nodes is the discrete equation: with E_i of the nodes and the consistent mass matrix of linear elements of length h,
// Hy grows by sigma h (E_(i-1) + 4 E_i + E_(i+1)) / 6 from one element to the next.
TEST_F(diffusion, eddy_currents_follow_from_the_change_of_potential)
{
    const int cells = 16, steps = 6;
    const mesh m = slab(204, cells);
    model made = slab_model(m);
    fix_nodes(
        made, m, [](point p) { return p.x == 0 || p.x == 1; }, [](double x, double) { return 1 - x; });
    const solved before = step(made, end * (steps - 1) / steps, steps - 1);
    const solved last = step(made, end, steps);
    std::vector<double> e_line(cells + 1); // of the nodes below
    for (std::size_t n = 0; n < m.nodes.size(); ++n)
        if (m.parameters[n].y == 0)
            e_line[static_cast<std::size_t>(std::lround(m.parameters[n].x * cells))] =
                -(last.potential[n] - before.potential[n]) / (end / steps);
    EXPECT_GT(*std::max_element(e_line.begin(), e_line.end()) - *std::min_element(e_line.begin(), e_line.end()), 1);
    for (std::size_t e = 0; e < m.felms.size(); ++e) {
        EXPECT_NEAR(last.felms[e].ez, (e_line[e] + e_line[e + 1]) / 2, 1e-9) << e + 1;
        EXPECT_NEAR(last.felms[e].jz / sigma, last.felms[e].ez, 1e-12) << e + 1;
        if (e == 0) continue;
        const double consistent = (e_line[e - 1] + 4 * e_line[e] + e_line[e + 1]) / 6;
        EXPECT_NEAR((last.felms[e].hy - last.felms[e - 1].hy) * cells / sigma, consistent, 1e-8) << e + 1;
    }
}

// A conducting part at rest carries nothing: with the potentials of the steady state as previous ones the step keeps
// them, however long it is.
TEST_F(diffusion, steady_state_stays_as_it_is)
{
    const mesh m = slab(204, 8);
    model made = slab_model(m);
    fix_nodes(
        made, m, [](point p) { return p.x == 0 || p.x == 1; }, [](double x, double) { return 1 - x; });
    bytes previous;
    for (const model_node& node : m.nodes) previous.add_i(node.nog).add_i(0).add_d(1 - node.x);
    write_file("at-npresl-struct.tmp", previous.add_zeros(16).text());
    made.iopt_trans = 1;
    made.delta_t = 0.125;
    const solved result = solve(made);
    EXPECT_LT(largest_error(m, result.potential, [](double x, double) { return 1 - x; }), 1e-13);
    for (const felm_result& felm : result.felms) EXPECT_NEAR(felm.jz / sigma, 0, 1e-12) << felm.noe;
}
