#include "support/process.h"

#include "support/stage.h"

#include <tarnel.h>

#include <algorithm>
#include <cstdio>
#include <regex>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarnel_test
{

struct report {
    bool returned;
    int value;
};

process_outcome run_in_child(const std::function<int()>& body, const std::string& output)
{
    process_outcome outcome;
    void* shared = mmap(nullptr, sizeof(report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        ADD_FAILURE() << "no shared memory";
        return outcome;
    }
    auto* told = static_cast<report*>(shared);
    *told = {false, -1};
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (std::freopen(output.c_str(), "wb", stdout) == nullptr) _exit(120);
        const int value = body();
        *told = {true, value};
        std::fflush(nullptr);
        _exit(0);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) ADD_FAILURE() << "no child process";
    outcome.exited = WIFEXITED(status);
    outcome.status = outcome.exited ? WEXITSTATUS(status) : WTERMSIG(status);
    outcome.returned = told->returned;
    outcome.value = told->value;
    munmap(shared, sizeof(report));
    if (std::filesystem::exists(output)) {
        outcome.output = read_file(output);
        std::filesystem::remove(output);
    }
    if (std::filesystem::is_regular_file("tarnel.log")) outcome.log = read_file("tarnel.log");
    return outcome;
}

process_outcome run_library(const std::function<void()>& before)
{
    return run_in_child([&before] {
        if (before) before();
        return main_tarnel_n1();
    });
}

std::string without_times(const std::string& log)
{
    static const std::regex stamp("[A-Z][a-z]{2} \\d{2},\\d{4}\\([A-Z][a-z]+\\) \\d{2}:\\d{2}:\\d{2}");
    std::string kept;
    for (std::size_t start = 0; start < log.size();) {
        const std::size_t end = std::min(log.find('\n', start), log.size() - 1) + 1;
        const std::string line = log.substr(start, end - start);
        kept += line.starts_with("    ### ") ? std::regex_replace(line, stamp, "<time>") : line;
        start = end;
    }
    return kept;
}

} // namespace tarnel_test
