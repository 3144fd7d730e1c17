// Results of a run as fields: potentials and element results read from the binary files, own shape functions and
// quadrature for norms and energies, and closed forms.
#pragma once

#include "physics/meshes.h"
#include "support/process.h"
#include "support/stage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <numbers>
#include <vector>

namespace tarnel_test
{

inline constexpr double mu_0 = 1.25663706e-06; // [H/m], to the digits that every test writes and computes with

struct felm_result {
    int noe;
    double bx, by, hx, hy, jz, ez; // br, bz, hr, hz, jtheta, etheta in the axisymmetric mode
};

struct solved {
    std::vector<double> potential; // of node n at place n - 1
    std::vector<felm_result> felms;
    std::string log;
};

inline solved read_results()
{
    solved result;
    const std::string nodes = read_file("at-nresl-struct.tmp"), felms = read_file("at-eresl-struct.tmp");
    for (std::size_t at = 0; at + 16 <= nodes.size() && int_at(nodes, at) != 0; at += 16) {
        const auto place = static_cast<std::size_t>(int_at(nodes, at)) - 1;
        if (result.potential.size() <= place) result.potential.resize(place + 1, std::nan(""));
        result.potential[place] = double_at(nodes, at + 8);
    }
    for (std::size_t at = 0; at + 112 <= felms.size() && int_at(felms, at) != 0; at += 112)
        result.felms.push_back({int_at(felms, at), double_at(felms, at + 16), double_at(felms, at + 24),
                                double_at(felms, at + 40), double_at(felms, at + 48), double_at(felms, at + 80),
                                double_at(felms, at + 104)});
    return result;
}

// Leaves only the binary inputs in the working directory: nothing of an earlier run can pass for a result.
inline void remove_old_files()
{
    const std::array<std::string, 4> inputs = {"at-belm-struct.tmp", "at-proptv-struct.tmp", "at-h0vect-struct.tmp",
                                               "at-npresl-struct.tmp"};
    std::vector<std::filesystem::path> old;
    for (const auto& file : std::filesystem::directory_iterator("."))
        if (std::find(inputs.begin(), inputs.end(), file.path().filename()) == inputs.end()) old.push_back(file.path());
    for (const std::filesystem::path& file : old) std::filesystem::remove(file);
}

// One whole run. A run that fails leaves its log in the test's output and results that fail every comparison.
inline solved solve(const model& m)
{
    remove_old_files();
    write_model(m);
    const process_outcome run = run_library();
    if (!run.returned || !run.log.ends_with("    === The end. ===\n")) {
        ADD_FAILURE() << run.log;
        solved nothing;
        nothing.potential.assign(m.nodes.size(), std::nan(""));
        nothing.felms.assign(m.felms.size(), felm_result{0, NAN, NAN, NAN, NAN, NAN, NAN});
        return nothing;
    }
    solved result = read_results();
    result.log = run.log;
    EXPECT_EQ(result.potential.size(), m.nodes.size());
    EXPECT_EQ(result.felms.size(), m.felms.size());
    result.potential.resize(m.nodes.size(), std::nan(""));
    result.felms.resize(m.felms.size(), felm_result{0, NAN, NAN, NAN, NAN, NAN, NAN});
    return result;
}

// A value with its two derivatives; sums and products carry them along.
struct dual {
    double v, dx = 0, dy = 0;
    dual(double value) : v(value) {} // a number is a constant
    dual(double value, double x, double y) : v(value), dx(x), dy(y) {}
};
inline dual operator+(dual a, dual b)
{
    return {a.v + b.v, a.dx + b.dx, a.dy + b.dy};
}
inline dual operator-(dual a, dual b)
{
    return {a.v - b.v, a.dx - b.dx, a.dy - b.dy};
}
inline dual operator*(dual a, dual b)
{
    return {a.v * b.v, a.dx * b.v + a.v * b.dx, a.dy * b.v + a.v * b.dy};
}

// The Lagrange and serendipity shape functions by their general formulas in terms of the nodes' reference places.
inline std::vector<dual> shapes(int type, double xi, double eta)
{
    const dual x(xi, 1, 0), y(eta, 0, 1);
    std::vector<dual> n;
    if (corners_of(type) == 3) {
        const std::array<dual, 3> l = {x, y, 1 - x - y};
        for (const dual& li : l) n.push_back(second_order(type) ? li * (2 * li - 1) : li);
        if (second_order(type))
            for (std::size_t k = 0; k < 3; ++k) n.push_back(4 * l[k] * l[(k + 1) % 3]);
        return n;
    }
    constexpr double cx[] = {-1, 1, 1, -1}, cy[] = {-1, -1, 1, 1};
    for (int k = 0; k < 4; ++k) {
        const dual corner = 0.25 * (1 + cx[k] * x) * (1 + cy[k] * y);
        n.push_back(second_order(type) ? corner * (cx[k] * x + cy[k] * y - 1) : corner);
    }
    if (second_order(type)) {
        n.push_back(0.5 * (1 - x * x) * (1 - y));
        n.push_back(0.5 * (1 + x) * (1 - y * y));
        n.push_back(0.5 * (1 - x * x) * (1 + y));
        n.push_back(0.5 * (1 - x) * (1 - y * y));
    }
    return n;
}

// A field at one point of an element.
struct field_point {
    double x, y;   // [m]
    double area;   // Jacobian determinant [m2]
    double a;      // potential [Wb/m]
    double gx, gy; // its gradient [T]
};

inline field_point field_at(const mesh& m, const std::vector<double>& potential, const model_felm& felm, double xi,
                            double eta)
{
    const std::vector<dual> n = shapes(felm.type, xi, eta);
    dual x = 0, y = 0, a = 0;
    for (std::size_t k = 0; k < n.size(); ++k) {
        const auto place = static_cast<std::size_t>(felm.nodes[k]) - 1;
        x = x + n[k] * m.nodes[place].x;
        y = y + n[k] * m.nodes[place].y;
        a = a + n[k] * potential[place];
    }
    const double det = x.dx * y.dy - x.dy * y.dx;
    return {x.v, y.v, det, a.v, (a.dx * y.dy - a.dy * y.dx) / det, (a.dy * x.dx - a.dx * x.dy) / det};
}

struct weighted_place {
    double weight, at;
};

// Gauss-Legendre rule on (-1, 1) by Newton's method on the Legendre polynomial; exact to degree 2n - 1.
inline std::vector<weighted_place> gauss(int n)
{
    std::vector<weighted_place> rule;
    for (int i = 0; i < n; ++i) {
        double x = std::cos(std::numbers::pi * (i + 0.75) / (n + 0.5)), slope = 0;
        for (int step = 0; step < 100; ++step) {
            double before = 1, value = x;
            for (int k = 2; k <= n; ++k) {
                const double next = ((2 * k - 1) * x * value - (k - 1) * before) / k;
                before = value;
                value = next;
            }
            slope = n * (x * value - before) / (x * x - 1);
            const double correction = value / slope;
            x -= correction;
            if (std::fabs(correction) < 1e-16) break;
        }
        rule.push_back({2 / ((1 - x * x) * slope * slope), x});
    }
    return rule;
}

inline double integral(int n, double from, double to, const std::function<double(double)>& f)
{
    double sum = 0;
    for (const weighted_place& p : gauss(n)) sum += p.weight * f((from + to) / 2 + (to - from) / 2 * p.at);
    return sum * (to - from) / 2;
}

struct reference_point {
    double weight, xi, eta;
};

// A rule of n x n points on a type's reference element; on a triangle the square is folded at one corner.
inline std::vector<reference_point> element_rule(int type, int n)
{
    std::vector<reference_point> rule;
    for (const weighted_place& p : gauss(n))
        for (const weighted_place& q : gauss(n)) {
            const double l1 = (1 + p.at) / 2, l2 = (1 - l1) * (1 + q.at) / 2;
            if (corners_of(type) == 3)
                rule.push_back({p.weight * q.weight * (1 - l1) / 4, l1, l2});
            else
                rule.push_back({p.weight * q.weight, p.at, q.at});
        }
    return rule;
}

// The rules of the solver: three points (degree 2) on a triangle, 2 x 2 Gauss points on a quadrilateral.
inline std::vector<reference_point> solver_rule(int type)
{
    if (corners_of(type) == 4) return element_rule(type, 2);
    return {{1.0 / 6, 2.0 / 3, 1.0 / 6}, {1.0 / 6, 1.0 / 6, 2.0 / 3}, {1.0 / 6, 1.0 / 6, 1.0 / 6}};
}

// Integral over the mesh of a function of the point and the element, in the plane.
inline double integral_over(const mesh& m, const std::vector<double>& potential,
                            const std::function<std::vector<reference_point>(int)>& rule,
                            const std::function<double(const field_point&, const model_felm&)>& f)
{
    double sum = 0;
    for (const model_felm& felm : m.felms)
        for (const reference_point& p : rule(felm.type)) {
            const field_point at = field_at(m, potential, felm, p.xi, p.eta);
            sum += p.weight * at.area * f(at, felm);
        }
    return sum;
}

// L2 norm over the mesh of the error against a function, by a rule of 6 x 6 points (degree 10 or more).
inline double l2_error(const mesh& m, const std::vector<double>& potential,
                       const std::function<double(double, double)>& exact)
{
    const auto rule = [](int type) { return element_rule(type, 6); };
    return std::sqrt(integral_over(m, potential, rule, [&exact](const field_point& p, const model_felm&) {
        const double e = p.a - exact(p.x, p.y);
        return e * e;
    }));
}

// Largest deviation of the nodal potentials from a function.
inline double largest_error(const mesh& m, const std::vector<double>& potential,
                            const std::function<double(double, double)>& exact)
{
    double largest = 0;
    for (std::size_t n = 0; n < m.nodes.size(); ++n) {
        const double e = std::fabs(potential[n] - exact(m.nodes[n].x, m.nodes[n].y));
        largest = e <= largest ? largest : e; // a NaN stays
        if (std::isnan(e)) return e;
    }
    return largest;
}

// Atheta at (r, z) of a filament of radius a and current i in the plane z = 0 (Jackson, Classical
// Electrodynamics, 5.5): mu_0 i / (pi k) sqrt(a / r) ((1 - k^2 / 2) K(k) - E(k)), k^2 = 4 a r / ((a + r)^2 + z^2).
inline double loop_potential(double a, double i, double r, double z)
{
    if (r == 0) return 0;
    const double k = std::sqrt(4 * a * r / ((a + r) * (a + r) + z * z));
    return mu_0 * i / (std::numbers::pi * k) * std::sqrt(a / r) *
           ((1 - k * k / 2) * std::comp_ellint_1(k) - std::comp_ellint_2(k));
}

} // namespace tarnel_test
