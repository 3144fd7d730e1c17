#include "assembly/scatter.h"

namespace tarnel
{

void set_local_nodes(const node_values& nodes, std::int32_t count, const std::size_t place[], local_nodes& local)
{
    for (std::int32_t k = 0; k < count; ++k) {
        const node_value& node = nodes.ggg.values[place[k]];
        local.aval0[k] = node.aval0;
        local.acoef[k] = node.acoef;
        local.unknown[k] = node.nufai < 1 ? -1 : node.nufai - 1;
    }
}

static void add_term(matrix_rows& matrix, std::int32_t row, std::int32_t column, double value)
{
    const auto first = static_cast<std::size_t>(matrix.start[static_cast<std::size_t>(row)]);
    const auto last = static_cast<std::size_t>(matrix.start[static_cast<std::size_t>(row) + 1]);
    for (std::size_t t = first; t < last; ++t)
        if (matrix.mindex[t] == column) {
            matrix.amatr[t] += value;
            return;
        }
}

void scatter_element(int n, const element_matrix k, double f[], const local_nodes& local, matrix_rows& matrix,
                     double uvecr[])
{
    for (int j = 0; j < n; ++j) {
        double known = 0.0;
        for (int i = 0; i < n; ++i) known += k[j][i] * local.aval0[i];
        f[j] -= known;
    }
    for (int i = 0; i < n; ++i) {
        const std::int32_t gi = local.unknown[i];
        if (gi < 0) continue;
        uvecr[gi] += local.acoef[i] * f[i];
        for (int j = 0; j < n; ++j) {
            const std::int32_t gj = local.unknown[j];
            if (gj >= 0 && gj <= gi) add_term(matrix, gj, gi, local.acoef[i] * local.acoef[j] * k[i][j]);
        }
    }
}

} // namespace tarnel
