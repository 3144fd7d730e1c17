#include "prep/check_node_data.h"

#include "common/element_table.h"
#include "common/number_index.h"
#include "common/record_list.h"
#include "common/records.h"

#include <algorithm>
#include <limits>

namespace tarnel
{

// Small, so that the marks of all nodes stay in cache.
enum class node_mark : std::uint8_t { unused, used };

constexpr std::int32_t none = std::numeric_limits<std::int32_t>::max();

static number_index read_defined_nodes(const control& cntl, input_file& nodes, std::FILE* log)
{
    number_index defined;
    reserve(log, "idefng", defined.numbers, record_capacity(nodes, sizeof(mesh_node_record), cntl.maxnog));
    record_list list = node_list(nodes, cntl.maxnog);
    for (mesh_node_record copy; const mesh_node_record* node = next_in_place(log, list, copy);)
        add_number(log, "idefng", defined, node->nog);
    finish_index(log, "idefng", defined);
    return defined;
}

// Marks the places of the nodes that finite elements use.
//   returns the lowest undefined node number they use, or `none`
static std::int32_t mark_felm_nodes(const control& cntl, input_file& felms, const number_index& defined,
                                    owned_array<node_mark>& ireffe, std::FILE* log)
{
    std::int32_t lowest = none;
    record_list list = felm_list(felms, cntl.maxfelm);
    for (mesh_felm_record copy; const mesh_felm_record* next = next_in_place(log, list, copy);) {
        const mesh_felm_record& felm = *next;
        const element_type& type = element_type_of(log, felm.type, felm.noe, ".");
        for (std::int32_t j = 0; j < type.nodes; ++j) {
            if (felm.node[j] < 1 || felm.node[j] > cntl.maxnog) fail_connection(log, "fem", felm.noe, j + 1);
            const std::int32_t place = place_of(defined, felm.node[j]);
            if (place >= 0)
                ireffe[static_cast<std::size_t>(place)] = node_mark::used;
            else
                lowest = std::min(lowest, felm.node[j]);
        }
    }
    return lowest;
}

// Marks the places of the nodes that boundary elements use.
//   returns the lowest undefined node number they use, or `none`
static std::int32_t mark_belm_nodes(const control& cntl, input_file& belms, const number_index& defined,
                                    owned_array<node_mark>& irefbe, std::FILE* log)
{
    std::int32_t lowest = none;
    record_list list = belm_list(belms, cntl.maxbelm);
    for (belm_record belm; next_record(log, list, belm);) {
        const std::int32_t nodes = boundary_nodes(belm.type);
        if (nodes == 0)
            fail(log,
                 "      Error. boundary element type no. is illegal.\n"
                 "             nob = %d .\n",
                 belm.nob);
        for (std::int32_t j = 0; j < nodes; ++j) {
            if (belm.node[j] < 1 || belm.node[j] > cntl.maxnog) fail_connection(log, "bem", belm.nob, j + 1);
            const std::int32_t place = place_of(defined, belm.node[j]);
            if (place >= 0)
                irefbe[static_cast<std::size_t>(place)] = node_mark::used;
            else
                lowest = std::min(lowest, belm.node[j]);
        }
    }
    return lowest;
}

void eat_check_node_data(control cntl, check_node_files files, std::FILE* log)
{
    log_lines(log, "    === in func. eat_check_node_data ===\n");
    const number_index defined = read_defined_nodes(cntl, files.nodes, log);
    const std::size_t places = defined.numbers.size;
    owned_array<node_mark> ireffe = zero_array<node_mark>(log, "ireffe", places);
    const std::int32_t undefined = mark_felm_nodes(cntl, files.felms, defined, ireffe, log);

    // An undefined node of a boundary element that a finite element uses too is no lower than `undefined`, which
    // then comes first: so every undefined node counts here.
    std::int32_t boundary_only = none;
    if (cntl.iopt_belm == 1) {
        owned_array<node_mark> irefbe = zero_array<node_mark>(log, "irefbe", places);
        boundary_only = mark_belm_nodes(cntl, *files.belms, defined, irefbe, log);
        for (std::int32_t k = 0; k < defined.count; ++k) {
            const auto [number, place] = ascending_place(defined, k);
            const auto at = static_cast<std::size_t>(place);
            if (irefbe[at] == node_mark::used && ireffe[at] == node_mark::unused) {
                boundary_only = std::min(boundary_only, number);
                break;
            }
        }
    }
    if (undefined != none && undefined <= boundary_only)
        fail(log, "      Error. node no. %d not defined.\n", undefined);
    if (boundary_only != none)
        fail(log,
             "      Error. node no. %d is illegal.\n"
             "             Because, the node in boundary element\n"
             "             refered by no finite element.\n",
             boundary_only);
}

} // namespace tarnel
