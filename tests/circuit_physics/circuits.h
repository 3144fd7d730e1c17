// Circuit models as a host prepares them, runs step by step, and what comes out of them.
#pragma once

#include "host_files/host_files.h"
#include "support/model.h"
#include "support/process.h"
#include "support/stage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <functional>
#include <numbers>
#include <vector>

namespace tarnel_test
{

inline constexpr double mu_0 = 1.25663706e-06; // [H/m], to the digits that every test writes and computes with

// A rectangle cut by lines x and y; the property of each cell by the place of its lower left corner in x and y.
struct cells {
    std::vector<double> x, y;                                                           // ascending [m]
    std::function<int(double x, double y)> property = [](double, double) { return 1; }; // of the cell's middle
    int type = 203;                                   // 203: each cell two triangles; 204
    std::function<bool(double x, double y)> is_fixed; // nodes with A = 0
};

// n equal cells from `from` to `to`, appended to the lines.
inline void append_lines(std::vector<double>& lines, double from, double to, int n)
{
    if (lines.empty()) lines.push_back(from);
    for (int k = 1; k <= n; ++k) lines.push_back(from + (to - from) * k / n);
}

inline model model_of(const cells& c, std::vector<model_property> properties)
{
    model m;
    const auto columns = static_cast<int>(c.x.size()), rows = static_cast<int>(c.y.size());
    const auto node = [columns](int i, int j) { return j * columns + i + 1; };
    for (int j = 0; j < rows; ++j)
        for (int i = 0; i < columns; ++i) {
            const double x = c.x[static_cast<std::size_t>(i)], y = c.y[static_cast<std::size_t>(j)];
            m.nodes.push_back({node(i, j), x, y});
            if (c.is_fixed && c.is_fixed(x, y)) m.conditions.push_back({node(i, j), 0});
        }
    for (int j = 0; j + 1 < rows; ++j)
        for (int i = 0; i + 1 < columns; ++i) {
            const auto l = static_cast<std::size_t>(i), b = static_cast<std::size_t>(j);
            const int nop = c.property((c.x[l] + c.x[l + 1]) / 2, (c.y[b] + c.y[b + 1]) / 2);
            const int noe = static_cast<int>(m.felms.size()) + 1;
            const int p = node(i, j), q = node(i + 1, j), r = node(i + 1, j + 1), s = node(i, j + 1);
            if (c.type == 204) {
                m.felms.push_back({noe, 204, nop, {p, q, r, s}});
            } else if ((i + j) % 2 == 0) {
                m.felms.push_back({noe, 203, nop, {p, q, r}});
                m.felms.push_back({noe + 1, 203, nop, {p, r, s}});
            } else {
                m.felms.push_back({noe, 203, nop, {p, q, s}});
                m.felms.push_back({noe + 1, 203, nop, {q, r, s}});
            }
        }
    m.properties = std::move(properties);
    return m;
}

inline std::array<double, 2> place_of_node(const model& m, int nog)
{
    const model_node& n = m.nodes[static_cast<std::size_t>(nog) - 1];
    return {n.x, n.y};
}

// The circuit of a model. Edge k has number and unknown k; so have grad-fai conditions and circuit nodes.
struct circuit {
    std::vector<tarnel_host::volt_property> regions;
    int nvoltg = 0, nvoltm = 0;
    int nvoltve = 0;                             // the first edges are coupled to the field
    std::vector<double> seventh;                 // of each edge
    std::vector<std::vector<double>> f;          // the matrix by rows
    std::vector<double> u;                       // the right-hand side
    std::vector<tarnel_host::volt_diode> diodes; // with their tables
    std::vector<tarnel_host::volt_table> tables;
    int itermax_diod = 500;
    double eps_diod = 1e-12;
};

// A voltage region with one conductor.
inline tarnel_host::volt_property driven(int nop, int edge, double nz)
{
    return {.nop = nop, .iswvlt = 1, .ngrad = 0, .conductors = {{.novlt = edge, .iswjh = 1, .nvect = {0, 0, nz}}}};
}
inline tarnel_host::volt_property magnetised(int nop, int edge, double nx, double ny)
{
    return {.nop = nop, .iswvlt = 1, .ngrad = 0, .conductors = {{.novlt = edge, .iswjh = 2, .nvect = {nx, ny, 0}}}};
}
inline tarnel_host::volt_property tied(int nop, int condition)
{
    return {.nop = nop, .iswvlt = -1, .ngrad = condition, .conductors = {}};
}

inline void write_circuit_lists(const circuit& c)
{
    constexpr int maxvlt = 20;
    tarnel_host::write_volt_data1("t-volt-data1.tmp", {.maxvlt = maxvlt, .properties = c.regions});
    tarnel_host::volt_data2 data;
    data.maxvlt = maxvlt;
    data.nvoltg = c.nvoltg;
    data.nvoltv = static_cast<int>(c.seventh.size());
    data.nvoltve = c.nvoltve;
    data.nvoltm = c.nvoltm;
    for (int k = 1; k <= c.nvoltg; ++k) data.grads.push_back({k, k});
    for (int k = 1; k <= data.nvoltv; ++k)
        data.edges.push_back(
            {.novlt = k, .iuv = k, .constv = {0, 0, 0, 0, 0, 0, c.seventh[static_cast<std::size_t>(k) - 1]}});
    for (int k = 1; k <= c.nvoltm; ++k) data.nodes.push_back({k, k});
    for (const tarnel_host::volt_table& table : c.tables)
        data.maxtdat_diod = std::max(data.maxtdat_diod, static_cast<int>(table.points.size()));
    data.itermax_diod = c.itermax_diod;
    data.eps_diod = c.eps_diod;
    data.diodes = c.diodes;
    data.tables = c.tables;
    tarnel_host::write_volt_data2("t-volt-data2.tmp", data);
}

inline void write_circuit_system(const circuit& c)
{
    tarnel_host::voltr_matrix matrix;
    matrix.nvolt = static_cast<int>(c.f.size());
    for (const std::vector<double>& row : c.f) matrix.f.insert(matrix.f.end(), row.begin(), row.end());
    tarnel_host::write_voltr_matrix("t-voltr-matrix.tmp", matrix);
    tarnel_host::write_voltr_vector("t-voltr-vector.tmp", c.u);
}

// What a run found.
struct field_value {
    int noe, nop;
    double bx, by, hx, hy, jz, ez, area;
};
struct circuit_result {
    bool ended = false;
    std::vector<double> unknowns, charges;
    std::vector<double> potential; // of node n at place n - 1
    std::vector<field_value> felms;
    double of(std::size_t unknown) const { return unknown < unknowns.size() ? unknowns[unknown] : std::nan(""); }
    double charge(std::size_t edge) const { return edge < charges.size() ? charges[edge] : std::nan(""); }
};

inline circuit_result read_circuit_result(const process_outcome& outcome)
{
    circuit_result result;
    result.ended = outcome.exited && outcome.returned && outcome.log.ends_with("    === The end. ===\n");
    if (!result.ended) {
        ADD_FAILURE() << "the run did not reach its end:\n" << outcome.log;
        return result;
    }
    if (std::filesystem::exists("t-voltr-solution.tmp")) {
        const tarnel_host::voltp_solution solution = tarnel_host::read_voltp_solution("t-voltr-solution.tmp");
        result.unknowns = solution.fsolr;
        result.charges = solution.chg_vlt;
    }
    for (const tarnel::potential_record& node : tarnel_host::read_npresl("at-nresl-struct.tmp")) {
        const auto place = static_cast<std::size_t>(node.nog) - 1;
        if (result.potential.size() <= place) result.potential.resize(place + 1, std::nan(""));
        result.potential[place] = node.potential;
    }
    const std::string felms = read_file("at-eresl-struct.tmp"), areas = read_file("t-felm-vole.tmp");
    for (std::size_t k = 0; (k + 1) * 112 <= felms.size() && int_at(felms, k * 112) != 0; ++k) {
        const auto d = [&felms, k](std::size_t offset) { return double_at(felms, k * 112 + offset); };
        result.felms.push_back({int_at(felms, k * 112), int_at(felms, k * 112 + 8), d(16), d(24), d(40), d(48), d(80),
                                d(104), double_at(areas, k * 12 + 4)});
    }
    return result;
}

// Leaves the inputs that a test may have written itself, and the skyline solver's factor: nothing of an earlier run can
// pass for a result.
inline void remove_old_files()
{
    std::vector<std::filesystem::path> old;
    for (const auto& file : std::filesystem::directory_iterator(".")) {
        const std::string name = file.path().filename().string();
        if (!name.starts_with("sky-") && name != "t-skylin.txt" && name != "at-npresl-struct.tmp" &&
            name != "at-j0vect-struct.tmp")
            old.push_back(file.path());
    }
    for (const std::filesystem::path& file : old) std::filesystem::remove(file);
}

// A circuit model stepped by repeated runs in the working directory.
class stepper
{
public:
    stepper(model m, circuit c) : model_(std::move(m)), circuit_(std::move(c))
    {
        for (const char* old : {"at-npresl-struct.tmp", "at-nresl-struct.tmp"}) std::filesystem::remove(old);
        previous_.fsolr.assign(circuit_.f.size(), 0.0);
        previous_.chg_vlt.assign(circuit_.seventh.size(), 0.0);
    }
    circuit& system() { return circuit_; }
    void start_charge(std::size_t edge, double charge) { previous_.chg_vlt[edge] = charge; }

