// One run of the library in a process of its own: its log, each line stamped as it arrives, its time and its memory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tarnel_bench
{

struct stamped_line {
    double seconds;     // since the start of the process
    double cpu_seconds; // of the process up to here
    std::string text;   // with its newline
};

struct measured_run {
    double wall_seconds = 0;     // from the start of the process to its end
    double cpu_seconds = 0;      // in the process and in the system for it
    std::int64_t peak_bytes = 0; // largest resident set
    std::vector<stamped_line> log;
};

// Runs the model in a directory; "tarnel.log" is there afterwards as after any run.
//   errors  std::runtime_error when no process can be had, or the log does not close with the end line: a run that
//           did not come through has no time
measured_run run_measured(const std::filesystem::path& directory);

} // namespace tarnel_bench
