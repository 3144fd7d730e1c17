// "tarnel solve": one run of the library in a directory, followed through its log.
#pragma once

#include <string>

struct solve_options {
    std::string directory;
    bool quiet = false; // nothing is printed unless the run fails
};

// Exit statuses of the command. An end by a signal gives 128 plus the signal's number, as a shell reports it.
constexpr int exit_complete = 0;
constexpr int exit_failed = 1;
constexpr int exit_misuse = 2;
constexpr int exit_signal_base = 128;

// Runs entry(), the library's entry point, in a child process with the directory as working directory and returns the
// exit status of the command. Progress and summary go to standard output, everything that is wrong to standard error.
// Success is told from failure by the log alone, since the library ends with the same status either way.
//   errors  std::system_error when the system refuses a call
int solve_directory(const solve_options& options, int (*entry)());
