// Whole runs in a process of their own, as a host makes them.
#pragma once

#include <functional>
#include <string>

namespace tarnel_test
{

struct process_outcome {
    bool exited = false;   // ended by exit, not by a signal
    int status = -1;       // exit status, or the signal
    bool returned = false; // main_tarnel_n1 came back to its host
    int value = -1;        // what it returned
    std::string output;    // standard output of the run
    std::string log;       // "tarnel.log", empty when there is none
};

// Runs the library in a child process in the working directory; `before` is done there first.
process_outcome run_library(const std::function<void()>& before = {});

// The same in another function's place: the child ends with status 0 unless `body` ends it. Its standard output goes
// through a file, which is removed.
process_outcome run_in_child(const std::function<int()>& body, const std::string& output = "standard-output.txt");

// The log with its three kinds of time stamps replaced by <time>.
std::string without_times(const std::string& log);

} // namespace tarnel_test
