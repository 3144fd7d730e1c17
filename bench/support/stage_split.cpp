#include "support/stage_split.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace tarnel_bench
{

constexpr std::size_t none = stretch_count;

static constexpr std::size_t stretch_named(std::string_view name)
{
    for (std::size_t s = 0; s < stretch_count; ++s)
        if (stretches[s].name == name) return s;
    return none;
}
constexpr std::size_t before_iterations = stretch_named("solver: to the first iterate");
constexpr std::size_t iterations = stretch_named("solver: iterations");
constexpr std::size_t after_iterations = stretch_named("solver: to the end");
static_assert(before_iterations < iterations && iterations < after_iterations && after_iterations != none);

static std::size_t opened_by(std::string_view line)
{
    for (std::size_t s = 0; s < stretch_count; ++s)
        if (stretches[s].heading != nullptr && line.starts_with(stretches[s].heading)) return s;
    if (line.starts_with("    === func. ") && !line.starts_with("    === func. t_real_mtsolv_"))
        throw std::runtime_error("the log names a stage without a place in the table: " + std::string(line));
    return none;
}

double group_seconds(const stage_split& split, stage_group group)
{
    double sum = 0;
    for (std::size_t s = 0; s < stretch_count; ++s)
        if (stretches[s].group == group) sum += split.seconds[s];
    return sum;
}

double iteration_seconds(const stage_split& split)
{
    return split.seconds[iterations] / (split.iterations - 1);
}

stage_split split_by_stage(const measured_run& run, run_clock clock)
{
    stage_split split;
    std::size_t open = 0;
    double since = 0;
    const auto cut = [&](double at, std::size_t next) {
        split.seconds[open] += at - since;
        since = at;
        open = next;
    };
    for (const stamped_line& line : run.log) {
        const double now = clock == run_clock::wall ? line.seconds : line.cpu_seconds;
        if (line.text.find(" solver convergence iter = ") != std::string::npos) {
            ++split.iterations;
            // The stretch after the last iteration is not known as such yet: each iteration closes one and opens it.
            const std::size_t done = open == before_iterations ? before_iterations : iterations;
            split.seconds[done] += now - since;
            since = now;
            open = after_iterations;
        } else if (const std::size_t next = opened_by(line.text); next != none) {
            cut(now, next);
        }
    }
    cut(clock == run_clock::wall ? run.wall_seconds : run.cpu_seconds, none);
    return split;
}

} // namespace tarnel_bench
