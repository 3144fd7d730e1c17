// Runs small models with each of their inputs damaged, a process for each run, and demands of every one that it either
// completes or says in the last lines of its log why not.
//   damage [--every N] [--from K] [--model NAME]
//     --every N    every N-th damage only, from the K-th on (default: all)
//     --model      one model only
//   exit status 1 after a finding, whose directory is left for inspection
#include "common/records.h"
#include "damage/damages.h"
#include "damage/models.h"
#include "run/models.h"
#include "support/log_end.h"
#include "support/process.h"
#include "support/stage.h"

#include <tarnel.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

// Leaks are judged elsewhere; a tiny model has no use for a large array.
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options()
{
    return "detect_leaks=0:allocator_may_return_null=1:max_allocation_size_mb=64:quarantine_size_mb=1";
}

using namespace tarnel_test;

namespace
{

constexpr int returned_status = 42; // of a child whose run came back
constexpr rlim_t cpu_seconds = 20;  // far above what the iterations of a small model take

struct settings {
    long every = 1, from = 0;
    std::string model;
};

struct child_end {
    int status = 0; // as waitpid gives it
    std::string log, output;
};

using inputs_by_name = std::map<std::string, std::string>;

inputs_by_name read_inputs()
{
    inputs_by_name inputs;
    for (const auto& file : std::filesystem::directory_iterator("."))
        inputs[file.path().filename().string()] = read_file(file.path().string());
    return inputs;
}

void write_plain(const char* name, const std::string& content)
{
    const tarnel::owned_file file(std::fopen(name, "wb"));
    if (file == nullptr || std::fwrite(content.data(), 1, content.size(), file.get()) != content.size())
        throw std::runtime_error(std::string("cannot write ") + name);
}

std::string read_plain(const char* name)
{
    std::string content;
    const tarnel::owned_file file(std::fopen(name, "rb"));
    if (file == nullptr) return content;
    char part[4096];
    for (std::size_t n; (n = std::fread(part, 1, sizeof part, file.get())) > 0;) content.append(part, n);
    return content;
}

void limit(int resource, rlim_t most)
{
    const rlimit both = {most, most};
    setrlimit(static_cast<__rlimit_resource>(resource), &both);
}

// The child's part: one run, with its output beside the working directory.
[[noreturn]] void run_as_child()
{
    const int output = open("../output.txt", O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
    if (output < 0 || dup2(output, 1) < 0 || dup2(output, 2) < 0) _exit(120);
    limit(RLIMIT_CORE, 0);
    limit(RLIMIT_CPU, cpu_seconds);
    limit(RLIMIT_FSIZE, rlim_t{64} << 20);
#if !defined(TARNEL_ADDRESS_SANITIZER)
    limit(RLIMIT_AS, rlim_t{512} << 20);
#endif
    const int value = main_tarnel_n1();
    _exit(value == 0 ? returned_status : 121);
}

child_end run_child()
{
    child_end end;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) run_as_child();
    if (child < 0 || waitpid(child, &end.status, 0) != child) throw std::runtime_error("no child process");
    end.log = read_plain("tarnel.log");
    end.output = read_plain("../output.txt");
    return end;
}

enum class verdict { complete, message, finding };

verdict judge(const child_end& end, std::string& fault)
{
    if (WIFSIGNALED(end.status)) {
        fault = "ended by signal " + std::to_string(WTERMSIG(end.status));
        return verdict::finding;
    }
    const int status = WEXITSTATUS(end.status);
    const bool end_line = end.log.ends_with(tarnel::end_line);
    if (status != 0 && status != returned_status)
        fault = "exit status " + std::to_string(status);
    else if (!end.output.empty())
        fault = "something on the standard output";
    else if (status == returned_status && !end_line)
        fault = "came back without its end line";
    else if (status == returned_status && has_error(end.log))
        fault = "came back with an error in its log";
    else if (status == 0 && end_line)
        fault = "ended itself with its end line in the log";
    else if (status == 0 && !ends_with_message(end.log))
        fault = "ended itself without a message";
    else if (has_refused_allocation(end.log))
        fault = "paid for what a count promised";
    else
        return status == 0 ? verdict::message : verdict::complete;
    return verdict::finding;
}

struct tally {
    std::array<long, damage_kinds> runs{};
    long complete = 0, message = 0, findings = 0;
};

// The damaged runs of one model.
class campaign
{
public:
    campaign(const settings& chosen, const small_model& model, long& counter)
        : chosen_(chosen), model_(model), counter_(counter)
    {
    }
    tally run()
    {
        model_.write([] {
            if (!run_library().returned) throw std::runtime_error("the model does not run");
        });
        std::filesystem::remove("tarnel.log");
        inputs_ = read_inputs();
        std::string fault;
        if (judge(run_child(), fault) != verdict::complete)
            throw std::runtime_error(std::string(model_.name) + " does not run undamaged: " + read_plain("tarnel.log"));
        for (const std::string& name : model_.inputs) {
            const auto kind = name.ends_with(".txt") ? content_kind::text : content_kind::binary;
            for_each_damage(inputs_.at(name), kind,
                            [this, &name](damage_kind damage, const std::string& what, const std::string& damaged) {
                                if (counter_++ % chosen_.every == chosen_.from) one_run(name, damage, what, damaged);
                            });
        }
        return tally_;
    }

private:
    void one_run(const std::string& name, damage_kind damage, const std::string& what, const std::string& damaged)
    {
        for (const auto& file : std::filesystem::directory_iterator(".")) std::filesystem::remove(file);
        for (const auto& [input, content] : inputs_) write_plain(input.c_str(), input == name ? damaged : content);
        const child_end end = run_child();
        ++tally_.runs[static_cast<std::size_t>(damage)];
        std::string fault;
        switch (judge(end, fault)) {
        case verdict::complete:
            ++tally_.complete;
            break;
        case verdict::message:
            ++tally_.message;
            break;
        case verdict::finding:
            ++tally_.findings;
            const std::string kept = "../finding-" + std::string(model_.name) + "-" + std::to_string(counter_ - 1);
            std::filesystem::copy(".", kept, std::filesystem::copy_options::recursive);
            std::printf("FINDING %s, %s, %s: %s (%s)\n%s\n", model_.name, name.c_str(), what.c_str(), fault.c_str(),
                        std::filesystem::absolute(kept).lexically_normal().c_str(), end.output.c_str());
            break;
        }
    }