    // One run; its results are the next run's previous state.
    circuit_result step()
    {
        if (std::filesystem::exists("at-nresl-struct.tmp")) {
            std::filesystem::remove("at-npresl-struct.tmp");
            std::filesystem::rename("at-nresl-struct.tmp", "at-npresl-struct.tmp");
        }
        remove_old_files();
        write_model(model_);
        write_circuit_lists(circuit_);
        write_circuit_system(circuit_);
        tarnel_host::write_voltp_solution("t-voltp-solution.tmp", previous_);
        circuit_result result = read_circuit_result(run_library());
        if (!result.ended) return result;
        previous_ = {result.unknowns, result.charges};
        return result;
    }

private:
    model model_;
    circuit circuit_;
    tarnel_host::voltp_solution previous_;
};

inline void set_time_step(model& m, double dt)
{
    m.iopt_trans = 1;
    m.delta_t = dt;
}

// A run without circuits and without a time step, in a directory of its own.
inline circuit_result solve_static(model m)
{
    const work_directory own;
    m.iopt_trans = 0;
    m.delta_t = 0;
    write_model(m);
    return read_circuit_result(run_library());
}

// Field energy of given current densities: half of B.H over the elements. Planar, 203: B is constant in an element,
// so that this is exactly half of A K A [J/m].
inline double planar_energy(const model& m, const std::vector<std::pair<int, double>>& densities)
{
    model given = m;
    for (const auto& [nop, js] : densities)
        for (model_property& p : given.properties)
            if (p.nop == nop) p.js = js;
    double energy = 0;
    for (const field_value& e : solve_static(given).felms) energy += e.area * (e.bx * e.hx + e.by * e.hy) / 2;
    return energy;
}

inline double total_current(const circuit_result& result, int nop)
{
    double current = 0;
    for (const field_value& e : result.felms)
        if (e.nop == nop) current += e.jz * e.area;
    return current;
}

// The lines "ngrad, total_curr, total_gfai" at the end of "at-felm-resl.txt".
struct printed_current {
    int ngrad;
    double total_curr, total_gfai;
};
inline std::vector<printed_current> printed_currents()
{
    std::vector<printed_current> printed;
    const std::string text = read_file("at-felm-resl.txt"), title = "        ngrad, total_curr, total_gfai ...\n";
    std::size_t at = text.find(title);
    if (at == std::string::npos) return printed;
    at += title.size();
    printed_current line{};
    int used = 0;
    while (std::sscanf(text.c_str() + at, "%d %le %le \n%n", &line.ngrad, &line.total_curr, &line.total_gfai, &used) ==
           3) {
        printed.push_back(line);
        at += static_cast<std::size_t>(used);
    }
    return printed;
}

// Integral of f over the triangles of a property, with the assembly's three points: sum of area / 3 f(x, y, A).
inline double over_triangles(const model& m, int nop, const std::vector<double>& potential,
                             const std::function<double(double x, double y, double a)>& f)
{
    constexpr double corner = 2.0 / 3, other = 1.0 / 6;
    double sum = 0;
    for (const model_felm& e : m.felms) {
        if (e.nop != nop) continue;
        EXPECT_EQ(e.type, 203);
        std::array<std::array<double, 2>, 3> p{};
        std::array<double, 3> a{};
        for (std::size_t k = 0; k < 3; ++k) {
            p[k] = place_of_node(m, e.nodes[k]);
            if (!potential.empty()) a[k] = potential[static_cast<std::size_t>(e.nodes[k]) - 1];
        }
        const double det = (p[1][0] - p[0][0]) * (p[2][1] - p[0][1]) - (p[2][0] - p[0][0]) * (p[1][1] - p[0][1]);
        for (std::size_t q = 0; q < 3; ++q) {
            double x = 0, y = 0, value = 0;
            for (std::size_t k = 0; k < 3; ++k) {
                const double n = k == q ? corner : other;
                x += n * p[k][0], y += n * p[k][1], value += n * a[k];
            }
            sum += det / 6 * f(x, y, value);
        }
    }
    return sum;
}

// A linear system solved by elimination with row exchanges, independent of the library's.
inline std::vector<double> solve_by_hand(std::vector<std::vector<double>> a, std::vector<double> b)
{
    const std::size_t n = b.size();
    for (std::size_t i = 0; i < n; ++i) {
        std::size_t best = i;
        for (std::size_t r = i; r < n; ++r)
            if (std::fabs(a[r][i]) > std::fabs(a[best][i])) best = r;
        std::swap(a[i], a[best]);
        std::swap(b[i], b[best]);
        for (std::size_t r = i + 1; r < n; ++r) {
            const double factor = a[r][i] / a[i][i];
            for (std::size_t c = i; c < n; ++c) a[r][c] -= factor * a[i][c];
            b[r] -= factor * b[i];
        }
    }
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t c = i + 1; c < n; ++c) b[i] -= a[i][c] * b[c];
        b[i] /= a[i][i];
    }
    return b;
}

inline void expect_close(double found, double expected, double relative)
{
    EXPECT_NEAR(found, expected, relative * std::fabs(expected)) << "expected " << expected;
}

} // namespace tarnel_test
