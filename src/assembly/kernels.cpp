#include "assembly/kernels.h"

#include <algorithm>
#include <cmath>

namespace tarnel
{

integration_rule triangle_rule()
{
    constexpr double weight = 1.0 / 6, near = 2.0 / 3, far = 1.0 / 6;
    return {3, {{weight, near, far}, {weight, far, near}, {weight, far, far}}};
}

void quadrilateral_rule(int n, integration_rule& rule)
{
    if (n == 1) {
        rule.points = 1;
        rule.point[0] = {4.0, 0.0, 0.0};
    } else if (n == 4) {
        const double a = 1.0 / std::sqrt(3.0);
        rule = {4, {{1.0, -a, -a}, {1.0, a, -a}, {1.0, -a, a}, {1.0, a, a}}};
    }
}

integration_rule rule_of(const element_type& type)
{
    if (type.reference == shape::triangle) return triangle_rule();
    integration_rule rule{};
    quadrilateral_rule(4, rule);
    return rule;
}

void set_shape_values(std::int32_t code, double xi, double eta, shape_values n)
{
    std::fill(n, n + most_nodes, 0.0);
    const double l3 = 1.0 - xi - eta;
    switch (code) {
    case 203:
        n[0] = xi;
        n[1] = eta;
        n[2] = l3;
        break;
    case 204:
        n[0] = (1.0 - xi) * (1.0 - eta) / 4;
        n[1] = (1.0 + xi) * (1.0 - eta) / 4;
        n[2] = (1.0 + xi) * (1.0 + eta) / 4;
        n[3] = (1.0 - xi) * (1.0 + eta) / 4;
        break;
    case 206:
        n[0] = xi * (2.0 * xi - 1.0);
        n[1] = eta * (2.0 * eta - 1.0);
        n[2] = l3 * (2.0 * l3 - 1.0);
        n[3] = 4.0 * xi * eta;
        n[4] = 4.0 * eta * l3;
        n[5] = 4.0 * l3 * xi;
        break;
    case 208:
        n[0] = (1.0 - xi) * (1.0 - eta) * (-xi - eta - 1.0) / 4;
        n[1] = (1.0 + xi) * (1.0 - eta) * (xi - eta - 1.0) / 4;
        n[2] = (1.0 + xi) * (1.0 + eta) * (xi + eta - 1.0) / 4;
        n[3] = (1.0 - xi) * (1.0 + eta) * (eta - xi - 1.0) / 4;
        n[4] = (1.0 - xi * xi) * (1.0 - eta) / 2;
        n[5] = (1.0 + xi) * (1.0 - eta * eta) / 2;
        n[6] = (1.0 - xi * xi) * (1.0 + eta) / 2;
        n[7] = (1.0 - xi) * (1.0 - eta * eta) / 2;
        break;
    default:
        break;
    }
}

static void set_row(double row[3], double d_xi, double d_eta)
{
    row[0] = d_xi;
    row[1] = d_eta;
}

void set_natural_derivatives(std::int32_t code, double xi, double eta, natural_derivatives d)
{
    std::fill(&d[0][0], &d[0][0] + std::size_t{3} * most_nodes, 0.0);
    const double l3 = 1.0 - xi - eta;
    switch (code) {
    case 203:
        set_row(d[0], 1.0, 0.0);
        set_row(d[1], 0.0, 1.0);
        set_row(d[2], -1.0, -1.0);
        break;
    case 204:
        set_row(d[0], -(1.0 - eta) / 4, -(1.0 - xi) / 4);
        set_row(d[1], (1.0 - eta) / 4, -(1.0 + xi) / 4);
        set_row(d[2], (1.0 + eta) / 4, (1.0 + xi) / 4);
        set_row(d[3], -(1.0 + eta) / 4, (1.0 - xi) / 4);
        break;
    case 206:
        set_row(d[0], 4.0 * xi - 1.0, 0.0);
        set_row(d[1], 0.0, 4.0 * eta - 1.0);
        set_row(d[2], -(4.0 * l3 - 1.0), -(4.0 * l3 - 1.0));
        set_row(d[3], 4.0 * eta, 4.0 * xi);
        set_row(d[4], -4.0 * eta, 4.0 * (l3 - eta));
        set_row(d[5], 4.0 * (l3 - xi), -4.0 * xi);
        break;
    case 208: // product rule on each corner function: both linear factors, then the third
        set_row(d[0], -(1.0 - eta) * (-xi - eta - 1.0) / 4 - (1.0 - xi) * (1.0 - eta) / 4,
                -(1.0 - xi) * (-xi - eta - 1.0) / 4 - (1.0 - xi) * (1.0 - eta) / 4);
        set_row(d[1], (1.0 - eta) * (xi - eta - 1.0) / 4 + (1.0 + xi) * (1.0 - eta) / 4,
                -(1.0 + xi) * (xi - eta - 1.0) / 4 - (1.0 + xi) * (1.0 - eta) / 4);
        set_row(d[2], (1.0 + eta) * (xi + eta - 1.0) / 4 + (1.0 + xi) * (1.0 + eta) / 4,
                (1.0 + xi) * (xi + eta - 1.0) / 4 + (1.0 + xi) * (1.0 + eta) / 4);
        set_row(d[3], -(1.0 + eta) * (eta - xi - 1.0) / 4 - (1.0 - xi) * (1.0 + eta) / 4,
                (1.0 - xi) * (eta - xi - 1.0) / 4 + (1.0 - xi) * (1.0 + eta) / 4);
        set_row(d[4], -xi * (1.0 - eta), -(1.0 - xi * xi) / 2);
        set_row(d[5], (1.0 - eta * eta) / 2, -eta * (1.0 + xi));
        set_row(d[6], -xi * (1.0 + eta), (1.0 - xi * xi) / 2);
        set_row(d[7], -(1.0 - eta * eta) / 2, -eta * (1.0 - xi));
        break;
    default:
        break;
    }
}

} // namespace tarnel
