// Turns: what is compared is timed alternately in one process, and the medians are compared.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tarnel_bench
{

// Of this process so far, the system's share included [s].
double cpu_seconds();

// The middle one, the lower of two; 0 for none.
double median(std::vector<double> values);

// "ours is so many times as much", with the goal beside it and whether it is reached: "0.55 (goal at most 0.60: yes)".
// A goal of 0 is none.
enum class wanted { at_most, at_least };
std::string ratio_text(double ratio);
std::string goal_text(double value, wanted side, double goal, const char* unit = "");

// What a program of the benchmark is told: "[--repeat N] DIR...".
struct program_options {
    std::size_t repeats = 5;
    bool repeats_given = false;
    std::vector<std::string> rest; // the other arguments
};

//   returns false when --repeat has no number of 1 or more, or an unknown option stands there
bool read_options(int argument_count, char** arguments, program_options& options);

} // namespace tarnel_bench
