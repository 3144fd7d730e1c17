#include "assembly/scatter.h"

namespace tarnel
{

void set_local_nodes(const node_values& nodes, std::int32_t count, const std::size_t place[], local_nodes& local)
{
    for (std::int32_t k = 0; k < count; ++k) {
        const node_value& node = nodes.ggg.values[place[k]];
        const potential_terms& terms = terms_of(nodes, node);
        local.aval0[k] = terms.aval0;
        local.acoef[k] = terms.acoef;
        local.unknown[k] = node.nufai < 1 ? -1 : node.nufai - 1;
    }
}

} // namespace tarnel
