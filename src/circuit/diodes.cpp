#include "circuit/diodes.h"

#include "common/record_list.h"
#include "common/records.h"

#include <algorithm>
#include <cmath>

namespace tarnel
{

static void read_diode_list(const control& cntl, diode_data& data, input_file& in, std::FILE* log)
{
    for (std::int32_t k = 0;; ++k) {
        if (k >= cntl.maxvlt) fail_without_end(log, in.name, "r", "novlt", "maxvlt");
        diode read{};
        read.novlt = read_circuit_number(log, in, "novlt_diod", "novlt", cntl.maxvlt);
        if (read.novlt == 0) return;
        read.not_diod = read_circuit_number(log, in, "not_diod", "not", cntl.maxvlt);
        read.isign_diod = read_value<std::int32_t>(log, in, "r:isign_diod");
        read.order = k;
        append(log, "not_diod_vlt", data.diodes, read);
    }
}

// Ascending edges; of repeated records the last one stands.
static void sort_diodes(growing_array<diode>& diodes)
{
    diode* first = diodes.values.get();
    std::sort(first, first + diodes.size, [](const diode& a, const diode& b) {
        return a.novlt != b.novlt ? a.novlt < b.novlt : a.order < b.order;
    });
    std::size_t kept = 0;
    for (std::size_t k = 0; k < diodes.size; ++k)
        if (k + 1 == diodes.size || first[k + 1].novlt != first[k].novlt) first[kept++] = first[k];
    diodes.size = kept;
}

static void read_table_list(const control& cntl, diode_data& data, input_file& in, std::FILE* log)
{
    for (std::int32_t k = 0; k < cntl.maxvlt; ++k) { // a full list needs no end
        const std::int32_t not_diod = read_circuit_number(log, in, "not_diod", "not", cntl.maxvlt);
        if (not_diod == 0) break;
        const auto points = read_value<std::int32_t>(log, in, "r:notable_diod");
        if (points < 2 || points > data.maxtdat)
            fail(log,
                 "      Error. in %s(r:notable_diod).\n"
                 "             no. of table data over the limit. not_diod = %d \n",
                 in.name, not_diod);
        append(log, "table_diod", data.table_at, data.points.size);
        append(log, "notable_diod", data.table_points, points);
        add_number(log, "notable_diod", data.table_index, not_diod);
        for (std::int32_t p = 0; p < points; ++p)
            append(log, "table_diod", data.points, read_value<diode_point>(log, in, "r:v-i for diode"));
    }
    finish_index(log, "notable_diod", data.table_index);
}

diode_data read_diodes(const control& cntl, input_file& in, std::FILE* log)
{
    diode_data data;
    data.maxtdat = read_value<std::int32_t>(log, in, "r:maxtdat_diod");
    data.itermax = read_value<std::int32_t>(log, in, "r:itermax_diod");
    data.eps = read_value<double>(log, in, "r:eps_diod");
    if (data.maxtdat <= 0) return data;
    read_diode_list(cntl, data, in, log);
    sort_diodes(data.diodes);
    read_table_list(cntl, data, in, log);
    return data;
}

// The line through the table's last segment.
static void set_last_segment(diode& d)
{
    const diode_point& end = d.table[d.points - 1];
    const diode_point& before = d.table[d.points - 2];
    d.rt = (end.v - before.v) / (end.i - before.i);
    d.vct = end.v - end.i * d.rt;
}

void start_diodes(diode_data& data, std::FILE* log)
{
    for (std::size_t k = 0; k < data.diodes.size; ++k) {
        diode& d = data.diodes.values[k];
        const std::int32_t place = place_of(data.table_index, d.not_diod);
        d.points = place < 0 ? 0 : data.table_points.values[static_cast<std::size_t>(place)];
        if (d.points < 2 || d.points > data.maxtdat)
            fail(log,
                 "      Error. in diode data. novlt = %d \n"
                 "             no. of table data over the limit. not_diod = %d \n",
                 d.novlt, d.not_diod);
        d.table = data.points.values.get() + data.table_at.values[static_cast<std::size_t>(place)];
        set_last_segment(d);
        d.epsi = (d.table[d.points - 1].i - d.table[0].i) * data.eps;
    }
}

void find_diode_unknown(diode& d, const circuit_tables& tables, std::FILE* log)
{
    const std::int32_t iuv = edge_unknown(tables, d.novlt);
    if (iuv < 1) fail(log, "      Error. unknown no. <=0 for novlt = %d.\n", d.novlt);
    d.unknown = static_cast<std::size_t>(tables.counts.nvoltg) + static_cast<std::size_t>(iuv) - 1;
}

void insert_line(const diode& d, std::size_t n, double matrix[], double vector[])
{
    matrix[d.unknown * n + d.unknown] += d.rt;
    vector[d.unknown] -= d.isign_diod < 0 ? -d.vct : d.vct;
}

double move_line(diode& d, double edge_current, double eps_zero)
{
    const double current = d.isign_diod < 0 ? -edge_current : edge_current; // in the diode's own direction
    const double voltage = current * d.rt + d.vct;
    const diode_point* t = d.table;
    std::int32_t k = 1;
    while (k + 1 < d.points && t[k].v < voltage) ++k;
    const double by_table = t[k - 1].i + (t[k].i - t[k - 1].i) / (t[k].v - t[k - 1].v) * (voltage - t[k - 1].v);
    const double change = std::fabs(current - by_table);
    const diode_point& end = t[d.points - 1];
    if (std::fabs(end.i - by_table) > eps_zero) {
        d.rt = (end.v - voltage) / (end.i - by_table);
        d.vct = end.v - end.i * d.rt;
    } else {
        set_last_segment(d);
    }
    return change;
}

} // namespace tarnel
