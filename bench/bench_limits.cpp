// Does a run cost what its model needs, whatever the control data would let through? A model of ten nodes runs with
// the smallest limits that fit it and with limits of 900,000,000, turn by turn.
#include "common/records.h"
#include "support/measured_run.h"
#include "support/model_text.h"
#include "support/table.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>

using namespace tarnel_bench;

constexpr std::size_t wide_limit = 900'000'000;
constexpr std::size_t wide_row_limit = 10'000;
constexpr int turns = 51;

// Two rows of five nodes one metre apart; A is 0 at the left end and 4 at the right, so it must be x in between.
static text_model ten_nodes()
{
    text_model model;
    for (std::uint32_t column = 0; column < 5; ++column)
        for (std::uint32_t row = 0; row < 2; ++row)
            model.shape.nodes.push_back({static_cast<double>(column), static_cast<double>(row)});
    for (std::uint32_t left = 0; left < 8; left += 2) {
        model.shape.triangles.push_back({{left, left + 2, left + 3}, 1});
        model.shape.triangles.push_back({{left, left + 3, left + 1}, 1});
    }
    model.materials = {{1, 1, 0}};
    model.fixed = {{0, 0}, {1, 0}, {8, 4}, {9, 4}};
    model.eps_solv = 1e-13;
    return model;
}

static void check_potentials(const std::filesystem::path& directory, const text_model& model)
{
    std::ifstream in(directory / tarnel::node_results_file, std::ios::binary);
    for (const point& node : model.shape.nodes) {
        tarnel::potential_record result;
        if (!in.read(reinterpret_cast<char*>(&result), sizeof result) || std::fabs(result.potential - node.x) > 1e-12)
            throw std::runtime_error("the potentials are wrong: the times count for nothing");
    }
}

struct limited_runs {
    const char* name;
    model_limits limits;
    std::filesystem::path directory;
    std::vector<measured_run> runs;
};

template <class value_of> static auto median(const std::vector<measured_run>& runs, value_of value)
{
    std::vector<decltype(value(runs.front()))> values;
    for (const measured_run& run : runs) values.push_back(value(run));
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

static void compare_limits(const std::filesystem::path& directory)
{
    text_model model = ten_nodes();
    const model_limits wide = {wide_limit, wide_limit, wide_limit, wide_limit, wide_limit, wide_row_limit, wide_limit};
    limited_runs both[] = {{"exact", exact_limits(model), directory / "exact", {}},
                           {"900,000,000", wide, directory / "wide", {}}};
    for (limited_runs& of : both) {
        std::filesystem::create_directories(of.directory);
        model.limits = of.limits;
        write_model(of.directory, model);
    }
    for (int turn = 0; turn < turns; ++turn)
        for (limited_runs& of : both) {
            of.runs.push_back(run_measured(of.directory));
            check_potentials(of.directory, model);
        }
    std::vector<table_row> rows = {{"ten nodes, limits", "ms", "CPU ms", "peak MB"}};
    for (const limited_runs& of : both)
        rows.push_back({of.name, decimal(1e3 * median(of.runs, [](auto& run) { return run.wall_seconds; }), 2),
                        decimal(1e3 * median(of.runs, [](auto& run) { return run.cpu_seconds; }), 2),
                        megabytes(median(of.runs, [](auto& run) { return run.peak_bytes; }))});
    print_table(stdout, rows, 1);
}

int main(int argument_count, char** arguments)
{
    if (argument_count != 2) {
        std::fputs("usage: bench_limits DIR   makes and runs the two models in DIR\n", stderr);
        return 2;
    }
    try {
        compare_limits(arguments[1]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_limits: %s\n", error.what());
        return 1;
    }
    return 0;
}
