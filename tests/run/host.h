// A host with a model whose figures need rounding everywhere, and what a run of it leaves under default conditions.
#pragma once

#include "run/models.h"
#include "run/run_log.h"

namespace tarnel_test
{

class host : public stage_test
{
protected:
    host()
    {
        model m = plate(7, 5, 1);
        add_host_inputs(m);
        write_model(m);
        expect_complete(run_library());
        wanted = files_of_run();
        for (const std::string& name : files_of_analysis) std::filesystem::remove(name);
    }
    void expect_results_of(const process_outcome& run)
    {
        expect_complete(run);
        expect_same(files_of_run(), wanted);
    }
    static std::string log_of_model() { return whole_log(unknowns_of_plate(7, 5)); }
    file_contents wanted;
};

inline int open_files()
{
    int count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) ++count;
    return count;
}

} // namespace tarnel_test
