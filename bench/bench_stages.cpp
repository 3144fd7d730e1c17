// What each stage outside the solver costs: text read by the second, numbers printed, triangles assembled, and time
// beside the bytes that the stage reads and writes at the speed of the page cache. Growth of time and memory with size.
//   bench_stages [--repeat N] DIR...
// CPU time of the stage in the second call of a process; medians of the processes. Every run's energy is checked first.
#include "common/records.h"
#include "support/machine.h"
#include "support/reference.h"
#include "support/stage_split.h"
#include "support/table.h"
#include "support/turns.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

using namespace tarnel_bench;
using tarnel::areas_file, tarnel::centres_file, tarnel::conditions_file, tarnel::felm_results_file,
    tarnel::felm_results_text, tarnel::felm_struct_file, tarnel::felms_file, tarnel::felms_text, tarnel::index_file,
    tarnel::matrix_file, tarnel::node_results_file, tarnel::node_results_text, tarnel::node_struct_file,
    tarnel::nodes_file, tarnel::nodes_text, tarnel::solution_file, tarnel::vector_file;

// What a stage's time is held against.
enum class yardstick { text, triangles, numbers, bytes };

struct measured_stage {
    const char* name; // as in the table of stretches
    yardstick by;
    std::vector<const char*> reads, writes; // each file once; small ones are left out
};

static const std::vector<measured_stage> stages = {
    {"t_rd_node_data", yardstick::text, {nodes_text}, {nodes_file}},
    {"t_rd_felm_data", yardstick::text, {felms_text}, {felms_file}},
    {"eat_check_node_data", yardstick::bytes, {nodes_file, felms_file}, {}},
    {"eat_set_node_struct", yardstick::bytes, {nodes_file, felms_file, conditions_file}, {node_struct_file}},
    {"eat_set_matrix_index", yardstick::triangles, {node_struct_file, felms_file}, {index_file}},
    {"t_set_felm_cntr", yardstick::bytes, {nodes_file, felms_file}, {centres_file}},
    {"eat_set_felm_struct", yardstick::bytes, {felms_file, centres_file}, {felm_struct_file}},
    {"eat_calc_fem_matrix",
     yardstick::triangles,
     {node_struct_file, felm_struct_file, index_file},
     {matrix_file, vector_file, areas_file}},
    {"eat_calc_node_resl",
     yardstick::numbers,
     {node_struct_file, solution_file},
     {node_results_text, node_results_file}},
    {"eat_calc_felm_resl",
     yardstick::numbers,
     {node_struct_file, felm_struct_file, solution_file},
     {felm_results_text, felm_results_file}},
};

constexpr double least_text_rate = 250;              // [MB/s]
constexpr double most_triangle_time = 0.3;           // [us]
constexpr double most_number_time = 25;              // [ns]
constexpr double most_of_page_cache = 2;             // times
constexpr double most_peak_megabytes = 250;          // at 1m
constexpr int calls = 2;                             // in a process: the second is measured, as its limits are
constexpr std::size_t page_cache_bytes = 64'000'000; // of the file that its speed is measured with

struct model_figures {
    reference expected;
    double triangles = 0, unknowns = 0;
    std::vector<double> seconds; // of each stage
    double outside_solver = 0, solver = 0, whole = 0, peak_bytes = 0;
};

static double size_of(const std::filesystem::path& directory, const std::vector<const char*>& files)
{
    double bytes = 0;
    for (const char* file : files) bytes += static_cast<double>(std::filesystem::file_size(directory / file));
    return bytes;
}

// Numbers in a table of results, its words apart.
static double numbers_in(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<char> piece(1 << 20);
    double count = 0;
    bool blank = true, sign = false;
    while (in.read(piece.data(), static_cast<std::streamsize>(piece.size())) || in.gcount() > 0)
        for (std::streamsize k = 0; k < in.gcount(); ++k) {
            const char c = piece[static_cast<std::size_t>(k)];
            if ((blank || sign) && std::isdigit(static_cast<unsigned char>(c))) ++count;
            sign = blank && (c == '-' || c == '+');
            blank = std::isspace(static_cast<unsigned char>(c)) != 0;
        }
    return count;
}

static std::size_t stretch_of(std::string_view name)
{
    for (std::size_t s = 0; s < stretch_count; ++s)
        if (name == stretches[s].name) return s;
    throw std::runtime_error("no stretch has the name of the stage");
}

