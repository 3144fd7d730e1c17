#include "support/process.h"

#include "support/stage.h"

#include <tarnel.h>

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

process_outcome run_in_child(const std::function<int()>& body)
{
    process_outcome outcome;
    void* shared = mmap(nullptr, sizeof(report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        ADD_FAILURE() << "no shared memory";
        return outcome;
    }
    auto* told = static_cast<report*>(shared);
    *told = {false, -1};
    const char* output_name = "standard-output.txt";
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (std::freopen(output_name, "wb", stdout) == nullptr) _exit(120);
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
    if (std::filesystem::exists(output_name)) {
        outcome.output = read_file(output_name);
        std::filesystem::remove(output_name);
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
    return std::regex_replace(log, stamp, "<time>");
}

} // namespace tarnel_test
