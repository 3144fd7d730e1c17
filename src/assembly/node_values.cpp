#include "assembly/node_values.h"

#include "common/element_table.h"

#include <bit>

namespace tarnel
{

const node_struct_record* next_node(record_list& list, node_struct_record& copy, std::int32_t ndim, std::FILE* log)
{
    const node_struct_record* node = next_in_place(log, list, copy);
    if (node != nullptr && node->nufai > ndim) fail(log, "      Error. node.nufai > ndim.  nog = %d \n", node->nog);
    return node;
}

static bool same_bits(const potential_terms& a, const potential_terms& b)
{
    return std::bit_cast<std::uint64_t>(a.aval0) == std::bit_cast<std::uint64_t>(b.aval0) &&
           std::bit_cast<std::uint64_t>(a.acoef) == std::bit_cast<std::uint64_t>(b.acoef);
}

node_values read_node_values(const control& cntl, input_file& in, std::int32_t ndim, std::FILE* log)
{
    node_values nodes;
    const std::size_t most = record_capacity(in, sizeof(node_struct_record), cntl.maxnog);
    reserve(log, "ggg", nodes.ggg, most);
    reserve(log, "ggg", nodes.index.numbers, most);
    append(log, "ggg", nodes.terms, potential_terms{});
    record_list list = node_list(in, cntl.maxnog);
    for (node_struct_record copy; const node_struct_record* node = next_node(list, copy, ndim, log);) {
        const potential_terms terms = {node->fai0, node->acoef};
        const bool plain = same_bits(terms, nodes.terms.values[0]);
        const auto place = plain ? 0 : static_cast<std::int32_t>(nodes.terms.size);
        if (!plain) append(log, "ggg", nodes.terms, terms);
        append(log, "ggg", nodes.ggg, {node->x, node->y, node->nufai, place});
        add_number(log, "ggg", nodes.index, node->nog);
    }
    finish_index(log, "ggg", nodes.index);
    return nodes;
}

void check_time_step(const control& cntl, std::FILE* log)
{
    if (cntl.eps_zero > cntl.delta_t) fail(log, "      Error. time step(cntl.delta_t) is zero.\n");
}

owned_array<double> read_previous_potentials(const control& cntl, input_file* in, const number_index& nodes,
                                             std::FILE* log)
{
    owned_array<double> avalp = zero_array<double>(log, "avalp", nodes.numbers.size);
    if (in == nullptr) return avalp;
    record_list list = node_list(*in, cntl.maxnog);
    for (potential_record node; next_record(log, list, node);) {
        const std::int32_t place = place_of(nodes, node.nog);
        if (place >= 0) avalp[static_cast<std::size_t>(place)] = node.potential;
    }
    return avalp;
}

void find_nodes(const control& cntl, const number_index& index, const char* kind, std::int32_t element,
                std::int32_t count, const std::int32_t node[], std::size_t place[], std::FILE* log)
{
    for (std::int32_t j = 0; j < count; ++j) {
        if (node[j] < 1 || node[j] > cntl.maxnog) fail_connection(log, kind, element, j + 1);
        const std::int32_t found = place_of(index, node[j]);
        if (found < 0) fail(log, "      Error. node no. %d not defined.\n", node[j]);
        place[j] = static_cast<std::size_t>(found);
    }
}

} // namespace tarnel
