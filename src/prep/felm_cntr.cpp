#include "prep/felm_cntr.h"

#include "common/element_table.h"
#include "common/look_ahead.h"
#include "common/number_index.h"
#include "common/record_list.h"
#include "common/records.h"

namespace tarnel
{

struct mesh_point {
    double x, y; // [m]
};

// Nodes by place. Only solid elements look at z, which stands apart so that a node's x and y share a line of cache.
struct point_table {
    number_index index;
    growing_array<mesh_point> ggg;
    growing_array<double> z; // [m]
};

static point_table read_points(const control& cntl, input_file& in, std::FILE* log)
{
    point_table points;
    const std::size_t most = record_capacity(in, sizeof(mesh_node_record), cntl.maxnog);
    reserve(log, "ggg", points.ggg, most);
    reserve(log, "ggg", points.z, most);
    reserve(log, "ggg", points.index.numbers, most);
    record_list list = node_list(in, cntl.maxnog);
    for (mesh_node_record copy; const mesh_node_record* node = next_in_place(log, list, copy);) {
        append(log, "ggg", points.ggg, {node->x, node->y});
        append(log, "ggg", points.z, node->z);
        add_number(log, "ggg", points.index, node->nog);
    }
    finish_index(log, "ggg", points.index);
    return points;
}

struct centre_rule {
    std::int32_t nodes;
    const double* weight;
    bool planar;
};

static centre_rule find_rule(std::int32_t code, std::int32_t noe, std::FILE* log)
{
    if (const element_type* planar = find_element_type(code)) return {planar->nodes, planar->centre_weight, true};
    if (const solid_type* solid = find_solid_type(code)) return {solid->nodes, solid->centre_weight, false};
    fail_element_type(log, noe, "");
}

// The weighted sum of the nodes' points. An undefined node counts as the origin: the node check has refused it.
static void set_centre(const centre_rule& rule, const point_table& points, const std::int32_t place[], double centre[3])
{
    double x = 0.0, y = 0.0, z = 0.0;
    for (std::int32_t k = 0; k < rule.nodes; ++k) {
        if (place[k] < 0) continue;
        const auto at = static_cast<std::size_t>(place[k]);
        const mesh_point& point = points.ggg.values[at];
        const double weight = rule.weight[k];
        x += weight * point.x;
        y += weight * point.y;
        if (!rule.planar) z += weight * points.z.values[at];
    }
    centre[0] = x, centre[1] = y, centre[2] = z;
}

void t_set_felm_cntr(control cntl, felm_cntr_files files, std::FILE* log)
{
    log_lines(log, "    === in func. t_set_felm_cntr ===\n");
    const point_table points = read_points(cntl, files.nodes, log);
    record_list list = felm_list(files.felms, cntl.maxfelm);
    for (mesh_felm_record copy; const mesh_felm_record* next = next_in_place(log, list, copy);) {
        const mesh_felm_record& felm = *next;
        std::size_t ahead[looked_at];
        const std::size_t places = places_ahead<mesh_felm_record>(list, points.index, 16, ahead);
        for (std::size_t k = 0; k < places; ++k) ask_for(&points.ggg.values[ahead[k]]);
        const centre_rule rule = find_rule(felm.type, felm.noe, log);
        std::int32_t place[most_nodes];
        for (std::int32_t k = 0; k < rule.nodes; ++k) {
            if (felm.node[k] < 1 || felm.node[k] > cntl.maxnog) fail_connection(log, "fem", felm.noe, k + 1);
            place[k] = place_of(points.index, felm.node[k]);
        }
        double centre[3];
        set_centre(rule, points, place, centre);
        write_value(log, files.centres, felm.noe, "w1");
        write_values(log, files.centres, centre, 3, "w2");
    }
    write_value(log, files.centres, std::int32_t{0}, "w3");
    flush_output(log, files.centres);
}

} // namespace tarnel
