#include "support/turns.h"

#include "support/table.h"

#include <algorithm>
#include <charconv>
#include <ctime>
#include <string_view>

namespace tarnel_bench
{

double cpu_seconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double median(std::vector<double> values)
{
    if (values.empty()) return 0.0;
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>((values.size() - 1) / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::string ratio_text(double ratio)
{
    return decimal(ratio, 2);
}

std::string goal_text(double value, wanted side, double goal, const char* unit)
{
    const bool reached = side == wanted::at_most ? value <= goal : value >= goal;
    const int decimals = goal < 10 ? 2 : 0;
    return std::string(side == wanted::at_most ? "at most " : "at least ") + decimal(goal, decimals) + unit +
           (reached ? ": yes" : ": no");
}

bool read_options(int argument_count, char** arguments, program_options& options)
{
    for (int k = 1; k < argument_count; ++k) {
        const std::string_view argument = arguments[k];
        if (argument == "--repeat" && k + 1 < argument_count) {
            const std::string_view number = arguments[++k];
            const auto [end, error] = std::from_chars(number.begin(), number.end(), options.repeats);
            if (error != std::errc{} || end != number.end() || options.repeats == 0) return false;
            options.repeats_given = true;
        } else if (argument.starts_with("--")) {
            return false;
        } else {
            options.rest.emplace_back(argument);
        }
    }
    return true;
}

} // namespace tarnel_bench
