#include "circuit/volt_files.h"

#include "common/record_list.h"
#include "common/records.h"

#include <algorithm>

namespace tarnel
{

std::int32_t read_circuit_number(std::FILE* log, input_file& in, const char* name, const char* shown,
                                 std::int32_t limit)
{
    char tag[24];
    std::snprintf(tag, sizeof tag, "r:%s", name);
    const auto value = read_value<std::int32_t>(log, in, tag);
    if (value < 0 || value > limit)
        fail(log,
             "      Error. in %s(%s).\n"
             "             %s over the limit. %s = %d \n",
             in.name, tag, shown, shown, value);
    return value;
}

struct direction_block { // as it stands in the file
    double nvect[3];
    std::int32_t lnon;
    std::int32_t ignored;
};
static_assert(sizeof(direction_block) == 32);

static void read_conductors(const control& cntl, circuit_tables& tables, std::int32_t nop, input_file& in,
                            std::FILE* log)
{
    for (std::int32_t k = 0; k < cntl.maxvlt; ++k) {
        conductor read;
        read.nop = nop;
        read.order = static_cast<std::int32_t>(tables.conductors.size);
        read.novlt = read_circuit_number(log, in, "novlt", "novlt", cntl.maxvlt);
        if (read.novlt == 0) return;
        read.iswjh = read_value<std::int32_t>(log, in, "r:iswjh");
        const auto block = read_value<direction_block>(log, in, "r:nvect");
        read.lnon = block.lnon;
        std::copy(block.nvect, block.nvect + 3, read.nvect);
        if (read.lnon < 0 || read.lnon > cntl.maxprp)
            fail(log,
                 "      Error. in %s(r:nvect).\n"
                 "             lnon over the limit. novlt = %d \n",
                 in.name, read.novlt);
        append(log, "nvect_prp", tables.conductors, read);
    }
    fail_without_end(log, in.name, "r", "novlt", "maxvlt");
}

// Sorted by property and edge; of repeated records the last one stands.
static void sort_conductors(growing_array<conductor>& conductors)
{
    conductor* first = conductors.values.get();
    std::sort(first, first + conductors.size, [](const conductor& a, const conductor& b) {
        if (a.nop != b.nop) return a.nop < b.nop;
        return a.novlt != b.novlt ? a.novlt < b.novlt : a.order < b.order;
    });
    std::size_t kept = 0;
    for (std::size_t k = 0; k < conductors.size; ++k) {
        const bool last =
            k + 1 == conductors.size || first[k + 1].nop != first[k].nop || first[k + 1].novlt != first[k].novlt;
        if (last) first[kept++] = first[k];
    }
    conductors.size = kept;
}

static void read_properties(const control& cntl, circuit_tables& tables, input_file& in, std::FILE* log)
{
    log_lines(log, "            Now, reading %s +++\n", in.name);
    if (read_value<std::int32_t>(log, in, "r:maxvlt") != cntl.maxvlt) fail_in_file(log, in.name, "r:maxvlt");
    for (std::int32_t k = 0;; ++k) {
        if (k >= cntl.maxprp) fail_without_end(log, in.name, "r", "nop", "maxprp");
        const std::int32_t nop = read_circuit_number(log, in, "nop", "nop", cntl.maxprp);
        if (nop == 0) break;
        circuit_property property;
        property.iswvlt = read_value<std::int32_t>(log, in, "r:iswvlt");
        property.ngrad = read_value<std::int32_t>(log, in, "r:ngrad");
        if (property.ngrad < 0 || property.ngrad > cntl.maxvlt)
            fail(log,
                 "      Error. in %s(r:ngrad).\n"
                 "             ngrad over the limit. nop = %d \n",
                 in.name, nop);
        append(log, "iswvlt_prp", tables.properties, property);
        add_number(log, "ngrad_prp", tables.property_index, nop);
        if (property.iswvlt == 1) read_conductors(cntl, tables, nop, in, log);
    }
    finish_index(log, "ngrad_prp", tables.property_index);
    sort_conductors(tables.conductors);
}

static std::int32_t read_count(const char* name, std::int32_t limit, input_file& in, std::FILE* log)
{
    char tag[24];
    std::snprintf(tag, sizeof tag, "r:%s", name);
    const auto count = read_value<std::int32_t>(log, in, tag);
    log_lines(log, "        +++ %-7s = %d ...\n", name, count);
    if (count < 0 || count > limit) fail(log, "      Error. %s over the limit.\n", name);
    return count;
}

circuit_counts read_circuit_counts(const control& cntl, std::int32_t nvolte, circuit_size size, input_file& in,
                                   std::FILE* log)
{
    if (read_value<std::int32_t>(log, in, "r:maxvlt") != cntl.maxvlt)
        fail(log,
             "      Error. in %s(r:maxvlt).\n"
             "             maxvlt is different.\n",
             in.name);
    circuit_counts counts;
    counts.nvoltg = read_count("nvoltg", cntl.maxvlt, in, log);
    counts.nvoltv = read_count("nvoltv", cntl.maxvlt, in, log);
    counts.nvoltve = read_count("nvoltve", counts.nvoltv, in, log);
    counts.nvoltm = read_count("nvoltm", cntl.maxvlt, in, log);
    counts.nvolt = std::int64_t{counts.nvoltg} + counts.nvoltv + counts.nvoltm;
    if (size == circuit_size::formed) {
        log_lines(log, "        +++ nvolt   = %lld ...\n", static_cast<long long>(counts.nvolt));
        if (counts.nvolt <= 0) fail(log, "      Error. nvolt <= 0.\n");
    }
    if (std::int64_t{counts.nvoltg} + counts.nvoltve != nvolte) fail(log, "      Error. nvolte is different.\n");
    return counts;
}

void read_grad_list(const control& cntl, circuit_tables& tables, input_file& in, std::FILE* log)
{
    log_lines(log, "\n        +++ unknown no. of grad-fai(iug) +++ \n");
    for (std::int32_t k = 0;; ++k) {
        if (k >= cntl.maxvlt) fail_without_end(log, in.name, "r", "ngrad", "maxvlt");
        const std::int32_t ngrad = read_circuit_number(log, in, "ngrad", "ngrad", cntl.maxvlt);
        if (ngrad == 0) break;
        const auto iug = read_value<std::int32_t>(log, in, "r:iug");
        log_lines(log, "            ngrad = %d  iug = %d \n", ngrad, iug);
        if (iug < 0 || iug > tables.counts.nvoltg) fail(log, "      Error. iug over the limit.\n");
        append(log, "iu_grd", tables.iu_grd, iug);
        add_number(log, "iu_grd", tables.grad_index, ngrad);
    }
    finish_index(log, "iu_grd", tables.grad_index);
}

void read_edge_list(const control& cntl, circuit_tables& tables, input_file& in, std::FILE* log)
{
    log_lines(log, "\n        +++ unknown no. of edge(iuv) +++ \n");
    for (std::int32_t k = 0;; ++k) {
        if (k >= cntl.maxvlt) fail_without_end(log, in.name, "r", "novlt", "maxvlt");
        const std::int32_t novlt = read_circuit_number(log, in, "novlt", "novlt", cntl.maxvlt);
        if (novlt == 0) break;
        circuit_edge edge;
        edge.iuv = read_value<std::int32_t>(log, in, "r:iuv");
        read_values(log, in, edge.constv, 7, "r:constv");
        read_values(log, in, edge.icon, 2, "r:icon");
        log_lines(log, "            novlt = %d  iuv = %d \n", novlt, edge.iuv);
        if (edge.iuv < 0 || edge.iuv > tables.counts.nvoltv) fail(log, "      Error. iuv over the limit.\n");
        append(log, "iu_vlt", tables.edges, edge);
        add_number(log, "iu_vlt", tables.edge_index, novlt);
    }
    finish_index(log, "iu_vlt", tables.edge_index);
}

// A conductor that a property carries must be one of the edges coupled to the field.
static void check_coupled_edges(const circuit_tables& tables, std::FILE* log)
{
    for (std::int32_t k = 0; k < tables.property_index.count; ++k) {
        const std::int32_t nop = ascending_place(tables.property_index, k).number;
        if (region_of(tables, nop).iswvlt != 1) continue;
        for (const conductor& carried : conductors_of(tables, nop))
            if (carried.iswjh > 0 && edge_unknown(tables, carried.novlt) > tables.counts.nvoltve)
                fail(log,
                     "      Error. iuv over the limit(nvoltve).\n"
                     "             nop = %d, novlt = %d.\n",
                     nop, carried.novlt);
    }
}

circuit_tables t_rd_volt_files(const control& cntl, std::int32_t nvolte, input_file& data1, input_file& data2,
                               std::FILE* log)
{
    log_lines(log, "        === in func. t_rd_volt_files ===\n");
    circuit_tables tables;
    read_properties(cntl, tables, data1, log);
    log_lines(log, "            Now, reading %s +++\n", data2.name);
    tables.counts = read_circuit_counts(cntl, nvolte, circuit_size::passed_over, data2, log);
    read_grad_list(cntl, tables, data2, log);
    read_edge_list(cntl, tables, data2, log);
    check_coupled_edges(tables, log);
    return tables;
}

circuit_property region_of(const circuit_tables& tables, std::int32_t nop)
{
    const std::int32_t place = place_of(tables.property_index, nop);
    return place < 0 ? circuit_property{0, 0} : tables.properties.values[static_cast<std::size_t>(place)];
}

conductor_range conductors_of(const circuit_tables& tables, std::int32_t nop)
{
    const conductor* first = tables.conductors.values.get();
    const conductor* last = first + tables.conductors.size;
    const auto* low = std::lower_bound(first, last, nop, [](const conductor& c, std::int32_t n) { return c.nop < n; });
    const auto* high = std::upper_bound(low, last, nop, [](std::int32_t n, const conductor& c) { return n < c.nop; });
    return {low, high};
}

std::int32_t grad_unknown(const circuit_tables& tables, std::int32_t ngrad)
{
    const std::int32_t place = place_of(tables.grad_index, ngrad);
    return place < 0 ? 0 : tables.iu_grd.values[static_cast<std::size_t>(place)];
}

std::int32_t edge_unknown(const circuit_tables& tables, std::int32_t novlt)
{
    const std::int32_t place = place_of(tables.edge_index, novlt);
    return place < 0 ? 0 : tables.edges.values[static_cast<std::size_t>(place)].iuv;
}

} // namespace tarnel
