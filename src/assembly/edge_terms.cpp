#include "assembly/edge_terms.h"

#include "circuit/edge_files.h"
#include "common/by_element.h"

#include <algorithm>

namespace tarnel
{

edge_terms load_edge_terms(const control& cntl, std::int32_t nvolte, std::int32_t ndim, circuit_files files,
                           std::FILE* log)
{
    edge_terms terms;
    terms.nvolte = nvolte;
    terms.ndim = ndim;
    terms.tables = t_rd_volt_files(cntl, nvolte, files.data1, files.data2, log);
    terms.systems = t_rd_lcs_struct(cntl, files.lcs, log);
    const auto edges = static_cast<std::size_t>(nvolte);
    terms.vvectr = zero_array<double>(log, "vvectr", edges * static_cast<std::size_t>(ndim));
    terms.svvecr = zero_array<double>(log, "svvecr", edges * most_nodes);
    terms.fdiagr = zero_array<double>(log, "fdiagr", edges);
    terms.fvaddr = zero_array<double>(log, "fvaddr", edges);
    return terms;
}

static void find_sources(const control& cntl, edge_terms& terms, std::int32_t nop, const double centre[3],
                         std::FILE* log)
{
    for (const conductor& source : conductors_of(terms.tables, nop)) {
        if (source.iswjh <= 0) continue;
        element_edge acting;
        global_direction(cntl, terms.systems, source, centre, acting.nvect, log);
        const std::int32_t iuv = edge_unknown(terms.tables, source.novlt);
        if (iuv <= 0 || source.iswjh > 2) continue;
        acting.edge = static_cast<std::size_t>(iuv) + static_cast<std::size_t>(terms.tables.counts.nvoltg) - 1;
        acting.kind = source.iswjh == 1 ? edge_kind::current_density : edge_kind::magnetisation;
        append(log, "nvect_vlt", terms.acting, acting);
    }
}

void find_acting_edges(const control& cntl, edge_terms& terms, const felm_struct_record& felm, double sigma,
                       input_file& centres, std::FILE* log)
{
    double centre[3];
    read_centre(log, centres, felm.noe, shown_numbers::none, centre);
    terms.acting.size = 0;
    const circuit_property region = region_of(terms.tables, felm.nop);
    if (region.iswvlt == 1) find_sources(cntl, terms, felm.nop, centre, log);
    terms.grad_region = region.iswvlt == -1 && terms.tables.counts.nvoltg >= 1;
    if (!terms.grad_region) return;
    if (sigma < cntl.eps_zero)
        fail(log,
             "      Error. sigma is 0 for grad-fai condition.\n"
             "             noe = %d \n",
             felm.noe);
    const std::int32_t iug = region.ngrad > 0 ? grad_unknown(terms.tables, region.ngrad) : 0;
    if (iug <= 0) return;
    append(log, "nvect_vlt", terms.acting, element_edge{static_cast<std::size_t>(iug) - 1, edge_kind::grad_fai, {}});
}

double source_at_point(const control& cntl, const edge_terms& terms, double js, double sigma, double radius)
{
    return cntl.iax == 1 && terms.grad_region ? js * sigma / (2.0 * cntl.pi * radius) : js;
}

void add_edge_point(edge_terms& terms, bool axisymmetric, int nodes, const shape_values n, const global_derivatives g,
                    double dv, double radius, double sigma, const double change[])
{
    const double s = axisymmetric ? -1.0 : 1.0;
    for (std::size_t a = 0; a < terms.acting.size; ++a) {
        const element_edge& acting = terms.acting.values[a];
        double* f = terms.svvecr.get() + acting.edge * most_nodes;
        double& added = terms.fvaddr[acting.edge];
        for (int k = 0; k < nodes; ++k) {
            double increment = 0.0;
            switch (acting.kind) {
            case edge_kind::current_density:
                increment = acting.nvect[2] * n[k] * dv;
                break;
            case edge_kind::magnetisation:
                increment = s * (acting.nvect[0] * g[k][1] - acting.nvect[1] * g[k][0]) * dv;
                break;
            case edge_kind::grad_fai:
                increment = axisymmetric ? -sigma * n[k] * dv / radius : -sigma * n[k] * dv;
                break;
            }
            f[k] += increment;
            added += change[k] * increment;
        }
        if (acting.kind == edge_kind::grad_fai)
            terms.fdiagr[acting.edge] += axisymmetric ? -sigma * dv / radius / radius : -sigma * dv;
    }
}

void scatter_edges(edge_terms& terms, int nodes, const local_nodes& local)
{
    for (std::size_t a = 0; a < terms.acting.size; ++a) {
        const std::size_t edge = terms.acting.values[a].edge;
        double* f = terms.svvecr.get() + edge * most_nodes;
        double* v = terms.vvectr.get() + edge * static_cast<std::size_t>(terms.ndim);
        for (int k = 0; k < nodes; ++k)
            if (local.unknown[k] >= 0) v[local.unknown[k]] += local.acoef[k] * f[k];
        std::fill(f, f + nodes, 0.0); // an edge may act twice: its second visit finds zeros
    }
}

void write_edge_vectors(std::int32_t nvolte, std::int32_t header, std::int32_t trailer, const double vvectr[],
                        std::FILE* log)
{
    const auto values = static_cast<std::size_t>(header);
    for (std::int32_t e = 1; e <= nvolte; ++e) {
        const edge_file_name name = edge_vector_name(e);
        output_file out;
        if (!open_output(log, out, name.text, name.text, content::binary))
            fail(log, "      Error. Can't open %s.\n", name.text);
        write_value(log, out, header, "w1");
        write_values(log, out, vvectr + static_cast<std::size_t>(e - 1) * values, values, "w2");
        write_value(log, out, trailer, "w3");
        close_output(log, out);
    }
}

void write_edge_diagonals(output_file& out, const edge_terms& terms, std::FILE* log)
{
    write_value(log, out, terms.nvolte, "w1");
    for (std::int32_t e = 0; e < terms.nvolte; ++e) {
        write_value(log, out, terms.fdiagr[static_cast<std::size_t>(e)], "w2");
        write_value(log, out, terms.fvaddr[static_cast<std::size_t>(e)], "w3");
    }
    flush_output(log, out);
}

} // namespace tarnel
