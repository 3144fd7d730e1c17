// Conjugate gradients on the matrix of a reference model, reading of the system apart: our three variants beside the
// same methods of PETSc and Eigen and the time in which memory can bring the bytes that an iteration must touch.
//   bench_iccg [--repeat N] [iccg|cg|scg]... DIR...   (default: all three)
// Every solution's energy is held against the model's reference before its time counts.
#include "peers/cg_peers.h"
#include "solvers/iccg.h"
#include "support/machine.h"
#include "support/solver_call.h"
#include "support/system_files.h"
#include "support/table.h"
#include "support/turns.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

using namespace tarnel_bench;

struct variant {
    const char* name;
    std::int32_t option; // iopt_solv
    cg_peer_kind peer;
    const char* petsc;
    const char* eigen;    // null: has no such method
    double goal_petsc;    // our time over that of PETSc, at most
    double goal_of_bytes; // our time over the bound by bytes at 1m, at most; 0: none
};

constexpr variant variants[] = {
    {"ICCG", 1, peer_incomplete_factors, "PETSc CG + ICC(0)", "Eigen CG + IncompleteCholesky", 0.6, 1.6},
    {"CG", 0, peer_symmetric_sweep, "PETSc CG + SSOR", nullptr, 0.6, 0},
    {"SCG", 2, peer_scaling_only, "PETSc CG + Jacobi", "Eigen CG + diagonal", 0.6, 0},
};

// The bytes that an iteration must bring, for n unknowns and t couplings stored once: the value (8) and column (4) of
// each coupling and a count a row (4), once in the product and once in each of the two sweeps; in the product's pass z
// read, p and x read and written, q written (48); in the forward pass r read and written, q read, z written (32); in
// the backward pass z read and written, r read for (r, z) (24), ICCG the pivots too (8). SCG: the product's pass with r
// in the place of z, then r read and written and q read (24).
static double bytes_of_iteration(const variant& of, double n, double t)
{
    const double pass = 12 * t + 4 * n;
    if (of.peer == peer_scaling_only) return pass + (48 + 24) * n;
    return 3 * pass + (48 + 32 + 24 + (of.peer == peer_incomplete_factors ? 8 : 0)) * n;
}

// What stays from one iteration to the next: the bandwidth is that of the cache or memory it fits in.
static double bytes_kept(const variant& of, double n, double t)
{
    const double vectors = of.peer == peer_scaling_only ? 4 : 5;
    const double factors = of.peer == peer_incomplete_factors ? 8 * (t + n) : 0;
    return 12 * t + 4 * n + 8 * vectors * n + factors;
}

static double time_call(const variant& of, std::int32_t itermax, double eps_zero)
{
    tarnel::control cntl = open_control();
    cntl.iopt_solv = of.option;
    cntl.itermax_solv = itermax;
    cntl.eps_zero = eps_zero;
    const auto solve = [&](system_files& files, std::FILE* log) {
        t_real_mtsolv_iccg(cntl, {files.index, files.matrix, files.vector, files.solution}, log);
    };
    return time_solver(solve, eps_zero == above_all);
}

static int logged_iterations()
{
    std::ifstream log(solver_log);
    int count = 0;
    for (std::string line; std::getline(log, line);)
        count += line.find(" solver convergence iter = ") != std::string::npos;
    return count;
}

struct contender {
    std::string name;
    bool present = true;
    int iterations = 0;
    std::vector<double> seconds;    // preparation and iterations, reading of the system apart
    std::vector<double> of_iterate; // one iteration
};

struct loaded_model {
    reference expected;
    assembled_system system, scaled;
    full_matrix full; // of the scaled system
};

// CPU seconds of a call that ends when the whole system is read, because no diagonal is large enough, of one that stops
// after its first iteration, and of the whole.
struct our_times {
    double reading, one, all;
};

static void take_our_turn(const loaded_model& model, const variant& of, contender& ours, std::vector<double>& reading)
{
    constexpr double usual = 1e-60;
    const our_times times = in_calm([&] {
        return our_times{time_call(of, 0, above_all), time_call(of, 1, usual),
                         time_call(of, std::numeric_limits<std::int32_t>::max(), usual)};
    });
    ours.iterations = logged_iterations();
    checked_energy_error(energy_of(model.system, std::filesystem::path(solver_solution)), model.expected, "ours");
    reading.push_back(times.reading);
    ours.seconds.push_back(times.all - times.reading);
    ours.of_iterate.push_back((times.all - times.one) / std::max(ours.iterations - 1, 1));
}

template <class solve_function>
static void take_peer_turn(const loaded_model& model, contender& peer, solve_function solve)
{
    if (!peer.present) return;
    std::vector<double> solution(model.scaled.right_side.size());
    const cg_peer_result result = in_calm([&] {
        std::fill(solution.begin(), solution.end(), 0.0);
        cg_peer_result got = {0, 0, solution.data()};
        if (solve(got) != 0) throw std::runtime_error(peer.name + " refuses the system");
        return got;
    });
    checked_energy_error(energy_of(model.scaled, solution), model.expected, peer.name.c_str());
    peer.iterations = result.iterations;
    peer.seconds.push_back(result.seconds);
}

[[maybe_unused]] static cg_peer_system peer_system(const loaded_model& model, cg_peer_store store)
{
    const assembled_system& s = model.scaled;
    if (store == store_upper_triangle)
        return {s.n, s.start.data(), s.column.data(), s.value.data(), s.right_side.data(), open_control().eps_solv};
    const full_matrix& f = model.full;
    return {s.n, f.start.data(), f.column.data(), f.value.data(), s.right_side.data(), open_control().eps_solv};
}

