// A run of the library in a process of its own: its log, each line stamped as it arrives, its time and its memory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace tarnel_bench
{

struct stamped_line {
    double seconds;     // since the start of the run
    double cpu_seconds; // of the run up to here
    std::string text;   // with its newline
};

struct measured_run {
    double wall_seconds = 0;     // from the start of the run to the end of its process
    double cpu_seconds = 0;      // in the process and in the system for it
    std::int64_t peak_bytes = 0; // largest resident set of the process
    std::vector<stamped_line> log;
};

// Runs the model in a directory; "tarnel.log" is there afterwards as after any run.
//   calls   of the library in one process, each a whole run. The last one is measured, from a calm moment on: a first
//           call also pays for the pages of code and memory that a process touches for the first time
//   errors  std::runtime_error when no process can be had, or the log does not close with the end line: a run that
//           did not come through has no time
measured_run run_measured(const std::filesystem::path& directory, int calls = 1);

} // namespace tarnel_bench
