// The order of the error in the mesh size, against harmonic potentials on refined curved meshes.
#include "physics/fields.h"

using namespace tarnel_test;

using convergence = stage_test;

namespace
{

// L2 errors on meshes of n, 2n and 4n cells a side, the potential given on the rim.
std::vector<double> errors(int iax, const std::function<int(int, int)>& type, int coarsest,
                           const std::function<point(double, double)>& position,
                           const std::function<double(double, double)>& exact)
{
    std::vector<double> found;
    for (int n = coarsest; n <= 4 * coarsest; n *= 2) {
        const mesh m = grid({.nu = n, .nv = n, .type = type, .position = position});
        model made = model_of(m);
        made.iax = iax;
        made.properties = {{.nop = 1, .mu = mu_0}};
        fix_nodes(made, m, on_rim, exact);
        found.push_back(l2_error(m, solve(made).potential, exact));
    }
    return found;
}

struct expected_order {
    const char* name;
    std::function<int(int, int)> type;
    int coarsest;
    double least, most;
};

// Linear shape functions leave an L2 error of order 2, quadratic ones of order 3.
const std::vector<expected_order>& orders()
{
    static const std::vector<expected_order> all_orders = {
        {"203", all(203), 10, 1.9, 2.1},
        {"204", all(204), 10, 1.9, 2.1},
        {"203 and 204", chessboard(203, 204), 10, 1.9, 2.1},
        {"206", all(206), 4, 2.9, 3.3},
        {"208", all(208), 4, 2.9, 3.3},
        {"206 and 208", chessboard(206, 208), 4, 2.9, 3.3},
    };
    return all_orders;
}

void expect_order(const expected_order& expected, const std::vector<double>& error)
{
    const double before = std::log2(error[0] / error[1]), last = std::log2(error[1] / error[2]);
    EXPECT_GT(last, expected.least) << error[0] << " " << error[1] << " " << error[2] << " order before " << before;
    EXPECT_LT(last, expected.most) << error[0] << " " << error[1] << " " << error[2] << " order before " << before;
}

} // namespace

// A = exp(x) sin(y) + r^4 cos(4 phi) / 8 on a quarter of a ring, radii 1 to 2, with wavy lines inside.
TEST_F(convergence, planar_error_is_of_second_order_for_linear_and_third_for_quadratic_types)
{
    const auto ring = [](double u, double v) {
        const double pi = std::numbers::pi, wave = std::sin(pi * u) * std::sin(pi * v);
        const double r = 1 + u + 0.15 * wave, phi = (v - 0.1 * wave) * pi / 2;
        return point{r * std::cos(phi), r * std::sin(phi)};
    };
    const auto exact = [](double x, double y) {
        return std::exp(x) * std::sin(y) + (x * x * x * x - 6 * x * x * y * y + y * y * y * y) / 8;
    };
    for (const expected_order& expected : orders()) {
        SCOPED_TRACE(expected.name);
        expect_order(expected, errors(0, expected.type, expected.coarsest, ring, exact));
    }
}

// Atheta = I1(2 r) cos(2 z) has curl curl (Atheta e_theta) = 0, I1 the modified Bessel function; the axis is a side.
TEST_F(convergence, axisymmetric_error_is_of_second_order_for_linear_and_third_for_quadratic_types)
{
    const auto barrel = [](double u, double v) {
        const double pi = std::numbers::pi;
        return point{u * (1 + 0.3 * std::sin(pi * v)), v + 0.1 * u * std::sin(pi * v)};
    };
    const auto exact = [](double r, double z) { return std::cyl_bessel_i(1, 2 * r) * std::cos(2 * z); };
    for (const expected_order& expected : orders()) {
        SCOPED_TRACE(expected.name);
        expect_order(expected, errors(1, expected.type, expected.coarsest, barrel, exact));
    }
}
