// How long does a whole run take, where does the time go, and how much memory does it need? Each model is run several
// times; the run whose total is the median stands for it, with its own split. A model with a reference beside it must
// have given the right energy before its times are shown.
#include "support/energy.h"
#include "support/measured_run.h"
#include "support/reference.h"
#include "support/stage_split.h"
#include "support/table.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string_view>

using namespace tarnel_bench;

constexpr std::int32_t many_unknowns = 100'000; // from here on three runs rather than five

struct model_figures {
    std::string name, size;
    std::int32_t unknowns;
    std::size_t runs;
    std::optional<double> energy_error; // relative to the reference
    double wall_seconds, cpu_seconds;
    std::int64_t peak_bytes;
    stage_split split;
};

static const measured_run& median_by_total(std::vector<measured_run>& runs)
{
    const auto middle = runs.begin() + static_cast<std::ptrdiff_t>((runs.size() - 1) / 2);
    std::nth_element(runs.begin(), middle, runs.end(),
                     [](const measured_run& a, const measured_run& b) { return a.wall_seconds < b.wall_seconds; });
    return *middle;
}

static model_figures measure_model(const std::filesystem::path& directory, std::size_t repeats)
{
    const std::optional<reference> expected = read_reference(directory);
    model_figures figures{};
    figures.name = expected ? expected->name : directory.filename().string();
    figures.size = expected ? expected->size : "";
    std::vector<measured_run> runs;
    do {
        runs.push_back(run_measured(directory));
        const solved_energy energy = energy_of_run(directory);
        figures.unknowns = energy.unknowns;
        if (expected) figures.energy_error = checked_energy_error(energy, *expected);
        if (repeats == 0) repeats = energy.unknowns < many_unknowns ? 5 : 3;
        std::fprintf(stderr, "%s %s: run %zu of %zu: %s s\n", figures.name.c_str(), figures.size.c_str(), runs.size(),
                     repeats, seconds_text(runs.back().wall_seconds).c_str());
    } while (runs.size() < repeats);
    figures.runs = runs.size();
    const measured_run& median = median_by_total(runs);
    figures.wall_seconds = median.wall_seconds;
    figures.cpu_seconds = median.cpu_seconds;
    figures.peak_bytes = median.peak_bytes;
    figures.split = split_by_stage(median);
    return figures;
}

static void print_totals(const std::vector<model_figures>& models)
{
    std::vector<table_row> rows = {{"model", "size", "unknowns", "runs", "iterations"}};
    for (const char* group : group_names) rows[0].push_back(std::string(group) + " s");
    for (const char* heading : {"total s", "CPU s", "peak MB", "energy error"}) rows[0].push_back(heading);
    for (const model_figures& model : models) {
        table_row& row = rows.emplace_back();
        row = {model.name, model.size, grouped(model.unknowns), std::to_string(model.runs),
               grouped(model.split.iterations)};
        for (std::size_t g = 0; g < group_names.size(); ++g)
            row.push_back(seconds_text(group_seconds(model.split, static_cast<stage_group>(g))));
        row.push_back(seconds_text(model.wall_seconds));
        row.push_back(seconds_text(model.cpu_seconds));
        row.push_back(megabytes(model.peak_bytes));
        char error[32] = "not known";
        if (model.energy_error) std::snprintf(error, sizeof error, "%.0e", *model.energy_error);
        row.push_back(error);
    }
    print_table(stdout, rows, 2);
}

static void print_stretches(const std::vector<model_figures>& models)
{
    std::vector<table_row> rows = {{"seconds by stage"}};
    for (const model_figures& model : models) rows[0].push_back(model.name + " " + model.size);
    for (std::size_t s = 0; s < stretch_count; ++s) {
        table_row& row = rows.emplace_back();
        row.push_back(stretches[s].name);
        for (const model_figures& model : models) row.push_back(seconds_text(model.split.seconds[s]));
    }
    table_row& pace = rows.emplace_back();
    pace.push_back("ns by iteration and unknown");
    for (const model_figures& model : models)
        pace.push_back(model.split.iterations < 2 ? "-"
                                                  : decimal(1e9 * iteration_seconds(model.split) / model.unknowns, 1));
    print_table(stdout, rows, 1);
}

struct options {
    std::size_t repeats = 0; // 0: five of small models, three of large ones
    std::vector<std::filesystem::path> directories;
};

static options options_of(int argument_count, char** arguments)
{
    options given;
    for (int k = 1; k < argument_count; ++k) {
        const std::string_view argument = arguments[k];
        if (argument == "--repeat" && k + 1 < argument_count) {
            const std::string_view number = arguments[++k];
            const auto [end, error] = std::from_chars(number.begin(), number.end(), given.repeats);
            if (error == std::errc{} && end == number.end() && given.repeats > 0) continue;
        } else if (!argument.starts_with("-")) {
            given.directories.emplace_back(argument);
            continue;
        }
        given.directories.clear();
        break;
    }
    return given;
}

int main(int argument_count, char** arguments)
{
    const options given = options_of(argument_count, arguments);
    if (given.directories.empty()) {
        std::fputs("usage: bench_run [--repeat N] DIR...   runs the model in each directory N times\n", stderr);
        return 2;
    }
    std::vector<model_figures> models;
    bool all_count = true;
    for (const std::filesystem::path& directory : given.directories) {
        try {
            models.push_back(measure_model(directory, given.repeats));
        } catch (const std::exception& error) {
            std::fprintf(stderr, "bench_run: %s: %s\n", directory.c_str(), error.what());
            all_count = false;
        }
    }
    if (!models.empty()) {
        print_totals(models);
        std::fputc('\n', stdout);
        print_stretches(models);
    }
    return all_count ? 0 : 1;
}