static std::string ms(double seconds)
{
    return decimal(1e3 * seconds, seconds < 1e-3 ? 3 : 2);
}

static void compare(const loaded_model& model, const variant& of, std::size_t repeats)
{
    contender ours{"tarnel " + std::string(of.name), true, 0, {}, {}};
    contender petsc_full{of.petsc + std::string(", both triangles"), true, 0, {}, {}};
    contender petsc_upper{of.petsc + std::string(", upper triangle"), true, 0, {}, {}};
    contender eigen{of.eigen != nullptr ? of.eigen : "", of.eigen != nullptr, 0, {}, {}};
#if !defined(TARNEL_PETSC)
    petsc_full.present = petsc_upper.present = false;
#endif
#if !defined(TARNEL_EIGEN)
    eigen.present = false;
#endif
    const double n = model.system.n, t = static_cast<double>(couplings(model.system));
    std::vector<double> reading;
    double rate = 0;
    for (std::size_t turn = 0; turn < repeats; ++turn) {
        rate = std::max(rate, read_rate(static_cast<std::size_t>(bytes_kept(of, n, t))));
        take_our_turn(model, of, ours, reading);
#if defined(TARNEL_PETSC)
        const auto petsc = [&](cg_peer_store store) {
            return [&, store](cg_peer_result& result) {
                const cg_peer_system system = peer_system(model, store);
                return solve_with_petsc(&system, of.peer, store, &result);
            };
        };
        take_peer_turn(model, petsc_full, petsc(store_both_triangles));
        take_peer_turn(model, petsc_upper, petsc(store_upper_triangle));
#endif
#if defined(TARNEL_EIGEN)
        take_peer_turn(model, eigen, [&](cg_peer_result& result) {
            const cg_peer_system system = peer_system(model, store_both_triangles);
            return solve_with_eigen(&system, of.peer, &result);
        });
#endif
    }
    const double bytes = bytes_of_iteration(of, n, t);
    const double bound = bytes / rate * ours.iterations;
    const double our_seconds = median(ours.seconds);

    std::vector<table_row> rows = {{std::string(of.name) + ", " + model.expected.name + " " + model.expected.size,
                                    "iterations", "s", "ms an iteration", "ours / this", "goal"}};
    rows.push_back(
        {ours.name, grouped(ours.iterations), seconds_text(our_seconds), ms(median(ours.of_iterate)), "", ""});
    const double best_petsc = std::min(median(petsc_full.seconds), median(petsc_upper.seconds));
    for (const contender* peer : {&petsc_full, &petsc_upper, &eigen}) {
        if (peer->name.empty()) continue;
        if (!peer->present) {
            rows.push_back({peer->name, "", "not installed", "", "", ""});
            continue;
        }
        const double theirs = median(peer->seconds), ratio = our_seconds / theirs;
        const bool judged = peer != &eigen && theirs <= best_petsc; // the faster of the two is the peer
        rows.push_back({peer->name, grouped(peer->iterations), seconds_text(theirs), ms(theirs / peer->iterations),
                        ratio_text(ratio), judged ? goal_text(ratio, wanted::at_most, of.goal_petsc) : ""});
    }
    const double of_bound = our_seconds / bound;
    const bool large = model.expected.size == "1m";
    rows.push_back({megabytes(static_cast<long long>(bytes)) + " MB at " + decimal(rate * 1e-9, 1) + " GB/s", "",
                    seconds_text(bound), ms(bytes / rate), ratio_text(of_bound),
                    large && of.goal_of_bytes > 0 ? goal_text(of_bound, wanted::at_most, of.goal_of_bytes) : ""});
    rows.push_back({"reading of the system, apart", "", seconds_text(median(reading)), "", "", ""});
    print_table(stdout, rows, 1);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

static void compare_on_model(const std::filesystem::path& directory, const std::vector<const variant*>& chosen,
                             std::size_t repeats)
{
    loaded_model model;
    model.expected = run_for_files(directory);
    std::filesystem::current_path(directory);
    model.system = read_system(".");
    model.scaled = model.system;
    scale_to_unit_diagonal(model.scaled);
    model.full = both_triangles(model.scaled);
    for (const variant* of : chosen) compare(model, *of, repeats);
    remove_solver_files();
}

static const variant* variant_named(std::string_view name)
{
    for (const variant& of : variants)
        if (std::equal(name.begin(), name.end(), of.name, of.name + std::string_view(of.name).size(),
                       [](char a, char b) { return a == b + ('a' - 'A'); }))
            return &of;
    return nullptr;
}

int main(int argument_count, char** arguments)
{
    program_options given;
    std::vector<const variant*> chosen;
    std::vector<std::filesystem::path> directories;
    const bool understood = read_options(argument_count, arguments, given);
    for (const std::string& argument : given.rest)
        if (const variant* of = variant_named(argument))
            chosen.push_back(of);
        else
            directories.push_back(std::filesystem::absolute(argument));
    if (!understood || directories.empty()) {
        std::fputs("usage: bench_iccg [--repeat N] [iccg|cg|scg]... DIR...\n", stderr);
        return 2;
    }
    if (chosen.empty())
        for (const variant& of : variants) chosen.push_back(&of);
    try {
        for (const std::filesystem::path& directory : directories) compare_on_model(directory, chosen, given.repeats);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_iccg: %s\n", error.what());
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
