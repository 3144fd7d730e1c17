#include "assembly/boundary.h"

#include "common/element_table.h"
#include "common/record_list.h"

#include <cmath>

namespace tarnel
{

void set_line_shapes(std::int32_t code, double xi, double n[3], double d[3])
{
    if (code == 102) {
        n[0] = (1.0 - xi) / 2, n[1] = (1.0 + xi) / 2, n[2] = 0.0;
        d[0] = -0.5, d[1] = 0.5, d[2] = 0.0;
    } else {
        n[0] = -xi * (1.0 - xi) / 2, n[1] = xi * (1.0 + xi) / 2, n[2] = 1.0 - xi * xi;
        d[0] = xi - 0.5, d[1] = xi + 0.5, d[2] = -2.0 * xi;
    }
}

// One boundary element's right-hand side by the two-point Gauss rule.
static void integrate_line(const control& cntl, const belm_record& belm, std::int32_t count, const node_values& nodes,
                           const std::size_t place[], double f[])
{
    constexpr int points = 2;
    const double a = 1.0 / std::sqrt(3.0);
    const double at[points] = {-a, a};
    const double s = cntl.iax == 1 ? -1.0 : 1.0;
    for (int p = 0; p < points; ++p) {
        double n[3], d[3];
        set_line_shapes(belm.type, at[p], n, d);
        double tangent_x = 0.0, tangent_y = 0.0, radius = 0.0;
        for (std::int32_t k = 0; k < count; ++k) {
            const node_value& point = nodes.ggg.values[place[k]];
            tangent_x += d[k] * point.x;
            tangent_y += d[k] * point.y;
            radius += n[k] * point.x;
        }
        if (cntl.iax == 1) {
            tangent_x *= radius;
            tangent_y *= radius;
        }
        const int pair = belm.points == points ? p : 0;
        const double along = belm.hx[pair] * tangent_x + belm.hy[pair] * tangent_y;
        for (std::int32_t k = 0; k < count; ++k) f[k] += s * along * n[k] * 1.0; // weight 1
    }
}

void add_boundary_elements(const control& cntl, input_file& in, const node_values& nodes, matrix_rows& matrix,
                           double uvecr[], std::FILE* log)
{
    const element_matrix no_stiffness = {};
    record_list list = belm_list(in, cntl.maxbelm);
    for (belm_record belm; next_record(log, list, belm);) {
        const std::int32_t count = boundary_nodes(belm.type);
        if (count == 0)
            fail(log,
                 "      Error. boundary element type no. is illegal.\n"
                 "             nob = %d \n",
                 belm.nob);
        std::size_t place[3];
        find_nodes(cntl, nodes.index, "bem", belm.nob, count, belm.node, place, log);
        double f[most_nodes] = {};
        integrate_line(cntl, belm, count, nodes, place, f);
        local_nodes local;
        set_local_nodes(nodes, count, place, local);
        scatter_element(count, no_stiffness, f, local, matrix, uvecr);
    }
}

} // namespace tarnel
