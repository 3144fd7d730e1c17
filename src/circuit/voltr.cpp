#include "circuit/voltr.h"

#include "circuit/diodes.h"
#include "circuit/edge_files.h"
#include "circuit/volt_files.h"
#include "common/number_text.h"
#include "common/record_list.h"
#include "common/records.h"
#include "solvers/linear_system.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>

namespace tarnel
{

// Text for the report; doubles are passed as text, like in the log.
[[gnu::format(printf, 3, 4)]] static void report_lines(std::FILE* log, output_file& report, const char* lines, ...)
{
    char text[240];
    std::va_list values;
    va_start(values, lines);
    const int length = std::vsnprintf(text, sizeof text, lines, values);
    va_end(values);
    write_bytes(log, report, text, static_cast<std::size_t>(std::clamp(length, 0, int{sizeof text} - 1)), "w");
}

// The circuit as its files give it, and the system that is solved.
struct circuit_system {
    std::size_t nvolt = 0;
    circuit_tables tables;
    number_index node_index;
    growing_array<std::int32_t> iu_vltm; // unknown of each circuit node
    diode_data diodes;
    owned_array<double> fact_vlt;             // factor of each unknown [1/s]
    owned_array<double> fmatr, fvecr;         // the system; fvecr becomes the solution
    owned_array<double> fmatr_org, fvecr_org; // before the diodes' lines
    owned_array<double> chg_vlt;              // charge of each edge unknown [C]
};

static void set_factors(const control& cntl, circuit_system& circuit, std::FILE* log)
{
    circuit.fact_vlt = zero_array<double>(log, "fact_vlt", circuit.nvolt);
    if (!(cntl.delta_t > cntl.eps_zero)) return;
    const auto grads = static_cast<std::size_t>(circuit.tables.counts.nvoltg);
    for (std::size_t u = 0; u < grads; ++u) circuit.fact_vlt[u] = 1.0 / cntl.delta_t;
    for (std::size_t k = 0; k < circuit.tables.edges.size; ++k) {
        const circuit_edge& edge = circuit.tables.edges.values[k];
        if (edge.iuv < 1) continue;
        const double factor = edge.constv[6] / cntl.delta_t;
        circuit.fact_vlt[grads + static_cast<std::size_t>(edge.iuv) - 1] = cntl.iax == 1 ? -factor : factor;
    }
}

static void read_node_list(const control& cntl, circuit_system& circuit, input_file& in, std::FILE* log)
{
    log_lines(log, "\n        +++ unknown no. of node(ium) +++ \n");
    for (std::int32_t k = 0;; ++k) {
        if (k >= cntl.maxvlt) fail_without_end(log, in.name, "r", "node", "maxvlt");
        const std::int32_t node = read_circuit_number(log, in, "node", "node", cntl.maxvlt);
        if (node == 0) break;
        const auto ium = read_value<std::int32_t>(log, in, "r:ium");
        log_lines(log, "            node = %d  ium = %d \n", node, ium);
        if (ium < 0 || ium > circuit.tables.counts.nvoltm) fail(log, "      Error. ium over the limit.\n");
        append(log, "iu_vltm", circuit.iu_vltm, ium);
        add_number(log, "iu_vltm", circuit.node_index, node);
    }
    finish_index(log, "iu_vltm", circuit.node_index);
}

static void read_circuit(const control& cntl, std::int32_t nvolte, circuit_system& circuit, input_file& in,
                         std::FILE* log)
{
    log_lines(log, "        ... allocate each pointer. \n"
                   "        Now, reading t-volt-data2.tmp ===\n");
    circuit.tables.counts = read_circuit_counts(cntl, nvolte, circuit_size::formed, in, log);
    circuit.nvolt = static_cast<std::size_t>(circuit.tables.counts.nvolt);
    read_grad_list(cntl, circuit.tables, in, log);
    read_edge_list(cntl, circuit.tables, in, log);
    read_node_list(cntl, circuit, in, log);
    circuit.diodes = read_diodes(cntl, in, log);
}

static void read_count_equal(std::FILE* log, input_file& in, std::int64_t expected, const char* name)
{
    char tag[24];
    std::snprintf(tag, sizeof tag, "r:%s", name);
    if (read_value<std::int32_t>(log, in, tag) != expected)
        fail(log,
             "      Error. in %s(%s).\n"
             "             %s is different.\n",
             in.name, tag, name);
}

static void read_host_system(const control& cntl, circuit_system& circuit, voltr_files files, std::FILE* log)
{
    const bool with_diodes = circuit.diodes.maxtdat > 0;
    const std::size_t n = circuit.nvolt;
    log_lines(log, "\n"
                   "        ... allocate pointer for fmatr, fvecr, chg_vlt. \n");
    if (with_diodes) log_lines(log, "        ... allocate pointer for fmatr_org for diode. \n");
    log_lines(log, "        Now, reading %s ===\n", files.matrix.name);
    read_count_equal(log, files.matrix, circuit.tables.counts.nvolt, "nvolt");
    // Counts of a damaged file are not paid for: the host's matrix must be there.
    if (bytes_left(files.matrix) / sizeof(double) / n < n) fail_in_file(log, files.matrix.name, "r:fmatr");
    set_factors(cntl, circuit, log);
    circuit.fmatr = zero_array<double>(log, "fmatr", n * n);
    circuit.fvecr = zero_array<double>(log, "fvecr", n);
    circuit.chg_vlt = zero_array<double>(log, "chg_vlt", static_cast<std::size_t>(circuit.tables.counts.nvoltv));
    if (with_diodes) {
        circuit.fmatr_org = zero_array<double>(log, "fmatr_org", n * n);
        circuit.fvecr_org = zero_array<double>(log, "fvecr_org", n);
    }
    read_values(log, files.matrix, circuit.fmatr.get(), n * n, "r:fmatr");
    log_lines(log, "        Now, reading %s ===\n", files.vector.name);
    read_count_equal(log, files.vector, circuit.tables.counts.nvolt, "nvolt");
    read_values(log, files.vector, circuit.fvecr.get(), n, "r:fvecr");
    log_lines(log, "        Now, reading %s(chg_vlt) ===\n", files.previous.name);
    read_count_equal(log, files.previous, circuit.tables.counts.nvolt, "nvolt");
    for (std::size_t u = 0; u < n; ++u) read_value<double>(log, files.previous, "r:fsolr");
    read_count_equal(log, files.previous, circuit.tables.counts.nvoltv, "nvoltv");
    read_values(log, files.previous, circuit.chg_vlt.get(), static_cast<std::size_t>(circuit.tables.counts.nvoltv),
                "r:chg_vlt");
}

// Terms that the assembly formed for each circuit-field unknown.
static void add_field_diagonals(const control& cntl, circuit_system& circuit, std::int32_t nvolte, input_file& in,
                                std::FILE* log)
{
    log_lines(log, "        Now, reading %s ===\n", in.name);
    const auto count = read_value<std::int32_t>(log, in, "r1");
    if (count != nvolte)
        fail(log,
             "      Error. in %s(r:nvolte).\n"
             "             nvolte is different.\n",
             in.name);
    for (std::size_t u = 0; u < static_cast<std::size_t>(nvolte); ++u) {
        const auto diagonal = read_value<double>(log, in, "r2");
        const auto added = read_value<double>(log, in, "r3");
        circuit.fmatr[u * circuit.nvolt + u] += cntl.iax == 1 ? diagonal * circuit.fact_vlt[u] : diagonal;
        circuit.fvecr[u] += added * circuit.fact_vlt[u];
    }
}

// The field's answers: to its own right-hand side (xvecr), and to a unit of each circuit-field unknown (vvectr) by its
// right-hand side (hvectr).
struct field_solutions {
    std::int32_t ndim = 0;
    owned_array<double> xvecr, vvectr, hvectr;
};

static void read_main_solution(const control& cntl, field_solutions& field, std::FILE* log)
{
    log_lines(log, "        Now, reading %s ===\n", solution_file);
    input_file in;
    if (!open_input(log, in, solution_file, solution_file)) fail(log, "  Error. Can't open %s.\n", solution_file);
    field.ndim = read_value<std::int32_t>(log, in, "r1");
    log_lines(log, "        ndim = %d \n", field.ndim);
    if (field.ndim < 1 || field.ndim > cntl.maxdim) fail(log, "      Error. ndim over the limit.\n");
    const auto n = static_cast<std::size_t>(field.ndim);
    if (bytes_left(in) / sizeof(double) < n) fail_in_file(log, in.name, "r2");
    field.xvecr = zero_array<double>(log, "xvecr", n);
    read_values(log, in, field.xvecr.get(), n, "r2");
}

static void read_edge_vector(const edge_file_name& name, std::int32_t ndim, double* to, std::FILE* log)
{
    input_file in;
    if (!open_input(log, in, name.text, name.text)) fail(log, "  Error. Can't open %s.\n", name.text);
    const auto count = read_value<std::int32_t>(log, in, "r1");
    if (count != ndim)
        fail(log,
             "      Error. in %s(r:ndim).\n"
             "             ndim is different.\n",
             in.name);
    read_values(log, in, to, static_cast<std::size_t>(ndim), "r2");
}

static void read_edge_vectors(std::int32_t nvolte, field_solutions& field, std::FILE* log)
{
    const auto n = static_cast<std::size_t>(field.ndim), edges = static_cast<std::size_t>(nvolte);
    field.vvectr = zero_array<double>(log, "vvectr", edges * n);
    field.hvectr = zero_array<double>(log, "hvectr", edges * n);
    log_lines(log, "        Now, reading t-femr-solution-*****.tmp ===\n");
    for (std::size_t j = 0; j < edges; ++j) {
        log_lines(log, "        edge no. j === %d\n", static_cast<std::int32_t>(j) + 1);
        read_edge_vector(edge_solution_name(static_cast<std::int32_t>(j) + 1), field.ndim, &field.vvectr[j * n], log);
    }
    log_lines(log, "        Now, reading t-femr-vector-*****.tmp ===\n");
    for (std::size_t j = 0; j < edges; ++j) {
        log_lines(log, "        edge no. j === %d\n", static_cast<std::int32_t>(j) + 1);
        read_edge_vector(edge_vector_name(static_cast<std::int32_t>(j) + 1), field.ndim, &field.hvectr[j * n], log);
    }
}

static void eliminate_field(circuit_system& circuit, std::int32_t nvolte, const field_solutions& field, std::FILE* log)
{
    const auto n = static_cast<std::size_t>(field.ndim), edges = static_cast<std::size_t>(nvolte);
    log_lines(log, "        set the full-matrix part (F+H*(Sinv)*V) ===\n");
    for (std::size_t i = 0; i < edges; ++i)
        for (std::size_t j = 0; j < edges; ++j)
            circuit.fmatr[i * circuit.nvolt + j] +=
                circuit.fact_vlt[i] * inner_product(n, &field.hvectr[i * n], &field.vvectr[j * n]);
    log_lines(log, "        set the full-vector part (u2-H*(Sinv)*u1) ===\n");
    for (std::size_t i = 0; i < edges; ++i)
        circuit.fvecr[i] -= circuit.fact_vlt[i] * inner_product(n, &field.hvectr[i * n], field.xvecr.get());
}

// Subtracts the pivot rows [first, end) from a row, ascending; slot i of a pivot row holds the pivot's reciprocal. Four
// rows at a time pass the tail of the row, each entry taking its four subtractions in order.
static void eliminate_row(std::size_t n, const double f[], const double b[], std::size_t first, std::size_t end,
                          double target[], double& right)
{
    constexpr std::size_t together = 4;
    for (std::size_t i = first; i < end; i += together) {
        const std::size_t count = std::min(together, end - i);
        const double* source[together] = {};
        double factor[together] = {};
        for (std::size_t p = 0; p < count; ++p) {
            source[p] = f + (i + p) * n;
            factor[p] = target[i + p] * source[p][i + p];
            for (std::size_t j = i + p + 1; j < i + count; ++j) target[j] -= factor[p] * source[p][j];
            right -= factor[p] * b[i + p];
        }
        if (count == together) {
            for (std::size_t j = i + count; j < n; ++j)
                target[j] =
                    (((target[j] - factor[0] * source[0][j]) - factor[1] * source[1][j]) - factor[2] * source[2][j]) -
                    factor[3] * source[3][j];
        } else {
            for (std::size_t p = 0; p < count; ++p)
                for (std::size_t j = i + count; j < n; ++j) target[j] -= factor[p] * source[p][j];
        }
    }
}

void solve_full_matrix(std::size_t n, double f[], double b[], double eps_zero, std::FILE* log)
{
    constexpr std::size_t panel = 32; // pivots at a time, whose rows stay in cache while the rows below pass once
    for (std::size_t first = 0; first < n; first += panel) {
        const std::size_t end = std::min(first + panel, n);
        for (std::size_t row = first; row < n; ++row) {
            double* target = f + row * n;
            eliminate_row(n, f, b, first, std::min(row, end), target, b[row]);
            if (row >= end) continue;
            if (!(std::fabs(target[row]) >= eps_zero))
                fail(log,
                     "      Error. the full-matrix is singular.\n"
                     "             at i = %d.\n",
                     static_cast<std::int32_t>(row));
            target[row] = 1.0 / target[row];
        }
    }
    for (std::size_t i = n; i-- > 0;) {
        double sum = b[i];
        for (std::size_t j = i + 1; j < n; ++j) sum -= f[i * n + j] * b[j];
        b[i] = sum * f[i * n + i];
    }
}

static void report_system(const circuit_system& circuit, output_file& report, std::FILE* log)
{
    const std::size_t n = circuit.nvolt;
    report_lines(log, report, "\n\n    +++ full-matrix : fmatr \n\n");
    for (std::size_t i = 0; i < n; ++i)
        for (std::size_t j = 0; j < n; ++j)
            report_lines(log, report, "        fmatr(%d,%d) = %s \n", static_cast<std::int32_t>(i) + 1,
                         static_cast<std::int32_t>(j) + 1, as_e(circuit.fmatr[i * n + j]).text);
    report_lines(log, report, "\n    +++ full-vector : fvecr \n\n");
    for (std::size_t i = 0; i < n; ++i)
        report_lines(log, report, "        fvecr(%d) = %s \n", static_cast<std::int32_t>(i) + 1,
                     as_e(circuit.fvecr[i]).text);
    report_lines(log, report, "\n");
}

static void solve_once(const control& cntl, circuit_system& circuit, output_file& report, std::FILE* log)
{
    report_system(circuit, report, log);
    log_lines(log, "        solve the full-matrix part ===\n");
    solve_full_matrix(circuit.nvolt, circuit.fmatr.get(), circuit.fvecr.get(), cntl.eps_zero, log);
}

// Passes until no diode's current moves by more than its tolerance, or to the limit, which is not reported.
static void iterate_diodes(const control& cntl, circuit_system& circuit, output_file& report, std::FILE* log)
{
    const std::size_t n = circuit.nvolt;
    growing_array<diode>& diodes = circuit.diodes.diodes;
    std::copy(circuit.fmatr.get(), circuit.fmatr.get() + n * n, circuit.fmatr_org.get());
    std::copy(circuit.fvecr.get(), circuit.fvecr.get() + n, circuit.fvecr_org.get());
    start_diodes(circuit.diodes, log);
    const std::int32_t passes = std::max(circuit.diodes.itermax, 1);
    bool moving = true;
    for (std::int32_t pass = 1; moving; ++pass) {
        report_lines(log, report, "\n\n    === iter no. for diode === %d \n", pass);
        std::copy(circuit.fmatr_org.get(), circuit.fmatr_org.get() + n * n, circuit.fmatr.get());
        std::copy(circuit.fvecr_org.get(), circuit.fvecr_org.get() + n, circuit.fvecr.get());
        for (std::size_t k = 0; k < diodes.size; ++k) {
            find_diode_unknown(diodes.values[k], circuit.tables, log);
            insert_line(diodes.values[k], n, circuit.fmatr.get(), circuit.fvecr.get());
        }
        solve_once(cntl, circuit, report, log);
        moving = false;
        for (std::size_t k = 0; k < diodes.size; ++k) {
            diode& d = diodes.values[k];
            const double change = move_line(d, circuit.fvecr[d.unknown], cntl.eps_zero);
            log_lines(log, "        novlt = %d  eps = %s  eps_jud = %s \n", d.novlt, as_e(change).text,
                      as_e(d.epsi).text);
            if (change > d.epsi) moving = true;
        }
        if (pass == passes) break; // the last number an int32 holds has no next
    }
}

static void renew_field(const control& cntl, circuit_system& circuit, std::int32_t nvolte, field_solutions& field,
                        std::FILE* log)
{
    const auto n = static_cast<std::size_t>(field.ndim);
    if (nvolte > 0) {
        log_lines(log, "        renew fem-solution-vector(xvecr) ===\n");
        for (std::size_t j = 0; j < static_cast<std::size_t>(nvolte); ++j)
            for (std::size_t i = 0; i < n; ++i) field.xvecr[i] += circuit.fvecr[j] * field.vvectr[j * n + i];
    }
    const auto edges = static_cast<std::size_t>(circuit.tables.counts.nvoltv);
    if (edges > 0 && cntl.delta_t > cntl.eps_zero) {
        log_lines(log, "        renew charge(chg_vlt) ===\n");
        const double* currents = circuit.fvecr.get() + circuit.tables.counts.nvoltg;
        for (std::size_t k = 0; k < edges; ++k) circuit.chg_vlt[k] += currents[k] * cntl.delta_t;
    }
}

static void write_solutions(const circuit_system& circuit, const field_solutions& field, output_file& solution,
                            std::FILE* log)
{
    log_lines(log, "        Now, rewriting %s ===\n", solution_file);
    output_file rewritten;
    if (!open_output(log, rewritten, solution_file, solution_file, content::binary))
        fail(log, "  Error. Can't open %s.\n", solution_file);
    write_solution(rewritten, field.ndim, field.xvecr.get(), log);
    close_output(log, rewritten);

    log_lines(log, "        Now, writing %s ===\n", solution.name);
    write_value(log, solution, static_cast<std::int32_t>(circuit.nvolt), "w:nvolt");
    write_values(log, solution, circuit.fvecr.get(), circuit.nvolt, "w:fsolr");
    write_value(log, solution, circuit.tables.counts.nvoltv, "w:nvoltv");
    write_values(log, solution, circuit.chg_vlt.get(), static_cast<std::size_t>(circuit.tables.counts.nvoltv),
                 "w:chg_vlt");
    flush_output(log, solution);
}

static void report_solution(const circuit_system& circuit, output_file& report, std::FILE* log)
{
    const circuit_tables& tables = circuit.tables;
    const auto grads = static_cast<std::size_t>(tables.counts.nvoltg);
    const auto edges = static_cast<std::size_t>(tables.counts.nvoltv);
    if (tables.counts.nvoltg > 0) {
        report_lines(log, report, "\n\n    +++ ngrad : grad-fai +++ \n\n");
        for (std::int32_t k = 0; k < tables.grad_index.count; ++k) {
            const std::int32_t ngrad = ascending_place(tables.grad_index, k).number;
            const std::int32_t iug = grad_unknown(tables, ngrad);
            if (iug < 1) continue;
            report_lines(log, report, "        %d : %s \n", ngrad,
                         as_e(circuit.fvecr[static_cast<std::size_t>(iug) - 1]).text);
        }
        report_lines(log, report, "\n");
    }
    if (tables.counts.nvoltv > 0) {
        report_lines(log, report, "\n\n    +++ novlt : current, charge +++ \n\n");
        for (std::int32_t k = 0; k < tables.edge_index.count; ++k) {
            const std::int32_t novlt = ascending_place(tables.edge_index, k).number;
            const std::int32_t iuv = edge_unknown(tables, novlt);
            if (iuv < 1) continue;
            const auto u = static_cast<std::size_t>(iuv) - 1;
            report_lines(log, report, "        %d : %s, %s \n", novlt, as_e(circuit.fvecr[grads + u]).text,
                         as_e(circuit.chg_vlt[u]).text);
        }
        report_lines(log, report, "\n");
    }
    if (tables.counts.nvoltm > 0) {
        report_lines(log, report, "\n\n    +++ node  : voltage +++ \n\n");
        for (std::int32_t k = 0; k < circuit.node_index.count; ++k) {
            const auto [node, place] = ascending_place(circuit.node_index, k);
            const std::int32_t ium = circuit.iu_vltm.values[static_cast<std::size_t>(place)];
            if (ium < 1) continue;
            const double voltage = circuit.fvecr[grads + edges + static_cast<std::size_t>(ium) - 1];
            report_lines(log, report, "        %d : %s \n", node, as_e(voltage).text);
        }
        report_lines(log, report, "\n");
    }
    flush_output(log, report);
}

void t_solve_voltr(control cntl, voltr_files files, std::int32_t nvolte, std::FILE* log)
{
    log_lines(log, "    === in func. t_solve_voltr ===\n");
    circuit_system circuit;
    read_circuit(cntl, nvolte, circuit, files.data2, log);
    read_host_system(cntl, circuit, files, log);
    if (nvolte > 0) add_field_diagonals(cntl, circuit, nvolte, *files.femdv, log);
    field_solutions field;
    read_main_solution(cntl, field, log);
    read_edge_vectors(nvolte, field, log);
    eliminate_field(circuit, nvolte, field, log);
    report_lines(log, files.report, "%s%s", banner, owner_notice);
    if (circuit.diodes.maxtdat > 0)
        iterate_diodes(cntl, circuit, files.report, log);
    else
        solve_once(cntl, circuit, files.report, log);
    renew_field(cntl, circuit, nvolte, field, log);
    write_solutions(circuit, field, files.solution, log);
    report_solution(circuit, files.report, log);
}

} // namespace tarnel
