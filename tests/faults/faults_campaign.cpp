// The whole campaign: every platform call of every model made to fail, files that cannot be read to their end, full
// disks, damaged sizes.
//   faults_campaign [--stride N] [--only NAME] [--part calls|places|disk|sizes] [DIRECTORY...]
// Works in a directory of its own under TMPDIR. A DIRECTORY holds the inputs of a further model, of which every N-th
// call fails. Exit status 0: every run kept the log's promise.
#include "faults/campaign.h"

#include <cstdio>
#include <cstdlib>

#include <sched.h>
#include <sys/mount.h>

using namespace tarnel_test;

namespace
{

struct choice {
    int stride = 1;
    std::string only, part;
    std::vector<std::filesystem::path> directories;
    bool has(const std::string& wanted) const { return part.empty() || part == wanted; }
};

choice read_choice(int argc, char** argv)
{
    choice chosen;
    for (int k = 1; k < argc; ++k) {
        const std::string word = argv[k];
        if (word == "--stride" && k + 1 < argc)
            chosen.stride = std::max(1, std::atoi(argv[++k]));
        else if (word == "--only" && k + 1 < argc)
            chosen.only = argv[++k];
        else if (word == "--part" && k + 1 < argc)
            chosen.part = argv[++k];
        else
            chosen.directories.push_back(std::filesystem::absolute(word));
    }
    return chosen;
}

fault_model model_of_directory(const std::filesystem::path& directory)
{
    return {directory.filename().string(), [directory] {
                for (const auto& entry : std::filesystem::directory_iterator(directory))
                    if (entry.is_regular_file()) std::filesystem::copy(entry.path(), entry.path().filename());
            }};
}

void run_model(const choice& chosen, const fault_model& model, bool small, bool may_mount, campaign_counts& counts)
{
    const prepared_model prepared = prepare(model);
    std::printf("%s:", model.name.c_str());
    for (std::size_t kind = 0; kind < kinds_of_call; ++kind)
        std::printf(" %d %s%s", prepared.clean.calls[kind], call_names[kind], kind + 1 < kinds_of_call ? "," : "\n");
    std::fflush(stdout);
    if (chosen.has("calls")) fail_every_call(prepared, small ? 1 : chosen.stride, lasting_faults::too, counts);
    if (chosen.has("places")) stop_reading(prepared, stopping_places::all, small ? 1000 : 3, counts);
    if (chosen.has("disk")) {
        limit_files(prepared, small ? 97 : 100003, counts);
        fill_each_file(prepared, counts);
        if (may_mount && !fill_disk(prepared, small ? 1 : 25, counts)) std::printf("  no disk was filled\n");
    }
    if (chosen.has("sizes") && small) damage_sizes(prepared, 4096, counts);
}

void print_counts(const campaign_counts& counts)
{
    for (const auto& [message, times] : counts.messages) std::printf("%7d  %s", times, message.c_str());
    std::printf("Of these, about files and arrays for which no stage's description has a message:\n");
    for (const auto& [message, times] : counts.left_open) std::printf("%7d  %s", times, message.c_str());
    std::printf("%-16s", "cause");
    for (const char* name : verdict_names) std::printf("%20s", name);
    std::printf("\n");
    int total = 0;
    for (const auto& [cause, runs] : counts.runs) {
        std::printf("%-16s", cause.c_str());
        for (const int n : runs) {
            std::printf("%20d", n);
            total += n;
        }
        std::printf("\n");
    }
    std::printf("%d runs, %zu violations\n", total, counts.violations.size());
    for (const std::string& violation : counts.violations) std::printf("violation: %s\n", violation.c_str());
}

} // namespace

int main(int argc, char** argv)
{
    const choice chosen = read_choice(argc, argv);
    // Mounts of our own, which nobody else sees and which end with us.
    const bool may_mount = unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    if (!may_mount) std::printf("Nothing can be mounted here: full disks are left out.\n");
    const work_directory own;
    campaign_counts counts;
    for (const fault_model& model : small_fault_models())
        if (chosen.only.empty() || chosen.only == model.name) run_model(chosen, model, true, may_mount, counts);
    for (const std::filesystem::path& directory : chosen.directories)
        run_model(chosen, model_of_directory(directory), false, may_mount, counts);
    print_counts(counts);
    return counts.violations.empty() ? 0 : 1;
}
