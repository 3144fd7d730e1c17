// The direct solver on the matrix of a reference model: factorisation beside CHOLMOD's (supernodal, minimum degree) and
// LAPACK's dpbtrf, one thread each, and the substitution beside reading of the block files through the page cache.
//   bench_skyline [--repeat N] DIR...
// Every solution's energy is held against the model's reference before its time counts.
#include "peers/cholmod_direct.h"
#include "solvers/iccg.h"
#include "solvers/skyline.h"
#include "support/machine.h"
#include "support/solver_call.h"
#include "support/system_files.h"
#include "support/table.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>

#if defined(TARNEL_LAPACK)
extern "C" {
void dpbtrf_(const char* uplo, const int* n, const int* kd, double* ab, const int* ldab, int* info);
void dpbtrs_(const char* uplo, const int* n, const int* kd, const int* nrhs, const double* ab, const int* ldab,
             double* b, const int* ldb, int* info);
void openblas_set_num_threads(int threads);
}
#endif

using namespace tarnel_bench;

constexpr double most_of_cholmod = 0.9; // at 30k
constexpr double at_300k_gflops = 40;
constexpr double most_of_page_cache = 2.0; // the substitution
constexpr double terms_of_a_block = 4e6;   // 32 MB: memory that is used again and again
constexpr double largest_factor = 3e8;     // terms; beyond it a turn takes minutes and gigabytes
constexpr double largest_band = 4e8;       // terms of dpbtrf's array

struct profile_size {
    double terms = 0, flops = 0; // a product and a sum count as two
    int band = 0;                // largest height
};

static profile_size size_of_profile(const assembled_system& system)
{
    std::vector<int> height(static_cast<std::size_t>(system.n), 1);
    for (int i = 0; i < system.n; ++i)
        for (int t = system.start[static_cast<std::size_t>(i)]; t < system.start[static_cast<std::size_t>(i) + 1];
             ++t) {
            const int column = system.column[static_cast<std::size_t>(t)];
            int& of_column = height[static_cast<std::size_t>(column)];
            of_column = std::max(of_column, column - i + 1);
        }
    profile_size size;
    for (const int h : height) {
        size.terms += h;
        size.flops += static_cast<double>(h) * h;
        size.band = std::max(size.band, h);
    }
    return size;
}

static std::string block_file(int block)
{
    return "bench-block-" + std::to_string(block) + ".tmp";
}

// Writes the name list; returns how many blocks there may be: each holds all but a column of the work array.
static int write_block_names(const profile_size& profile)
{
    const double work_length = std::min(profile.terms, terms_of_a_block);
    const int blocks =
        static_cast<int>(profile.terms / (work_length - std::min(work_length / 2, 1.0 * profile.band))) + 1;
    std::ofstream list(tarnel::skyline_text);
    list << static_cast<long long>(work_length) << ' ' << blocks << " 40\n";
    for (int block = 1; block <= blocks; ++block) list << block_file(block) << '\n';
    return blocks;
}

static double time_factorisation()
{
    return time_solver([](system_files& files, std::FILE* log) {
        t_real_mtsolv_skylin1(open_control(), files.index, files.matrix, log);
    });
}

// By the other solver, which ends when it has read the system; it reads the right-hand side too.
static double time_reading()
{
    tarnel::control cntl = open_control();
    cntl.iopt_solv = 1;
    cntl.eps_zero = above_all;
    return time_solver(
        [&](system_files& files, std::FILE* log) {
            t_real_mtsolv_iccg(cntl, {files.index, files.matrix, files.vector, files.solution}, log);
        },
        true);
}

// The middle one of five calls in a row, as the rates of the page cache are, or of as many as take a hundredth of a
// second.
static double time_substitution()
{
    constexpr std::size_t least_calls = 5;
    constexpr double least_seconds = 0.01;
    std::vector<double> calls;
    for (double sum = 0; calls.size() < least_calls || sum < least_seconds; sum += calls.back())
        calls.push_back(time_solver([](system_files& files, std::FILE* log) {
            t_real_mtsolv_skylin2(open_control(), files.vector, files.solution, log);
        }));
    return median(calls);
}

