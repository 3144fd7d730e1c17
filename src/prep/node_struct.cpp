#include "prep/node_struct.h"

#include "common/element_table.h"
#include "common/number_index.h"
#include "common/record_list.h"
#include "common/records.h"
#include "readers/fixc_data.h"

#include <algorithm>
#include <cmath>

namespace tarnel
{

struct node_point {
    double x, y; // [m]
};

enum class node_mark : std::uint8_t { unused, used };

struct node_condition {
    double fai0, acoef; // constant term [Wb/m] and coefficient
    std::int32_t noind; // independent node, 0 for none
};

// Nodes by place: those defined, in file order, then those that elements use although no record defines them, which
// take part in the numbering and get no record.
struct node_table {
    number_index index;
    std::size_t defined = 0;         // places with a record, idefng
    growing_array<node_point> ggg;   // of the defined places
    growing_array<node_mark> ireffe; // whether an element uses the node
    owned_array<std::int32_t> nufai; // unknown number
    owned_array<std::int32_t> ifixc; // place of the node's condition, from 1; 0 without one
    growing_array<node_condition> conditions;
};

static const node_condition& condition_of(const node_table& nodes, std::size_t place)
{
    return nodes.conditions.values[static_cast<std::size_t>(nodes.ifixc[place]) - 1];
}

static void read_nodes(const control& cntl, input_file& in, node_table& nodes, std::FILE* log)
{
    const std::size_t most = record_capacity(in, sizeof(mesh_node_record), cntl.maxnog);
    reserve(log, "ggg", nodes.ggg, most);
    reserve(log, "ireffe", nodes.ireffe, most);
    reserve(log, "idefng", nodes.index.numbers, most);
    record_list list = node_list(in, cntl.maxnog);
    for (mesh_node_record copy; const mesh_node_record* next = next_in_place(log, list, copy);) {
        const mesh_node_record& node = *next;
        append(log, "ggg", nodes.ggg, {node.x, node.y});
        append(log, "ireffe", nodes.ireffe, node_mark::unused);
        add_number(log, "idefng", nodes.index, node.nog);
        if (cntl.iax == 1 && node.x < 0.0) fail(log, "      Error. radius < 0.0 for AX.  nog === %d \n", node.nog);
    }
    finish_index(log, "idefng", nodes.index);
    nodes.defined = nodes.index.numbers.size;
}

static void mark_nodes_of_elements(const control& cntl, input_file& in, node_table& nodes, std::FILE* log)
{
    growing_array<std::int32_t> undefined;
    record_list list = felm_list(in, cntl.maxfelm);
    for (mesh_felm_record copy; const mesh_felm_record* next = next_in_place(log, list, copy);) {
        const mesh_felm_record& felm = *next;
        const element_type& type = element_type_of(log, felm.type, felm.noe, ".");
        for (std::int32_t j = 0; j < type.nodes; ++j) {
            if (felm.node[j] < 1 || felm.node[j] > cntl.maxnog) fail_connection(log, "fem", felm.noe, j + 1);
            const std::int32_t place = place_of(nodes.index, felm.node[j]);
            if (place >= 0)
                nodes.ireffe.values[static_cast<std::size_t>(place)] = node_mark::used;
            else
                append(log, "ireffe", undefined, felm.node[j]);
        }
    }
    if (undefined.size == 0) return;
    std::int32_t* begin = undefined.values.get();
    std::sort(begin, begin + undefined.size);
    const std::int32_t* end = std::unique(begin, begin + undefined.size);
    for (const std::int32_t* number = begin; number != end; ++number) {
        add_number(log, "idefng", nodes.index, *number);
        append(log, "ireffe", nodes.ireffe, node_mark::used);
    }
    finish_index(log, "idefng", nodes.index);
}

// Section a, which only the host uses.
static void skip_edge_conditions(const control& cntl, input_file& in, std::FILE* log)
{
    const std::int32_t limit = edge_section_limit(cntl);
    for (std::int32_t k = 0; k < limit; ++k) {
        if (read_value<std::int32_t>(log, in, "r-a1") == 0) return;
        read_value<std::int32_t>(log, in, "r-a2");
        read_value<double>(log, in, "r-a3");
        read_value<std::int32_t>(log, in, "r-a4");
        read_value<std::int32_t>(log, in, "r-a5");
        read_value<double>(log, in, "r-a6");
    }
    fail_without_end(log, conditions_file, "r-a", "n1", "maxedg");
}

// Section f; a later condition of a node overwrites an earlier one, conditions of nodes unknown here have no effect.
static void read_fixed_conditions(const control& cntl, input_file& in, node_table& nodes, std::FILE* log)
{
    for (std::int32_t k = 0; k < cntl.maxnog; ++k) {
        const auto nog = read_value<std::int32_t>(log, in, "r-f1");
        if (nog < 0 || nog > cntl.maxnog) fail(log, "      Error. node no. in fix-data over the limit.\n");
        if (nog == 0) return;
        const auto fai0 = read_value<double>(log, in, "r-f2");
        const auto noi = read_value<std::int32_t>(log, in, "r-f3");
        if (noi < 0 || noi > cntl.maxnog)
            fail(log,
                 "      Error. noi in fix-data over the limit.\n"
                 "             the dependent node no. === %d \n",
                 nog);
        const auto acoef = read_value<double>(log, in, "r-f4");
        const std::int32_t place = place_of(nodes.index, nog);
        if (place < 0) continue;
        const auto at = static_cast<std::size_t>(place);
        if (nodes.ifixc[at] == 0) {
            append(log, "fai0", nodes.conditions, {});
            nodes.ifixc[at] = static_cast<std::int32_t>(nodes.conditions.size);
        }
        nodes.conditions.values[static_cast<std::size_t>(nodes.ifixc[at]) - 1] = {fai0, acoef, noi};
    }
    fail_without_end(log, conditions_file, "r-f", "nog", "maxnog");
}

static std::int32_t number_free_nodes(const control& cntl, node_table& nodes, std::FILE* log)
{
    std::int32_t ndim = 0;
    for (std::int32_t k = 0; k < nodes.index.count; ++k) {
        const auto at = static_cast<std::size_t>(ascending_place(nodes.index, k).place);
        if (nodes.ireffe.values[at] == node_mark::unused) continue;
        if (nodes.ifixc[at] != 0) {
            nodes.nufai[at] = -1;
            continue;
        }
        if (++ndim > cntl.maxdim) fail(log, "      Error. unknown no. over the limit.\n");
        nodes.nufai[at] = ndim;
    }
    return ndim;
}

// One pass in ascending order: a chain of dependent nodes resolves when each independent node has the smaller number.
static void resolve_dependent_nodes(const control& cntl, node_table& nodes, std::FILE* log)
{
    for (std::int32_t k = 0; k < nodes.index.count; ++k) {
        const auto [number, place] = ascending_place(nodes.index, k);
        const auto at = static_cast<std::size_t>(place);
        if (nodes.ireffe.values[at] == node_mark::unused || nodes.ifixc[at] == 0) continue;
        const node_condition& condition = condition_of(nodes, at);
        if (condition.noind <= 0) continue;
        if (std::fabs(condition.acoef) < cntl.eps_zero)
            fail(log,
                 "      Error. coefficient of unknown is zero.\n"
                 "             the dependent node no. === %d \n",
                 number);
        const std::int32_t independent = place_of(nodes.index, condition.noind);
        const std::int32_t unknown = independent < 0 ? 0 : nodes.nufai[static_cast<std::size_t>(independent)];
        if (unknown < 1)
            fail(log,
                 "      Error. the independent node is fixed.\n"
                 "             the dependent node no. === %d \n",
                 number);
        nodes.nufai[at] = unknown;
    }
}

static void write_nodes(output_file& out, const node_table& nodes, std::FILE* log)
{
    for (std::int32_t k = 0; k < nodes.index.count; ++k) {
        const auto [number, place] = ascending_place(nodes.index, k);
        const auto at = static_cast<std::size_t>(place);
        if (at >= nodes.defined) continue;
        node_struct_record node;
        node.nog = number;
        node.x = nodes.ggg.values[at].x;
        node.y = nodes.ggg.values[at].y;
        node.nufai = nodes.nufai[at];
        if (nodes.ifixc[at] != 0) {
            node.fai0 = condition_of(nodes, at).fai0;
            node.acoef = condition_of(nodes, at).acoef;
        } else if (node.nufai > 0) {
            node.acoef = 1.0; // the unknown itself
        }
        write_value(log, out, node, "w");
    }
    write_value(log, out, node_struct_record{}, "w");
    flush_output(log, out);
}

void eat_set_node_struct(control cntl, node_struct_files files, std::FILE* log)
{
    log_lines(log, "    === in func. eat_set_node_struct ===\n");
    node_table nodes;
    read_nodes(cntl, files.nodes, nodes, log);
    mark_nodes_of_elements(cntl, files.felms, nodes, log);
    const std::size_t places = nodes.index.numbers.size;
    nodes.nufai = zero_array<std::int32_t>(log, "nufai", places);
    nodes.ifixc = zero_array<std::int32_t>(log, "ifixc", places);
    skip_edge_conditions(cntl, files.conditions, log);
    read_fixed_conditions(cntl, files.conditions, nodes, log);
    const std::int32_t ndim = number_free_nodes(cntl, nodes, log);
    resolve_dependent_nodes(cntl, nodes, log);
    log_lines(log, "      ndim(total no. of unknown) = %d \n", ndim);
    write_nodes(files.node_struct, nodes, log);
}

} // namespace tarnel
