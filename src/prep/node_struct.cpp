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

// Nodes by place: those defined, in file order, then those that elements use although no record defines them, which
// take part in the numbering and get no record.
struct node_table {
    number_index index;
    std::size_t defined = 0;            // places with a record, idefng
    growing_array<double> ggg;          // x, y of the defined places [m]
    growing_array<std::uint8_t> ireffe; // 1: an element uses the node
    owned_array<double> fai0, acoef;    // constant term [Wb/m] and coefficient
    owned_array<std::int32_t> nufai;    // unknown number
    owned_array<std::int32_t> ifixc;    // 1: the node has a condition
    owned_array<std::int32_t> noind;    // its independent node, 0 for none
};

static void read_nodes(const control& cntl, input_file& in, node_table& nodes, std::FILE* log)
{
    record_list list = node_list(in, cntl.maxnog);
    for (mesh_node_record node; next_record(log, list, node);) {
        append(log, "ggg", nodes.ggg, node.x);
        append(log, "ggg", nodes.ggg, node.y);
        append(log, "ireffe", nodes.ireffe, std::uint8_t{0});
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
    for (mesh_felm_record felm; next_record(log, list, felm);) {
        const element_type& type = element_type_of(log, felm.type, felm.noe, ".");
        for (std::int32_t j = 0; j < type.nodes; ++j) {
            if (felm.node[j] < 1 || felm.node[j] > cntl.maxnog) fail_connection(log, "fem", felm.noe, j + 1);
            const std::int32_t place = place_of(nodes.index, felm.node[j]);
            if (place >= 0)
                nodes.ireffe.values[static_cast<std::size_t>(place)] = 1;
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
        append(log, "ireffe", nodes.ireffe, std::uint8_t{1});
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
        nodes.ifixc[at] = 1;
        nodes.fai0[at] = fai0;
        nodes.noind[at] = noi;
        nodes.acoef[at] = acoef;
    }
    fail_without_end(log, conditions_file, "r-f", "nog", "maxnog");
}

static std::int32_t number_free_nodes(const control& cntl, node_table& nodes, std::FILE* log)
{
    std::int32_t ndim = 0;
    for (std::int32_t k = 0; k < nodes.index.count; ++k) {
        const auto at = static_cast<std::size_t>(ascending_place(nodes.index, k).place);
        if (nodes.ireffe.values[at] == 0) continue;
        if (nodes.ifixc[at] == 1) {
            nodes.nufai[at] = -1;
            continue;
        }
        if (++ndim > cntl.maxdim) fail(log, "      Error. unknown no. over the limit.\n");
        nodes.nufai[at] = ndim;
        nodes.fai0[at] = 0.0;
        nodes.acoef[at] = 1.0;
    }
    return ndim;
}

// One pass in ascending order: a chain of dependent nodes resolves when each independent node has the smaller number.
static void resolve_dependent_nodes(const control& cntl, node_table& nodes, std::FILE* log)
{
    for (std::int32_t k = 0; k < nodes.index.count; ++k) {
        const auto [number, place] = ascending_place(nodes.index, k);
        const auto at = static_cast<std::size_t>(place);
        if (nodes.ireffe.values[at] == 0 || nodes.ifixc[at] == 0 || nodes.noind[at] <= 0) continue;
        if (std::fabs(nodes.acoef[at]) < cntl.eps_zero)
            fail(log,
                 "      Error. coefficient of unknown is zero.\n"
                 "             the dependent node no. === %d \n",
                 number);
        const std::int32_t independent = place_of(nodes.index, nodes.noind[at]);
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
        node.x = nodes.ggg.values[2 * at];
        node.y = nodes.ggg.values[2 * at + 1];
        node.nufai = nodes.nufai[at];
        node.fai0 = nodes.fai0[at];
        node.acoef = nodes.acoef[at];
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
    nodes.fai0 = zero_array<double>(log, "fai0", places);
    nodes.acoef = zero_array<double>(log, "acoef", places);
    nodes.nufai = zero_array<std::int32_t>(log, "nufai", places);
    nodes.ifixc = zero_array<std::int32_t>(log, "ifixc", places);
    nodes.noind = zero_array<std::int32_t>(log, "noind", places);
    skip_edge_conditions(cntl, files.conditions, log);
    read_fixed_conditions(cntl, files.conditions, nodes, log);
    const std::int32_t ndim = number_free_nodes(cntl, nodes, log);
    resolve_dependent_nodes(cntl, nodes, log);
    log_lines(log, "      ndim(total no. of unknown) = %d \n", ndim);
    write_nodes(files.node_struct, nodes, log);
}

} // namespace tarnel