struct direct_times {
    std::vector<double> reading, factor, substitute;     // ours; the block files written and read
    std::vector<double> analyse, cholmod, cholmod_solve; // CHOLMOD
    std::vector<double> band, band_solve;                // LAPACK
    double cholmod_flops = 0;
    page_cache_rates cache{};
};

static void take_our_turn(const assembled_system& system, const reference& expected, direct_times& times)
{
    times.reading.push_back(in_calm(time_reading));
    times.factor.push_back(in_calm(time_factorisation) - times.reading.back());
    times.substitute.push_back(in_calm(time_substitution));
    checked_energy_error(energy_of(system, std::filesystem::path(solver_solution)), expected, "ours");
}

#if defined(TARNEL_CHOLMOD)
static void take_cholmod_turn(const assembled_system& system, const reference& expected, direct_times& times)
{
    std::vector<double> solution(system.right_side.size());
    cholmod_result result{};
    result.solution = solution.data();
    const bool solved = in_calm([&] {
        return solve_with_cholmod(system.n, system.start.data(), system.column.data(), system.value.data(),
                                  system.right_side.data(), &result) == 0;
    });
    if (!solved) throw std::runtime_error("CHOLMOD refuses the system");
    checked_energy_error(energy_of(system, solution), expected, "CHOLMOD");
    times.analyse.push_back(result.analyse_seconds);
    times.cholmod.push_back(result.factorise_seconds);
    times.cholmod_solve.push_back(result.solve_seconds);
    times.cholmod_flops = result.flops;
}
#endif

#if defined(TARNEL_LAPACK)
static void take_band_turn(const assembled_system& system, const reference& expected, int height, direct_times& times)
{
    const int n = system.n, kd = height - 1, one = 1;
    std::vector<double> band(static_cast<std::size_t>(n) * static_cast<std::size_t>(height), 0.0);
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) // column i of the lower triangle is row i of ours
        for (auto t = static_cast<std::size_t>(system.start[i]); t < static_cast<std::size_t>(system.start[i + 1]); ++t)
            band[i * static_cast<std::size_t>(height) + static_cast<std::size_t>(system.column[t]) - i] =
                system.value[t];
    std::vector<double> solution = system.right_side;
    int info = 0, solve_info = 0;
    await_calm();
    double start = cpu_seconds();
    dpbtrf_("L", &n, &kd, band.data(), &height, &info);
    times.band.push_back(cpu_seconds() - start);
    start = cpu_seconds();
    dpbtrs_("L", &n, &kd, &one, band.data(), &height, solution.data(), &n, &solve_info);
    times.band_solve.push_back(cpu_seconds() - start);
    if (info != 0 || solve_info != 0) throw std::runtime_error("dpbtrf refuses the system");
    checked_energy_error(energy_of(system, solution), expected, "dpbtrf");
}
#endif

static std::string gflops(double flops, double seconds)
{
    return decimal(flops / seconds * 1e-9, 1);
}