    const settings& chosen_;
    const small_model& model_;
    long& counter_;
    inputs_by_name inputs_;
    tally tally_;
};

settings read_arguments(int argc, char** argv)
{
    settings chosen;
    for (int k = 1; k < argc; k += 2) {
        const std::string_view option = argv[k];
        if (k + 1 == argc) throw std::runtime_error("no value for " + std::string(option));
        if (option == "--every")
            chosen.every = std::stol(argv[k + 1]);
        else if (option == "--from")
            chosen.from = std::stol(argv[k + 1]);
        else if (option == "--model")
            chosen.model = argv[k + 1];
        else
            throw std::runtime_error("unknown option " + std::string(option));
    }
    if (chosen.every < 1 || chosen.from < 0 || chosen.from >= chosen.every)
        throw std::runtime_error("--every must be positive, --from below it");
    return chosen;
}

void print_head()
{
    std::printf("%-18s", "model");
    for (const char* name : damage_names) std::printf(" %8s", name);
    std::printf(" %9s %9s %9s\n", "complete", "message", "findings");
}

void print_tally(const char* name, const tally& t)
{
    std::printf("%-18s", name);
    for (const long runs : t.runs) std::printf(" %8ld", runs);
    std::printf(" %9ld %9ld %9ld\n", t.complete, t.message, t.findings);
    std::fflush(stdout);
}

// Runs all models below a directory of its own, in memory where the system has such a place.
bool run_campaigns(const settings& chosen)
{
    const std::filesystem::path memory = "/dev/shm";
    const bool in_memory = access(memory.c_str(), W_OK | X_OK) == 0;
    std::string top = ((in_memory ? memory : std::filesystem::temp_directory_path()) / "tarnel-damage-XXXXXX").string();
    if (mkdtemp(top.data()) == nullptr) throw std::runtime_error("cannot make " + top);
    tally all;
    long counter = 0;
    print_head();
    for (const small_model& model : small_models()) {
        if (!chosen.model.empty() && chosen.model != model.name) continue;
        const std::filesystem::path work = std::filesystem::path(top) / "work";
        std::filesystem::create_directory(work);
        std::filesystem::current_path(work);
        const tally t = campaign(chosen, model, counter).run();
        print_tally(model.name, t);
        for (std::size_t k = 0; k < all.runs.size(); ++k) all.runs[k] += t.runs[k];
        all.complete += t.complete, all.message += t.message, all.findings += t.findings;
        std::filesystem::current_path(top);
        std::filesystem::remove_all(work);
    }
    print_tally("all", all);
    std::filesystem::current_path("/");
    if (all.findings == 0) std::filesystem::remove_all(top);
    return all.findings == 0 && all.complete > 0 && all.message > 0;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run_campaigns(read_arguments(argc, argv)) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "damage: %s\n", error.what());
        return 2;
    }
}
