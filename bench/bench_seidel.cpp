// A sweep of Gauss-Seidel on the matrix of a reference model, beside the time in which memory can bring the bytes that
// it must touch.
//   bench_seidel [--repeat N] DIR...
// Before a time counts, the iterate after two sweeps is held against plain sweeps over both triangles.
#include "solvers/seidel.h"
#include "support/machine.h"
#include "support/solver_call.h"
#include "support/system_files.h"
#include "support/table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>

using namespace tarnel_bench;

constexpr double timed_rows = 3e7;    // at least, so that the sweeps outweigh the reading of the system
constexpr double most_of_bound = 1.5; // at 1m

// The value (8) and column (4) of each coupling and a count a row (4); b read, x and the previous iterate read and
// written (40).
static double bytes_of_sweep(double n, double couplings_once)
{
    return 12 * couplings_once + (4 + 40) * n;
}

// Half the product of right-hand side and iterate after so many sweeps from zero.
static double energy_after(const assembled_system& scaled, const full_matrix& full, int sweeps)
{
    const auto n = static_cast<std::size_t>(scaled.n);
    std::vector<double> x(n, 0.0);
    for (int sweep = 0; sweep < sweeps; ++sweep)
        for (std::size_t i = 0; i < n; ++i) {
            double rest = scaled.right_side[i];
            for (auto t = static_cast<std::size_t>(full.start[i]); t < static_cast<std::size_t>(full.start[i + 1]); ++t)
                if (const auto j = static_cast<std::size_t>(full.column[t]); j != i) rest -= full.value[t] * x[j];
            x[i] = rest;
        }
    return energy_of(scaled, x);
}

static double time_sweeps(std::int32_t sweeps)
{
    tarnel::control cntl = open_control();
    cntl.itermax_solv = sweeps;
    return time_solver([&](system_files& files, std::FILE* log) {
        t_real_mtsolv_seidel(cntl, {files.index, files.matrix, files.vector, files.solution}, log);
    });
}

static table_row compare(const std::filesystem::path& directory, std::size_t repeats)
{
    reference expected = run_for_files(directory);
    std::filesystem::current_path(directory);
    const assembled_system system = read_system(".");
    assembled_system scaled = system;
    scale_to_unit_diagonal(scaled);
    time_sweeps(2);
    expected.energy = energy_after(scaled, both_triangles(scaled), 2);
    checked_energy_error(energy_of(system, std::filesystem::path(solver_solution)), expected, "two sweeps of ours");

    const double n = system.n, bytes = bytes_of_sweep(n, static_cast<double>(couplings(system)));
    const auto timed_sweeps = static_cast<std::int32_t>(timed_rows / n) + 1;
    std::vector<double> seconds, rates;
    for (std::size_t turn = 0; turn < repeats; ++turn) {
        seconds.push_back(in_calm([&] { return (time_sweeps(1 + timed_sweeps) - time_sweeps(1)) / timed_sweeps; }));
        rates.push_back(read_rate(static_cast<std::size_t>(bytes)));
    }
    remove_solver_files();
    const double sweep = median(seconds), rate = median(rates), ratio = sweep * rate / bytes;
    return {expected.name + " " + expected.size,
            decimal(1e3 * sweep, 3),
            decimal(bytes * 1e-6, 1),
            decimal(rate * 1e-9, 1),
            decimal(1e3 * bytes / rate, 3),
            ratio_text(ratio),
            expected.size == "1m" ? goal_text(ratio, wanted::at_most, most_of_bound) : ""};
}

int main(int argument_count, char** arguments)
{
    program_options given;
    if (!read_options(argument_count, arguments, given) || given.rest.empty()) {
        std::fputs("usage: bench_seidel [--repeat N] DIR...\n", stderr);
        return 2;
    }
    try {
        for (std::string& directory : given.rest) directory = std::filesystem::absolute(directory);
        std::vector<table_row> rows = {
            {"Gauss-Seidel", "ms a sweep", "MB", "reading GB/s", "bound ms", "ours / bound", "goal"}};
        for (const std::string& directory : given.rest) rows.push_back(compare(directory, given.repeats));
        print_table(stdout, rows, 1);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_seidel: %s\n", error.what());
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
