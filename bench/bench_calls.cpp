// What does a call cost as such? A model of a hundred nodes is run again and again in one process, as a host does that
// steps through time.
//   bench_calls [--repeat N] DIR [CALLS]   makes the model in DIR
#include "common/records.h"
#include "support/machine.h"
#include "support/model_text.h"
#include "support/table.h"
#include "support/turns.h"

#include <tarnel.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <vector>

using namespace tarnel_bench;

constexpr std::uint32_t side = 10;
constexpr double most_milliseconds = 2;
constexpr long default_calls = 300;

// Ten by ten nodes one metre apart; A is 0 at the left end and 9 at the right, so it must be x in between.
static text_model hundred_nodes()
{
    text_model model;
    for (std::uint32_t column = 0; column < side; ++column)
        for (std::uint32_t row = 0; row < side; ++row) {
            model.shape.nodes.push_back({static_cast<double>(column), static_cast<double>(row)});
            const std::uint32_t node = column * side + row;
            if (column == 0 || column + 1 == side) model.fixed.push_back({node, static_cast<int>(column)});
            if (column + 1 == side || row + 1 == side) continue;
            model.shape.triangles.push_back({{node, node + side, node + side + 1}, 1});
            model.shape.triangles.push_back({{node, node + side + 1, node + 1}, 1});
        }
    model.materials = {{1, 1, 0}};
    model.eps_solv = 1e-12;
    model.limits = exact_limits(model);
    return model;
}

static void check_potentials(const text_model& model)
{
    std::ifstream in(tarnel::node_results_file, std::ios::binary);
    for (const point& node : model.shape.nodes) {
        tarnel::potential_record result;
        if (!in.read(reinterpret_cast<char*>(&result), sizeof result) || std::fabs(result.potential - node.x) > 1e-9)
            throw std::runtime_error("the potentials are wrong: the times count for nothing");
    }
}

static void time_calls(const std::filesystem::path& directory, std::size_t turns, std::size_t calls)
{
    if (std::filesystem::exists(directory / "reference.txt"))
        throw std::runtime_error("a reference model stands in " + directory.string());
    std::filesystem::create_directories(directory);
    std::filesystem::current_path(directory);
    const text_model model = hundred_nodes();
    write_model(".", model);
    std::vector<double> milliseconds, on_the_wall;
    for (std::size_t turn = 0; turn < turns; ++turn) {
        std::filesystem::remove(tarnel::node_results_file);
        await_calm();
        const double start = cpu_seconds();
        const auto begin = std::chrono::steady_clock::now();
        for (std::size_t call = 0; call < calls; ++call) main_tarnel_n1();
        milliseconds.push_back((cpu_seconds() - start) * 1e3 / static_cast<double>(calls));
        const std::chrono::duration<double, std::milli> waited = std::chrono::steady_clock::now() - begin;
        on_the_wall.push_back(waited.count() / static_cast<double>(calls));
        check_potentials(model);
    }
    const double each = median(milliseconds);
    print_table(stdout,
                {{"a hundred nodes, call after call", "calls", "ms a call", "CPU ms a call", "goal"},
                 {"main_tarnel_n1", grouped(static_cast<long long>(calls)), decimal(median(on_the_wall), 3),
                  decimal(each, 3), goal_text(each, wanted::at_most, most_milliseconds, " ms")}},
                1);
}

int main(int argument_count, char** arguments)
{
    program_options given;
    const bool understood = read_options(argument_count, arguments, given);
    const long calls = given.rest.size() == 2 ? std::strtol(given.rest[1].c_str(), nullptr, 10) : default_calls;
    if (!understood || given.rest.empty() || given.rest.size() > 2 || calls < 1) {
        std::fputs("usage: bench_calls [--repeat N] DIR [CALLS]   (default 300 calls)\n", stderr);
        return 2;
    }
    try {
        time_calls(given.rest[0], given.repeats, static_cast<std::size_t>(calls));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_calls: %s\n", error.what());
        return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
