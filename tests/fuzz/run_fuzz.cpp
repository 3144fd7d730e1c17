// Whole runs: the first byte chooses one of the small models, the rest edits its inputs.
#include "common/records.h"
#include "damage/models.h"
#include "driver/run.h"
#include "fuzz/fuzz_support.h"

#include <cstring>

using namespace tarnel;
using namespace tarnel_fuzz;

struct runnable {
    base_run base;
    std::vector<std::string> names;
};

static std::vector<runnable> runnable_models()
{
    std::vector<runnable> models;
    for (const tarnel_test::small_model& small : tarnel_test::small_models()) {
        runnable model = {inputs_of(small.name), {}};
        for (const auto& [name, content] : model.base.files) model.names.push_back(name);
        models.push_back(std::move(model));
    }
    return models;
}

// Left out: a block file of somewhere else, and more circuit edges than files should be made for.
static bool stays_small(const edited_files& edited)
{
    const auto names = edited.files.find(skyline_text);
    if (names != edited.files.end() && names->second.find('/') != std::string::npos) return false;
    const auto circuits = edited.files.find(circuit2_file);
    if (circuits == edited.files.end() || circuits->second.size() < 16) return true;
    std::int32_t head[4]; // maxvlt, nvoltg, nvoltv, nvoltve
    std::memcpy(head, circuits->second.data(), sizeof head);
    return head[1] < 100 && head[3] < 100;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::vector<runnable> models = runnable_models();
    if (size == 0) return 0;
    const runnable& model = models[data[0] % models.size()];
    const edited_files edited = edit(model.base, model.names, text_of(data + 1, size - 1));
    if (!stays_small(edited)) return 0;
    empty_work_directory();
    write_edited(edited);
    runs_through(run_analysis);
    return 0;
}