static void print_comparison(const reference& expected, const assembled_system& system, const profile_size& profile,
                             const direct_times& times)
{
    const double bytes = 8 * profile.terms + 8.0 * system.n;
    const double factor = median(times.factor), files = bytes / times.cache.write;
    const double apart = factor - files, substitute = median(times.substitute);
    const double rate = profile.flops / apart * 1e-9;
    const double vector_bytes = 8.0 * system.n; // the right-hand side is read once, the solution written
    const double of_bytes = (2 * bytes + vector_bytes) / times.cache.read + vector_bytes / times.cache.write;
    const double of_files = substitute / of_bytes;
    std::vector<table_row> rows = {
        {"skyline, " + expected.name + " " + expected.size, "s", "GFLOP/s", "ours, files apart / this", "goal"}};
    rows.push_back({"factorisation, block files written", seconds_text(factor), gflops(profile.flops, factor), "", ""});
    rows.push_back({"the same, block files apart", seconds_text(apart), gflops(profile.flops, apart), "",
                    expected.size == "300k" ? goal_text(rate, wanted::at_least, at_300k_gflops, " GFLOP/s") : ""});
    if (times.cholmod.empty()) {
        rows.push_back({"CHOLMOD", "not installed", "", "", ""});
    } else {
        const double both = median(times.analyse) + median(times.cholmod), ratio = apart / both;
        rows.push_back({"CHOLMOD, analysis and factorisation", seconds_text(both), gflops(times.cholmod_flops, both),
                        ratio_text(ratio),
                        expected.size == "30k" ? goal_text(ratio, wanted::at_most, most_of_cholmod) : ""});
        rows.push_back({"CHOLMOD, factorisation alone", seconds_text(median(times.cholmod)),
                        gflops(times.cholmod_flops, median(times.cholmod)), ratio_text(apart / median(times.cholmod)),
                        ""});
    }
    if (times.band.empty())
        rows.push_back({"dpbtrf", "not installed, or the band too large", "", "", ""});
    else
        rows.push_back({"dpbtrf, OpenBLAS, band of " + grouped(profile.band), seconds_text(median(times.band)),
                        gflops(static_cast<double>(profile.band) * profile.band * system.n, median(times.band)),
                        ratio_text(apart / median(times.band)), ""});
    rows.push_back({"substitution", seconds_text(substitute), "", "", ""});
    rows.push_back({"its files, " + megabytes(static_cast<long long>(bytes)) + " MB of them twice, page cache",
                    seconds_text(of_bytes), "", ratio_text(of_files) + " (substitution)",
                    goal_text(of_files, wanted::at_most, most_of_page_cache)});
    if (!times.cholmod_solve.empty())
        rows.push_back({"CHOLMOD, solution", seconds_text(median(times.cholmod_solve)), "", "", ""});
    if (!times.band_solve.empty()) rows.push_back({"dpbtrs", seconds_text(median(times.band_solve)), "", "", ""});
    rows.push_back({"reading of the system, apart", seconds_text(median(times.reading)), "", "", ""});
    print_table(stdout, rows, 1);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

static void compare(const std::filesystem::path& directory, std::size_t repeats)
{
    const reference expected = run_for_files(directory);
    std::filesystem::current_path(directory);
    const assembled_system system = read_system(".");
    const profile_size profile = size_of_profile(system);
    if (profile.terms > largest_factor) {
        std::printf("skyline, %s %s: left out, its profile has %.2g terms.\n\n", expected.name.c_str(),
                    expected.size.c_str(), profile.terms);
        return;
    }
    const int blocks = write_block_names(profile);
    direct_times times;
    for (std::size_t turn = 0; turn < repeats; ++turn) {
        await_calm();
        const auto bytes = static_cast<std::size_t>(8 * profile.terms);
        const page_cache_rates now = measure_page_cache(".", bytes, old_file::written_over);
        times.cache = {std::max(times.cache.write, now.write), std::max(times.cache.read, now.read)};
        take_our_turn(system, expected, times);
#if defined(TARNEL_CHOLMOD)
        take_cholmod_turn(system, expected, times);
#endif
#if defined(TARNEL_LAPACK)
        if (static_cast<double>(profile.band) * system.n <= largest_band)
            take_band_turn(system, expected, profile.band, times);
#endif
    }
    for (int block = 1; block <= blocks; ++block) std::remove(block_file(block).c_str());
    std::remove(tarnel::skyline_text);
    remove_solver_files();
    print_comparison(expected, system, profile, times);
}

int main(int argument_count, char** arguments)
{
    program_options given;
    if (!read_options(argument_count, arguments, given) || given.rest.empty()) {
        std::fputs("usage: bench_skyline [--repeat N] DIR...\n", stderr);
        return 2;
    }
#if defined(TARNEL_LAPACK)
    openblas_set_num_threads(1);
#endif
    try {
        for (std::string& directory : given.rest) directory = std::filesystem::absolute(directory);
        for (const std::string& directory : given.rest) compare(directory, given.repeats);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_skyline: %s\n", error.what());
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