static model_figures measure(const std::filesystem::path& directory, std::size_t repeats, page_cache_rates& cache)
{
    model_figures figures;
    const std::optional<reference> expected = read_reference(directory);
    if (!expected) throw std::runtime_error("it is not a reference model");
    figures.expected = *expected;
    std::vector<stage_split> splits;
    std::vector<double> wholes, peaks, solves;
    for (std::size_t turn = 0; turn < repeats; ++turn) {
        const measured_run run = in_calm([&] { return run_measured(directory, calls); });
        const solved_energy energy = energy_of_run(directory);
        checked_energy_error(energy, *expected);
        figures.unknowns = energy.unknowns;
        splits.push_back(split_by_stage(run, run_clock::cpu));
        wholes.push_back(run.cpu_seconds);
        peaks.push_back(static_cast<double>(run.peak_bytes));
        solves.push_back(group_seconds(splits.back(), stage_group::solve));
        const page_cache_rates now = measure_page_cache(directory, page_cache_bytes);
        cache = {std::max(cache.write, now.write), std::max(cache.read, now.read)};
    }
    for (const measured_stage& stage : stages) {
        std::vector<double> seconds;
        for (const stage_split& split : splits) seconds.push_back(split.seconds[stretch_of(stage.name)]);
        figures.seconds.push_back(median(std::move(seconds)));
    }
    figures.triangles = size_of(directory, {areas_file}) / 12 - 1; // a number and an area for each, and the end
    figures.whole = median(wholes);
    figures.solver = median(solves);
    figures.outside_solver = figures.whole - figures.solver;
    figures.peak_bytes = median(peaks);
    return figures;
}

static std::pair<std::string, std::string> judged(const measured_stage& stage, const model_figures& model,
                                                  const std::filesystem::path& directory, double seconds, double ratio)
{
    switch (stage.by) {
    case yardstick::text: {
        const double rate = size_of(directory, {stage.reads.front()}) / seconds * 1e-6;
        return {decimal(rate, 0) + " MB/s of text", goal_text(rate, wanted::at_least, least_text_rate)};
    }
    case yardstick::triangles: {
        const double time = seconds / model.triangles * 1e6;
        return {decimal(time, 3) + " us a triangle", goal_text(time, wanted::at_most, most_triangle_time)};
    }
    case yardstick::numbers: {
        const double time = seconds / numbers_in(directory / stage.writes.front()) * 1e9;
        return {decimal(time, 1) + " ns a number", goal_text(time, wanted::at_most, most_number_time)};
    }
    case yardstick::bytes:
        break;
    }
    return {ratio_text(ratio) + " of the page cache", goal_text(ratio, wanted::at_most, most_of_page_cache)};
}

static void print_stages(const model_figures& model, const std::filesystem::path& directory,
                         const page_cache_rates& cache)
{
    std::vector<table_row> rows = {{"stages, " + model.expected.name + " " + model.expected.size, "ms", "MB read",
                                    "MB written", "page cache ms", "ratio", "figure", "goal"}};
    for (std::size_t s = 0; s < stages.size(); ++s) {
        const double read = size_of(directory, stages[s].reads), written = size_of(directory, stages[s].writes);
        const double limit = read / cache.read + written / cache.write, ratio = model.seconds[s] / limit;
        const auto [figure, goal] = judged(stages[s], model, directory, model.seconds[s], ratio);
        rows.push_back({stages[s].name, decimal(1e3 * model.seconds[s], 2), decimal(read * 1e-6, 1),
                        decimal(written * 1e-6, 1), decimal(1e3 * limit, 2), ratio_text(ratio), figure, goal});
    }
    print_table(stdout, rows, 1);
    std::printf("\nPage cache: writing %s GB/s, reading %s GB/s.\n\n", decimal(cache.write * 1e-9, 1).c_str(),
                decimal(cache.read * 1e-9, 1).c_str());
    std::fflush(stdout);
}

static void print_growth(const std::vector<model_figures>& models)
{
    std::vector<table_row> rows = {
        {"growth", "unknowns", "CPU s", "solver s", "outside: us a triangle", "peak MB", "bytes an unknown", "goal"}};
    for (const model_figures& model : models) {
        const double megabytes_used = model.peak_bytes * 1e-6;
        rows.push_back(
            {model.expected.name + " " + model.expected.size, grouped(static_cast<long long>(model.unknowns)),
             seconds_text(model.whole), seconds_text(model.solver),
             decimal(1e6 * model.outside_solver / model.triangles, 2), decimal(megabytes_used, 1),
             decimal(model.peak_bytes / model.unknowns, 0),
             model.expected.size == "1m" ? goal_text(megabytes_used, wanted::at_most, most_peak_megabytes) : ""});
    }
    print_table(stdout, rows, 1);
}

int main(int argument_count, char** arguments)
{
    program_options given;
    if (!read_options(argument_count, arguments, given) || given.rest.empty()) {
        std::fputs("usage: bench_stages [--repeat N] DIR...\n", stderr);
        return 2;
    }
    std::vector<model_figures> models;
    try {
        for (const std::string& directory : given.rest) {
            page_cache_rates cache{};
            models.push_back(measure(directory, given.repeats, cache));
            print_stages(models.back(), directory, cache);
        }
        print_growth(models);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_stages: %s\n", error.what());
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
